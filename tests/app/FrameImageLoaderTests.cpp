#include "Quillshade/segments/FrameImageLoader.h"
#include "platform/fake/FakeVideoCodec.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

using Size = FrameImageLoader::Size;
using Decoded = std::vector<std::pair<std::int64_t, int>>;

struct FrameImageLoaderTest : ::testing::Test {
    testing::TemporaryData data;
    FakeVideoCodec codec;
    std::optional<FrameImageLoader> loader{std::in_place, codec};

    ~FrameImageLoaderTest() override { codec.holdReads(false); }

    /// A segment whose picture `i` is `first` + i pixels wide, so that one can tell it.
    static FakeVideoCodec::Video video(int first, int count) {
        FakeVideoCodec::Video made;
        for (int i = 0; i < count; ++i)
            made.frames.push_back(std::make_shared<PixelBuffer>(first + i, 1));
        return made;
    }
    void put(const std::string& path, const FakeVideoCodec::Video& made) {
        codec.put(NomaraPaths::framesFile(path), made);
    }
    static FrameSummary frame(RowID id, const std::string& path, std::int64_t index) {
        return {.id = id, .imageState = ImageState::segment, .segmentPath = path, .segmentIndex = index};
    }
    /// The width of what comes back, 0 for nothing.
    int width(const FrameSummary& frame, Size size) {
        const Image image = loader->image(frame, size).result();
        return image ? image->width : 0;
    }
    /// Why it can't be shown; empty where nothing is damaged.
    std::string damage(const FrameSummary& frame, Size size) {
        try {
            loader->image(frame, size).waitForFinished();
        } catch (const DamagedVideo& error) {
            return error.what();
        }
        return "";
    }
    /// What has been decoded since the last question.
    Decoded decoded() {
        const Decoded all = codec.decoded();
        Decoded newest(all.begin() + static_cast<std::ptrdiff_t>(m_asked), all.end());
        m_asked = all.size();
        return newest;
    }
    std::size_t opens() { return codec.opened().size(); }

private:
    std::size_t m_asked = 0;
};

} // namespace

TEST_F(FrameImageLoaderTest, GivesEachFrameAtEachSizeAndKeepsIt) {
    put("a.mp4", video(100, 40));
    const struct {
        Size size;
        int side;
    } rows[] = {{Size::full, 0}, {Size::preview, 1800}, {Size::thumbnail, 520}};
    for (const auto& row : rows) {
        EXPECT_EQ(width(frame(1, "a.mp4", 30), row.size), 130);
        EXPECT_EQ(decoded(), (Decoded{{30, row.side}})) << row.side;
        EXPECT_EQ(width(frame(1, "a.mp4", 30), row.size), 130);
        EXPECT_EQ(decoded(), Decoded{}) << "a picture in memory was read again";
    }
    // Whoever only passes by fills no memory.
    FrameRecord passed;
    passed.id = 3;
    passed.segmentPath = "a.mp4";
    passed.segmentIndex = 31;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(loader->passingImage(passed, Size::full).result()->width, 131);
    EXPECT_EQ(decoded(), (Decoded{{31, 0}, {31, 0}}));
    EXPECT_EQ(width(frame(2, "a.mp4", 39), Size::full), 139);
    EXPECT_EQ(opens(), 1U) << "one decoder is enough for a segment";
}

TEST_F(FrameImageLoaderTest, KeepsTheThumbnailsThatItPasses) {
    put("a.mp4", video(100, 60));
    EXPECT_EQ(width(frame(7, "a.mp4", 33), Size::thumbnail), 133);
    EXPECT_EQ(decoded(), (Decoded{{30, 520}, {31, 520}, {32, 520}, {33, 520}}));
    // Backwards, as one scrubs: nothing is decoded any more.
    for (const int index : {32, 31, 30})
        EXPECT_EQ(width(frame(index, "a.mp4", index), Size::thumbnail), 100 + index);
    EXPECT_EQ(decoded(), Decoded{});
    // Further on: from where it stood.
    EXPECT_EQ(width(frame(9, "a.mp4", 35), Size::thumbnail), 135);
    EXPECT_EQ(decoded(), (Decoded{{33, 520}, {34, 520}, {35, 520}}));
}

TEST_F(FrameImageLoaderTest, WhatCantBeReadIsNothing) {
    put("a.mp4", video(100, 10));
    FrameSummary textOnly = frame(1, "a.mp4", 0), noIndex = textOnly;
    textOnly.segmentPath.reset();
    noIndex.segmentIndex.reset();
    const std::pair<const char*, FrameSummary> rows[] = {{"no segment", textOnly},
                                                         {"no index", noIndex},
                                                         {"no file", frame(1, "b.mp4", 0)},
                                                         {"beyond the end", frame(1, "a.mp4", 10)}};
    for (const auto& [name, asked] : rows)
        for (const Size size : {Size::thumbnail, Size::full})
            EXPECT_EQ(width(asked, size), 0) << name;
    put("b.mp4", video(1, 1));
    EXPECT_EQ(width(frame(1, "b.mp4", 0), Size::full), 1) << "nothing is remembered as missing";
}

TEST_F(FrameImageLoaderTest, DamageIsSaidToWhoeverAsksAndLoggedOnce) {
    auto torn = video(100, 10);
    torn.damaged = {4, 5};
    put("a.mp4", torn);
    ::testing::internal::CaptureStderr();
    for (const Size size : {Size::thumbnail, Size::preview, Size::full}) {
        EXPECT_EQ(damage(frame(1, "a.mp4", 4), size), "Picture 4 is damaged.");
        EXPECT_EQ(damage(frame(2, "a.mp4", 5), size), "Picture 5 is damaged.");
        EXPECT_EQ(width(frame(3, "a.mp4", 3), size), 103) << "before it";
        EXPECT_EQ(width(frame(4, "a.mp4", 6), size), 106) << "behind it";
    }
    const std::string log = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("a.mp4 is damaged: Picture 4"), std::string::npos) << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
}

TEST_F(FrameImageLoaderTest, TheSegmentNotUsedForLongestIsClosedFirst) {
    const auto path = [](int i) { return std::to_string(i) + ".mp4"; };
    for (int i = 0; i < 11; ++i)
        put(path(i), video(10 + i, 100));
    RowID id = 0;
    for (int i = 0; i < 10; ++i)
        width(frame(++id, path(i), 0), Size::full);
    width(frame(++id, path(0), 1), Size::full); // used again
    width(frame(++id, path(10), 0), Size::full);
    EXPECT_EQ(opens(), 11U);
    width(frame(++id, path(0), 2), Size::full);
    EXPECT_EQ(opens(), 11U);
    width(frame(++id, path(1), 1), Size::full);
    EXPECT_EQ(opens(), 12U) << "the second one was the oldest";
}

TEST_F(FrameImageLoaderTest, ARewrittenSegmentIsReadAnew) {
    put("a.mp4", video(100, 10));
    put("b.mp4", video(300, 10));
    for (const Size size : {Size::thumbnail, Size::preview, Size::full}) {
        width(frame(1, "a.mp4", 3), size);
        width(frame(2, "b.mp4", 3), size);
    }
    put("a.mp4", video(200, 10));
    put("b.mp4", video(400, 10));
    loader->invalidate({"a.mp4", "c.mp4"});
    for (const Size size : {Size::thumbnail, Size::preview, Size::full}) {
        EXPECT_EQ(width(frame(1, "a.mp4", 3), size), 203);
        EXPECT_EQ(width(frame(3, "a.mp4", 2), size), 202) << "a thumbnail from before";
        EXPECT_EQ(width(frame(2, "b.mp4", 3), size), 303) << "another segment has lost its pictures";
    }
    loader->invalidateAll();
    EXPECT_EQ(width(frame(2, "b.mp4", 3), Size::full), 403);
}

TEST_F(FrameImageLoaderTest, KeepsNoMoreThanItsBytes) {
    put("a.mp4", video(100, 10));
    loader.emplace(codec, 3 * 110 * 4); // room for two or three pictures of one row
    for (int i = 0; i < 4; ++i)
        width(frame(i, "a.mp4", i), Size::full);
    decoded();
    width(frame(1, "a.mp4", 1), Size::full);
    EXPECT_EQ(decoded(), Decoded{});
    width(frame(0, "a.mp4", 0), Size::full);
    EXPECT_EQ(decoded(), (Decoded{{0, 0}})) << "the oldest picture was kept beyond the bound";
    width(frame(2, "a.mp4", 2), Size::full);
    EXPECT_EQ(decoded(), (Decoded{{2, 0}})) << "what was asked for last went before what wasn't";
    loader.emplace(codec, 10);
    EXPECT_EQ(width(frame(1, "a.mp4", 1), Size::full), 101) << "larger than the cache";
}

TEST_F(FrameImageLoaderTest, ACancelledRequestCostsNothing) {
    put("a.mp4", video(100, 30));
    codec.holdReads(true);
    const auto first = loader->image(frame(1, "a.mp4", 0), Size::full); // holds up the others
    auto cancelled = loader->image(frame(2, "a.mp4", 1), Size::full);
    const auto last = loader->image(frame(3, "a.mp4", 2), Size::full);
    cancelled.cancel();
    codec.holdReads(false);
    EXPECT_EQ(last.result()->width, 102);
    EXPECT_EQ(first.result()->width, 100);
    EXPECT_EQ(decoded(), (Decoded{{0, 0}, {2, 0}}));
}

TEST_F(FrameImageLoaderTest, APictureUnderWayDoesntOutliveItsSegment) {
    put("a.mp4", video(100, 10));
    codec.holdReads(true);
    const auto underWay = loader->image(frame(1, "a.mp4", 3), Size::full);
    put("a.mp4", video(200, 10));
    loader->invalidate({"a.mp4"});
    codec.holdReads(false);
    underWay.result();                                       // whichever of the two it is
    EXPECT_EQ(width(frame(2, "a.mp4", 4), Size::full), 204); // behind the invalidation
    EXPECT_EQ(width(frame(1, "a.mp4", 3), Size::full), 203);
}

} // namespace nomara
