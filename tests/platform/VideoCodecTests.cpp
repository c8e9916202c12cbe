#include "tests/platform/VideoTest.h"

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace nomara {

namespace {

using testing::lumaPSNR;
using testing::screenPicture;

} // namespace

TEST_F(VideoTest, EveryPictureReadsBackAsItselfWhileWritingAndAfterwards) {
    constexpr int count = 64;
    const auto output = create();
    write(*output, 0, count);
    std::vector<int> order(count);
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(3));

    const auto growing = codec.open(file);
    EXPECT_EQ(growing->frameCount(), count);
    for (const int i : order)
        EXPECT_EQ(numberAt(*growing, i), i) << "while it is written";

    output->finish();
    EXPECT_EQ(output->status(), VideoOutput::Status::completed);
    EXPECT_FALSE(output->append(screenPicture(count, width, height)));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1) << "something was left beside";
    EXPECT_EQ(bytesOf(file).find("moof"), std::string::npos) << "a finished file has one table, no fragments";
    EXPECT_EQ(numberAt(*growing, 3), 3) << "who reads the file goes on with the one that was opened";

    const auto finished = codec.open(file);
    EXPECT_EQ(finished->frameCount(), count);
    EXPECT_EQ(finished->size(), (PixelSize{width, height}));
    for (const int i : order) {
        const Image image = finished->frame(i, 0);
        EXPECT_EQ(testing::numberOf(image, width), i);
        EXPECT_GE(lumaPSNR(image, screenPicture(i, width, height)), 38) << i;
        EXPECT_LT(i - finished->groupStart(i), 60) << "far from where reading can begin";
    }
    for (const std::int64_t outside : {-1, count, count + 1'000})
        EXPECT_FALSE(finished->frame(outside, 0)) << outside;
}

TEST_F(VideoTest, PicturesFitTheVideoAndTheVideoFitsThePicture) {
    const auto output = codec.create({file, {width, height}, 0.5});
    ASSERT_TRUE(output->append(screenPicture(77, 2 * width, 2 * height)));
    ASSERT_TRUE(output->waitUntilReady(generous));
    output->finish();
    const auto input = codec.open(file);
    const struct {
        int largestSide, width, height;
    } rows[] = {{0, 480, 300}, {5'000, 480, 300}, {480, 480, 300}, {479, 479, 299}, {160, 160, 100}, {1, 1, 1}};
    for (const auto& row : rows) {
        const Image image = input->frame(0, row.largestSide);
        ASSERT_TRUE(image) << row.largestSide;
        EXPECT_EQ(std::pair(image->width, image->height), std::pair(row.width, row.height)) << row.largestSide;
        if (row.width > 1) {
            EXPECT_EQ(testing::numberOf(image, 2 * width), 77) << row.largestSide;
        }
    }
}

// What converts many pixels at once must neither leave the last ones out nor write past them.
TEST_F(VideoTest, AnyWidthReadsBackToItsLastPixel) {
    for (const int wide : {482, 488, 496, 918, 1'000, 1'008}) {
        auto image = std::make_shared<PixelBuffer>(wide, 102);
        testing::fillRect(*image, 0, 0, wide, 102, 0x44464A);
        testing::fillRect(*image, wide - 8, 0, 8, 102, 0xE8A33D);
        const auto output = codec.create({file, {wide, 102}, 0.5});
        ASSERT_TRUE(output->append(image));
        output->finish();
        const auto input = codec.open(file);
        for (int i = 0; i < 3; ++i) { // a heap that was written over is noticed by the next ones
            const Image read = input->frame(0, 0);
            ASSERT_TRUE(read) << wide;
            const std::uint8_t* const last = read->row(101) + static_cast<std::size_t>(wide - 1) * 4;
            EXPECT_NEAR(last[2], 0xE8, 12) << wide;
            EXPECT_NEAR(last[0], 0x3D, 12) << wide;
        }
    }
}

// Colours that a wrong matrix or range would shift.
TEST_F(VideoTest, ColoursStayTheSame) {
    const std::uint32_t colours[] = {0xFF0000, 0x00FF00, 0x0000FF, 0xFFFFFF, 0x000000, 0x44464A, 0xE8A33D, 0x808080};
    auto image = std::make_shared<PixelBuffer>(width, height);
    for (int i = 0; i < 8; ++i)
        testing::fillRect(*image, i * 60, 0, 60, height, colours[i]);
    const auto output = create();
    ASSERT_TRUE(output->append(image));
    output->finish();
    const Image read = codec.open(file)->frame(0, 0);
    ASSERT_TRUE(read);
    for (int i = 0; i < 8; ++i) {
        const std::uint8_t* const pixel = read->row(height / 2) + static_cast<std::size_t>(i * 60 + 30) * 4;
        for (int channel = 0; channel < 3; ++channel)
            EXPECT_NEAR(pixel[channel], colours[i] >> (8 * channel) & 0xFF, 4) << std::hex << colours[i];
        EXPECT_EQ(pixel[3], 255);
    }
}

TEST_F(VideoTest, TakesNothingThatIsNoPicture) {
    const auto output = create();
    auto shortOfBytes = std::make_shared<PixelBuffer>(width, height);
    shortOfBytes->bytes.resize(100);
    for (const Image& image : {Image(), Image(std::make_shared<PixelBuffer>()), Image(shortOfBytes)})
        EXPECT_FALSE(output->append(image));
    write(*output, 0, 2);
}

TEST_F(VideoTest, AnIdleEncoderGoesAndComesBackInTheSameFile) {
    LibavVideoCodec impatient(0.01);
    const auto output = impatient.create({file, {width, height}, 0.5});
    for (int i = 0; i < 5; ++i) {
        write(*output, i, i + 1);
        ASSERT_TRUE(eventually([&] { return impatient.openEncoders() == 0; })) << i;
    }
    for (const char* when : {"while it is written", "finished"}) {
        const auto input = impatient.open(file);
        ASSERT_EQ(input->frameCount(), 5) << when;
        for (int i = 4; i >= 0; --i) {
            EXPECT_EQ(numberAt(*input, i), i) << when;
            EXPECT_EQ(input->groupStart(i), i) << when;
        }
        output->finish();
    }
}

TEST_F(VideoTest, SaysWhyAFileCantBeWritten) {
    const std::filesystem::path missing = folder / "missing" / "1.mp4", below = file / "1.mp4";
    put(file, "a file, no folder");
    for (const auto& path : {missing, below}) {
        try {
            codec.create({path, {width, height}, 0.5});
            ADD_FAILURE() << path;
        } catch (const VideoError& error) {
            EXPECT_NE(std::string(error.what()).find(path.string()), std::string::npos) << error.what();
        }
    }
    if (geteuid() != 0) {
        const std::filesystem::path readOnly = folder / "read-only";
        std::filesystem::create_directory(readOnly);
        std::filesystem::permissions(readOnly, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        EXPECT_THROW(codec.create({readOnly / "1.mp4", {width, height}, 0.5}), VideoError);
    }
    for (const PixelSize size : {PixelSize{0, 0}, PixelSize{-2, 300}, PixelSize{481, 301}})
        EXPECT_THROW(codec.create({file, size, 0.5}), VideoError) << size.width;
    EXPECT_EQ(codec.openEncoders(), 0);
}

TEST_F(VideoTest, WhatIsDeletedWhileItIsWrittenStaysDeleted) {
    const auto output = create();
    write(*output, 0, 3);
    std::filesystem::remove(file);
    output->finish();
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(VideoTest, WhatWasGivenUpIsLeftAsItIs) {
    const auto output = create();
    write(*output, 0, 3);
    const std::string before = bytesOf(file);
    output->cancel();
    EXPECT_EQ(output->status(), VideoOutput::Status::cancelled);
    EXPECT_FALSE(output->append(screenPicture(3, width, height)));
    output->finish();
    EXPECT_EQ(bytesOf(file), before);
    EXPECT_EQ(readableFrames(file), 3);
}

} // namespace nomara
