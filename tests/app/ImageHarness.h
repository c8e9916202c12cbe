#pragma once

#include "core/base/Paths.h"
#include "tests/app/Harness.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace nomara {

inline const FrontmostApp editor{10, "org.editor", "Editor"};
inline const FrontmostApp keepass{12, "org.keepassxc.keepassxc", "KeePassXC"};
inline const FrontmostApp chromium{20, "org.chromium.Chromium", "Chromium"};

/// Stripes whose hash differs from seed to seed.
inline Image picture(unsigned seed, int width = 192, int height = 108) {
    auto image = std::make_shared<PixelBuffer>(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const unsigned cell = (static_cast<unsigned>(x) / 21U) * 31U + (static_cast<unsigned>(y) / 13U) * 17U;
            const auto value = static_cast<std::uint8_t>((cell * (seed * 2U + 1U) * 2'654'435'761U) >> 24U);
            std::fill_n(image->row(y) + std::ptrdiff_t{4} * x, 4, value);
        }
    return image;
}

/// The same with a dot in each of so many places of 8 x 8 pixels, from the top left on; it has 336 of them.
inline Image dotted(const Image& plain, int places) {
    auto image = std::make_shared<PixelBuffer>(*plain);
    for (int i = 0; i < places; ++i)
        image->row(i / (image->width / 8) * 8)[i % (image->width / 8) * 32] ^= 1U;
    return image;
}

inline std::string words(int characters) {
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
    /// Both displays stream; the editor is in front, on the left one.
    void startBoth(const std::string& text = words(300)) {
        config.allDisplays = true;
        windowServer.setDisplays(
            {{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
        show(editor, "Notes", text);
        recordImages(config);
        ASSERT_TRUE(awaitStreams({1, 2}));
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

} // namespace nomara
