#include "core/imaging/FrameMasker.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace nomara::FrameMasker {

namespace {

constexpr std::uint8_t dark[4] = {0x4A, 0x46, 0x44, 0xFF}; // blue, green, red, alpha

bool holdsWhatItSays(const PixelBuffer& image) {
    if (image.width <= 0 || image.height <= 0) return false;
    const auto width = static_cast<std::size_t>(image.width), height = static_cast<std::size_t>(image.height);
    return image.stride >= width * 4 && image.bytes.size() >= image.stride * (height - 1) + width * 4;
}

bool isPlace(const Rect& rect) {
    return std::isfinite(rect.x) && std::isfinite(rect.y) && std::isfinite(rect.width) && std::isfinite(rect.height);
}

void fill(PixelBuffer& image, const PixelBox& rect) {
    const std::size_t offset = static_cast<std::size_t>(rect.left) * 4;
    const std::size_t length = static_cast<std::size_t>(rect.right - rect.left) * 4;
    std::uint8_t* const first = image.row(rect.top) + offset;
    for (std::size_t i = 0; i < length; i += 4)
        std::memcpy(first + i, dark, sizeof dark);
    for (int y = rect.top + 1; y < rect.bottom; ++y)
        std::memcpy(image.row(y) + offset, first, length);
}

} // namespace

Image mask(const PixelBuffer& image, const std::vector<Rect>& rects) {
    if (!holdsWhatItSays(image) || !std::all_of(rects.begin(), rects.end(), isPlace)) return nullptr;
    try {
        const auto masked = std::make_shared<PixelBuffer>(image);
        for (const PixelBox& rect : pixelRects(rects, image.width, image.height))
            fill(*masked, rect);
        return masked;
    } catch (const std::bad_alloc&) {
        return nullptr; // the caller gives the picture up
    }
}

std::vector<PixelBox> pixelRects(const std::vector<Rect>& rects, int width, int height) {
    // Bounded on both sides before the conversion: an edge may lie farther out than an integer reaches.
    const auto pixel = [](double edge, int extent) { return static_cast<int>(std::clamp<double>(edge, 0, extent)); };
    std::vector<PixelBox> covered;
    covered.reserve(rects.size());
    for (const Rect& rect : rects) {
        const PixelBox pixels{pixel(std::floor(rect.x * width), width), pixel(std::floor(rect.y * height), height),
                              pixel(std::ceil((rect.x + rect.width) * width), width),
                              pixel(std::ceil((rect.y + rect.height) * height), height)};
        if (pixels.left < pixels.right && pixels.top < pixels.bottom) covered.push_back(pixels);
    }
    return covered;
}

} // namespace nomara::FrameMasker
