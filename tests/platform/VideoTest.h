#pragma once

#include "platform/linux/libav/LibavVideoCodec.h"
#include "tests/support/Files.h"
#include "tests/support/ScreenPictures.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

namespace nomara {

constexpr double generous = 120; // seconds that a busy machine may take for one picture

using testing::bytesOf;

/// A folder of its own with room for videos, written and read by the real codec.
struct VideoTest : ::testing::Test {
    static constexpr int width = 480, height = 300;

    LibavVideoCodec codec;
    std::filesystem::path folder;
    std::filesystem::path file;

    VideoTest() {
        std::string name = (std::filesystem::temp_directory_path() / "quillshade-video-XXXXXX").string();
        folder = mkdtemp(name.data());
        file = folder / "1-1700000000000.mp4";
    }
    ~VideoTest() override { std::filesystem::remove_all(folder); }

    std::unique_ptr<VideoOutput> create() { return codec.create({file, {width, height}, 0.5}); }

    /// Appends pictures `from` … `to` − 1 and waits until they are stored.
    static void write(VideoOutput& output, int from, int to) {
        for (int i = from; i < to; ++i) {
            ASSERT_TRUE(output.append(testing::screenPicture(i, width, height))) << i;
            ASSERT_TRUE(output.waitUntilReady(generous)) << i;
            ASSERT_EQ(output.storedFrames(), i + 1) << output.errorText();
        }
    }

    static int numberAt(VideoInput& input, std::int64_t index, int largestSide = 0) {
        return testing::numberOf(input.frame(index, largestSide), width);
    }

    /// How many pictures can be read, as whoever recovers a file finds out.
    std::int64_t readableFrames(const std::filesystem::path& path) {
        try {
            const auto input = codec.open(path);
            std::int64_t count = input->frameCount();
            while (count > 0 && !wholePicture(*input, count - 1, 64))
                --count;
            return count;
        } catch (const DamagedVideo&) {
            return 0;
        }
    }

    /// Nothing where the picture is damaged.
    static Image wholePicture(VideoInput& input, std::int64_t index, int largestSide = 0) {
        try {
            return input.frame(index, largestSide);
        } catch (const DamagedVideo&) {
            return nullptr;
        }
    }

    static void put(const std::filesystem::path& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    }

    template <typename Condition>
    static bool eventually(Condition condition) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::duration<double>(generous);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > limit) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }
};

} // namespace nomara
