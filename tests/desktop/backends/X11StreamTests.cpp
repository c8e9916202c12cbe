#include "tests/desktop/backends/X11StreamTest.h"

#include <algorithm>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

/// A server of the test's own, 640×480, with nothing on it.
class X11Stream : public testing::Test {
protected:
    DisplayID only() {
        const auto displays = windowServer.displays();
        return displays.empty() ? 0 : displays.front().id;
    }
    /// All answers of the server to what was asked of it so far.
    void settle() const {
        std::free(xcb_get_input_focus_reply(connection.get(), xcb_get_input_focus(connection.get()), nullptr));
    } // NOLINT: xcb allocates with malloc

    OwnServer server;
    Connection connection = connectTo(server.display());
    X11WindowServer windowServer{{}, server.display()};
};

bool covers(const std::vector<Rect>& dirty, const Rect& rect) {
    return std::ranges::any_of(dirty, [&](const Rect& each) { return each.contains(rect); });
}

double areaOf(const std::vector<Rect>& dirty) {
    double area = 0;
    for (const Rect& rect : dirty)
        area += rect.width * rect.height;
    return area;
}

} // namespace

TEST_F(X11Stream, ShowsWhatTheScreenShowsAndTellsWhatChanged) {
    const ColouredWindow window(connection.get(), {40, 30, 200, 100}, red);
    settle();
    WatchedStream stream(server.display(), only());
    ASSERT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, red) == 20'000; }));
    const auto first = *stream.last();
    EXPECT_EQ(first.image->width, 640);
    EXPECT_EQ(first.image->height, 480);
    EXPECT_EQ(colourAt(*first.image, 40, 30), red);
    EXPECT_EQ(colourAt(*first.image, 239, 129), red);
    EXPECT_NE(colourAt(*first.image, 39, 30), red);
    EXPECT_EQ(first.image->row(0)[3], 255) << "opaque";
    EXPECT_TRUE(covers(first.dirty, {0, 0, 640, 480})) << "all of the first image is new";

    // Nothing is painted: nothing comes. A later stroke comes alone, and tells its own place.
    stream.take();
    window.fill({10, 20, 30, 40}, green);
    ASSERT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, green) == 1'200; }));
    const auto samples = stream.take();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_TRUE(covers(samples[0].dirty, {50, 50, 30, 40}));
    EXPECT_LE(areaOf(samples[0].dirty), 2'000);
}

TEST_F(X11Stream, GivesNoImageWhileNothingChangesAndNoMoreThanTheIntervalAllows) {
    const ColouredWindow window(connection.get(), {0, 0, 100, 100}, red);
    settle();
    int taken = 0;
    WatchedStream stream(server.display(), only(), {{secretApplication}, {}}, 0.02, [&] { ++taken; });
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));
    // Until the strokes of the start are over.
    ASSERT_TRUE(waitUntil([&] {
        const auto before = stream.count();
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        return stream.count() == before;
    }));
    auto quiet = stream.count();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_EQ(stream.count(), quiet);

    // Whoever asks for one gets it all the same, and learns that nothing has changed.
    stream.take();
    stream.stream().renew();
    ASSERT_TRUE(waitUntil([&] { return stream.count() > quiet; }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(stream.count(), ++quiet) << "once for each request";
    EXPECT_TRUE(stream.take().at(0).dirty.empty());

    stream.stream().setInterval(1);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; std::chrono::steady_clock::now() - start < std::chrono::milliseconds(2'500); ++i) {
        window.fill({0, 0, 50, 50}, i % 2 == 0 ? green : blue);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    EXPECT_GE(stream.count(), quiet + 1);
    EXPECT_LE(stream.count(), quiet + std::size_t(passed.count()) + 2);
    stream.stream().stop();
    EXPECT_LE(std::size_t(taken), stream.count() + 1) << "an image is taken only to be handed over";
}

TEST_F(X11Stream, TwoDisplaysHaveTheirOwnImages) {
    outputOf({"xrandr", "-d", server.display(), "--setmonitor", "LEFT", "320/100x480/100+0+0", "screen"});
    outputOf({"xrandr", "-d", server.display(), "--setmonitor", "RIGHT", "320/100x480/100+320+0", "none"});
    const auto displays = windowServer.displays();
    ASSERT_EQ(displays.size(), 2U);
    const ColouredWindow window(connection.get(), {300, 10, 100, 20}, red); // 20 wide on the left, 80 on the right
    settle();
    WatchedStream left(server.display(), displays[0].id), right(server.display(), displays[1].id);
    ASSERT_TRUE(left.shows([](const PixelBuffer& image) { return countOf(image, red) == 400; }));
    ASSERT_TRUE(right.shows([](const PixelBuffer& image) { return countOf(image, red) == 1'600; }));
    EXPECT_EQ(colourAt(*right.last()->image, 0, 10), red);
    const auto before = left.count();
    window.fill({50, 0, 10, 10}, green);
    ASSERT_TRUE(right.shows([](const PixelBuffer& image) { return countOf(image, green) == 100; }));
    EXPECT_TRUE(covers(right.last()->dirty, {30, 10, 10, 10}));
    window.fill({0, 0, 10, 10}, green);
    ASSERT_TRUE(left.shows([](const PixelBuffer& image) { return countOf(image, green) == 100; }));
    EXPECT_EQ(left.count(), before + 1) << "what happens on the other display costs no image";

    // Gone, without a word from RandR.
    outputOf({"xrandr", "-d", server.display(), "--delmonitor", "RIGHT"});
    ASSERT_TRUE(waitUntil([&] { return right.stopError().has_value(); }));
    EXPECT_EQ(right.stopError()->kind, DisplayStreamError::Kind::displayGone);
    EXPECT_FALSE(left.stopError());
}

TEST_F(X11Stream, FollowsAResizedScreen) {
    WatchedStream stream(server.display(), only());
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));
    const auto xrandr = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"xrandr", "-d", server.display()});
        outputOf(arguments);
    };
    xrandr({"--newmode", "small", "20", "401", "410", "420", "500", "300", "310", "320", "330"});
    xrandr({"--addmode", "screen", "small"});
    xrandr({"--output", "screen", "--mode", "small"});
    EXPECT_TRUE(stream.shows([](const PixelBuffer& image) { return image.width == 400 && image.height == 300; }))
        << "the odd last column is left off";
    EXPECT_FALSE(stream.stopError());
}

TEST_F(X11Stream, StartsOnlyForADisplayThatIsThere) {
    WatchedStream unknown(server.display(), only() + 1);
    ASSERT_TRUE(waitUntil([&] { return unknown.startError().has_value(); }));
    EXPECT_EQ(unknown.startError()->kind, DisplayStreamError::Kind::displayGone);
    WatchedStream nowhere(":9999", 1);
    ASSERT_TRUE(waitUntil([&] { return nowhere.startError().has_value(); }));
    EXPECT_EQ(nowhere.startError()->message, "The X server at :9999 can't be reached.");
}

TEST(X11StreamEnd, TellsThatTheServerDied) {
    OwnServer server;
    X11WindowServer windowServer({}, server.display());
    WatchedStream stream(server.display(), windowServer.displays().front().id);
    ASSERT_TRUE(waitUntil([&] { return stream.count() > 0; }));
    server.end();
    ASSERT_TRUE(waitUntil([&] { return stream.stopError().has_value(); }));
    EXPECT_EQ(stream.stopError()->kind, DisplayStreamError::Kind::connectionLost);
    EXPECT_EQ(stream.stopError()->message, "The X server has gone.");
}

TEST_F(X11Stream, StopsAtOnceUnderLoadAndWhileTheServerIsHeld) {
    const ColouredWindow window(connection.get(), {0, 0, 640, 480}, red);
    for (int round = 0; round < 20; ++round) {
        WatchedStream stream(server.display(), only(), {{secretApplication}, {}}, 0.001);
        for (int i = 0; i < round * 20; ++i)
            window.fill({0, 0, 640, 480}, i % 2 == 0 ? green : blue);
        if (round % 5 == 4) {
            ASSERT_TRUE(waitUntil([&] { return stream.hasStarted(); }));
            xcb_grab_server(connection.get());
        }
        window.fill({0, 0, 640, 480}, red);
        settle();
        stream.stream().stop();
        const auto count = stream.count();
        xcb_ungrab_server(connection.get());
        window.fill({0, 0, 640, 480}, green);
        settle();
        EXPECT_EQ(stream.count(), count) << "nothing comes after a stop, round " << round;
    }
}

TEST_F(X11Stream, WorksWithoutSharedMemory) {
    const OwnServer poor({"-extension", "MIT-SHM"});
    const auto client = connectTo(poor.display());
    const ColouredWindow window(client.get(), {600, 400, 100, 100}, red);
    X11WindowServer displays({}, poor.display());
    WatchedStream stream(poor.display(), displays.displays().front().id);
    EXPECT_TRUE(stream.shows([](const PixelBuffer& image) { return countOf(image, red) == 3'200; }));
}

} // namespace nomara
