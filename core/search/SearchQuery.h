#pragma once

#include "core/base/Date.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// What the user typed, taken apart into phrases, site filters and application filters. There are no operators: nothing
/// that can be typed reaches the full-text index as syntax, and a half-typed last word works as a prefix.
/// A plain value; one instance belongs to one thread at a time. Nothing here fails: text that yields nothing makes an
/// empty query. Text is UTF-8; bytes that aren't count as punctuation.
class SearchQuery {
public:
    enum class Sort { relevance = 0, newest = 1 };
    static constexpr std::array<Sort, 2> allSorts{Sort::relevance, Sort::newest};
    static std::string_view rawValue(Sort sort);
    /// Absent for a text that names no sort.
    static std::optional<Sort> sortNamed(std::string_view rawValue);

    struct Phrase {
        std::vector<std::string> tokens; ///< never empty; folded words of letters and numbers alone
        bool quoted = false;
        friend bool operator==(const Phrase&, const Phrase&) = default;
    };

    explicit SearchQuery(std::string typed, std::optional<Date> lowerBound = std::nullopt,
                         std::optional<Date> upperBound = std::nullopt, std::vector<std::string> applications = {},
                         std::int64_t maxHits = 60, Sort order = Sort::relevance);

    std::optional<Date> from;              ///< inclusive
    std::optional<Date> to;                ///< exclusive
    std::vector<std::string> appBundleIDs; ///< empty means all applications
    std::int64_t limit;
    Sort sort;

    /// What was typed, unchanged.
    const std::string& text() const { return m_text; }
    const std::vector<Phrase>& phrases() const { return m_phrases; }
    /// One folded text for each "app:" or "uygulama:" term.
    const std::vector<std::string>& appNameFilters() const { return m_appNameFilters; }
    bool endsWithSpace() const { return m_endsWithSpace; }

    /// True without phrases and site filters; application filters alone leave a query empty.
    bool isEmpty() const { return m_phrases.empty() && m_siteTokens.empty(); }
    /// The `MATCH` text, or nothing if there is nothing to match. With `prefixLast` the word still being typed matches
    /// as a prefix.
    std::optional<std::string> matchExpression(bool prefixLast) const;
    /// The tokens to mark in results: of the phrases, then of the site filters, each once.
    std::vector<std::string> highlightTerms() const;

    friend bool operator==(const SearchQuery&, const SearchQuery&) = default;

private:
    void parse();
    void takeTerm(std::string_view term);
    void takePhrase(std::string_view text, bool quoted);

    std::string m_text;
    std::vector<Phrase> m_phrases;
    std::vector<std::vector<std::string>> m_siteTokens;
    std::vector<std::string> m_appNameFilters;
    bool m_endsWithSpace = false;
};

} // namespace nomara
