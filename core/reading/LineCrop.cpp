#include "core/reading/LineCrop.h"

#include "core/imaging/ImageScaler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace nomara {

namespace {

constexpr int sideMargin = 4;
constexpr int leastMargin = 3, marginShare = 2; // above and below: half of the height
// Heights of a line. The network's own margin is four pixels, so that the letters of a low line come out small to it:
// that saves time, and now and then loses a letter.
constexpr int quickMost = 24, quickHeight = 16;
constexpr int carefulMost = 35, carefulHeight = 30, low = 22;
constexpr double enlargement = 1.5;
constexpr int similar = 12;              // of brightness
constexpr double leastBackground = 0.25; // of the pixels; three quarters and more in text

/// Each new pixel is the mean of all that it stands for.
GrayImage smaller(const GrayImage& image, int width, int height) {
    PixelBuffer whole(image.width, image.height);
    for (std::size_t i = 0; i < image.bytes.size(); ++i)
        std::memset(whole.bytes.data() + i * 4, image.bytes[i], 4);
    const PixelBuffer scaled =
        ImageScaler::smaller(whole.bytes.data(), whole.stride, whole.width, whole.height, width, height);
    GrayImage result(width, height);
    for (std::size_t i = 0; i < result.bytes.size(); ++i)
        result.bytes[i] = scaled.bytes[i * 4];
    return result;
}

/// Where a new pixel lies between two old ones, and by how many 256ths it is nearer to the second.
struct Between {
    int first = 0, second = 0;
    int share = 0;
};

std::vector<Between> between(int size, int newSize) {
    std::vector<Between> all(static_cast<std::size_t>(newSize));
    for (int i = 0; i < newSize; ++i) {
        const double at = std::clamp((i + 0.5) * size / newSize - 0.5, 0.0, size - 1.0);
        const int first = static_cast<int>(at);
        all[static_cast<std::size_t>(i)] = {first, std::min(first + 1, size - 1),
                                            static_cast<int>(std::lround((at - first) * 256))};
    }
    return all;
}

GrayImage larger(const GrayImage& image, int width, int height) {
    GrayImage result(width, height);
    const std::vector<Between> columns = between(image.width, width), rows = between(image.height, height);
    for (int y = 0; y < height; ++y) {
        const Between& row = rows[static_cast<std::size_t>(y)];
        const std::uint8_t* const above = image.row(row.first);
        const std::uint8_t* const below = image.row(row.second);
        std::uint8_t* const to = result.row(y);
        for (int x = 0; x < width; ++x) {
            const Between& column = columns[static_cast<std::size_t>(x)];
            const int left = above[column.first] * (256 - row.share) + below[column.first] * row.share;
            const int right = above[column.second] * (256 - row.share) + below[column.second] * row.share;
            to[x] = static_cast<std::uint8_t>((left * (256 - column.share) + right * column.share + 32'768) >> 16);
        }
    }
    return result;
}

} // namespace

std::optional<LineCrop> LineCrop::make(const GrayImage& image, const PixelBox& line) {
    // The outermost pixels of a letter are often too faint to be marked.
    const PixelBox box{std::max(line.left - 1, 0), std::max(line.top - 1, 0), std::min(line.right + 1, image.width),
                       std::min(line.bottom + 1, image.height)};
    std::array<int, 256> counts{};
    for (int y = box.top; y < box.bottom; ++y)
        for (int x = box.left; x < box.right; ++x)
            ++counts[image.row(y)[x]];
    const auto background = static_cast<int>(std::max_element(counts.begin(), counts.end()) - counts.begin());
    const int all = box.width() * box.height();
    int alike = 0;
    std::int64_t sum = 0;
    for (int value = 0; value < 256; ++value) {
        const int count = counts[static_cast<std::size_t>(value)];
        sum += std::int64_t{count} * value;
        if (std::abs(value - background) <= similar) alike += count;
    }
    if (alike < leastBackground * all) return std::nullopt;
    const std::uint8_t flip = sum > std::int64_t{background} * all ? 255 : 0; // light on dark

    LineCrop crop{.box = box, .marginX = sideMargin, .marginY = std::max(leastMargin, box.height() / marginShare)};
    crop.pixels = GrayImage(box.width() + 2 * crop.marginX, box.height() + 2 * crop.marginY,
                            static_cast<std::uint8_t>(background ^ flip));
    for (int y = 0; y < box.height(); ++y) {
        const std::uint8_t* const from = image.row(box.top + y) + box.left;
        std::uint8_t* const to = crop.pixels.row(crop.marginY + y) + crop.marginX;
        for (int x = 0; x < box.width(); ++x)
            to[x] = from[x] ^ flip;
    }
    return crop;
}

double LineCrop::scale(Size size) const {
    const int height = box.height();
    if (size == Size::quick) return height > quickMost ? static_cast<double>(quickHeight) / height : 1;
    if (height > carefulMost) return static_cast<double>(carefulHeight) / height;
    return height < low ? enlargement : 1;
}

GrayImage LineCrop::at(Size size) const {
    const double factor = scale(size);
    if (factor == 1) return pixels;
    const auto scaled = [&](int count) { return std::max(static_cast<int>(std::lround(count * factor)), 1); };
    return factor > 1 ? larger(pixels, scaled(pixels.width), scaled(pixels.height))
                      : smaller(pixels, scaled(pixels.width), scaled(pixels.height));
}

} // namespace nomara
