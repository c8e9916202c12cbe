#include "tests/app/ImageHarness.h"

#include <functional>

namespace nomara {
namespace {

struct TroubleHarness : ImageHarness {
    int number = 0;

    /// Something new on the screen; gives the frame that it led to.
    FrameRecord see() {
        ++number;
        accessibility.setText(editor.pid, "line " + std::to_string(number));
        deliver(picture(static_cast<unsigned>(number)), 1);
        tick(20);
        const auto frames = storedFrames();
        EXPECT_EQ(frames.size(), static_cast<std::size_t>(number));
        return frames.empty() ? FrameRecord() : frames.back();
    }
};

} // namespace

TEST(RecorderTrouble, TextGoesOnAndPicturesComeBackByThemselves) {
    const struct {
        const char* name;
        std::function<void(TroubleHarness&)> begin, end;
        int lines; ///< that are logged from the first picture that is lost until the trouble is over
    } rows[] = {
        {"the encoder refuses", [](auto& h) { h.codec.refuse("The encoder isn't there."); },
         [](auto& h) { h.codec.refuse(""); }, 1},
        {"the encoder fails with each picture", [](auto& h) { h.codec.failFrom(0); },
         [](auto& h) { h.codec.failFrom(INT64_MAX); }, 1},
        {"the disk is low", [](auto& h) { h.volume.available = 1'000'000; },
         [](auto& h) { h.volume.available = 100'000'000'000; }, 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        TroubleHarness h;
        h.input.setSecondsSinceLastInput(2);
        h.start();
        EXPECT_EQ(h.see().imageState, ImageState::segment);

        ::testing::internal::CaptureStderr();
        row.begin(h);
        // The next picture wants a new segment, and the disk isn't asked about more often than once a minute.
        h.clock.advance(60);
        h.recorder.queue().sync([&] { h.segments.closeAll(); });
        for (int i = 0; i < 8; ++i)
            h.see();
        row.end(h);
        h.see(); // a low disk is looked at once a minute; a failed segment ends with the next picture
        for (int i = 0; i < 4; ++i)
            h.see();
        EXPECT_EQ(h.see().imageState, ImageState::segment);
        h.recorder.shutdown();
        const std::string log = ::testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::ranges::count(log, '\n'), row.lines) << log;

        const auto frames = h.storedFrames();
        ASSERT_EQ(frames.size(), 15U);
        const auto texts = h.storedTexts();
        for (std::size_t i = 0; i < frames.size(); ++i) {
            EXPECT_EQ(texts[i], "line " + std::to_string(i + 1)) << "no text is lost";
            const bool inTrouble = i >= 1 && i <= 8;
            EXPECT_TRUE(!inTrouble || frames[i].imageState != ImageState::segment) << i;
        }
        EXPECT_EQ(frames.back().imageState, ImageState::segment);
        EXPECT_TRUE(h.hub.read([](MemoryStore& store) { return store.openSegments(); }).empty());
    }
}

} // namespace nomara
