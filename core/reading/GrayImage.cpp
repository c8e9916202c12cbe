#include "core/reading/GrayImage.h"

namespace nomara {

GrayImage grayImage(const PixelBuffer& image, const PixelBox& part) {
    GrayImage gray(part.width(), part.height());
    for (int y = 0; y < gray.height; ++y) {
        const std::uint8_t* from = image.row(part.top + y) + static_cast<std::size_t>(part.left) * 4;
        std::uint8_t* const to = gray.row(y);
        // ITU-R BT.601 in 256ths.
        for (int x = 0; x < gray.width; ++x, from += 4)
            to[x] = static_cast<std::uint8_t>((29U * from[0] + 150U * from[1] + 77U * from[2] + 128U) >> 8);
    }
    return gray;
}

} // namespace nomara
