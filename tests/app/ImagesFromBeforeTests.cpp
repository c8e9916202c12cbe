#include "tests/app/ImageHarness.h"

#include <future>

namespace nomara {
namespace {

const FrontmostApp viewer{11, "org.viewer", "Viewer"};
const Image secret = picture(7), harmless = picture(3);

/// Display 1, where an image may be left from a moment that must not be kept.
struct ImagesFromBefore : ImageHarness, ::testing::Test {
    /// The stream has been asked to start, and waits for `finishStart`.
    void startWaiting() {
        streams.setStartsWait(true);
        show(editor, "Notes", words(300));
        recordImages(config);
        for (int i = 0; i < 12'000 && streams.takeLog().empty(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    /// Ticks until it is certain that the image which is there isn't stored, and then gets a later one.
    void expectOnlyLaterImages() {
        for (int i = 0; i < 5; ++i)
            tick(1);
        EXPECT_TRUE(storedFrames().empty());
        const auto log = streams.takeLog();
        EXPECT_NE(std::ranges::find(log, "renew 1"), log.end()) << "a still screen gives no other image";
        deliver(harmless, 1);
        for (int i = 0; i < 3; ++i)
            tick(1);
        ASSERT_EQ(storedFrames().size(), 1U);
        EXPECT_EQ(video(storedFrames().at(0)).frames.at(0)->bytes, harmless->bytes);
    }
    /// Work that the recorder does only once the returned promise is kept, so that a test can choose the order.
    std::shared_ptr<std::promise<void>> holdQueue() {
        auto held = std::make_shared<std::promise<void>>();
        recorder.queue().async([held] { held->get_future().wait(); });
        return held;
    }
};

TEST_F(ImagesFromBefore, APageThatIsHeldBackMayBeInEveryImageUntilAnotherHasProvedItself) {
    config.excludedSites = {"secret.example"};
    start();
    FakeAccessibility::Window document{"Document", Rect{0, 0, 800, 600}, "words", "https://secret.example/report"};
    accessibility.setWindows(viewer.pid, {document});
    applications.activate(viewer);
    mainThread.run();
    deliver(secret, 1);
    tick(1);
    tick(1);
    ASSERT_EQ(skips.back().kind, SkipReason::Kind::excludedSite);
    // It stays in front, longer than the gate looks away, and an image of it comes just before it goes.
    tick(1);
    clock.advance(0.4);
    deliver(secret, 1);
    show(editor, "Notes", words(300));
    streams.takeLog();
    expectOnlyLaterImages();
}

TEST_F(ImagesFromBefore, WhatWasSeenDuringAHoldStaysUnseen) {
    start();
    bool held = false;
    recorder.suspendCapture([&] { held = true; });
    settle();
    ASSERT_TRUE(held);
    input.setSecureInput(SecureInput::certain);
    clock.advance(1);
    deliver(secret, 1);
    tick(1);
    input.setSecureInput(SecureInput::off);
    recorder.resumeCapture();
    streams.takeLog();
    expectOnlyLaterImages();
}

TEST_F(ImagesFromBefore, WhatAStreamSawWhileItWasPausedStaysUnseen) {
    startWaiting();
    recorder.setBlock(Recorder::Block::paused, true);
    settle();
    const auto held = holdQueue();
    recorder.setBlock(Recorder::Block::paused, false);
    ASSERT_TRUE(streams.finishStart(1));
    deliver(secret, 1);
    clock.advance(1);
    held->set_value();
    ASSERT_TRUE(awaitStreams({1}));
    expectOnlyLaterImages();
}

TEST_F(ImagesFromBefore, APasswordTypedWhileTheStreamStartsStaysUnseen) {
    startWaiting();
    tick(); // images count from here on
    input.setSecureInput(SecureInput::certain);
    const auto held = holdQueue(); // the recorder hears of the stream after its tick
    recorder.queue().async([this] { recorder.tick(); });
    ASSERT_TRUE(streams.finishStart(1));
    deliver(secret, 1);
    clock.advance(1);
    held->set_value();
    ASSERT_TRUE(awaitStreams({1}));
    input.setSecureInput(SecureInput::off);
    expectOnlyLaterImages();
}

TEST_F(ImagesFromBefore, WhateverWasThereWhileNoProgramWasInFrontStaysUnseen) {
    start();
    applications.activate(std::nullopt);
    mainThread.run();
    tick(1);
    clock.advance(0.5);
    deliver(secret, 1);
    clock.advance(0.1);
    show(editor, "Notes", words(300));
    streams.takeLog();
    expectOnlyLaterImages();
}

TEST_F(ImagesFromBefore, AnotherWindowForAMomentIsNotKeptUnderThisOnesTitle) {
    start();
    deliver(harmless, 1);
    for (int i = 0; i < 2; ++i)
        tick(1);
    ASSERT_EQ(storedFrames().size(), 1U);
    show(viewer, "Report", words(300));
    tick(0.2);
    deliver(secret, 1);
    show(editor, "Notes", words(300));
    streams.takeLog();
    for (int i = 0; i < 5; ++i)
        tick(1);
    EXPECT_EQ(storedFrames().size(), 1U);
}

TEST_F(ImagesFromBefore, AStreamHasItsTimeToStartAfterEveryPause) {
    start();
    tick(1);
    recorder.setBlock(Recorder::Block::paused, true);
    settle();
    clock.advance(100);
    recorder.setBlock(Recorder::Block::paused, false);
    settle();
    for (int i = 0; i < 5; ++i)
        tick(1);
    EXPECT_TRUE(storedFrames().empty()) << "a frame without a picture";
}

TEST_F(ImagesFromBefore, AnApplicationIsLeftOutAsSoonAsItIsExcluded) {
    start();
    deliver(secret, 1); // another window in it
    config.excludedApps.insert("org.example.Other");
    recorder.setConfig(config);
    const auto isTold = [this] {
        const auto filter = streams.configuration(1)->filter.excludedApplications;
        return std::ranges::find(filter, "org.example.Other") != filter.end();
    };
    for (int i = 0; i < 12'000 && !isTold(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_TRUE(isTold());
    streams.takeLog();
    expectOnlyLaterImages();
}

} // namespace
} // namespace nomara
