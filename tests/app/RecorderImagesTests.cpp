#include "tests/app/ImageHarness.h"
#include "tests/support/ScreenPictures.h"

namespace nomara {
namespace {

using Kind = SkipReason::Kind;

TEST(RecorderImages, StoresAPictureWithItsTextOnce) {
    ImageHarness h;
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    ASSERT_EQ(h.saved.size(), 1U);
    const FrameRecord frame = h.storedFrames().at(0);
    EXPECT_EQ(frame.imageState, ImageState::segment);
    EXPECT_EQ(frame.segmentIndex, 0);
    EXPECT_EQ(frame.appBundleID, "org.editor");
    EXPECT_EQ(frame.windowTitle, "Notes");
    EXPECT_EQ(frame.width, 192) << "pixels of the image that was taken";
    EXPECT_EQ(frame.ocrState, OCRState::notNeeded);
    EXPECT_EQ(frame.textSource, TextSource::accessibility());
    ASSERT_TRUE(frame.windowRect);
    EXPECT_EQ(h.report().lastPicture->frameID, frame.id);
    EXPECT_EQ(h.report().openSegments, std::set{*frame.segmentPath});

    // Five minutes of a still screen: not even the text is read.
    h.input.setSecondsSinceLastInput(1e6);
    const int reads = h.accessibility.counts().text;
    for (int i = 0; i < 300; ++i)
        h.tick(1);
    EXPECT_EQ(h.accessibility.counts().text, reads);
    EXPECT_EQ(h.storedFrames().size(), 1U);
    EXPECT_TRUE(h.report().openSegments.empty()) << "a segment that got nothing for two minutes is complete";

    // A caret that blinks passes the gate at times, but is no news; a new picture is.
    h.deliver(picture(1), 0.005);
    h.tick(1);
    EXPECT_EQ(h.lastLook(), LookResult::unchanged);
    h.deliver(picture(1), 0.2);
    h.tick(2);
    EXPECT_EQ(h.lastLook(), LookResult::unchanged) << "much was painted anew, and looks the same";
    h.deliver(picture(2), 0.005);
    h.tick(2);
    EXPECT_EQ(h.storedFrames().size(), 2U) << "it looks otherwise";
    h.accessibility.setText(10, words(300) + "\nnew line");
    h.deliver(picture(2), 0.005);
    h.tick(2);
    EXPECT_EQ(h.storedTexts().back(), "new line");
    EXPECT_EQ(h.video(h.storedFrames().back()).frames.size(), 2U) << "in a new segment";
    const DayStats stats = h.stats();
    EXPECT_EQ(stats.framesSaved, 3);
    EXPECT_EQ(stats.framesSkipped, 2);
}

TEST(RecorderImages, ReadsAtOnceWhatItMay) {
    const TextSource none, seen = TextSource::accessibility(), read = TextSource::ocr();
    const char *const editorID = "org.editor", *const browserID = "org.chromium.Chromium";
    enum class Without { nothing, power, disk, data, diskAndData, diskAndPower };
    using enum Without;
    const struct {
        const char* name;
        const char* bundleID;
        int characters;
        Without without;
        OCRState ocr;
        TextSource source;
    } rows[] = {
        {"text all over", editorID, 20, nothing, OCRState::notNeeded, seen},
        {"no text", editorID, 0, nothing, OCRState::done, read},
        {"a picture that says more", browserID, 400, nothing, OCRState::done, seen | read},
        {"no place for the picture", editorID, 0, disk, OCRState::done, read},
        {"no data", browserID, 400, data, OCRState::queued, seen},
        {"neither", editorID, 0, diskAndData, OCRState::notNeeded, none},
        {"text all over, on battery", editorID, 20, power, OCRState::notNeeded, seen},
        {"no text, on battery", editorID, 0, power, OCRState::queued, none},
        {"a picture that says more, on battery", browserID, 400, power, OCRState::queued, seen},
        {"no picture to read, on battery", editorID, 0, diskAndPower, OCRState::notNeeded, none},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const bool isDiskFull = row.without == disk || row.without >= diskAndData;
        ImageHarness h;
        h.config.skipPrivateWindows = false;
        if (isDiskFull) h.volume.available = 1'000;
        if (row.without == data || row.without == diskAndData) h.recognizer.setUnavailable("Install the data.");
        h.recorder.setPower({row.without == power || row.without == diskAndPower, 0.9, false, 0});
        h.recognizer.setText({FakeTextRecognizer::piece("in the picture", {0.1, 0.9, 0.1, 0.02}),
                              FakeTextRecognizer::piece("in the picture", {0.1, 0.7, 0.1, 0.02}),
                              FakeTextRecognizer::piece("a guess", {0.1, 0.8, 0.1, 0.02}, 0.29)});
        h.start();
        h.show({10, row.bundleID, "Name"}, "Title", words(row.characters));
        h.tick(1);
        h.deliver(picture(1), 1);
        h.tick(3);
        const auto frames = h.storedFrames();
        ASSERT_EQ(frames.size(), 1U);
        EXPECT_EQ(frames[0].imageState, isDiskFull ? ImageState::none : ImageState::segment);
        EXPECT_EQ(frames[0].ocrState, row.ocr);
        EXPECT_EQ(frames[0].textSource, row.source);
        const bool isRead = row.source.contains(read);
        std::string text = words(row.characters);
        if (isRead) text += (text.empty() ? "" : "\n") + std::string("in the picture");
        EXPECT_EQ(h.storedTexts().at(0), text);
        ASSERT_EQ(h.recognizer.requests().size(), isRead ? 1U : 0U);
        if (!isRead) continue;
        EXPECT_EQ(h.recognizer.requests()[0].image->bytes, picture(1)->bytes);
        EXPECT_TRUE(h.recognizer.requests()[0].regionOfInterest) << "the front window alone";
        EXPECT_EQ(h.stats().ocrRuns, 1);
    }
}

// A window of 960 x 540 points with a bar at its top; its picture is a tenth as large.
TEST(RecorderImages, OnlyWhatAWindowDoesNotTellIsReadFromItsPicture) {
    const Rect frame{0, 0, 960, 540}, upper{0, 100, 960, 220};
    const TextPlace bar{TextPlace::Kind::controls, {0, 0, 960, 100}},
        body{TextPlace::Kind::content, {0, 100, 960, 440}};
    const char *const editorID = "org.editor", *const browserID = "org.chromium.Chromium";
    const struct {
        const char* name;
        const char* bundleID;
        std::vector<TextPlace> places;
        bool isPage;
        const char* read; ///< what is read; empty: nothing is
    } rows[] = {
        {"a body that is half told", editorID, {bar, {TextPlace::Kind::content, upper}}, false, "\nlower"},
        {"all told", editorID, {bar, body}, false, ""},
        {"a program not to be trusted", browserID, {bar, body}, false, "\nupper\nlower"},
        {"its page", browserID, {bar, body}, true, ""},
        {"its page with a picture", browserID, {bar, body, {TextPlace::Kind::open, upper}}, true, "\nupper"},
        {"nothing told", editorID, {}, false, "\nbar\nupper\nlower"},
    };
    for (const auto& row : rows) {
        ImageHarness h;
        h.config.skipPrivateWindows = false;
        // Fractions of a display of 1920 x 1080 points, from the bottom left.
        const auto at = [](double top) { return RelativeRect{0.05, 1 - (top + 20) / 1080, 0.2, 20.0 / 1080}; };
        h.recognizer.setText({FakeTextRecognizer::piece("bar", at(40)), FakeTextRecognizer::piece("upper", at(200)),
                              FakeTextRecognizer::piece("lower", at(400)),
                              FakeTextRecognizer::piece(words(60), at(440))}); // half of what is told
        h.start();
        FakeAccessibility::Window window{"Title", frame, words(490), std::nullopt};
        window.places = row.places;
        window.isPage = row.isPage;
        h.accessibility.setWindows(10, {window});
        h.applications.activate(FrontmostApp{10, row.bundleID, "Name"});
        h.settle();
        auto image = std::make_shared<PixelBuffer>(960, 540); // half a point a pixel
        testing::fillRect(*image, 0, 0, 960, 540, 0xFFFFFF);
        for (const int top : {20, 100, 200})
            testing::drawText(*image, 48, top, 7, 40, 0);
        h.tick(1);
        h.deliver(image, 1);
        h.tick(3);
        ASSERT_EQ(h.storedFrames().size(), 1U) << row.name;
        EXPECT_EQ(h.storedTexts()[0], words(490) + row.read) << row.name;
        EXPECT_EQ(h.storedFrames()[0].ocrState, *row.read ? OCRState::done : OCRState::notNeeded) << row.name;
    }
}

TEST(RecorderImages, ALineThatMayBeHiddenIsKeptOnlyWhereThePictureShowsIt) {
    // Of a display of 1920 x 1080 points; the picture counts from the bottom.
    const Rect place{192, 108, 384, 54};
    const RelativeRect there{0.1, 0.85, 0.2, 0.05}, half{0.1, 0.85, 0.05, 0.05}, behind{0.16, 0.85, 0.05, 0.05};
    const auto piece = [](const char* text, const RelativeRect& box) { return FakeTextRecognizer::piece(text, box); };
    const struct {
        const char* name;
        const char* holds;
        std::vector<TextObservation> shown;
        bool isKept, noData = false, textOnly = false;
    } rows[] = {
        {"shown", "Blue Heron 7", {piece("blue heron 7", there)}, true},
        {"read in pieces", "blue.heron", {piece("blue", half), piece("heron", behind)}, true},
        {"dots", "blue heron", {piece("\u2022\u2022\u2022\u2022", there)}, false},
        {"nothing", "blue heron", {}, false},
        {"a part", "blue heron", {piece("blue", there)}, false},
        {"elsewhere", "blue heron", {piece("blue heron", {0.1, 0.5, 0.2, 0.05})}, false},
        {"dots for signs", "?!", {piece("\u2022\u2022", there)}, false},
        {"no data", "blue heron", {piece("blue heron", there)}, false, true},
        {"no picture", "blue heron", {piece("blue heron", there)}, false, false, true},
    };
    for (const auto& row : rows) {
        ImageHarness h;
        h.config.textOnly = row.textOnly;
        h.recognizer.setText(row.shown);
        if (row.noData) h.recognizer.setUnavailable("Install the data.");
        FakeAccessibility::Window window{"Title", Rect{0, 0, 800, 600}, words(300), std::nullopt};
        window.unproven = {{row.holds, place}};
        h.recordImages(h.config);
        h.accessibility.setWindows(10, {window});
        h.applications.activate(editor);
        h.settle();
        if (!row.textOnly) {
            ASSERT_TRUE(h.awaitStreams({1}));
            h.tick(1);
            h.deliver(picture(1), 1);
        }
        h.tick(3);
        ASSERT_EQ(h.storedTexts().size(), 1U) << row.name;
        EXPECT_EQ(h.storedTexts()[0], words(300) + (row.isKept ? std::string("\n") + row.holds : "")) << row.name;
    }
}

TEST(RecorderImages, ReadingEndsInTimeAndTheRestWaits) {
    ImageHarness h;
    h.startBoth("");
    h.tick();
    double took = 0;
    // A line each tenth of a second, without end.
    h.recognizer.setReading([&](const TextRequest& request) {
        TextResult result{{}, false};
        for (int i = 0; !request.shouldStop() && i < 100; ++i) {
            h.clock.advance(0.1);
            took += 0.1;
            result.observations.push_back(FakeTextRecognizer::piece("line " + std::to_string(i), {}));
        }
        return result;
    });
    h.deliver(picture(1), 1, 1);
    h.deliver(picture(2), 1, 2);
    h.tick(2);
    auto frames = h.storedFrames();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_LE(took, 0.51) << "all displays together";
    EXPECT_EQ(h.recognizer.requests().size(), 1U);
    for (const FrameRecord& frame : frames)
        EXPECT_EQ(frame.ocrState, OCRState::queued) << "what wasn't read is lost";
    const auto texts = h.storedTexts();
    EXPECT_TRUE(texts[0].starts_with("line 0\nline 1") || texts[1].starts_with("line 0\nline 1"))
        << "what was read by then is there at once";

    // Where its picture can't be kept, the rest is read from memory all the same.
    ImageHarness full;
    full.volume.available = 1'000;
    full.startBoth("");
    full.tick();
    full.recognizer.setReading([](const TextRequest&) { return TextResult{{}, false}; });
    full.deliver(picture(1), 1, 1);
    full.tick(2);
    ASSERT_EQ(full.storedFrames().size(), 1U);
    EXPECT_EQ(full.storedFrames()[0].imageState, ImageState::none);
    EXPECT_EQ(full.storedFrames()[0].ocrState, OCRState::queued);
    EXPECT_EQ(full.readSoon.size(), 1U);

    // Whoever pauses, or excludes a program, doesn't wait for it.
    for (const bool pauses : {true, false}) {
        int lines = 0;
        h.recognizer.setReading([&](const TextRequest& request) {
            if (pauses)
                h.recorder.setBlock(Recorder::Block::paused, true);
            else
                h.recorder.setConfig(h.config);
            while (!request.shouldStop() && lines < 100)
                ++lines;
            return TextResult{{}, false};
        });
        h.deliver(picture(10 + static_cast<std::uint8_t>(pauses)), 1, 1);
        h.tick(2);
        EXPECT_EQ(lines, 0) << pauses;
        h.recorder.setBlock(Recorder::Block::paused, false);
    }

    // The next tick has its own time, and lines that are known aren't stored again.
    h.recognizer.setReading([](const TextRequest&) {
        return TextResult{{FakeTextRecognizer::piece("line 0", {}), FakeTextRecognizer::piece("new", {})}, true};
    });
    const DisplayID wasRead = frames[texts[0].empty() ? 1 : 0].displayID;
    h.input.setSecondsSinceLastInput(5);
    h.deliver(picture(3), 1, wasRead);
    h.tick(3);
    frames = h.storedFrames();
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[2].ocrState, OCRState::done);
    EXPECT_EQ(h.storedTexts()[2], "new");
}

TEST(RecorderImages, EveryReasonToHoldBackDropsTheImagesOfAllDisplays) {
    ImageHarness h;
    h.startBoth();
    const auto deliverBoth = [&](unsigned seed) {
        h.deliver(picture(seed), 1, 1);
        h.deliver(picture(seed + 50), 1, 2);
    };
    const auto pictures = [&] {
        auto frames = h.storedFrames();
        std::erase_if(frames, [](const auto& frame) { return frame.imageState == ImageState::none; });
        return frames;
    };
    for (const SecureInput secure : {SecureInput::certain, SecureInput::unknown}) {
        deliverBoth(1);
        h.input.setSecureInput(secure);
        h.accessibility.setFocusSecure(SecureFocus::unknown);
        h.tick(1);
        h.input.setSecureInput(SecureInput::off);
        h.tick(1);
        h.tick(1);
        EXPECT_TRUE(pictures().empty());
    }
    deliverBoth(2);
    h.tick(1);
    const auto frames = pictures();
    ASSERT_EQ(frames.size(), 2U);
    const auto& other = frames[frames[0].displayID == 2 ? 0 : 1];
    EXPECT_EQ(other.displayID, 2U);
    EXPECT_FALSE(other.appBundleID || other.windowTitle || other.url || other.windowRect || other.project);
    EXPECT_EQ(other.textChars, 0);
    EXPECT_EQ(other.ocrState, OCRState::done) << "what it shows is known from its image alone";

    // Quillshade's own window: nothing is stored, and nothing is dropped.
    deliverBoth(3);
    h.show({1, "com.brindlewick.Quillshade", "Q"}, "Q", "");
    h.tick(3);
    EXPECT_EQ(pictures().size(), 2U);
    h.show(editor, "Notes", words(300));
    h.tick(1);
    h.deliver(picture(4), 0.3, 1);
    h.tick(20);
    EXPECT_EQ(pictures().size(), 3U);
}

TEST(RecorderImages, TextGoesOnWhereThereAreNoImages) {
    ImageHarness h;
    h.streams.failNextStarts({{DisplayStreamError::Kind::failed, "No shared memory."}});
    h.show(editor, "Notes", "first");
    h.recordImages();
    for (int i = 0; i < 9; ++i)
        h.tick(1);
    EXPECT_TRUE(h.storedFrames().empty()) << "it may only take its time";
    for (int i = 0; i < 3; ++i)
        h.tick(1);
    EXPECT_EQ(h.storedTexts(), std::vector<std::string>{"first"});

    // A stream that has fallen silent while somebody types counts as well; a screen that is left alone doesn't.
    ImageHarness silent;
    silent.start();
    silent.deliver(picture(1), 1);
    silent.tick(1);
    ASSERT_EQ(silent.storedFrames().size(), 1U);
    silent.accessibility.setText(10, "more");
    silent.input.setSecondsSinceLastInput(1e6);
    for (int i = 0; i < 60; ++i)
        silent.tick(1);
    EXPECT_EQ(silent.storedFrames().size(), 1U);
    silent.streams.takeLog();
    silent.input.setSecondsSinceLastInput(std::nullopt);
    for (int i = 0; i < 60; ++i)
        silent.tick(1);
    EXPECT_TRUE(silent.streams.takeLog().empty()) << "where that isn't known, nobody is taken to be typing";
    silent.input.setSecondsSinceLastInput(2);
    silent.tick(1);
    EXPECT_EQ(silent.streams.takeLog(), std::vector<std::string>{"renew 1"});
    silent.deliver(picture(1), 0);
    for (int i = 0; i < 8; ++i)
        silent.tick(1);
    EXPECT_EQ(silent.storedFrames().size(), 1U) << "a stream that answers isn't silent";
    for (int i = 0; i < 8; ++i)
        silent.tick(1);
    ASSERT_EQ(silent.storedFrames().size(), 2U);
    EXPECT_EQ(silent.lastLook(), LookResult::storedText);
    EXPECT_EQ(silent.storedTexts().back(), "more");
    EXPECT_EQ(silent.storedFrames().back().imageState, ImageState::none);
}

TEST(RecorderLifecycle, StreamsAndSegmentsFollowTheWishes) {
    ImageHarness h;
    h.windowServer.setDisplays({{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
    h.start();
    const auto filter = h.streams.configuration(1)->filter.excludedApplications;
    for (const char* id : {"org.keepassxc.keepassxc", "com.brindlewick.Quillshade", "gcr-prompter"})
        EXPECT_NE(std::ranges::find(filter, id), filter.end()) << id;
    const auto store = [&](DisplayID display, unsigned seed) {
        h.deliver(picture(seed), 1, display);
        h.tick(40);
        return h.report().openSegments.size();
    };
    ASSERT_EQ(store(1, 1), 1U);

    // The front window moves to the other display: one stream follows it.
    h.accessibility.setWindows(10, {{"Notes", Rect{1100, 0, 300, 300}, words(300), std::nullopt}});
    h.tick(1);
    ASSERT_TRUE(h.awaitStreams({2}));
    EXPECT_TRUE(h.report().openSegments.empty());
    h.config.allDisplays = true;
    h.recorder.setConfig(h.config);
    ASSERT_TRUE(h.awaitStreams({1, 2}));
    h.windowServer.setDisplays({{2, "RIGHT", {1000, 0, 1000, 800}, 1, true}});
    h.tick(1);
    ASSERT_TRUE(h.awaitStreams({2}));

    // What changes while they run.
    h.streams.takeLog();
    h.recorder.setPower({true, 0.9, false, 0});
    h.config.excludedApps.insert("org.example.Other");
    h.recorder.setConfig(h.config);
    std::vector<std::string> log;
    for (int i = 0; i < 12'000 && (log.empty() || log.back() != "renew 2"); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        for (auto& what : h.streams.takeLog())
            log.push_back(std::move(what));
    }
    // The recorder hears a moment later that the stream has its new filter.
    std::size_t stored = 0;
    for (int i = 0; i < 12'000 && stored == 0; ++i) {
        stored = store(2, 2);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    ASSERT_EQ(stored, 1U);
    const auto first = h.report().openSegments;
    h.config.imageQuality = ImageQuality::sharp;
    h.recorder.setConfig(h.config);
    ASSERT_EQ(store(2, 3), 1U);
    EXPECT_NE(h.report().openSegments, first);
    EXPECT_EQ(h.codec.created().back().quality, 0.6) << "all pictures of a segment have one quality";
    EXPECT_EQ(h.streams.configuration(2)->intervalSeconds, 2);
    const auto now = h.streams.configuration(2)->filter.excludedApplications;
    EXPECT_NE(std::ranges::find(now, "org.example.Other"), now.end());
    for (const auto& what : log)
        EXPECT_TRUE(what == "interval 2" || what == "filter 2" || what == "renew 2") << what;

    // A hold closes the segments but leaves the streams; a text-only policy and a block end both.
    bool held = false;
    h.recorder.suspendCapture([&] { held = true; });
    h.settle();
    EXPECT_TRUE(held);
    EXPECT_TRUE(h.recorder.openSegmentPaths().empty());
    h.deliver(picture(4), 1, 2);
    h.tick(20);
    EXPECT_TRUE(h.recorder.openSegmentPaths().empty());
    h.recorder.resumeCapture();
    h.tick(1);
    ASSERT_EQ(store(2, 5), 1U);
    h.config.textOnly = true;
    h.recorder.setConfig(h.config);
    ASSERT_TRUE(h.awaitStreams({}));
    EXPECT_TRUE(h.recorder.openSegmentPaths().empty());
    h.config.textOnly = false;
    h.recorder.setConfig(h.config);
    ASSERT_TRUE(h.awaitStreams({2}));
    ASSERT_EQ(store(2, 6), 1U);
    h.recorder.setBlock(Recorder::Block::locked, true);
    ASSERT_TRUE(h.awaitStreams({}));
    EXPECT_TRUE(h.recorder.openSegmentPaths().empty());
    EXPECT_EQ(h.statuses.back().kind, RecorderStatus::Kind::locked);
}

TEST(RecorderLifecycle, ADisplayComesBackWhileNothingMayBeLookedAt) {
    ImageHarness h;
    h.startBoth();
    const auto both = h.windowServer.displays();
    h.tick();
    h.deliver(picture(1), 1, 2);
    h.tick(1);
    ASSERT_EQ(h.report().openSegments.size(), 1U);
    h.input.setSecureInput(SecureInput::certain);
    h.accessibility.setFocusSecure(SecureFocus::yes);
    h.tick(1);
    h.windowServer.setDisplays({both[0]});
    h.streams.end(2, {DisplayStreamError::Kind::displayGone, "Gone."});
    h.tick(1);
    ASSERT_TRUE(h.awaitStreams({1}));
    EXPECT_TRUE(h.report().openSegments.empty());
    h.windowServer.setDisplays({});
    ASSERT_TRUE(h.awaitStreams({}));
    h.windowServer.setDisplays(both);
    EXPECT_TRUE(h.awaitStreams({1, 2}));
}

TEST(RecorderLifecycle, TheUsersWordEndsCaptureAndTroubleDoesnt) {
    ImageHarness h;
    h.start();
    ASSERT_TRUE(h.streams.end(1, {DisplayStreamError::Kind::failed, "Broken."}));
    ASSERT_TRUE(h.awaitStreams({}));
    EXPECT_EQ(h.statuses.back().kind, RecorderStatus::Kind::recording) << "it is tried again later";
    EXPECT_EQ(h.timers.back().first, 3);

    ImageHarness other;
    other.start();
    ASSERT_TRUE(other.streams.end(1, {DisplayStreamError::Kind::userEnded, "Ended."}));
    ASSERT_TRUE(other.awaitStreams({}));
    EXPECT_EQ(other.statuses.back().kind, RecorderStatus::Kind::paused);

    ImageHarness third;
    third.start();
    third.streams.setPermitted(false);
    ASSERT_TRUE(third.streams.end(1, {DisplayStreamError::Kind::notPermitted, "No."}));
    ASSERT_TRUE(third.awaitStreams({}));
    EXPECT_EQ(third.statuses.back().kind, RecorderStatus::Kind::needsPermission);
}

} // namespace
} // namespace nomara
