#include "core/search/SearchQuery.h"

#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace nomara {

namespace {

constexpr std::string_view appPrefix = "app:";
constexpr std::string_view appPrefixTurkish = "uygulama:";
constexpr std::string_view sitePrefix = "site:";

char lowered(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

/// The term behind `prefix`, which is in lower case, or nothing if it doesn't start with it. No letter beyond ASCII
/// becomes one of the prefixes' letters in lower case, so ASCII case is all there is to ignore.
std::optional<std::string_view> afterPrefix(std::string_view term, std::string_view prefix) {
    if (term.size() < prefix.size()) return std::nullopt;
    const auto same = [](char wanted, char typed) { return lowered(typed) == wanted; };
    if (!std::equal(prefix.begin(), prefix.end(), term.begin(), same)) return std::nullopt;
    // A colon with a mark on it is another character than the plain colon.
    const auto characters = static_cast<std::int64_t>(prefix.size());
    if (Graphemes::prefix(term, characters).size() != prefix.size()) return std::nullopt;
    return term.substr(prefix.size());
}

void appendJoined(std::string& out, const std::vector<std::string>& tokens) {
    bool first = true;
    for (const auto& token : tokens) {
        if (!first) out += ' ';
        out += token;
        first = false;
    }
}

} // namespace

std::string_view SearchQuery::rawValue(Sort sort) {
    return sort == Sort::newest ? "newest" : "relevance";
}

std::optional<SearchQuery::Sort> SearchQuery::sortNamed(std::string_view rawValue) {
    for (const Sort sort : allSorts)
        if (SearchQuery::rawValue(sort) == rawValue) return sort;
    return std::nullopt;
}

SearchQuery::SearchQuery(std::string typed, std::optional<Date> lowerBound, std::optional<Date> upperBound,
                         std::vector<std::string> applications, std::int64_t maxHits, Sort order)
    : from(lowerBound), to(upperBound), appBundleIDs(std::move(applications)), limit(maxHits), sort(order),
      m_text(std::move(typed)) {
    parse();
}

std::optional<std::string> SearchQuery::matchExpression(bool prefixLast) const {
    std::size_t count = m_phrases.size();
    // One letter just typed behind a finished word would match half the index.
    if (count >= 2) {
        const Phrase& last = m_phrases.back();
        if (!last.quoted && last.tokens.size() == 1 && Graphemes::count(last.tokens.front()) < 2) --count;
    }

    std::string expression;
    for (std::size_t i = 0; i < count; ++i) {
        const Phrase& phrase = m_phrases[i];
        if (!expression.empty()) expression += ' ';
        expression += '"';
        appendJoined(expression, phrase.tokens);
        expression += '"';
        if (i + 1 == count && prefixLast && !phrase.quoted && !m_endsWithSpace) expression += '*';
    }
    for (const auto& tokens : m_siteTokens) {
        if (!expression.empty()) expression += ' ';
        expression += "url : \"";
        appendJoined(expression, tokens);
        expression += "\"*";
    }
    if (expression.empty()) return std::nullopt;
    return expression;
}

std::vector<std::string> SearchQuery::highlightTerms() const {
    std::vector<std::string> terms;
    std::unordered_set<std::string_view> seen;
    const auto add = [&](const std::vector<std::string>& tokens) {
        for (const auto& token : tokens)
            if (seen.insert(token).second) terms.push_back(token);
    };
    for (const auto& phrase : m_phrases)
        add(phrase.tokens);
    for (const auto& tokens : m_siteTokens)
        add(tokens);
    return terms;
}

void SearchQuery::parse() {
    const std::string_view typed = m_text;
    const auto characters = Graphemes::split(typed);
    bool inQuotes = false;
    std::size_t start = 0; // of the term or quoted text being collected
    std::size_t offset = 0;
    for (const std::string_view character : characters) {
        const bool quote = character == "\"";
        const bool ends = quote || (!inQuotes && Graphemes::isWhiteSpace(character));
        if (ends) {
            const auto piece = typed.substr(start, offset - start);
            if (inQuotes) {
                takePhrase(piece, true);
            } else {
                takeTerm(piece);
            }
        }
        offset += character.size();
        if (ends) start = offset;
        if (quote) inQuotes = !inQuotes;
    }
    if (inQuotes) {
        takePhrase(typed.substr(start), true);
    } else {
        takeTerm(typed.substr(start));
    }
    m_endsWithSpace = !characters.empty() && Graphemes::isWhiteSpace(characters.back());
}

void SearchQuery::takeTerm(std::string_view term) {
    if (term.empty()) return;
    auto app = afterPrefix(term, appPrefix);
    if (!app) app = afterPrefix(term, appPrefixTurkish);
    if (app) {
        if (auto name = TextNormalizer::normalize(*app); !name.empty()) m_appNameFilters.push_back(std::move(name));
    } else if (const auto site = afterPrefix(term, sitePrefix)) {
        if (auto tokens = TextNormalizer::tokens(*site); !tokens.empty()) m_siteTokens.push_back(std::move(tokens));
    } else {
        takePhrase(term, false);
    }
}

void SearchQuery::takePhrase(std::string_view text, bool quoted) {
    auto tokens = TextNormalizer::tokens(text);
    if (!tokens.empty()) m_phrases.push_back({std::move(tokens), quoted});
}

} // namespace nomara
