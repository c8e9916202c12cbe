#include "core/reading/LineSegmenter.h"

#include "core/reading/LinePieces.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace nomara {

namespace {

constexpr int threshold = 22;     // of brightness: anything from 12 to 32 does about as well
constexpr int tallestStroke = 48; // for one of the first scale, as all that follow
constexpr int gap = 14;           // between words of common size
constexpr int leastHeight = 5;
constexpr int tallestLetters = 160;
static_assert(2 * tallestLetters <= LineSegmenter::mostHeight);

/// Boxes by the rows that they touch, to find neighbours without asking all.
class Bands {
public:
    Bands(int height, const std::vector<PixelBox>& boxes) : m_bands(static_cast<std::size_t>(height / rows + 1)) {
        for (std::size_t i = 0; i < boxes.size(); ++i)
            for (int band = boxes[i].top / rows; band <= (boxes[i].bottom - 1) / rows; ++band)
                m_bands[static_cast<std::size_t>(band)].push_back(i);
    }

    /// Some more than once.
    template <typename Visit>
    void each(int top, int bottom, Visit&& visit) const {
        const int last = std::min((bottom - 1) / rows, static_cast<int>(m_bands.size()) - 1);
        for (int band = std::max(top, 0) / rows; band <= last; ++band)
            for (const std::size_t i : m_bands[static_cast<std::size_t>(band)])
                visit(i);
    }

private:
    static constexpr int rows = 16;
    std::vector<std::vector<std::size_t>> m_bands;
};

PixelBox enclosing(const PixelBox& a, const PixelBox& b) {
    return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right), std::max(a.bottom, b.bottom)};
}

/// Dots, accents, underscores: what is small and stands close above, below or within a line becomes part of it.
std::vector<PixelBox> attachMarks(std::vector<PixelBox> pieces, int height, int scale) {
    const Bands bands(height, pieces);
    std::vector<PixelBox> grown = pieces;
    std::vector<bool> gone(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const PixelBox& small = pieces[i];
        const int reach = 12 * scale;
        int nearest = reach + 1;
        std::size_t line = pieces.size();
        bands.each(small.top - reach, small.bottom + reach, [&](std::size_t j) {
            const PixelBox& big = pieces[j];
            const int h = big.height();
            if (j == i || 2 * small.height() > h || 2 * small.width() > 3 * h) return;
            if (small.right < big.left - h / 2 || small.left > big.right + h / 2) return;
            const int distance = std::max({big.top - small.bottom, small.top - big.bottom, 0});
            if (distance >= nearest) return;
            // What is higher is a sign of the next line.
            if (distance > 0 && (4 * (distance - 1) > h || 3 * small.height() > h)) return;
            nearest = distance;
            line = j;
        });
        if (line == pieces.size()) continue;
        grown[line] = enclosing(grown[line], small);
        gone[i] = true;
    }
    std::vector<PixelBox> kept;
    for (std::size_t i = 0; i < grown.size(); ++i)
        if (!gone[i]) kept.push_back(grown[i]);
    return kept;
}

bool onOneLine(const PixelBox& a, const PixelBox& b) {
    const int low = std::min(a.height(), b.height()), high = std::max(a.height(), b.height());
    const int shared = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    return 10 * shared >= 6 * low && 10 * high <= 22 * low && 10 * std::abs(a.bottom - b.bottom) <= 4 * high;
}

/// Words of one line whose gaps are wider than those of common text.
std::vector<PixelBox> joinWords(std::vector<PixelBox> pieces, const EdgeMarks& marks) {
    std::sort(pieces.begin(), pieces.end(), [](const PixelBox& a, const PixelBox& b) { return a.left < b.left; });
    std::vector<std::size_t> line(pieces.size());
    std::iota(line.begin(), line.end(), 0);
    const auto root = [&](std::size_t i) {
        while (line[i] != i)
            i = line[i] = line[line[i]];
        return i;
    };
    const Bands bands(marks.strokes.height(), pieces);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const PixelBox& left = pieces[i];
        std::size_t next = pieces.size();
        bands.each(left.top, left.bottom, [&](std::size_t j) {
            if (j <= i || j >= next) return;
            const PixelBox& right = pieces[j];
            const int distance = right.left - left.right;
            const int most = std::max(left.height(), right.height());
            if (distance > most || distance < -most / 2 || right.right <= left.right || !onOneLine(left, right)) return;
            const int middle = (std::max(left.top, right.top) + std::min(left.bottom, right.bottom)) / 2;
            if (distance > 0 && marks.borders.any(middle, left.right, right.left)) return;
            next = j;
        });
        if (next < pieces.size()) line[root(next)] = root(i);
    }
    std::vector<PixelBox> joined(pieces.size());
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        PixelBox& box = joined[root(i)];
        box = box.isEmpty() ? pieces[i] : enclosing(box, pieces[i]);
    }
    std::erase_if(joined, [](const PixelBox& box) { return box.isEmpty(); });
    return joined;
}

/// Where a line that is too long is cut: in the middle of the widest gap of the last quarter that still fits.
int cutBefore(const BitImage& strokes, const PixelBox& line) {
    const int end = line.left + LineSegmenter::mostWidth;
    int best = end, widest = 0, from = end - LineSegmenter::mostWidth / 4;
    for (int x = from; x < end; ++x) {
        bool isEmpty = true;
        for (int y = line.top; isEmpty && y < line.bottom; ++y)
            isEmpty = !strokes.any(y, x, x + 1);
        if (!isEmpty) from = x + 1;
        if (x + 1 - from > widest) {
            widest = x + 1 - from;
            best = (from + x + 1) / 2;
        }
    }
    return best;
}

std::vector<PixelBox> cutLong(const BitImage& strokes, std::vector<PixelBox> lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].width() <= LineSegmenter::mostWidth) continue;
        const int x = cutBefore(strokes, lines[i]);
        PixelBox rest = lines[i];
        rest.left = x;
        lines[i].right = x;
        lines.push_back(rest); // and cut in its turn
    }
    return lines;
}

bool mayBeText(const PixelBox& box, int scale) {
    const int h = box.height(), w = box.width();
    return h >= leastHeight * scale && h <= tallestLetters * scale && w >= 2 && 4 * w >= h;
}

} // namespace

int LineSegmenter::strokeScale(int imageWidth, int imageHeight) {
    return imageWidth >= 3'000 || imageHeight >= 1'800 ? 2 : 1;
}

std::vector<PixelBox> LineSegmenter::lines(const GrayImage& image, int strokeScale) {
    if (image.width < 2 || image.height < leastHeight) return {};
    EdgeMarks marks = edgeMarks(image, threshold, tallestStroke * strokeScale);
    const MarkComponents components(marks, gap * strokeScale);
    LinePieces::dropFrames(marks.strokes, components, strokeScale);
    std::vector<PixelBox> pieces;
    for (std::size_t i = 0; i < components.count(); ++i)
        for (const PixelBox& piece : LinePieces::cut(marks.strokes, components, i))
            pieces.push_back(piece);
    pieces = joinWords(attachMarks(std::move(pieces), image.height, strokeScale), marks);
    std::erase_if(pieces, [&](const PixelBox& box) { return !mayBeText(box, strokeScale); });
    pieces = cutLong(marks.strokes, std::move(pieces));
    std::sort(pieces.begin(), pieces.end(),
              [](const PixelBox& a, const PixelBox& b) { return a.top != b.top ? a.top < b.top : a.left < b.left; });
    if (pieces.size() > mostLines) pieces.resize(mostLines);
    return pieces;
}

} // namespace nomara
