#include "core/reading/TextFragments.h"

#include "core/text/Graphemes.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string_view>

namespace nomara {

namespace {

constexpr int fewestLetters = 3; // in a row: what is shorter has to be read for certain
constexpr double certain = 0.7;  // of what has no such word
constexpr double legible = 8;    // pixels of the first scale: lower text has to be read better
constexpr double certainOfSmall = 0.5;
constexpr std::size_t fewestNumbers = 5;  // in a column
constexpr double mostCounting = 0.6;      // the part of them that must be one more than the one above
constexpr std::int64_t longestNumber = 5; // characters

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0xC3;
}

/// The longest row of letters. One of a script without spaces between words counts as a word.
bool hasWord(std::string_view text) {
    int letters = 0;
    for (const std::string_view character : Graphemes::split(text)) {
        const bool isCJK = character.size() >= 3 && static_cast<unsigned char>(character.front()) >= 0xE3;
        if (isCJK) return true;
        letters = isLetter(character.front()) ? letters + 1 : 0;
        if (letters >= fewestLetters) return true;
    }
    return false;
}

std::optional<int> numberIn(std::string_view text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
    return number;
}

bool isIllegible(const TextObservation& piece, double leastHeight) {
    if (piece.box.height < leastHeight && piece.confidence < certainOfSmall) return true;
    return piece.confidence < certain && !hasWord(piece.text);
}

/// Narrow pieces that end, or begin, one below the other, from the top.
using Column = std::vector<std::size_t>;

Column columnOf(const std::vector<TextObservation>& pieces, std::size_t first) {
    const RelativeRect& box = pieces[first].box;
    Column column;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const RelativeRect& other = pieces[i].box;
        const double reach = box.width / 2;
        const bool isAligned =
            std::abs(other.x + other.width - box.x - box.width) < reach / 2 || std::abs(other.x - box.x) < reach / 2;
        if (isAligned && other.width < 2.5 * box.width && Graphemes::count(pieces[i].text) <= longestNumber)
            column.push_back(i);
    }
    std::ranges::sort(column, [&](std::size_t a, std::size_t b) { return pieces[a].box.y > pieces[b].box.y; });
    return column;
}

/// Numbers of lines: each one more than the one above it, but for those that were misread.
bool counts(const std::vector<TextObservation>& pieces, const Column& column) {
    if (column.size() < fewestNumbers) return false;
    std::vector<int> numbers;
    for (const std::size_t i : column)
        if (const auto number = numberIn(pieces[i].text)) numbers.push_back(*number);
    std::size_t following = 0;
    for (std::size_t i = 1; i < numbers.size(); ++i)
        following += numbers[i] > numbers[i - 1] && numbers[i] <= numbers[i - 1] + 5 ? 1 : 0;
    return static_cast<double>(following + 1) >= mostCounting * static_cast<double>(column.size());
}

} // namespace

std::vector<TextObservation> TextFragments::without(std::vector<TextObservation> pieces, int imageHeight,
                                                    int strokeScale) {
    std::vector<bool> goes(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (isIllegible(pieces[i], legible * strokeScale / imageHeight)) goes[i] = true;
        if (!numberIn(pieces[i].text) || Graphemes::count(pieces[i].text) > longestNumber) continue;
        if (const Column column = columnOf(pieces, i); counts(pieces, column))
            for (const std::size_t number : column)
                goes[number] = true;
    }
    std::vector<TextObservation> rest;
    for (std::size_t i = 0; i < pieces.size(); ++i)
        if (!goes[i]) rest.push_back(std::move(pieces[i]));
    return rest;
}

} // namespace nomara
