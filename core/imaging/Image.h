#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace nomara {

/// Pixels in memory, top row first. Each pixel is the four bytes blue, green, red, alpha.
struct PixelBuffer {
    int width = 0;
    int height = 0;
    std::size_t stride = 0; ///< bytes from one row to the next; at least four for each pixel
    std::vector<std::uint8_t> bytes;

    PixelBuffer() = default;
    /// Rows without gaps, all bytes zero.
    PixelBuffer(int pixelWidth, int pixelHeight)
        : width(pixelWidth), height(pixelHeight), stride(static_cast<std::size_t>(pixelWidth) * 4),
          bytes(stride * static_cast<std::size_t>(pixelHeight)) {}

    const std::uint8_t* row(int y) const { return bytes.data() + static_cast<std::size_t>(y) * stride; }
    std::uint8_t* row(int y) { return bytes.data() + static_cast<std::size_t>(y) * stride; }
};

/// A picture that several threads may hold: nobody changes it any more. Absent where there is none.
using Image = std::shared_ptr<const PixelBuffer>;

} // namespace nomara
