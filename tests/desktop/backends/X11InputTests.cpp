#include "platform/linux/x11/X11InputActivity.h"
#include "tests/desktop/backends/X11Test.h"

#include <gtest/gtest.h>

namespace nomara {

TEST_F(X11, MeasuresIdleTime) {
    bool mayBeSecure = false;
    X11InputActivity activity([&] { return mayBeSecure; });
    EXPECT_TRUE(waitUntil([&] { return activity.secondsSinceLastInput() > 0.4; }));
    EXPECT_TRUE(waitUntil([&] {
        outputOf({"xdotool", "mousemove_relative", "--", "3", "3", "mousemove_relative", "--", "-3", "-3"});
        return activity.secondsSinceLastInput() < 0.4;
    }));
    EXPECT_EQ(activity.secureInput(), SecureInput::off);
    mayBeSecure = true;
    EXPECT_EQ(activity.secureInput(), SecureInput::possible);
}

} // namespace nomara
