#include "core/imaging/FrameMasker.h"
#include "core/imaging/PerceptualHash.h"
#include "core/imaging/TileDigest.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Colour = std::array<std::uint8_t, 4>; // blue, green, red, alpha

PixelBuffer painted(int width, int height, const std::function<Colour(int, int)>& colour, std::size_t gap = 0) {
    PixelBuffer image;
    image.width = width;
    image.height = height;
    image.stride = static_cast<std::size_t>(width) * 4 + gap;
    image.bytes.assign(image.stride * static_cast<std::size_t>(height), 0xEE);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            std::memcpy(image.row(y) + static_cast<std::size_t>(x) * 4, colour(x, y).data(), 4);
    return image;
}

Colour grey(int value) {
    const auto byte = static_cast<std::uint8_t>(value);
    return {byte, byte, byte, 255};
}

TEST(TileDigest, TellsHowMuchDiffers) {
    // 13 x 3 tiles, those at the edges cut off.
    const auto image = [](std::size_t gap = 0) {
        return painted(
            100, 20, [](int x, int y) { return grey((x * 7 + y * 13) % 251); }, gap);
    };
    const TileDigest plain(image());
    EXPECT_EQ(plain.differentPart(TileDigest(image(12))), 0) << "what lies between rows isn't part of an image";
    EXPECT_EQ(plain.whole(), TileDigest(image(12)).whole());
    const struct {
        const char* name;
        int left, top, right, bottom, tiles;
    } rows[] = {
        {"one pixel", 9, 9, 10, 10, 1},
        {"the last pixel", 99, 19, 100, 20, 1},
        {"over a corner of tiles", 7, 7, 9, 9, 4},
        {"a row", 0, 5, 100, 6, 13},
        {"all", 0, 0, 100, 20, 39},
    };
    for (const auto& row : rows) {
        PixelBuffer other = image();
        for (int y = row.top; y < row.bottom; ++y)
            for (int x = row.left; x < row.right; ++x)
                other.row(y)[x * 4 + 2] ^= 1U;
        const TileDigest changed(other);
        EXPECT_DOUBLE_EQ(plain.differentPart(changed), row.tiles / 39.0) << row.name;
        EXPECT_NE(plain.whole(), changed.whole()) << row.name;
    }
    EXPECT_EQ(plain.differentPart(TileDigest(painted(20, 100, [](int, int) { return grey(0); }))), 1) << "another size";
    EXPECT_EQ(TileDigest().differentPart(TileDigest()), 1) << "no image is like none";
}

TEST(PerceptualHash, TellsWhereBrightnessFalls) {
    constexpr auto all = ~std::uint64_t{0};
    const struct {
        const char* name;
        int width, height;
        std::function<Colour(int, int)> colour;
        std::uint64_t hash;
    } rows[] = {
        {"uniform", 1920, 1080, [](int, int) { return grey(90); }, 0},
        {"darker to the right", 900, 80, [](int x, int) { return grey(255 - x / 4); }, all},
        {"brighter to the right", 900, 80, [](int x, int) { return grey(x / 4); }, 0},
        {"one dark cell, first row", 90, 80, [](int x, int y) { return grey(x / 10 == 3 && y < 10 ? 0 : 200); },
         1 << 2},
        {"one dark cell, last row", 90, 80, [](int x, int y) { return grey(x / 10 == 8 && y >= 70 ? 0 : 200); },
         std::uint64_t{1} << 63},
        // Red counts three tenths, green six, blue one: only the green half is brighter than the other.
        {"colours", 90, 80,
         [](int x, int) {
             return x < 50 ? Colour{0, 255, 0, 0} : Colour{255, 0, 255, 255};
         },
         0x1010101010101010},
        // Cells are one pixel wide; columns past the edge read the last one: bright, dark, dark, dark …
        {"four pixels wide", 4, 80, [](int x, int) { return grey(x == 0 ? 200 : 10); }, 0x0101010101010101},
        {"one pixel", 1, 1, [](int, int) { return grey(255); }, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(PerceptualHash::hash(painted(row.width, row.height, row.colour)), row.hash) << row.name;
        EXPECT_EQ(PerceptualHash::hash(painted(row.width, row.height, row.colour, 28)), row.hash)
            << row.name << ", with gaps between the rows";
    }
    EXPECT_EQ(PerceptualHash::hash(PixelBuffer()), 0U);
}

// Stored hashes are compared with those of later images: they must not change, also at sizes that don't divide evenly.
TEST(PerceptualHash, StaysTheSame) {
    const std::pair<std::pair<int, int>, std::uint64_t> rows[] = {{{1366, 768}, 3578829476531512098},
                                                                  {{100, 61}, 14666595531403672150U},
                                                                  {{10, 9}, 11862645364047001012U},
                                                                  {{8, 7}, 6148850704309966132}};
    for (const auto& [size, hash] : rows) {
        std::minstd_rand random(5);
        const PixelBuffer image = painted(size.first, size.second, [&](int, int) {
            const auto value = static_cast<std::uint32_t>(random());
            return Colour{static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                          static_cast<std::uint8_t>(value >> 16), 255};
        });
        EXPECT_EQ(PerceptualHash::hash(image), hash) << size.first << " by " << size.second;
    }
}

TEST(PerceptualHashDeathTest, AGridOfAnotherSizeEndsTheProcess) {
    for (const std::size_t size : {0U, 71U, 73U}) {
        const std::vector<std::uint8_t> grid(size);
        EXPECT_DEATH(PerceptualHash::hash(grid), "") << size;
    }
}

TEST(FrameMasker, RoundsOutwards) {
    constexpr double far = 1e300;
    const struct {
        const char* name;
        Rect rect;
        std::vector<PixelBox> covered; // of 10 by 10 pixels
    } rows[] = {
        {"between pixels", {0.25, 0.25, 0.5, 0.5}, {{2, 2, 8, 8}}},
        {"on pixels", {0.5, 0.5, 0.25, 0.5}, {{5, 5, 8, 10}}},
        {"a sliver", {0.501, 0.501, 0.0001, 0.0001}, {{5, 5, 6, 6}}},
        {"larger than the picture", {-1, -far, 3, 2 * far}, {{0, 0, 10, 10}}},
        {"half outside", {-0.5, 0.95, 0.55, 1}, {{0, 9, 1, 10}}},
        {"above", {0, -2, 1, 1}, {}},
        {"to the right", {1, 0, 1, 1}, {}},
        {"without area", {0.5, 0.5, 0, 0.2}, {}},
        {"turned inside out", {0.5, 0.5, -0.3, 0.2}, {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(FrameMasker::pixelRects({row.rect}, 10, 10), row.covered) << row.name;
}

TEST(FrameMasker, CoversWhatItIsTold) {
    const PixelBuffer image = painted(
        10, 10, [](int x, int y) { return grey(x * 10 + y); }, 12);
    const PixelBuffer before = image;
    const struct {
        const char* name;
        std::vector<Rect> rects;
    } rows[] = {
        {"nothing", {}},
        {"outside and without area", {{2, 2, 1, 1}, {0.1, 0.1, 0, 0}}},
        {"one", {{0.25, 0.25, 0.5, 0.5}}},
        {"two that overlap, one at the edge", {{0.1, 0.1, 0.3, 0.3}, {0.35, 0.2, 5, 5}}},
        {"all", {{0, 0, 1, 1}}},
    };
    for (const auto& row : rows) {
        const Image masked = FrameMasker::mask(image, row.rects);
        ASSERT_TRUE(masked) << row.name;
        const auto covered = FrameMasker::pixelRects(row.rects, 10, 10);
        for (int y = 0; y < 10; ++y) {
            for (int x = 0; x < 10; ++x) {
                const bool hidden = std::any_of(covered.begin(), covered.end(), [&](const auto& r) {
                    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
                });
                const Colour expected = hidden ? Colour{0x4A, 0x46, 0x44, 0xFF} : grey(x * 10 + y);
                Colour found{};
                std::memcpy(found.data(), masked->row(y) + static_cast<std::size_t>(x) * 4, 4);
                EXPECT_EQ(found, expected) << row.name << " at " << x << ", " << y;
            }
        }
    }
    EXPECT_EQ(image.bytes, before.bytes) << "the source has changed";
}

TEST(FrameMasker, GivesNoPictureWhereAMaskMightBeMissing) {
    const PixelBuffer image(10, 10);
    constexpr double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    for (const Rect& rect : {Rect{nan, 0, 1, 1}, Rect{0, 0, infinity, 1}, Rect{0, -infinity, 1, infinity}})
        EXPECT_FALSE(FrameMasker::mask(image, {{0, 0, 0.5, 0.5}, rect}));

    PixelBuffer shortOfBytes(10, 10), narrow(10, 10);
    shortOfBytes.bytes.pop_back();
    narrow.stride = 39;
    for (const PixelBuffer& broken : {shortOfBytes, narrow, PixelBuffer()})
        EXPECT_FALSE(FrameMasker::mask(broken, {}));
}

} // namespace
} // namespace nomara
