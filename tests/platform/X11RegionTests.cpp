#include "platform/linux/x11/X11Region.h"

#include <bitset>
#include <random>

#include <gtest/gtest.h>

namespace nomara {

namespace {

constexpr int side = 12;
using Pixels = std::bitset<std::size_t{side} * side>;

std::size_t indexOf(int x, int y) {
    return std::size_t(y) * side + std::size_t(x);
}

Pixels pixelsOf(const X11Region& region) {
    Pixels pixels;
    for (const PixelBox& box : region.boxes())
        for (int y = box.top; y < box.bottom; ++y)
            for (int x = box.left; x < box.right; ++x) {
                EXPECT_FALSE(pixels[indexOf(x, y)]) << "boxes overlap at " << x << ", " << y;
                pixels.set(indexOf(x, y));
            }
    return pixels;
}

} // namespace

// Against sets of single pixels: small boxes meet in all ways within a few thousand tries.
TEST(X11Region, CountsLikeASetOfPixels) {
    std::mt19937 random(20240301);
    const auto upTo = [&](int most) { return int(random() % unsigned(most + 1)); };
    const auto randomBox = [&] {
        const int left = upTo(side - 1), top = upTo(side - 1);
        return PixelBox{left, top, left + upTo(side - left), top + upTo(side - top)}; // empty ones among them
    };
    for (int round = 0; round < 3'000; ++round) {
        X11Region a, b;
        for (int i = upTo(4); i >= 0; --i)
            a.add(randomBox());
        for (int i = upTo(4); i >= 0; --i)
            b.add(randomBox());
        const Pixels first = pixelsOf(a), second = pixelsOf(b);
        X11Region sum = a, rest = a;
        sum.add(b);
        rest.subtract(b);
        ASSERT_EQ(pixelsOf(sum), first | second) << round;
        ASSERT_EQ(pixelsOf(rest), first & ~second) << round;
        ASSERT_EQ(pixelsOf(a.intersection(b)), first & second) << round;
        ASSERT_EQ(coverTheSame(a, b), first == second) << round;
        ASSERT_EQ(rest.isEmpty(), (first & ~second).none()) << round;
        X11Region whole(PixelBox{0, 0, side, side}), back = whole;
        back.subtract(a);
        whole.subtract(back);
        ASSERT_TRUE(coverTheSame(whole, a)) << "what isn't in the complement, round " << round;
        const int x = upTo(side - 1), y = upTo(side - 1);
        ASSERT_EQ(a.contains(x, y), first[indexOf(x, y)]) << round;
    }
}

// What hides a window may become larger than it should be, never smaller.
TEST(X11Region, OfVeryManyBoxesLosesNothing) {
    X11Region comb;
    for (int i = 0; i < 700; ++i)
        comb.add({i * 3, 0, i * 3 + 1, 10});
    for (int i = 0; i < 700; ++i)
        EXPECT_TRUE(comb.contains(i * 3, 5)) << i;
    EXPECT_LT(comb.boxes().size(), 700U);
}

TEST(X11Region, Moves) {
    X11Region region(PixelBox{0, 0, 10, 10});
    region.subtract(PixelBox{2, 2, 4, 4});
    const X11Region moved = region.moved(-5, 100);
    EXPECT_TRUE(moved.contains(-5, 100));
    EXPECT_FALSE(moved.contains(-3, 102));
    EXPECT_TRUE(coverTheSame(moved.moved(5, -100), region));
}

} // namespace nomara
