// Segments through the real codec, the real store and the real loader.

#include "Quillshade/segments/FrameImageLoader.h"
#include "Quillshade/segments/SegmentManager.h"
#include "platform/fake/FakeVolume.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "tests/support/KilledProcess.h"
#include "tests/support/PostedWork.h"
#include "tests/support/ScreenPictures.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace nomara {

namespace {

constexpr int width = 320, height = 200;
constexpr DisplayID displays[] = {1, 2};

/// Everything from the picture to the memory and back.
struct Memory {
    SystemClock clock;
    testing::PostedWork mainThread;
    StoreHub hub{mainThread.executor(), clock};
    LibavVideoCodec codec;
    FakeVolume volume;
    SegmentManager segments{hub, codec, volume, clock};

    /// Stores picture `number`, which its frame tells by its time; gives whether it has a place.
    bool store(DisplayID display, int number) {
        const Date date{1e9 + number};
        const auto place =
            segments.append(testing::screenPicture(number, width, height), display, date, ImageQuality::balanced);
        NewFrame frame{.timestamp = date, .displayID = display, .imageState = ImageState::none};
        if (place) {
            frame.imageState = ImageState::segment;
            frame.segmentID = place->segmentID;
            frame.segmentIndex = place->index;
        }
        hub.write([&](MemoryStore& store) { store.insertFrame(frame); });
        return place.has_value();
    }
};

} // namespace

TEST(SegmentRoundTrip, AKilledRecorderLosesTheLastPictureOfADisplayAtMost) {
    const testing::TemporaryData data;
    std::mt19937 random(std::random_device{}());
    int next = 0;
    std::size_t read = 0;
    // Where chance ended the first rounds early, others follow until enough pictures have been read.
    for (int round = 0; round < 8 || (read <= 20 && round < 40); ++round) {
        const int first = next;
        testing::KilledProcess recorder([&](const auto& report) {
            Memory memory;
            for (int number = first;; ++number) {
                for (const DisplayID display : displays)
                    memory.store(display, number);
                report(number);
                if (number % 7 == 0) memory.segments.close(displays[number % 2]);
            }
        });
        for (auto left = random() % 12 + 1; left > 0; --left)
            ASSERT_TRUE(recorder.next());
        usleep(static_cast<useconds_t>(random() % 20'000));
        recorder.kill();
        const Date from{1e9 + next};

        Memory memory;
        memory.segments.recoverOpenSegments().waitForFinished();
        FrameImageLoader loader(memory.codec);
        const auto frames =
            memory.hub.read([&](MemoryStore& store) { return store.frames(from, {1e12}, false, 10'000); });
        std::map<DisplayID, int> lost;
        for (const FrameSummary& frame : frames) {
            const int expected = static_cast<int>(frame.timestamp.seconds - 1e9);
            next = std::max(next, expected + 1);
            if (frame.imageState == ImageState::dropped) ++lost[frame.displayID];
            if (frame.imageState != ImageState::segment) continue;
            ++read;
            ASSERT_EQ(testing::numberOf(loader.image(frame, FrameImageLoader::Size::full).result(), width), expected);
        }
        for (const auto& [display, count] : lost)
            EXPECT_LE(count, 1) << "of display " << display << " in round " << round;
        EXPECT_TRUE(memory.hub.read([](MemoryStore& store) { return store.openSegments(); }).empty());
    }
    EXPECT_GT(read, 20U);
}

TEST(SegmentRoundTrip, PicturesComeBackAtThreeSizesWhileTheSegmentGrowsAndAfterwards) {
    const testing::TemporaryData data;
    Memory memory;
    FrameImageLoader loader(memory.codec);
    for (int number = 0; number < 12; ++number)
        ASSERT_TRUE(memory.store(1, number) || memory.store(1, number)); // a busy machine may drop one
    const auto frames = memory.hub.read([](MemoryStore& store) { return store.frames({0}, {1e12}, true, 100); });
    for (const bool closed : {false, true}) {
        if (closed) memory.segments.closeAllAndWait();
        for (const FrameSummary& frame : frames) {
            if (frame.imageState != ImageState::segment) continue;
            const int expected = static_cast<int>(frame.timestamp.seconds - 1e9);
            // Of a segment that is written the last picture may be under way.
            if (!closed && expected == 11) continue;
            for (const auto size :
                 {FrameImageLoader::Size::thumbnail, FrameImageLoader::Size::preview, FrameImageLoader::Size::full})
                EXPECT_EQ(testing::numberOf(loader.image(frame, size).result(), width), expected);
        }
    }
    EXPECT_TRUE(memory.hub.read([](MemoryStore& store) { return store.segment(1); })->closed);
}

} // namespace nomara
