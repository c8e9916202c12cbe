#include "Quillshade/capture/DisplayCapturer.h"
#include "platform/fake/FakeDisplayStream.h"
#include "platform/fake/ManualClock.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

Image picture(int width = 100, int height = 50) {
    return std::make_shared<const PixelBuffer>(width, height);
}

ScreenWindow window(std::uint32_t id, double x) {
    return {id, 7, {x, 0, 100, 100}, std::nullopt};
}

class Capturer : public ::testing::Test {
protected:
    Capturer() {
        capturer.start({{"org.example.Secret"}, {}}, 1.5, "kept", [this](const auto& error) {
            ++starts;
            startError = error;
        });
    }
    void deliver(std::optional<std::vector<Rect>> dirty, double age = 0) {
        ASSERT_TRUE(streams.deliver(1, {picture(), std::move(dirty)}, age));
    }
    /// A sample of which this part has changed.
    void deliverChange(double fraction) { deliver(std::vector<Rect>{{0, 0, 100, 50 * fraction}}); }

    FakeDisplayStreams streams;
    ManualClock clock{{1'700'000'000}, 1'000};
    std::vector<ScreenWindow> windows;
    DisplayCapturer capturer{1, streams.make(), clock, [this] { return windows; }};
    int starts = 0;
    std::optional<DisplayStreamError> startError;
};

} // namespace

TEST_F(Capturer, CountsWhatIsDirtyOfEachSample) {
    struct Case {
        const char* name;
        std::optional<std::vector<Rect>> dirty;
        double sum;
        bool changed;
    };
    const Case cases[] = {
        {"not known", std::nullopt, 1, true},
        {"nothing", std::vector<Rect>{}, 0, false},
        {"a quarter", {{{0, 0, 50, 25}}}, 0.25, true},
        {"twice the same half counts twice", {{{0, 0, 50, 50}, {0, 0, 50, 50}}}, 1, true},
        {"never more than all of it", {{{0, 0, 100, 50}, {0, 0, 100, 50}}}, 1, true},
    };
    for (const auto& [name, dirty, sum, changed] : cases) {
        deliver(dirty);
        EXPECT_DOUBLE_EQ(capturer.marks().dirtyAccumulated, sum) << name;
        EXPECT_EQ(capturer.marks().changed, changed) << name;
        EXPECT_TRUE(capturer.takeLatest().image) << name << ": also an unchanged sample renews the image";
        EXPECT_FALSE(capturer.marks().changed) << name;
        EXPECT_EQ(capturer.marks().dirtyAccumulated, 0) << name;
    }
}

TEST_F(Capturer, AddsUpUntilTakenAndHandsOverAtMostOne) {
    EXPECT_FALSE(capturer.takeLatest().image);
    deliverChange(0.8);
    clock.advance(1);
    deliverChange(0.6);
    EXPECT_DOUBLE_EQ(capturer.marks().dirtyAccumulated, 1.4);
    const auto taken = capturer.takeLatest();
    EXPECT_EQ(taken.dirtyFraction, 1);
    EXPECT_EQ(taken.latestAt, 1'001);
    EXPECT_EQ(taken.width, 100);
    EXPECT_EQ(taken.height, 50);
    EXPECT_EQ(capturer.takeLatest().image, taken.image) << "the image stays until another one comes";

    deliverChange(0.5);
    capturer.clearMarks();
    EXPECT_FALSE(capturer.marks().changed);
    EXPECT_EQ(capturer.takeLatest().dirtyFraction, 0);

    deliverChange(0.5);
    capturer.dropLatest();
    EXPECT_FALSE(capturer.takeLatest().image);
    EXPECT_FALSE(capturer.marks().changed);
}

TEST_F(Capturer, CountsAPlaceThatIsPaintedAgainOnce) {
    const Rect caret{10, 10, 2, 5}, letter{12, 10, 5, 10}, all{0, 0, 100, 50};
    const struct {
        const char* name;
        std::vector<std::optional<std::vector<Rect>>> samples;
        double painted;
    } rows[] = {
        {"a caret", {{{caret}}, {{caret}}, {{caret}}}, 0.002},
        {"letters", {{{caret, letter}}, {{letter}}, {{caret}}}, 0.012},
        {"a caret in a window painted anew", {{{all}}, {{caret}}}, 1},
        {"not known", {{{caret}}, std::nullopt}, 1.002},
    };
    for (const auto& row : rows) {
        for (const auto& sample : row.samples)
            deliver(sample);
        EXPECT_DOUBLE_EQ(capturer.marks().painted, row.painted) << row.name;
        capturer.takeLatest();
        EXPECT_EQ(capturer.marks().painted, 0) << row.name;
    }
    deliver({{caret}});
    capturer.takeLatest();
    capturer.renew(0.25);
    deliver({{caret}});
    EXPECT_DOUBLE_EQ(capturer.marks().painted, 0.252) << "what an image showed that was of no use";
}

TEST_F(Capturer, KeepsTheWindowListsOfTheLastTwoImages) {
    windows = {window(1, 10)};
    deliverChange(0.1);
    auto taken = capturer.takeLatest();
    EXPECT_EQ(taken.latestWindows, windows);
    EXPECT_FALSE(taken.previousWindows);

    const auto before = windows;
    windows = {};
    deliverChange(0);
    taken = capturer.takeLatest();
    EXPECT_TRUE(taken.latestWindows.empty());
    EXPECT_EQ(taken.previousWindows, before) << "a sample without a change moves the lists on";
    deliverChange(0);
    EXPECT_EQ(capturer.takeLatest().previousWindows, windows) << "an empty list is a list";

    windows = {window(2, 0)};
    deliverChange(0);
    capturer.dropLatest();
    deliverChange(0);
    EXPECT_EQ(capturer.takeLatest().previousWindows, windows) << "a dropped image had a list too";
}

TEST_F(Capturer, TakesAPictureThatKeepsMovingForMotion) {
    struct Case {
        const char* name;
        int moving, still;
        double fraction, secondsApart;
        bool motion;
    };
    const Case cases[] = {
        {"a film", 20, 0, 0.5, 1, true},
        {"twelve are enough", 12, 0, 0.04, 1, true},
        {"eleven aren't", 11, 0, 1, 1, false},
        {"four of five", 16, 4, 0.04, 1, true},
        {"less than four of five", 15, 4, 0.04, 1, false},
        {"a caret", 25, 0, 0.039, 1, false},
        {"too seldom", 30, 0, 1, 3, false},
        {"the oldest are pushed out", 60, 16, 1, 0.1, false},
    };
    for (const auto& row : cases) {
        clock.advance(1'000);
        for (int i = 0; i < row.moving + row.still; ++i) {
            if (i > 0) clock.advance(row.secondsApart);
            deliverChange(i < row.moving ? row.fraction : 0);
        }
        EXPECT_EQ(capturer.looksLikeMotion(clock.uptime()), row.motion) << row.name;
        EXPECT_FALSE(capturer.looksLikeMotion(clock.uptime() + 30.5)) << row.name << ", half a minute later";
    }
}

TEST_F(Capturer, TellsItsStreamWhatChanges) {
    EXPECT_EQ(starts, 1);
    EXPECT_FALSE(startError);
    EXPECT_EQ(streams.configuration(1), (DisplayStreamConfiguration{1, {{"org.example.Secret"}, {}}, 1.5, "kept"}));
    capturer.updateInterval(3);
    capturer.updateFilter({{"org.example.Other"}, {4}});
    EXPECT_EQ(streams.configuration(1), (DisplayStreamConfiguration{1, {{"org.example.Other"}, {4}}, 3, "kept"}));
    deliver(std::nullopt, 0.25);
    EXPECT_EQ(capturer.takeLatest().latestAt, 999.75) << "an image is as old as its pixels";
    capturer.stop();
    EXPECT_FALSE(streams.deliver(1, {picture(), std::nullopt}));
}

TEST_F(Capturer, TellsOnceThatItsStreamEndedAndForgetsTheImage) {
    const DisplayStreamError gone{DisplayStreamError::Kind::displayGone, "The display is gone."};
    int told = 0;
    const auto onStop = [&](DisplayCapturer& which, const DisplayStreamError& error) {
        EXPECT_EQ(&which, &capturer);
        EXPECT_EQ(error, gone);
        ++told;
    };
    deliverChange(1);
    ASSERT_TRUE(streams.end(1, gone));
    EXPECT_EQ(told, 0);
    EXPECT_FALSE(capturer.takeLatest().image);
    capturer.setOnStop(onStop);
    EXPECT_EQ(told, 1) << "also where it ended before anybody asked";
    capturer.setOnStop(onStop);
    EXPECT_EQ(told, 1);
}

TEST(DisplayStream, ImagesHaveEvenSidesAndABoundedWidth) {
    struct Case {
        double width, height, scale;
        PixelSize size;
    };
    const Case cases[] = {
        {1920, 1080, 1, {1920, 1080}}, {1366, 769, 1, {1366, 768}},   {1365, 767, 1, {1364, 766}},
        {3840, 2160, 1, {3840, 2160}}, {3841, 2160, 1, {3840, 2158}}, {7680, 4320, 1, {3840, 2160}},
        {5120, 2880, 2, {3840, 2160}}, {1440, 900, 2, {2880, 1800}},
    };
    for (const auto& [width, height, scale, size] : cases)
        EXPECT_EQ(streamImageSize({1, "", {0, 0, width, height}, scale, true}), size)
            << width << "x" << height << " at " << scale;
}

} // namespace nomara
