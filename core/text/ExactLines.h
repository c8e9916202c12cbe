#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace nomara {

/// Lines whose text is certain, to know them again in what was read from a picture: where a line was cut by the edge of
/// what scrolls, broken in two, or read with a wrong letter. The older half is forgotten when there are too many.
///
/// Compared are letters and digits alone, folded as search folds them. Used on one thread at a time.
class ExactLines {
public:
    explicit ExactLines(std::size_t mostBytes) : m_mostBytes(mostBytes) {}

    /// Those that one look found, in their order.
    void add(const std::vector<std::string>& lines);
    /// Whether this, read from a picture, is one of the lines or a part of them. A number counts as another one where a
    /// single digit differs.
    bool knows(const std::string& read) const;
    void clear();

private:
    /// Of one line.
    struct Words {
        std::string key;                  ///< its letters and digits
        std::vector<std::string> numbers; ///< its words with digits
        bool beginsWithNumber = false, endsWithNumber = false;
    };
    struct Line {
        std::size_t start = 0; ///< in the text
        std::uint64_t hash = 0;
        std::vector<std::string> numbers;
    };

    static Words wordsOf(const std::string& line);
    static bool holdsNumbers(const Line& line, const Words& part);
    bool holdsNear(const Words& part) const;
    void forgetOldest();

    const std::size_t m_mostBytes;
    std::string m_text; // the keys of all lines, each with a break behind it, the oldest first
    std::vector<Line> m_lines;
    std::unordered_set<std::uint64_t> m_hashes;
    std::string m_look; // all that the last look found: what stands in one row may be told in pieces
};

} // namespace nomara
