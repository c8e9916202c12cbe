#include "tests/desktop/backends/X11StreamTest.h"

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

const DisplayStreamFilter withoutSecret{{secretApplication}, {}};

/// A server without a window manager, on which the test moves everybody's windows about.
class X11StreamPrivacy : public testing::Test {
protected:
    DisplayID only() { return windowServer.displays().front().id; }
    std::uint32_t waitForSecret() {
        std::uint32_t number = 0;
        waitUntil([&] {
            const auto window = find(windowServer.onScreenWindows(), "secret");
            if (window) number = window->number;
            return window.has_value();
        });
        return number;
    }
    void configure(std::uint32_t window, std::uint16_t mask, std::vector<std::uint32_t> values) const {
        xcb_configure_window(connection.get(), window, mask, values.data());
        xcb_flush(connection.get());
    }
    void move(std::uint32_t window, int x, int y) const {
        configure(window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, {std::uint32_t(x), std::uint32_t(y)});
    }
    void stack(std::uint32_t window, xcb_stack_mode_t mode) const {
        configure(window, XCB_CONFIG_WINDOW_STACK_MODE, {mode});
    }
    void setShown(std::uint32_t window, bool shown) const {
        shown ? xcb_map_window(connection.get(), window) : xcb_unmap_window(connection.get(), window);
        xcb_flush(connection.get());
    }
    /// Every image from now on is searched for the canary.
    void watch(WatchedStream& stream) {
        stream.setOnSample([this](const PixelBuffer& image) {
            ++images;
            leaked += countOf(image, canary);
        });
    }

    OwnServer server;
    Connection connection = connectTo(server.display());
    X11WindowServer windowServer{{}, server.display()};
    const DesktopProgram::Environment environment{{"DISPLAY", server.display()}};
    std::atomic<std::size_t> images = 0, leaked = 0;
};

} // namespace

TEST_F(X11StreamPrivacy, AnExcludedWindowIsBlackWhereItShowsAndOnlyThere) {
    const ColouredWindow below(connection.get(), {0, 0, 640, 480}, green);
    const DesktopProgram program(secretTerminal("40x15+100+100"), environment);
    ASSERT_NE(waitForSecret(), 0U);
    const ColouredWindow above(connection.get(), {150, 150, 100, 50}, blue);

    WatchedStream everything(server.display(), only());
    ASSERT_TRUE(everything.shows([](const PixelBuffer& image) { return countOf(image, canary) > 1'000; }))
        << "else the test looks for a colour that isn't there";
    WatchedStream stream(server.display(), only(), withoutSecret);
    ASSERT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, blue) == 5'000; }));
    const auto image = stream.last()->image;
    EXPECT_EQ(countOf(*image, canary), 0U);
    EXPECT_EQ(colourAt(*image, 110, 110), 0U);
    EXPECT_EQ(colourAt(*image, 90, 90), green);
    EXPECT_EQ(countOf(*image, 0) + countOf(*image, green) + countOf(*image, blue), 640U * 480U);

    // What is hidden may change as it likes. What comes to light is told as a change.
    const auto count = stream.count();
    stream.stream().setFilter({});
    ASSERT_TRUE(stream.shows([](const PixelBuffer& later) { return countOf(later, canary) > 1'000; }));
    stream.stream().setFilter(withoutSecret);
    ASSERT_TRUE(stream.shows([](const PixelBuffer& later) { return countOf(later, canary) == 0; }));
    EXPECT_GE(stream.count(), count + 2);
}

TEST_F(X11StreamPrivacy, NeverShowsAnExcludedWindowHoweverItIsThrownAbout) {
    const ColouredWindow below(connection.get(), {0, 0, 640, 480}, green);
    // Like a program that hangs: what was there before stays on the screen until something paints.
    const ColouredWindow hung(connection.get(), {50, 50, 300, 300}, std::nullopt);
    hung.fill({0, 0, 300, 300}, red);
    const ColouredWindow busy(connection.get(), {400, 300, 200, 150}, blue);
    const DesktopProgram program(secretTerminal("50x20+100+50"), environment);
    const auto secret = waitForSecret();
    ASSERT_NE(secret, 0U);
    WatchedStream stream(server.display(), only(), withoutSecret, 0.005);
    watch(stream);
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));

    std::mt19937 random(20240611);
    const auto upTo = [&](int most) { return int(random() % unsigned(most + 1)); };
    const auto start = std::chrono::steady_clock::now();
    int rounds = 0;
    for (; rounds < 40 || images < 30; ++rounds) {
        ASSERT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(120)) << images << " images";
        // A burst without a pause, then time enough for an image.
        for (int step = upTo(12); step >= 0; --step) {
            switch (upTo(8)) {
            case 0:
                setShown(secret, false);
                break;
            case 1:
                setShown(secret, true);
                break;
            case 2:
                stack(secret, XCB_STACK_MODE_ABOVE);
                break;
            case 3:
                stack(secret, XCB_STACK_MODE_BELOW);
                break;
            case 4:
                hung.move(upTo(300), upTo(200));
                break;
            case 5:
                hung.raise();
                break;
            case 6:
                busy.move(upTo(400), upTo(300));
                break;
            default:
                move(secret, upTo(500) - 50, upTo(400) - 50);
                break;
            }
            busy.fill({0, 0, double(upTo(200)), 150}, random() % 2 == 0 ? blue : green);
            if (upTo(3) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(upTo(15)));
        }
        if (rounds % 4 == 0) setShown(secret, true);
        busy.fill({0, 0, 20, 20}, rounds % 2 == 0 ? red : blue);
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + upTo(400)));
    }
    stream.stream().stop();
    EXPECT_EQ(leaked, 0U) << "in " << images << " images of " << rounds << " rounds";
}

TEST_F(X11StreamPrivacy, WhatAnExcludedWindowLeftOnAHungProgramStaysHidden) {
    const ColouredWindow hung(connection.get(), {0, 0, 640, 480}, std::nullopt);
    hung.fill({0, 0, 640, 480}, red);
    const DesktopProgram program(secretTerminal("40x15+100+100"), environment);
    const auto secret = waitForSecret();
    WatchedStream everything(server.display(), only());
    ASSERT_TRUE(everything.shows([](const PixelBuffer& image) { return countOf(image, canary) > 1'000; }));
    WatchedStream stream(server.display(), only(), withoutSecret);
    watch(stream);
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));

    setShown(secret, false);
    hung.fill({0, 0, 20, 20}, blue);
    ASSERT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, blue) == 400; }));
    EXPECT_GT(countOf(*everything.last()->image, canary), 1'000U) << "the pixels are still there";
    EXPECT_EQ(leaked, 0U);

    hung.fill({0, 0, 640, 480}, green);
    EXPECT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, green) == 640 * 480; }))
        << "painted over, it is shown again";
    EXPECT_EQ(leaked, 0U);
}

// It may show pictures of windows anywhere, and windows have no pixels of their own to put an image together from.
TEST_F(X11StreamPrivacy, WithACompositorThatLeavesWindowsOnTheScreenAndAnExcludedWindowOpenThereIsNoImage) {
    const DesktopProgram other(
        {"xterm", "-T", "other", "-bg", "#e01020", "-geometry", "20x8+0+0", "-e", "sleep", "1000"}, environment);
    std::uint32_t number = 0;
    ASSERT_TRUE(waitUntil([&] {
        if (const auto window = find(windowServer.onScreenWindows(), "other")) number = window->number;
        return number != 0;
    }));
    const auto name = std::string("_NET_WM_CM_S0");
    auto* const atom = xcb_intern_atom_reply(
        connection.get(), xcb_intern_atom(connection.get(), 0, std::uint16_t(name.size()), name.c_str()), nullptr);
    const RawWindow owner({0, 0, 1, 1}, true, connection.get());
    xcb_set_selection_owner(connection.get(), owner.number(), atom->atom, XCB_CURRENT_TIME);
    xcb_flush(connection.get());
    std::free(atom); // NOLINT: xcb allocates with malloc

    WatchedStream stream(server.display(), only(), withoutSecret);
    const auto showsOtherAt = [](int x) {
        return [x](const PixelBuffer& image) {
            return colourAt(image, x + 20, 90) == red && colourAt(image, x - 20, 90) != red;
        };
    };
    move(number, 100, 0);
    ASSERT_TRUE(stream.shows(showsOtherAt(100)));
    {
        const DesktopProgram program(secretTerminal("20x5+300+300"), environment);
        ASSERT_NE(waitForSecret(), 0U);
        // Until what was under way has come through.
        std::size_t count = 0;
        ASSERT_TRUE(waitUntil([&] {
            count = stream.count();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            return stream.count() == count;
        }));
        move(number, 200, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        EXPECT_EQ(stream.count(), count);
    }
    EXPECT_TRUE(stream.shows(showsOtherAt(200))) << "it has closed, and faded away";
}

TEST_F(X11StreamPrivacy, WhatNobodyOwnsCountsAsExcluded) {
    const OwnServer blind({"-extension", "X-Resource"}); // tells no process
    const auto client = connectTo(blind.display());
    const RawWindow named({0, 0, 100, 100}, true, client.get());
    named.setClass("other", "Other");
    named.show();
    const ColouredWindow nameless(client.get(), {200, 200, 100, 100}, canary);
    X11WindowServer displays({}, blind.display());
    WatchedStream stream(blind.display(), displays.displays().front().id, withoutSecret);
    ASSERT_TRUE(stream.shows([](const PixelBuffer& image) { return colourAt(image, 50, 50) == 0xFFFFFF; }));
    EXPECT_EQ(countOf(*stream.last()->image, canary), 0U);
}

// On the desktop, with a window manager: frames, and a menu that the program opens past it.
TEST_F(X11, AnExcludedProgramsFrameAndMenuStayHidden) {
    const DesktopProgram program(secretTerminal("40x15+300+300"));
    ASSERT_TRUE(appears("secret"));
    const auto window = *find(server.onScreenWindows(), "secret");
    ASSERT_TRUE(waitUntil(
        [&] { return find(server.onScreenWindows(), window.number)->bounds == frameByOtherPrograms(window.number); }));
    Rect menu;
    WatchedStream stream("", server.displays().front().id, withoutSecret);
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));
    const Rect frame = frameByOtherPrograms(window.number);
    const auto isBlack = [](const PixelBuffer& image, const Rect& rect) {
        for (int y = int(rect.y); y < int(rect.y + rect.height); ++y)
            for (int x = int(rect.x); x < int(rect.x + rect.width); ++x)
                if (colourAt(image, x, y) != 0) return false;
        return true;
    };
    EXPECT_TRUE(stream.shows([&](const PixelBuffer& image) { return isBlack(image, frame); })) << "the title bar too";

    const auto before = server.onScreenWindows().size();
    outputOf({"xdotool", "mousemove", std::to_string(int(frame.x + frame.width - 10)),
              std::to_string(int(frame.y + frame.height - 10)), "keydown", "ctrl", "mousedown", "1"});
    EXPECT_TRUE(waitUntil([&] { return server.onScreenWindows().size() > before; })) << "the menu";
    for (const auto& each : server.onScreenWindows())
        if (each.pid == program.pid() && each.number != window.number) menu = *each.bounds;
    EXPECT_FALSE(frame.contains(menu));
    const ColouredWindow other(sharedConnection(), {10, 10, 50, 50}, blue); // for a fresh image
    EXPECT_TRUE(stream.shows([&](const PixelBuffer& image) { return countOf(image, blue) == 2'500; }));
    EXPECT_TRUE(isBlack(*stream.last()->image, menu));
    EXPECT_EQ(countOf(*stream.last()->image, canary), 0U);
    outputOf({"xdotool", "mouseup", "1", "keyup", "ctrl"});
}

} // namespace nomara
