#include "platform/linux/x11/X11WindowLives.h"

#include <gtest/gtest.h>

namespace nomara {

TEST(X11WindowLives, EndWithTheWindowAndWithItsProcess) {
    X11WindowLives lives;
    const auto first = lives.lifeOf(1, 10, "100");
    EXPECT_NE(first, 0U);
    EXPECT_EQ(lives.lifeOf(1, 10, "100"), first);
    EXPECT_TRUE(lives.isAlive(1, first));
    const auto other = lives.lifeOf(2, 10, "100");
    EXPECT_NE(other, first);

    lives.end(1);
    EXPECT_FALSE(lives.isAlive(1, first));
    const auto second = lives.lifeOf(1, 10, "100");
    EXPECT_NE(second, first) << "made anew by the same program";
    EXPECT_NE(second, other);

    // The end of the one and the beginning of the next can both be missed.
    const auto third = lives.lifeOf(1, 11, "100");
    EXPECT_NE(third, second) << "another process";
    EXPECT_FALSE(lives.isAlive(1, second));
    EXPECT_NE(lives.lifeOf(1, 11, "200"), third) << "another process of the same number";
    EXPECT_TRUE(lives.isAlive(2, other));
}

} // namespace nomara
