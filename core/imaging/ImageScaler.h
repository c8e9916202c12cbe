#pragma once

#include "core/imaging/Image.h"

#include <cstddef>
#include <cstdint>

namespace nomara {

/// Makes pictures smaller. Pure.
namespace ImageScaler {

/// Each new pixel is the mean of all that it stands for, so that thin lines stay. `pixels`: four bytes each, rows
/// `stride` bytes apart. The new size is at least one pixel and at most the old one, in both directions.
PixelBuffer smaller(const std::uint8_t* pixels, std::size_t stride, int width, int height, int newWidth, int newHeight);

} // namespace ImageScaler

} // namespace nomara
