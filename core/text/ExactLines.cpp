#include "core/text/ExactLines.h"

#include "core/base/Hash.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace nomara {

namespace {

// A shorter piece is a part of too many lines.
constexpr std::size_t fewestInPart = 4, fewestAcrossLines = 8;
// Where reading is certain at all one letter of some twelve is wrong, at the most.
constexpr std::size_t fewestForError = 6, lettersPerError = 12, mostErrors = 6;
constexpr std::size_t longestLetter = 4; // bytes
// Of places where a part of a line stands. A short part stands in many.
constexpr int mostTries = 16;
constexpr char lineBreak = '\n';

std::size_t errorsIn(std::size_t letters) {
    return letters < fewestForError ? 0 : std::min(1 + (letters - fewestForError) / lettersPerError, mostErrors);
}

std::u32string scalars(std::string_view utf8) {
    std::u32string result;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t scalar = length == 1 ? lead : lead & (0x7FU >> length);
        for (std::size_t j = 1; j < length && i + j < utf8.size(); ++j)
            scalar = scalar << 6U | (static_cast<unsigned char>(utf8[i + j]) & 0x3FU);
        result += scalar;
        i += length;
    }
    return result;
}

bool isDigit(char32_t letter) {
    return letter >= U'0' && letter <= U'9';
}

/// A word with digits, letters that are drawn like digits as these; empty where there are none.
std::string numberIn(const std::string& word) {
    constexpr std::string_view letters = "oqdlijzasgbtsbgq", digits = "0001112456678599";
    if (word.find_first_of("0123456789") == std::string::npos) return {};
    std::string number = word;
    for (char& letter : number)
        if (const auto at = letters.find(letter); at != std::string_view::npos) letter = digits[at];
    return number;
}

constexpr std::size_t tooMany = 1'000;

std::size_t costOf(char32_t one, char32_t other) {
    if (one == other) return 0;
    return isDigit(one) && isDigit(other) ? tooMany : 1;
}

std::size_t costOf(char32_t letter) {
    return isDigit(letter) ? tooMany : 1;
}

/// Whether some part of the text is the wanted one, but for so many letters.
bool isNearPart(const std::u32string& wanted, const std::u32string& text, std::size_t errors) {
    std::vector<std::size_t> costs(wanted.size() + 1); // of the wanted letters so far, at the text's letter so far
    for (std::size_t i = 1; i < costs.size(); ++i)
        costs[i] = costs[i - 1] + costOf(wanted[i - 1]);
    if (costs.back() <= errors) return true;
    for (const char32_t letter : text) {
        std::size_t before = costs[0]; // a part may begin anywhere
        for (std::size_t i = 1; i < costs.size(); ++i) {
            const std::size_t replaced = before + costOf(wanted[i - 1], letter);
            before = costs[i];
            costs[i] = std::min({replaced, costs[i] + costOf(letter), costs[i - 1] + costOf(wanted[i - 1])});
        }
        if (costs.back() <= errors) return true;
    }
    return false;
}

} // namespace

void ExactLines::add(const std::vector<std::string>& lines) {
    m_look.clear();
    for (const std::string& line : lines) {
        Words words = wordsOf(line);
        if (m_look.size() + words.key.size() <= m_mostBytes) m_look += words.key;
        const std::uint64_t hash = fnv1a(words.key);
        if (words.key.size() < fewestInPart || words.key.size() > m_mostBytes / 2 || !m_hashes.insert(hash).second)
            continue;
        m_lines.push_back({m_text.size(), hash, std::move(words.numbers)});
        m_text += words.key + lineBreak;
        if (m_text.size() > m_mostBytes) forgetOldest();
    }
}

bool ExactLines::knows(const std::string& read) const {
    const Words part = wordsOf(read);
    if (part.key.size() < fewestInPart) return false;
    if (m_text.find(part.key) != std::string::npos) return true;
    if (part.key.size() >= fewestAcrossLines && m_look.find(part.key) != std::string::npos) return true;
    return holdsNear(part);
}

void ExactLines::clear() {
    m_text.clear();
    m_lines.clear();
    m_hashes.clear();
    m_look.clear();
}

ExactLines::Words ExactLines::wordsOf(const std::string& line) {
    Words words;
    for (const std::string& word : TextNormalizer::tokens(line)) {
        std::string number = numberIn(word);
        words.endsWithNumber = !number.empty();
        words.beginsWithNumber = words.key.empty() ? words.endsWithNumber : words.beginsWithNumber;
        if (!number.empty()) words.numbers.push_back(std::move(number));
        words.key += word;
    }
    return words;
}

/// Cut into one piece more than there may be errors, one of the pieces is as it should be. Around each place where one
/// stands the whole is compared.
bool ExactLines::holdsNear(const Words& part) const {
    const std::string& key = part.key;
    const std::size_t errors = errorsIn(key.size());
    if (errors == 0) return false;
    const std::u32string wanted = scalars(key);
    const auto boundary = [](const std::string& text, std::size_t at) {
        while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80)
            ++at;
        return std::min(at, text.size());
    };
    for (std::size_t piece = 0; piece <= errors; ++piece) {
        const std::size_t from = boundary(key, key.size() * piece / (errors + 1));
        const std::size_t to = boundary(key, key.size() * (piece + 1) / (errors + 1));
        const std::string_view sought = std::string_view(key).substr(from, to - from);
        if (sought.empty()) continue;
        int tries = 0;
        for (std::size_t at = m_text.find(sought); at != std::string::npos && tries < mostTries;
             at = m_text.find(sought, at + 1), ++tries) {
            const auto line = std::prev(std::ranges::upper_bound(m_lines, at, {}, &Line::start));
            const std::size_t end = m_text.find(lineBreak, at), slack = errors * longestLetter;
            const std::size_t first = boundary(m_text, std::max(line->start, at - std::min(at, from + slack)));
            const std::size_t last = boundary(m_text, std::min(end, at + key.size() - from + slack));
            if (holdsNumbers(*line, part) && isNearPart(wanted, scalars(m_text.substr(first, last - first)), errors))
                return true;
        }
    }
    return false;
}

/// Each number of the part is one of the line's, but that the first may have lost its beginning and the last its end.
bool ExactLines::holdsNumbers(const Line& line, const Words& part) {
    for (std::size_t i = 0; i < part.numbers.size(); ++i) {
        const std::string& number = part.numbers[i];
        const bool mayLackStart = i == 0 && part.beginsWithNumber;
        const bool mayLackEnd = i + 1 == part.numbers.size() && part.endsWithNumber;
        if (std::ranges::none_of(line.numbers, [&](const std::string& whole) {
                return whole == number || (mayLackStart && whole.ends_with(number)) ||
                       (mayLackEnd && whole.starts_with(number));
            }))
            return false;
    }
    return true;
}

void ExactLines::forgetOldest() {
    const auto kept = std::ranges::find_if(m_lines, [&](const Line& line) { return line.start >= m_text.size() / 2; });
    const std::size_t cut = kept == m_lines.end() ? m_text.size() : kept->start;
    for (auto line = m_lines.begin(); line != kept; ++line)
        m_hashes.erase(line->hash);
    m_lines.erase(m_lines.begin(), kept);
    m_text.erase(0, cut);
    for (Line& line : m_lines)
        line.start -= cut;
}

} // namespace nomara
