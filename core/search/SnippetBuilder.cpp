#include "core/search/SnippetBuilder.h"

#include "core/text/Graphemes.h"
#include "core/text/LineSplitter.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace nomara {

namespace {

/// A word cut by the window's edge is thrown away if a space lies this near.
constexpr std::int64_t edgeCharacters = 16;
constexpr std::string_view ellipsis = "…";

bool isASCII(std::string_view text) {
    unsigned char all = 0;
    for (const char byte : text)
        all |= static_cast<unsigned char>(byte);
    return all < 0x80;
}

/// A text as an array of characters. In ASCII every byte is one, but for CR LF, and no table is made.
class Characters {
public:
    explicit Characters(std::string_view text) : m_text(text) {
        if (isASCII(text) && text.find('\r') == std::string_view::npos) return;
        m_bytewise = false;
        const auto characters = Graphemes::split(text);
        m_offsets.reserve(characters.size() + 1);
        m_offsets.push_back(0);
        for (const auto character : characters)
            m_offsets.push_back(m_offsets.back() + static_cast<std::int64_t>(character.size()));
    }

    bool isBytewise() const { return m_bytewise; }
    std::int64_t count() const { return static_cast<std::int64_t>(m_bytewise ? m_text.size() : m_offsets.size() - 1); }
    std::string_view at(std::int64_t index) const { return between(index, index + 1); }
    std::string_view between(std::int64_t start, std::int64_t end) const {
        const auto from = offset(start);
        return m_text.substr(from, offset(end) - from);
    }

private:
    std::size_t offset(std::int64_t index) const {
        return static_cast<std::size_t>(m_bytewise ? index : m_offsets[static_cast<std::size_t>(index)]);
    }

    std::string_view m_text;
    bool m_bytewise = true;
    std::vector<std::int64_t> m_offsets;
};

/// A line folded character by character, so that a stretch of the fold leads back to the characters it came from.
class FoldedLine {
public:
    explicit FoldedLine(std::string_view line) {
        const Characters characters(line);
        m_bytewise = characters.isBytewise();
        if (m_bytewise) {
            m_text = TextNormalizer::normalize(line);
            return;
        }
        m_text.reserve(line.size());
        for (std::int64_t i = 0; i < characters.count(); ++i) {
            const std::string fold = TextNormalizer::foldCharacter(characters.at(i));
            for (const auto character : Graphemes::split(fold)) {
                m_starts.push_back(m_text.size());
                m_origins.push_back(i);
                m_text += character;
            }
        }
        m_starts.push_back(m_text.size());
    }

    std::size_t count() const { return m_bytewise ? m_text.size() : m_origins.size(); }
    std::int64_t origin(std::size_t index) const {
        return m_bytewise ? static_cast<std::int64_t>(index) : m_origins[index];
    }

    /// Where the characters of `term` next stand at `index` or behind it.
    std::optional<std::size_t> find(std::string_view term, const Characters& termCharacters, std::size_t index) const {
        if (m_bytewise) {
            const auto at = m_text.find(term, index);
            return at == std::string::npos ? std::nullopt : std::optional(at);
        }
        if (index >= m_origins.size()) return std::nullopt;
        // Equal bytes that begin or break elsewhere than the term's characters are other characters.
        for (auto at = m_text.find(term, m_starts[index]); at != std::string::npos; at = m_text.find(term, at + 1)) {
            const auto start = std::lower_bound(m_starts.begin(), m_starts.end(), at);
            const auto found = static_cast<std::size_t>(start - m_starts.begin());
            if (*start == at && breaksAlike(found, termCharacters)) return found;
        }
        return std::nullopt;
    }

private:
    bool breaksAlike(std::size_t index, const Characters& term) const {
        const auto count = static_cast<std::size_t>(term.count());
        if (index + count >= m_starts.size()) return false;
        for (std::size_t i = 0; i < count; ++i)
            if (m_starts[index + i + 1] - m_starts[index + i] != term.at(static_cast<std::int64_t>(i)).size())
                return false;
        return true;
    }

    std::string m_text;
    bool m_bytewise = true;
    std::vector<std::size_t> m_starts;   // byte offset of each folded character, and the end
    std::vector<std::int64_t> m_origins; // index of the line's character that each came from
};

struct Term {
    std::string text;
    std::int64_t characters;
};

std::vector<Term> normalizedTerms(const std::vector<std::string>& terms) {
    std::vector<Term> result;
    std::unordered_set<std::string> seen;
    for (const auto& term : terms) {
        auto text = TextNormalizer::normalize(term);
        if (text.empty() || !seen.insert(text).second) continue;
        const auto characters = Graphemes::count(text);
        result.push_back({std::move(text), characters});
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const Term& a, const Term& b) { return a.characters > b.characters; });
    return result;
}

/// Two terms always outweigh one, however long that is, up to lengths no word has.
std::int64_t score(std::string_view folded, const std::vector<Term>& terms) {
    std::int64_t total = 0;
    for (const auto& term : terms)
        if (folded.find(term.text) != std::string_view::npos) total += 100 + term.characters;
    return total;
}

std::optional<std::string_view> bestText(const std::vector<std::string_view>& lines,
                                         const std::optional<std::string>& title, const std::optional<std::string>& url,
                                         const std::vector<Term>& terms) {
    std::optional<std::string_view> best;
    std::int64_t bestScore = 0;
    for (const auto line : lines) {
        const auto lineScore = score(TextNormalizer::normalize(line), terms);
        if (lineScore <= bestScore) continue;
        best = line;
        bestScore = lineScore;
    }
    if (best) return best;
    for (const auto* text : {&title, &url})
        if (*text && !(*text)->empty() && score(TextNormalizer::normalize(**text), terms) > 0) return **text;
    return std::nullopt;
}

/// What to show of a frame whose match can't be seen in any of its texts.
std::string_view fallbackText(const std::vector<std::string_view>& lines, const std::optional<std::string>& title) {
    for (const auto line : lines)
        if (Graphemes::count(line) > 3) return line;
    return title ? std::string_view(*title) : std::string_view();
}

/// Where one character folds to two, neighbouring stretches may both hold it; the first of them keeps it.
std::vector<CharacterRange> withoutOverlap(const std::vector<CharacterRange>& ranges) {
    std::vector<CharacterRange> apart;
    for (auto range : ranges) {
        if (!apart.empty()) range.start = std::max(range.start, apart.back().end);
        if (range.start < range.end) apart.push_back(range);
    }
    return apart;
}

/// The stretch of `text` around `focus`, which stands a third of the way into it.
Snippet window(std::string_view text, std::vector<CharacterRange> ranges, std::int64_t focus, std::int64_t maxLength) {
    const Characters characters(text);
    const std::int64_t count = characters.count();
    if (maxLength >= count) return {std::string(text), std::move(ranges)};

    std::int64_t start = std::max<std::int64_t>(focus - maxLength / 3, 0);
    const std::int64_t rawEnd = start + maxLength;
    std::int64_t end = std::min(rawEnd, count);
    if (rawEnd >= count) start = std::max<std::int64_t>(end - maxLength, 0);

    if (start > 0) {
        const std::int64_t bound = std::min(start + edgeCharacters, end);
        for (std::int64_t i = start; i < bound; ++i) {
            if (characters.at(i) != " ") continue;
            start = i + 1;
            break;
        }
    }
    if (rawEnd < count) {
        const std::int64_t bound = std::max(end - edgeCharacters, start);
        for (std::int64_t i = end - 1; i >= bound; --i) {
            if (characters.at(i) != " ") continue;
            end = i;
            break;
        }
    }

    Snippet snippet;
    if (start > 0) snippet.text += ellipsis;
    snippet.text += characters.between(start, end);
    if (end < count) snippet.text += ellipsis;
    const std::int64_t shift = (start > 0 ? 1 : 0) - start;
    for (const auto& range : ranges) {
        const CharacterRange clipped{std::clamp(range.start, start, end), std::clamp(range.end, start, end)};
        if (clipped.start < clipped.end) snippet.highlights.push_back({clipped.start + shift, clipped.end + shift});
    }
    return snippet;
}

} // namespace

Snippet SnippetBuilder::build(std::string_view body, const std::optional<std::string>& title,
                              const std::optional<std::string>& url, const std::vector<std::string>& terms,
                              std::int64_t maxLength) {
    maxLength = std::max<std::int64_t>(maxLength, 0);
    const auto lines = LineSplitter::split(body);
    const auto wanted = normalizedTerms(terms);
    const auto chosen = wanted.empty() ? std::nullopt : bestText(lines, title, url, wanted);
    if (!chosen) return window(fallbackText(lines, title), {}, 0, maxLength);

    std::vector<std::string> texts;
    texts.reserve(wanted.size());
    for (const auto& term : wanted)
        texts.push_back(term.text);
    auto ranges = withoutOverlap(highlightRanges(*chosen, texts));
    const std::int64_t focus = ranges.empty() ? 0 : ranges.front().start;
    return window(*chosen, std::move(ranges), focus, maxLength);
}

std::vector<CharacterRange> SnippetBuilder::highlightRanges(std::string_view line,
                                                            const std::vector<std::string>& terms) {
    const FoldedLine folded(line);
    std::vector<bool> used(folded.count(), false);
    const auto isFree = [&](std::size_t start, std::size_t end) {
        for (std::size_t i = start; i < end; ++i)
            if (used[i]) return false;
        return true;
    };

    std::vector<CharacterRange> ranges;
    for (const auto& term : terms) {
        const Characters characters(term);
        const auto length = static_cast<std::size_t>(characters.count());
        if (length == 0 || length > folded.count()) continue;
        for (auto at = folded.find(term, characters, 0); at;) {
            const std::size_t end = *at + length;
            if (!isFree(*at, end)) {
                at = folded.find(term, characters, *at + 1);
                continue;
            }
            std::fill(used.begin() + static_cast<std::ptrdiff_t>(*at), used.begin() + static_cast<std::ptrdiff_t>(end),
                      true);
            ranges.push_back({folded.origin(*at), folded.origin(end - 1) + 1});
            at = folded.find(term, characters, end);
        }
    }
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const CharacterRange& a, const CharacterRange& b) { return a.start < b.start; });
    return ranges;
}

} // namespace nomara
