#include "core/reading/MarkComponents.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>

namespace nomara {

namespace {

/// The first pixel from `x` on that is set, or isn't; the row's width where there is none.
int next(const BitImage& image, const std::uint64_t* row, int x, bool set) {
    if (x >= image.width()) return image.width();
    std::size_t word = static_cast<std::size_t>(x) / 64;
    std::uint64_t bits = (set ? row[word] : ~row[word]) & ~std::uint64_t{0} << (x % 64);
    while (bits == 0) {
        if (++word == image.words()) return image.width();
        bits = set ? row[word] : ~row[word];
    }
    return std::min(static_cast<int>(word * 64) + std::countr_zero(bits), image.width());
}

void addRuns(std::vector<StrokeRun>& runs, const EdgeMarks& marks, int y, int gap) {
    const BitImage& strokes = marks.strokes;
    const std::uint64_t* const row = strokes.row(y);
    const std::size_t first = runs.size();
    for (int left = next(strokes, row, 0, true); left < strokes.width();) {
        const int right = next(strokes, row, left, false);
        if (runs.size() > first && left - runs.back().right <= gap && !marks.borders.any(y, runs.back().right, left))
            runs.back().right = right;
        else
            runs.push_back({y, left, right});
        left = next(strokes, row, right, true);
    }
}

/// Sets that grow together, each known by its earliest member.
class DisjointSets {
public:
    explicit DisjointSets(std::size_t count) : m_parents(count) { std::iota(m_parents.begin(), m_parents.end(), 0); }

    std::uint32_t find(std::uint32_t member) {
        while (m_parents[member] != member) {
            m_parents[member] = m_parents[m_parents[member]];
            member = m_parents[member];
        }
        return member;
    }
    void join(std::uint32_t a, std::uint32_t b) {
        a = find(a);
        b = find(b);
        m_parents[std::max(a, b)] = std::min(a, b);
    }

private:
    std::vector<std::uint32_t> m_parents;
};

} // namespace

MarkComponents::MarkComponents(const EdgeMarks& marks, int gap) {
    std::vector<StrokeRun> runs;
    std::vector<std::size_t> rows{0}; // where the runs of each row begin
    for (int y = 0; y < marks.strokes.height(); ++y) {
        addRuns(runs, marks, y, gap);
        rows.push_back(runs.size());
    }

    DisjointSets sets(runs.size());
    for (std::size_t y = 1; y + 1 < rows.size(); ++y) {
        std::size_t above = rows[y - 1], here = rows[y];
        while (above < rows[y] && here < rows[y + 1]) {
            if (runs[above].left < runs[here].right && runs[here].left < runs[above].right)
                sets.join(static_cast<std::uint32_t>(above), static_cast<std::uint32_t>(here));
            if (runs[above].right < runs[here].right)
                ++above;
            else
                ++here;
        }
    }

    // Sorted by component, which keeps the rows of each in their order.
    constexpr auto none = static_cast<std::size_t>(-1);
    std::vector<std::size_t> numbers(runs.size(), none), components(runs.size());
    m_starts.push_back(0);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        std::size_t& number = numbers[sets.find(static_cast<std::uint32_t>(i))];
        if (number == none) {
            number = m_starts.size() - 1;
            m_starts.push_back(0);
        }
        components[i] = number;
        ++m_starts[number + 1];
    }
    std::partial_sum(m_starts.begin(), m_starts.end(), m_starts.begin());
    std::vector<std::size_t> ends(m_starts.begin(), m_starts.end() - 1);
    m_runs.resize(runs.size());
    for (std::size_t i = 0; i < runs.size(); ++i)
        m_runs[ends[components[i]]++] = runs[i];
}

} // namespace nomara
