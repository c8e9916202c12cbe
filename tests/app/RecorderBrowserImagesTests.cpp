#include "tests/app/ImageHarness.h"

namespace nomara {
namespace {

using Kind = SkipReason::Kind;

struct BrowserImages : ImageHarness {
    static FakeAccessibility::Window accessible(const std::string& title, const Rect& frame, bool isPrivate) {
        FakeAccessibility::Window window;
        window.title = title;
        window.frame = frame;
        window.text = words(300);
        window.facts = {"https://a.example/" + title, isPrivate, true};
        return window;
    }
    static WindowInfo onScreen(std::uint32_t number, ProcessID pid, const std::string& title, const Rect& frame) {
        WindowInfo info;
        info.number = number;
        info.pid = pid;
        info.title = title;
        info.bounds = info.content = frame;
        return info;
    }
    /// Delivers an image again and again until one is stored: the streams hear of a window to be hidden in their own
    /// time.
    void deliverUntilStored(const DisplaySample& sample) {
        const auto before = storedFrames().size();
        for (int i = 0; i < 2'000 && storedFrames().size() == before; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            clock.advance(0.1);
            ASSERT_TRUE(deliverImage(1, sample));
            tick(1);
        }
    }
    void deliverUntilStored(const Image& image) { deliverUntilStored(DisplaySample{image, std::vector<Rect>()}); }
    /// The editor in front, a private window of the browser beside it.
    void showPrivateWindow(const Rect& frame) {
        identities[chromium.pid] = {"org.chromium.Chromium", "Chromium", "", true};
        accessibility.setWindows(chromium.pid, {accessible("Secret", frame, true)});
        windowServer.setWindows(
            {onScreen(1, editor.pid, "Notes", {0, 0, 800, 600}), onScreen(5, chromium.pid, "Secret", frame)});
    }
};

TEST(RecorderImages, WhereAnImageIsMadeOfWindowsAPrivateOneIsPaintedOverAtOnceAndJustWhereItShows) {
    BrowserImages h;
    h.showPrivateWindow({960, 0, 960, 1080});
    h.start();
    DisplaySample sample{picture(1), std::nullopt, std::vector<ImageLayer>()};
    sample.layers->push_back({{100, 1}, editor.pid, {{0, 0, 192, 108}}});
    sample.layers->push_back({{101, 5}, chromium.pid, {{10, 0, 20, 30}, {30, 0, 5, 10}}});
    h.deliverUntilStored(sample);
    ASSERT_EQ(h.storedFrames().size(), 1U);
    const auto stored = h.video(h.storedFrames()[0]).frames.at(0);
    const auto original = picture(1);
    for (int y = 0; y < stored->height; ++y)
        for (int x = 0; x < stored->width; ++x) {
            const bool hidden = (x >= 10 && x < 30 && y < 30) || (x >= 30 && x < 35 && y < 10);
            const std::uint8_t blue = stored->row(y)[std::ptrdiff_t{4} * x];
            ASSERT_EQ(blue, hidden ? 0x4A : original->row(y)[std::ptrdiff_t{4} * x]) << x << " " << y;
        }
}

TEST(RecorderImages, APrivateWindowBesideIsPaintedOverOnceItStoodStill) {
    BrowserImages h;
    const Rect right{960, 0, 960, 1080};
    h.showPrivateWindow(right);
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    EXPECT_TRUE(h.storedFrames().empty());
    EXPECT_EQ(h.lastLook(), LookResult::staleImage) << "the stream didn't know yet that it must not be seen";
    h.deliverUntilStored(picture(1));
    ASSERT_EQ(h.storedFrames().size(), 1U);
    EXPECT_EQ(h.streams.configuration(1)->filter.excludedWindows, std::vector<std::uint32_t>{5});
    const auto stored = h.video(h.storedFrames()[0]).frames.at(0);
    const auto original = picture(1);
    for (int y = 0; y < stored->height; ++y)
        for (int x = 0; x < stored->width; ++x) {
            const bool hidden = x >= 95;
            const std::uint8_t blue = stored->row(y)[std::ptrdiff_t{4} * x];
            ASSERT_EQ(blue, hidden ? 0x4A : original->row(y)[std::ptrdiff_t{4} * x]) << x << " " << y;
        }

    // It is dragged: no image until it stands still again, and then none is lost.
    h.showPrivateWindow({900, 0, 960, 1080});
    h.deliver(picture(2), 0.5);
    h.tick(2);
    h.showPrivateWindow({800, 0, 960, 1080});
    h.deliver(picture(3), 0.5);
    h.tick(2);
    EXPECT_EQ(h.storedFrames().size(), 1U);
    h.streams.takeLog();
    h.tick(1);
    h.deliver(picture(3), 0);
    h.input.setSecondsSinceLastInput(5);
    h.tick(2);
    EXPECT_EQ(h.storedFrames().size(), 2U);
}

TEST(RecorderImages, WhatIsPaintedOverIsHiddenFromReadingToo) {
    const auto isHidden = [](const Image& image) {
        for (int y = 0; y < image->height; ++y)
            for (int x = 96; x < image->width; ++x)
                if (image->row(y)[std::ptrdiff_t{4} * x] != image->row(0)[std::ptrdiff_t{4} * 96]) return false;
        return true;
    };
    for (const bool isReadLater : {false, true}) {
        BrowserImages h;
        h.showPrivateWindow({960, 0, 960, 1080});
        h.show(editor, "Notes", ""); // so that the picture is read
        if (isReadLater) h.recognizer.setReading([](const TextRequest&) { return TextResult{{}, false}; });
        h.recordImages();
        ASSERT_TRUE(h.awaitStreams({1}));
        h.tick();
        h.deliverUntilStored(picture(1));
        ASSERT_EQ(h.storedFrames().size(), 1U);
        ASSERT_FALSE(isHidden(picture(1)));
        ASSERT_EQ(h.recognizer.requests().size(), 1U);
        EXPECT_TRUE(isHidden(h.recognizer.requests()[0].image));
        ASSERT_EQ(h.readSoon.size(), isReadLater ? 1U : 0U);
        for (const auto& handed : h.readSoon)
            EXPECT_TRUE(isHidden(handed.image));
    }
}

TEST(RecorderImages, APageThatChangesWhileItIsReadCostsTheImage) {
    BrowserImages h;
    const Rect frame{0, 0, 800, 600};
    h.config.excludedSites = {"bank.example"};
    h.recognizer.setUnavailable("Install the data."); // so it is the window that is read
    h.identities[chromium.pid] = {"org.chromium.Chromium", "Chromium", "", true};
    h.accessibility.setWindows(chromium.pid, {h.accessible("Public", frame, false)});
    h.windowServer.setWindows({h.onScreen(6, chromium.pid, "Public", frame)});
    h.applications.activate(chromium);
    h.mainThread.run();
    h.recordImages(h.config);
    ASSERT_TRUE(h.awaitStreams({1}));
    h.tick(1);
    h.deliver(picture(1), 1);
    h.tick(0.8);
    EXPECT_TRUE(h.storedFrames().empty());
    EXPECT_EQ(h.lastLook(), LookResult::staleImage) << "it is from before this page was known to be harmless";
    h.accessibility.setOnText([&] {
        auto changed = BrowserImages::accessible("Public", frame, false);
        changed.facts.url = "https://bank.example/";
        h.accessibility.setWindows(chromium.pid, {changed});
    });
    h.clock.advance(0.8);
    h.deliver(picture(2), 1);
    h.tick(1);
    ASSERT_FALSE(h.skips.empty());
    EXPECT_EQ(h.skips.back().kind, Kind::unverifiedBrowser);
    // What was read then is known; the streams hear of it in their own time.
    for (int i = 0; i < 2'000 && h.skips.back().kind != Kind::excludedSite; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        h.clock.advance(2);
        h.deliver(picture(2), 1);
        h.tick(1);
    }
    EXPECT_EQ(h.skips.back().kind, Kind::excludedSite);
    EXPECT_TRUE(h.storedFrames().empty());
}

} // namespace
} // namespace nomara
