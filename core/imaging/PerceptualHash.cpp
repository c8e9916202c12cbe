#include "core/imaging/PerceptualHash.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace nomara::PerceptualHash {

namespace {

constexpr int columns = 9, rows = 8;
constexpr int samples = 6; // in each direction of a cell

// The middle of each sixth of each cell, from the left or from the top.
template <int cells>
std::array<int, static_cast<std::size_t>(cells) * samples> samplePoints(int extent) {
    std::array<int, static_cast<std::size_t>(cells) * samples> points{};
    const int cell = std::max(extent / cells, 1);
    auto* point = points.data();
    for (int c = 0; c < cells; ++c)
        for (int s = 0; s < samples; ++s)
            *point++ = std::min(c * cell + (cell / 2 + s * cell) / samples, extent - 1);
    return points;
}

unsigned luma(const std::uint8_t* pixel) {
    return (299U * pixel[2] + 587U * pixel[1] + 114U * pixel[0]) / 1000U;
}

} // namespace

std::uint64_t hash(const PixelBuffer& image) {
    if (image.width <= 0 || image.height <= 0 || image.bytes.empty()) return 0;
    const auto xs = samplePoints<columns>(image.width);
    const auto ys = samplePoints<rows>(image.height);
    std::array<std::uint8_t, static_cast<std::size_t>(columns) * rows> grid{};
    for (std::size_t cellRow = 0; cellRow < rows; ++cellRow) {
        // Row by row through the picture: a cell's samples lie on six rows that its neighbours share.
        std::array<unsigned, columns> sums{};
        for (std::size_t i = 0; i < samples; ++i) {
            const std::uint8_t* const row = image.row(ys[cellRow * samples + i]);
            for (std::size_t x = 0; x < xs.size(); ++x)
                sums[x / samples] += luma(row + static_cast<std::size_t>(xs[x]) * 4);
        }
        for (std::size_t c = 0; c < columns; ++c)
            grid[cellRow * columns + c] = static_cast<std::uint8_t>(sums[c] / (samples * samples));
    }
    return hash(grid);
}

std::uint64_t hash(std::span<const std::uint8_t> grid) {
    if (grid.size() != static_cast<std::size_t>(columns) * rows) std::abort();
    std::uint64_t bits = 0;
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t c = 0; c + 1 < columns; ++c)
            if (grid[r * columns + c + 1] < grid[r * columns + c]) bits |= std::uint64_t{1} << (8 * r + c);
    return bits;
}

} // namespace nomara::PerceptualHash
