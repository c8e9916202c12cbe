#include "core/base/Paths.h"
#include "tests/app/Harness.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Kind = SkipReason::Kind;

const FrontmostApp editor{10, "org.editor", "Editor"};
const FrontmostApp keepass{12, "org.keepassxc.keepassxc", "KeePassXC"};
const FrontmostApp chromium{20, "org.chromium.Chromium", "Chromium"};

/// Stripes whose hash differs from seed to seed.
Image picture(unsigned seed, int width = 192, int height = 108) {
    auto image = std::make_shared<PixelBuffer>(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const unsigned cell = (static_cast<unsigned>(x) / 21U) * 31U + (static_cast<unsigned>(y) / 13U) * 17U;
            const auto value = static_cast<std::uint8_t>((cell * (seed * 2U + 1U) * 2'654'435'761U) >> 24U);
            std::fill_n(image->row(y) + std::ptrdiff_t{4} * x, 4, value);
        }
    return image;
}

std::string words(int characters) {
    return std::string(static_cast<std::size_t>(characters), 'x');
}

struct ImageHarness : RecorderHarness {
    RecorderConfig config;

    /// Display 1 streams, the editor is in front, and its window has settled.
    void start() {
        show(editor, "Notes", words(300));
        recordImages(config);
        ASSERT_TRUE(awaitStreams({1}));
        tick();
    }
    /// An image of which that part has changed, and a tick a second later.
    void deliver(const Image& image, double dirty, DisplayID display = 1, double age = 0) {
        std::vector<Rect> rects;
        if (dirty > 0) rects.push_back({0, 0, dirty * image->width, double(image->height)});
        ASSERT_TRUE(deliverImage(display, {image, rects}, age));
    }
    LookResult lastLook(DisplayID display = 1) {
        for (const auto& each : report().displays)
            if (each.id == display) return each.lastLook;
        return LookResult::none;
    }
    /// What is in the video of that segment.
    FakeVideoCodec::Video video(const FrameRecord& frame) {
        return codec.video(NomaraPaths::framesFile(*frame.segmentPath));
    }
    DayStats stats() {
        recorder.setBlock(Recorder::Block::paused, true); // writes the counters
        settle();
        return hub.read([&](MemoryStore& store) { return store.stats("0000", "9999").at(0); });
    }
};

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
    EXPECT_EQ(h.storedFrames().size(), 2U) << "much was painted anew";
    h.deliver(picture(2), 0.005);
    h.tick(2);
    EXPECT_EQ(h.storedFrames().size(), 3U) << "it looks otherwise";
    h.accessibility.setText(10, words(300) + "\nnew line");
    h.deliver(picture(2), 0.005);
    h.tick(2);
    EXPECT_EQ(h.storedTexts().back(), "new line");
    EXPECT_EQ(h.video(h.storedFrames().back()).frames.size(), 3U) << "in a new segment";
    const DayStats stats = h.stats();
    EXPECT_EQ(stats.framesSaved, 4);
    EXPECT_EQ(stats.framesSkipped, 1);
}

TEST(RecorderImages, ANewWindowSettlesFirst) {
    ImageHarness h;
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 1U);
    h.show(editor, "Other", words(300));
    h.deliver(picture(2), 1);
    h.tick(2);
    EXPECT_EQ(h.storedFrames().size(), 1U) << "it has only just been seen";
    h.show(editor, "Notes", words(300));
    h.tick(0.5);
    h.show(editor, "Other", words(300));
    h.tick(0.5);
    EXPECT_EQ(h.storedFrames().size(), 1U) << "it went and came again";
    h.streams.takeLog();
    h.tick(0.6);
    EXPECT_EQ(h.storedFrames().size(), 1U) << "the image is of the window before";
    EXPECT_EQ(h.streams.takeLog(), std::vector<std::string>{"renew 1"});
    h.deliver(picture(2), 0);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 2U);
    EXPECT_EQ(h.storedFrames()[1].windowTitle, "Other");
}

TEST(RecorderImages, SaysWhatIsToBeReadFromThePicture) {
    const struct {
        const char* name;
        std::string bundleID;
        int characters;
        bool onBattery, diskFull;
        ImageState image;
        OCRState ocr;
    } rows[] = {
        {"enough text", "org.editor", 250, true, false, ImageState::segment, OCRState::notNeeded},
        {"too little", "org.editor", 249, true, false, ImageState::segment, OCRState::queued},
        {"none", "org.editor", 0, true, false, ImageState::segment, OCRState::queued},
        {"text that can't be trusted", "org.chromium.Chromium", 400, true, false, ImageState::segment,
         OCRState::queued},
        {"no picture to read", "org.editor", 0, true, true, ImageState::none, OCRState::notNeeded},
    };
    for (const auto& row : rows) {
        ImageHarness h;
        h.config.skipPrivateWindows = false;
        if (row.diskFull) h.volume.available = 1'000;
        h.recorder.setPower({row.onBattery, 0.9, false, 0});
        h.start();
        h.show({10, row.bundleID, "Name"}, "Title", words(row.characters));
        h.tick(1);
        h.deliver(picture(1), 1);
        h.tick(3);
        const auto frames = h.storedFrames();
        ASSERT_EQ(frames.size(), 1U) << row.name;
        EXPECT_EQ(frames[0].imageState, row.image) << row.name;
        EXPECT_EQ(frames[0].ocrState, row.ocr) << row.name;
        EXPECT_EQ(frames[0].textChars, row.characters) << row.name;
    }
}

TEST(RecorderImages, ReadsAtOnceWhatItMay) {
    const TextSource none, seen = TextSource::accessibility(), read = TextSource::ocr();
    const struct {
        const char* name;
        std::string bundleID;
        int characters;
        bool diskFull, noData, asksWindow;
        OCRState ocr;
        TextSource source;
    } rows[] = {
        {"enough text", "org.editor", 250, false, false, true, OCRState::notNeeded, seen},
        {"too little", "org.editor", 249, false, false, true, OCRState::done, seen | read},
        {"no text", "org.editor", 0, false, false, true, OCRState::done, read},
        {"a picture that says more", "org.chromium.Chromium", 400, false, false, false, OCRState::done, read},
        {"no place for the picture", "org.editor", 0, true, false, true, OCRState::done, read},
        {"no data", "org.chromium.Chromium", 400, false, true, true, OCRState::queued, seen},
        {"neither", "org.editor", 0, true, true, true, OCRState::notNeeded, none},
    };
    for (const auto& row : rows) {
        ImageHarness h;
        h.config.skipPrivateWindows = false;
        if (row.diskFull) h.volume.available = 1'000;
        if (row.noData) h.recognizer.setUnavailable("Install the data.");
        h.recognizer.setText({FakeTextRecognizer::piece("in the picture", {0.1, 0.9, 0.1, 0.02}),
                              FakeTextRecognizer::piece("in the picture", {0.1, 0.7, 0.1, 0.02}),
                              FakeTextRecognizer::piece("a guess", {0.1, 0.8, 0.1, 0.02}, 0.29)});
        h.start();
        h.show({10, row.bundleID, "Name"}, "Title", words(row.characters));
        h.tick(1);
        const int asked = h.accessibility.counts().text;
        h.deliver(picture(1), 1);
        h.tick(3);
        const auto frames = h.storedFrames();
        ASSERT_EQ(frames.size(), 1U) << row.name;
        EXPECT_EQ(frames[0].ocrState, row.ocr) << row.name;
        EXPECT_EQ(frames[0].textSource, row.source) << row.name;
        EXPECT_EQ(h.accessibility.counts().text > asked, row.asksWindow) << row.name;
        const bool isRead = frames[0].textSource.contains(read);
        const std::string text = h.storedTexts().at(0);
        EXPECT_EQ(text.ends_with("in the picture"), isRead) << row.name << ": " << text;
        EXPECT_EQ(text.find("guess"), std::string::npos) << row.name;
        ASSERT_EQ(h.recognizer.requests().size(), isRead ? 1U : 0U) << row.name;
        if (!isRead) continue;
        EXPECT_EQ(h.recognizer.requests()[0].image->bytes, picture(1)->bytes) << row.name;
        EXPECT_TRUE(h.recognizer.requests()[0].regionOfInterest) << row.name << ": the front window alone";
        EXPECT_EQ(h.stats().ocrRuns, 1) << row.name;
    }
}

TEST(RecorderImages, ALineThatMayBeHiddenIsKeptOnlyWhereThePictureShowsIt) {
    // Of a display of 1920 x 1080 points; the picture counts from the bottom.
    const Rect place{192, 108, 384, 54};
    const RelativeRect there{0.1, 0.85, 0.2, 0.05}, elsewhere{0.1, 0.5, 0.2, 0.05};
    const struct {
        const char* name;
        const char* holds;
        std::vector<TextObservation> shown;
        bool noData, textOnly, isKept;
    } rows[] = {
        {"shown", "Blue Heron 7", {FakeTextRecognizer::piece("blue heron 7", there)}, false, false, true},
        {"read in pieces",
         "blue.heron",
         {FakeTextRecognizer::piece("blue", {0.1, 0.85, 0.05, 0.05}),
          FakeTextRecognizer::piece("heron", {0.16, 0.85, 0.05, 0.05})},
         false,
         false,
         true},
        {"dots", "blue heron", {FakeTextRecognizer::piece("\u2022\u2022\u2022\u2022", there)}, false, false, false},
        {"nothing", "blue heron", {}, false, false, false},
        {"a part", "blue heron", {FakeTextRecognizer::piece("blue", there)}, false, false, false},
        {"elsewhere", "blue heron", {FakeTextRecognizer::piece("blue heron", elsewhere)}, false, false, false},
        {"dots for signs", "?!", {FakeTextRecognizer::piece("\u2022\u2022", there)}, false, false, false},
        {"no data", "blue heron", {FakeTextRecognizer::piece("blue heron", there)}, true, false, false},
        {"no picture", "blue heron", {FakeTextRecognizer::piece("blue heron", there)}, false, true, false},
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
    h.config.allDisplays = true;
    h.windowServer.setDisplays({{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
    h.show(editor, "Notes", "");
    h.recordImages(h.config);
    ASSERT_TRUE(h.awaitStreams({1, 2}));
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

TEST(RecorderImages, AnImageFromBeforeIsNeverStored) {
    ImageHarness h;
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 1U);
    // The password manager is in front, and an image of it is there.
    h.show(keepass, "Passwords", "secret");
    h.deliver(picture(7), 1);
    h.tick(2);
    h.deliver(picture(8), 1);
    h.tick(1);
    EXPECT_EQ(h.skips.back().kind, Kind::excludedApp);

    h.show(editor, "Other", words(300));
    h.tick(1);
    EXPECT_EQ(h.storedFrames().size(), 1U);
    h.streams.takeLog();
    h.deliver(picture(9), 1, 1, 1.5); // taken before it was known that it has gone
    h.tick(1);
    EXPECT_EQ(h.storedFrames().size(), 1U);
    EXPECT_EQ(h.lastLook(), LookResult::staleImage);
    EXPECT_EQ(h.streams.takeLog(), std::vector<std::string>{"renew 1"}) << "a still screen gives no other image";
    h.deliver(picture(3), 0);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 2U);
    EXPECT_EQ(h.video(h.storedFrames()[1]).frames.back()->bytes, picture(3)->bytes);
}

TEST(RecorderImages, EveryReasonToHoldBackDropsTheImagesOfAllDisplays) {
    ImageHarness h;
    h.config.allDisplays = true;
    h.windowServer.setDisplays({{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
    h.show(editor, "Notes", words(300));
    h.recordImages(h.config);
    ASSERT_TRUE(h.awaitStreams({1, 2}));
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
    silent.input.setSecondsSinceLastInput(2);
    silent.streams.takeLog();
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
        for (const auto& [id, image] : h.readSoon)
            EXPECT_TRUE(isHidden(image));
    }
}

TEST(RecorderImages, AllDecisionsOfATickAreAboutOneListOfWindows) {
    BrowserImages h;
    const Rect frame{0, 0, 800, 600};
    h.identities[chromium.pid] = {"org.chromium.Chromium", "Chromium", "", true};
    h.accessibility.setWindows(chromium.pid, {h.accessible("Page", frame, false)});
    h.windowServer.setWindows({h.onScreen(5, chromium.pid, "Page", frame)});
    h.applications.activate(chromium);
    h.mainThread.drain();
    h.recordImages();
    ASSERT_TRUE(h.awaitStreams({1}));
    h.tick();
    h.input.setSecondsSinceLastInput(5);
    // The first one asks the browser, and looks whether its windows stayed where they were meanwhile.
    for (unsigned i = 1; i <= 3; ++i) {
        h.deliver(picture(i), 1);
        const int before = h.windowServer.readings();
        h.tick(3);
        ASSERT_EQ(h.storedFrames().size(), i);
        EXPECT_TRUE(i == 1 || h.windowServer.readings() == before + 1);
    }
}

TEST(RecorderImages, AFrontWindowThatIsPrivateCostsTheImage) {
    BrowserImages h;
    const Rect frame{0, 0, 800, 600};
    h.identities[chromium.pid] = {"org.chromium.Chromium", "Chromium", "", true};
    h.accessibility.setWindows(chromium.pid, {h.accessible("Secret", frame, true)});
    h.windowServer.setWindows({h.onScreen(5, chromium.pid, "Secret", frame)});
    h.applications.activate(chromium);
    h.mainThread.drain();
    h.recordImages();
    ASSERT_TRUE(h.awaitStreams({1}));
    h.deliver(picture(1), 1);
    h.tick();
    h.tick(1);
    EXPECT_EQ(h.lastLook(), LookResult::heldBack);
    EXPECT_EQ(h.skips.back().kind, Kind::privateWindow);
    EXPECT_EQ(h.accessibility.counts().text, 0);
    const std::size_t told = h.skips.size();
    for (int i = 0; i < 40; ++i)
        h.tick(1);
    EXPECT_EQ(h.skips.size(), told) << "the reason holds also where a tick doesn't ask";
    h.input.setSecureInput(SecureInput::certain);
    h.tick(1);
    EXPECT_EQ(h.skips.back().kind, Kind::secureInput);
    h.input.setSecureInput(SecureInput::off);
    h.tick(1);
    EXPECT_NE(h.skips.back().kind, Kind::secureInput);
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
    h.mainThread.drain();
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

TEST(RecorderLifecycle, StreamsAndSegmentsFollowTheWishes) {
    ImageHarness h;
    h.windowServer.setDisplays({{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
    h.start();
    const auto filter = h.streams.configuration(1)->filter.excludedApplications;
    for (const char* id : {"org.keepassxc.keepassxc", "com.brindlewick.Quillshade"})
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
    EXPECT_NE(h.report().openSegments, first) << "all pictures of a segment have one quality";
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
