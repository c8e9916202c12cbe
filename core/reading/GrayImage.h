#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/Image.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nomara {

/// Brightness, a byte for each pixel, rows without gaps.
struct GrayImage {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes;

    GrayImage() = default;
    GrayImage(int pixelWidth, int pixelHeight, std::uint8_t value = 0)
        : width(pixelWidth), height(pixelHeight),
          bytes(static_cast<std::size_t>(pixelWidth) * static_cast<std::size_t>(pixelHeight), value) {}

    const std::uint8_t* row(int y) const { return bytes.data() + offset(y); }
    std::uint8_t* row(int y) { return bytes.data() + offset(y); }

private:
    std::size_t offset(int y) const { return static_cast<std::size_t>(y) * static_cast<std::size_t>(width); }
};

/// The brightness of that part of an image, which must lie within it.
GrayImage grayImage(const PixelBuffer& image, const PixelBox& part);

} // namespace nomara
