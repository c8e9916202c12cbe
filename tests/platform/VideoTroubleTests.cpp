#include "tests/platform/VideoTest.h"

#include <algorithm>
#include <csignal>
#include <vector>

#include <sys/resource.h>

namespace nomara {

namespace {

/// Writes of this process beyond so many bytes of a file fail while this lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::uintmax_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limited{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before{};
    void (*m_signal)(int);
};

} // namespace

TEST_F(VideoTest, AFileCutAnywhereGivesThePicturesThatAreWhole) {
    std::vector<std::size_t> ends; // of the file with so many pictures
    {
        const auto output = create();
        ends.push_back(std::filesystem::file_size(file));
        for (int i = 0; i < 8; ++i) {
            write(*output, i, i + 1);
            ends.push_back(std::filesystem::file_size(file));
        }
    }
    const std::string whole = bytesOf(file);
    ASSERT_EQ(whole.size(), ends.back());
    const std::filesystem::path cut = folder / "cut.mp4";
    std::vector<std::size_t> lengths;
    for (const std::size_t end : ends)
        for (const int beside : {-9, -1, 0, 1, 7, 9, 60, 130})
            lengths.push_back(std::min(end + static_cast<std::size_t>(beside), whole.size()));
    for (std::size_t length = 0; length < ends[0]; length += 23)
        lengths.push_back(length);
    for (const std::size_t length : lengths) {
        // Cut off; and, as a power cut leaves it, as long as it was but empty.
        for (const bool zeroes : {false, true}) {
            put(cut, whole.substr(0, length) + std::string(zeroes ? whole.size() - length : 0, '\0'));
            std::int64_t expected = 0;
            while (expected + 1 < static_cast<std::int64_t>(ends.size()) &&
                   ends[static_cast<std::size_t>(expected) + 1] <= length)
                ++expected;
            // Where a picture's end is zeroes, it may pass for a whole one: the format has no checksum.
            ASSERT_GE(readableFrames(cut), expected) << length;
            ASSERT_LE(readableFrames(cut), expected + (zeroes ? 1 : 0)) << length;
            if (expected == 0) continue;
            ASSERT_EQ(numberAt(*codec.open(cut), expected - 1), expected - 1) << length;
        }
    }
}

TEST_F(VideoTest, WhatIsNoVideoIsRefused) {
    for (const std::string& garbage :
         {std::string(), std::string("x"), std::string(100'000, '\0'), std::string(50'000, 'm'),
          std::string("\0\0\0\x18"
                      "ftypisom",
                      12)}) {
        put(file, garbage);
        EXPECT_THROW(codec.open(file), DamagedVideo);
    }
    EXPECT_THROW(codec.open(folder / "missing.mp4"), VideoError);
}

// The disk fills up in the middle of a fragment.
TEST_F(VideoTest, AFullDiskCostsWhatDidntFit) {
    const auto output = create();
    write(*output, 0, 2);
    const auto before = std::filesystem::file_size(file);
    int taken = 2;
    {
        const FileSizeLimit limit(before + 700);
        EXPECT_TRUE(output->append(testing::screenPicture(taken++, width, height)));
        EXPECT_TRUE(output->waitUntilReady(generous));
        EXPECT_EQ(output->status(), VideoOutput::Status::failed);
        EXPECT_FALSE(output->append(testing::screenPicture(taken, width, height)))
            << "a later picture would take a wrong place";
    }
    EXPECT_FALSE(output->errorText().empty());
    EXPECT_EQ(codec.openEncoders(), 0) << "memory is held for a file that takes nothing more";
    output->finish();
    EXPECT_EQ(output->status(), VideoOutput::Status::failed);
    EXPECT_EQ(output->storedFrames(), 2);
    EXPECT_EQ(std::filesystem::file_size(file), before) << "the torn fragment is still there";
    EXPECT_EQ(readableFrames(file), 2);

    // Room for the fragments but not for the copy that would open faster.
    std::filesystem::remove(file);
    const auto other = create();
    write(*other, 0, 2);
    const std::string fragments = bytesOf(file);
    {
        const FileSizeLimit limit(fragments.size() / 2);
        other->finish();
    }
    EXPECT_EQ(other->status(), VideoOutput::Status::completed);
    EXPECT_EQ(bytesOf(file), fragments);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

} // namespace nomara
