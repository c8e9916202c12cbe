#include "core/reading/LinePieces.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <span>

namespace nomara {

namespace {

constexpr int leastHeight = 5;       // of a line's strokes: the smallest letters that can be told apart
constexpr double deepestShare = 0.3; // of the strokes of the lines beside it, in a row between two lines
constexpr double widestGap = 1.3;    // heights, between two words
constexpr int leastFrame = 14, widestSide = 6, cornerSize = 7, frameReach = 40;
constexpr double frameMargin = 0.18; // of a frame's height, above and below its text

/// The runs of one component.
class Component {
public:
    Component(const BitImage& strokes, const MarkComponents& components, std::size_t number)
        : m_strokes(strokes), m_runs(components.begin(number), components.end(number)) {}

    /// Around all strokes within `limits`; empty where there are none.
    PixelBox tight(const PixelBox& limits) const {
        PixelBox box{limits.right, limits.bottom, limits.left, limits.top};
        each(limits, [&](const StrokeRun& run) {
            const int first = m_strokes.first(run.y, run.left, run.right);
            if (first < 0) return;
            box.left = std::min(box.left, first);
            box.right = std::max(box.right, m_strokes.last(run.y, run.left, run.right) + 1);
            box.top = std::min(box.top, run.y);
            box.bottom = run.y + 1;
        });
        return box.isEmpty() ? PixelBox{} : box;
    }

    /// How many pixels of strokes each row holds.
    std::vector<int> rows(const PixelBox& limits) const {
        std::vector<int> rows(static_cast<std::size_t>(limits.height()));
        each(limits, [&](const StrokeRun& run) {
            rows[static_cast<std::size_t>(run.y - limits.top)] += m_strokes.count(run.y, run.left, run.right);
        });
        return rows;
    }

    /// Which columns hold strokes.
    std::vector<bool> columns(const PixelBox& limits) const {
        std::vector<bool> columns(static_cast<std::size_t>(limits.width()));
        each(limits, [&](const StrokeRun& run) {
            m_strokes.each(run.y, run.left, run.right,
                           [&](int x) { columns[static_cast<std::size_t>(x - limits.left)] = true; });
        });
        return columns;
    }

    template <typename Visit>
    void each(const PixelBox& limits, Visit&& visit) const {
        auto run = std::lower_bound(m_runs.begin(), m_runs.end(), limits.top,
                                    [](const StrokeRun& a, int y) { return a.y < y; });
        for (; run != m_runs.end() && run->y < limits.bottom; ++run) {
            const StrokeRun part{run->y, std::max(run->left, limits.left), std::min(run->right, limits.right)};
            if (part.left < part.right) visit(part);
        }
    }

    PixelBox box() const {
        PixelBox box{m_runs.front().left, m_runs.front().y, m_runs.front().right, m_runs.back().y + 1};
        for (const StrokeRun& run : m_runs) {
            box.left = std::min(box.left, run.left);
            box.right = std::max(box.right, run.right);
        }
        return box;
    }

private:
    const BitImage& m_strokes;
    std::span<const StrokeRun> m_runs;
};

/// The row at which two lines part, the clearest one: above and below it are rows with far more strokes. Absent within
/// a single line.
std::optional<int> valley(std::span<const int> rows) {
    const int count = static_cast<int>(rows.size());
    if (count < 2 * leastHeight) return std::nullopt;
    const auto at = [](std::span<const int> values, int y) { return values[static_cast<std::size_t>(y)]; };
    std::vector<int> below(rows.begin(), rows.end()); // the most strokes from each row on
    for (std::size_t y = below.size() - 1; y > 0; --y)
        below[y - 1] = std::max(below[y - 1], below[y]);
    int first = -1, last = -1;
    double best = deepestShare;
    int above = *std::max_element(rows.begin(), rows.begin() + leastHeight);
    for (int y = leastHeight; y < count - leastHeight; ++y) {
        const double share = static_cast<double>(at(rows, y)) / std::max(std::min(above, at(below, y + 1)), 1);
        if (share < best) {
            best = share;
            first = last = y;
        } else if (share == best && last == y - 1) {
            last = y;
        }
        above = std::max(above, at(rows, y));
    }
    if (first < 0) return std::nullopt;
    return (first + last + 1) / 2;
}

void cutRows(const Component& component, const PixelBox& limits, std::vector<PixelBox>& lines) {
    const PixelBox box = component.tight(limits);
    if (box.isEmpty()) return;
    const auto row = valley(component.rows(box));
    if (!row) {
        lines.push_back(box);
        return;
    }
    cutRows(component, {box.left, box.top, box.right, box.top + *row}, lines);
    cutRows(component, {box.left, box.top + *row, box.right, box.bottom}, lines);
}

void cutColumns(const Component& component, const PixelBox& line, std::vector<PixelBox>& pieces) {
    if (line.height() < leastHeight) { // the ends of a dash or an underscore, or dots
        pieces.push_back(line);
        return;
    }
    const std::vector<bool> columns = component.columns(line);
    const double widest = widestGap * line.height();
    int left = line.left, lastStroke = line.left;
    const auto add = [&](int right) {
        const PixelBox box = component.tight({left, line.top, right, line.bottom});
        if (!box.isEmpty()) pieces.push_back(box);
    };
    for (int x = line.left; x < line.right; ++x) {
        if (!columns[static_cast<std::size_t>(x - line.left)]) continue;
        if (x - lastStroke - 1 > widest) {
            add(lastStroke + 1);
            left = x;
        }
        lastStroke = x;
    }
    add(line.right);
}

/// An upright line within a component.
struct Upright {
    int left = 0, right = 0, top = 0, bottom = 0;
};

/// Thin ones of at least that height.
std::vector<Upright> uprights(const BitImage& strokes, const Component& component, int least, int thickest) {
    const PixelBox box = component.box();
    if (box.height() < least) return {};
    struct Column {
        int row = -1, length = 0; // of the stretch that ended last
        int longest = 0, longestEnd = 0;
    };
    std::vector<Column> columns(static_cast<std::size_t>(box.width()));
    component.each(box, [&](const StrokeRun& run) {
        strokes.each(run.y, run.left, run.right, [&](int x) {
            Column& column = columns[static_cast<std::size_t>(x - box.left)];
            column.length = column.row == run.y - 1 ? column.length + 1 : 1;
            column.row = run.y;
            if (column.length > column.longest) {
                column.longest = column.length;
                column.longestEnd = run.y + 1;
            }
        });
    });
    std::vector<Upright> found;
    for (int x = box.left; x < box.right; ++x) {
        const Column& column = columns[static_cast<std::size_t>(x - box.left)];
        if (column.longest < least) continue;
        const int top = column.longestEnd - column.longest;
        if (!found.empty() && found.back().right == x) {
            found.back().right = x + 1;
            found.back().top = std::min(found.back().top, top);
            found.back().bottom = std::max(found.back().bottom, column.longestEnd);
        } else {
            found.push_back({x, x + 1, top, column.longestEnd});
        }
    }
    std::erase_if(found, [&](const Upright& upright) { return upright.right - upright.left > thickest; });
    return found;
}

/// What was cleared, to be put back.
using Strokes = std::vector<std::pair<int, int>>; // x and y

void take(BitImage& strokes, int y, int left, int right, Strokes& taken) {
    strokes.each(y, left, right, [&](int x) { taken.emplace_back(x, y); });
    strokes.clear(y, left, right);
}

/// An upright line without which the strokes are, with the round corners at its ends.
struct Side {
    Upright line; // reaches as far as its corners
    Strokes taken;
};

Side takeSide(BitImage& strokes, Upright line, int corner) {
    Side side;
    for (int y = line.top; y < line.bottom; ++y)
        take(strokes, y, line.left, line.right, side.taken);
    const int left = std::max(line.left - corner, 0), right = std::min(line.right + corner, strokes.width());
    const int highest = std::max(line.top - corner, 0), lowest = std::min(line.bottom + corner, strokes.height());
    const int within = static_cast<int>(frameMargin * (line.bottom - line.top));
    const int upper = line.top + within, lower = line.bottom - within;
    for (; line.top > highest && strokes.any(line.top - 1, left, right); --line.top)
        take(strokes, line.top - 1, left, right, side.taken);
    for (; line.bottom < lowest && strokes.any(line.bottom, left, right); ++line.bottom)
        take(strokes, line.bottom, left, right, side.taken);
    for (int y = line.top; y < upper; ++y)
        take(strokes, y, left, right, side.taken);
    for (int y = lower; y < line.bottom; ++y)
        take(strokes, y, left, right, side.taken);
    side.line = line;
    return side;
}

/// Whether a line has text on this side of it, and goes on above and below that text.
bool standsBeside(const BitImage& strokes, const Upright& line, int left, int right) {
    int first = -1, last = -1;
    for (int y = line.top; y < line.bottom; ++y) {
        if (!strokes.any(y, left, right)) continue;
        if (first < 0) first = y;
        last = y;
    }
    const double margin = frameMargin * (line.bottom - line.top);
    return first >= 0 && last + 1 - first >= leastHeight && first - line.top >= margin &&
           line.bottom - last - 1 >= margin;
}

bool isFrame(const BitImage& strokes, const Upright& line, int reach) {
    return standsBeside(strokes, line, std::max(line.left - reach, 0), line.left) ||
           standsBeside(strokes, line, line.right, std::min(line.right + reach, strokes.width()));
}

} // namespace

void LinePieces::dropFrames(BitImage& strokes, const MarkComponents& components, int strokeScale) {
    for (std::size_t number = 0; number < components.count(); ++number) {
        const Component component(strokes, components, number);
        std::vector<Side> sides;
        // All of them first: what is left is the text that they may stand around.
        for (const Upright& line : uprights(strokes, component, leastFrame * strokeScale, widestSide * strokeScale))
            sides.push_back(takeSide(strokes, line, cornerSize * strokeScale));
        std::vector<bool> isKept;
        isKept.reserve(sides.size());
        for (const Side& side : sides)
            isKept.push_back(!isFrame(strokes, side.line, frameReach * strokeScale));
        for (std::size_t i = 0; i < sides.size(); ++i)
            if (isKept[i])
                for (const auto& [x, y] : sides[i].taken)
                    strokes.set(y, x);
    }
}

std::vector<PixelBox> LinePieces::cut(const BitImage& strokes, const MarkComponents& components,
                                      std::size_t component) {
    const Component runs(strokes, components, component);
    std::vector<PixelBox> lines, pieces;
    cutRows(runs, runs.box(), lines);
    for (const PixelBox& line : lines)
        cutColumns(runs, line, pieces);
    return pieces;
}

} // namespace nomara
