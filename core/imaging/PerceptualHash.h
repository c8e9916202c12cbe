#pragma once

#include "core/imaging/Image.h"

#include <cstdint>
#include <span>

namespace nomara {

/// Sixty-four bits that stay the same while a picture looks the same: whether brightness falls from one cell of a
/// coarse grid to the next. Pure; callable from any thread.
namespace PerceptualHash {

/// Looks at 2592 pixels, whatever the picture's size. 0 for a picture without pixels.
std::uint64_t hash(const PixelBuffer& image);
/// `grid` holds the mean brightness of 8 rows of 9 cells, row by row; any other length ends the process.
std::uint64_t hash(std::span<const std::uint8_t> grid);

} // namespace PerceptualHash

} // namespace nomara
