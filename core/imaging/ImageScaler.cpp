#include "core/imaging/ImageScaler.h"

#include <algorithm>
#include <vector>

namespace nomara {

namespace {

/// The old pixels that a new one covers, the first and the last of them in part. Weights add up to the old size over
/// the new one, in units of 1 / new size.
struct Span {
    int first = 0, last = 0;
    std::uint32_t firstWeight = 0, lastWeight = 0;
};

std::vector<Span> spans(int size, int newSize) {
    std::vector<Span> all(static_cast<std::size_t>(newSize));
    for (int i = 0; i < newSize; ++i) {
        const std::int64_t begin = std::int64_t(i) * size, end = begin + size; // in units of 1 / newSize
        Span& span = all[static_cast<std::size_t>(i)];
        span.first = int(begin / newSize);
        span.last = int((end - 1) / newSize);
        span.firstWeight = std::uint32_t(std::min(end, std::int64_t(span.first + 1) * newSize) - begin);
        span.lastWeight =
            span.last == span.first ? span.firstWeight : std::uint32_t(end - std::int64_t(span.last) * newSize);
    }
    return all;
}

std::uint32_t weight(const Span& span, int i, int newSize) {
    if (i == span.first) return span.firstWeight;
    return i == span.last ? span.lastWeight : std::uint32_t(newSize);
}

} // namespace

PixelBuffer ImageScaler::smaller(const std::uint8_t* pixels, std::size_t stride, int width, int height, int newWidth,
                                 int newHeight) {
    PixelBuffer result(newWidth, newHeight);
    const auto columns = spans(width, newWidth), rows = spans(height, newHeight);
    const std::uint64_t all = std::uint64_t(width) * std::uint64_t(height);
    std::vector<std::uint64_t> sums(static_cast<std::size_t>(newWidth) * 4);
    for (int y = 0; y < newHeight; ++y) {
        std::ranges::fill(sums, 0);
        const Span& row = rows[static_cast<std::size_t>(y)];
        for (int oldY = row.first; oldY <= row.last; ++oldY) {
            const std::uint8_t* const from = pixels + static_cast<std::size_t>(oldY) * stride;
            const std::uint64_t rowWeight = weight(row, oldY, newHeight);
            for (std::size_t x = 0; x < columns.size(); ++x) {
                const Span& column = columns[x];
                std::uint64_t mean[4] = {};
                for (int oldX = column.first; oldX <= column.last; ++oldX) {
                    const std::uint64_t columnWeight = weight(column, oldX, newWidth);
                    for (std::size_t c = 0; c < 4; ++c)
                        mean[c] += columnWeight * from[static_cast<std::size_t>(oldX) * 4 + c];
                }
                for (std::size_t c = 0; c < 4; ++c)
                    sums[x * 4 + c] += rowWeight * mean[c];
            }
        }
        std::uint8_t* const to = result.row(y);
        for (std::size_t i = 0; i < sums.size(); ++i)
            to[i] = static_cast<std::uint8_t>((sums[i] + all / 2) / all);
    }
    return result;
}

} // namespace nomara
