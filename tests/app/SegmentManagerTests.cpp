#include "Quillshade/segments/SegmentManager.h"
#include "core/base/Calendar.h"
#include "platform/fake/FakeVideoCodec.h"
#include "platform/fake/FakeVolume.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/PostedWork.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <optional>
#include <set>
#include <thread>

#include <gtest/gtest.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;
using Place = SegmentManager::Place;

struct SegmentManagerTest : ::testing::Test {
    testing::TemporaryData data;
    ManualClock clock;
    testing::PostedWork mainThread;
    StoreHub hub{mainThread.executor(), clock};
    FakeVideoCodec codec;
    FakeVolume volume;
    std::optional<SegmentManager> manager{std::in_place, hub, codec, volume, clock};
    const Date start{1'700'000'000.25};
    Image image = std::make_shared<PixelBuffer>(64, 40);

    ~SegmentManagerTest() override { codec.holdFinish(false); }

    /// Lets time pass until then; back in time, the wall clock is set.
    void at(double after) {
        const double step = start + after - clock.now();
        if (step > 0)
            clock.advance(step);
        else
            clock.setNow(start + after);
    }
    std::optional<Place> append(double after, DisplayID display = 1, ImageQuality quality = ImageQuality::balanced) {
        at(after);
        const auto place = manager->append(image, display, start + after, quality);
        if (place) {
            // As the recorder does, before anything else happens to the segment.
            hub.write([&](MemoryStore& store) {
                store.insertFrame({.timestamp = start + after,
                                   .displayID = display,
                                   .imageState = ImageState::segment,
                                   .segmentID = place->segmentID,
                                   .segmentIndex = place->index});
            });
        }
        return place;
    }
    std::optional<SegmentRecord> segment(RowID id) {
        return hub.read([&](MemoryStore& store) { return store.segment(id); });
    }
    /// How many frames still point at a picture of the segment.
    std::size_t pictures(RowID id) {
        return hub.read([&](MemoryStore& store) { return store.framesInSegment(id).size(); });
    }
    fs::path file(RowID id) { return NomaraPaths::framesFile(segment(id)->path); }
    /// A row as a crash leaves it, with frames of indices below `frames`.
    RowID leftOpen(const std::string& path, double startAfter, std::int64_t frames) {
        return hub.write([&](MemoryStore& store) {
            const RowID id = store.insertOpenSegment(path, 1, start + startAfter, 64, 40);
            for (std::int64_t i = 0; i < frames; ++i)
                store.insertFrame({.timestamp = start + startAfter + static_cast<double>(i),
                                   .imageState = ImageState::segment,
                                   .segmentID = id,
                                   .segmentIndex = i});
            return id;
        });
    }
    std::string logged(const std::function<void()>& work) {
        ::testing::internal::CaptureStderr();
        work();
        return ::testing::internal::GetCapturedStderr();
    }
};

} // namespace

TEST(SegmentWriter, ScalesToAnEvenSizeWithinTheWidth) {
    const struct {
        int maxWidth;
        PixelSize source, output;
    } rows[] = {
        {1920, {3840, 2160}, {1920, 1080}}, {2560, {3840, 2160}, {2560, 1440}},
        {1440, {1441, 901}, {1440, 900}},   {1440, {1001, 701}, {1000, 700}},
        {1920, {1920, 1200}, {1920, 1200}}, {1920, {1080, 1921}, {1080, 1920}},
        {1440, {3440, 1440}, {1440, 602}},  {1440, {1, 1}, {0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SegmentWriter::outputSize(row.maxWidth, row.source), row.output)
            << row.source.width << " by " << row.source.height;
}

TEST_F(SegmentManagerTest, EachDisplayHasASegmentWithIndicesFromZero) {
    EXPECT_EQ(append(0), (Place{1, 0}));
    EXPECT_EQ(append(1, 7), (Place{2, 0}));
    EXPECT_EQ(append(2), (Place{1, 1}));
    auto waited = [&, before = 0.0]() mutable {
        const std::vector<double> waits = codec.waits();
        const double all = std::accumulate(waits.begin(), waits.end(), 0.0);
        return all - std::exchange(before, all);
    };
    EXPECT_EQ(waited(), 0);
    codec.setReady(false);
    EXPECT_EQ(append(3), std::nullopt);
    EXPECT_NEAR(waited(), 0.3, 1e-9);
    int asked = 0;
    EXPECT_EQ(manager->append(image, 1, start + 3.5, ImageQuality::balanced, [&] { return ++asked == 3; }),
              std::nullopt);
    EXPECT_NEAR(waited(), 0.01, 1e-9) << "somebody couldn't wait";
    codec.setReady(true);
    EXPECT_EQ(append(4), (Place{1, 2})) << "a dropped frame takes no index";

    const std::string path = "segments/" + Calendar::dayKey(start) + "/1-1700000000250.mp4";
    EXPECT_EQ(segment(1)->path, path);
    EXPECT_EQ(manager->openPaths(), (std::set{path, "segments/" + Calendar::dayKey(start) + "/7-1700000001250.mp4"}));
    const auto folder = fs::status(file(1).parent_path()).permissions();
    EXPECT_EQ(folder, fs::perms::owner_all);
    EXPECT_FALSE(segment(1)->closed);
}

TEST_F(SegmentManagerTest, QualityDecidesWidthAndEncoding) {
    image = std::make_shared<PixelBuffer>(3840, 2160);
    const std::pair<ImageQuality, std::pair<PixelSize, double>> rows[] = {{ImageQuality::compact, {{1440, 810}, 0.42}},
                                                                          {ImageQuality::balanced, {{1920, 1080}, 0.5}},
                                                                          {ImageQuality::sharp, {{2560, 1440}, 0.6}}};
    double after = 0;
    for (const auto& [quality, made] : rows) {
        const auto place = append(after++, 1, quality);
        ASSERT_TRUE(place);
        EXPECT_EQ(std::pair(codec.created().back().size, codec.created().back().quality), made);
        EXPECT_EQ(segment(place->segmentID)->width, made.first.width);
        EXPECT_EQ(segment(place->segmentID)->height, made.first.height);
    }
}

TEST_F(SegmentManagerTest, ASegmentEndsWhenItsTimeHasCome) {
    const struct {
        const char* name;
        double after;
        int width;
        ImageQuality quality;
        bool newSegment;
    } rows[] = {
        {"just before half an hour", 1799.9, 64, ImageQuality::balanced, false},
        {"after half an hour", 1800, 64, ImageQuality::balanced, true},
        {"another size", 1801, 66, ImageQuality::balanced, true},
        {"another quality", 1802, 66, ImageQuality::sharp, true},
        {"the clock set back", 1801, 66, ImageQuality::sharp, true},
        {"some minutes later", 2500, 66, ImageQuality::sharp, false},
        {"set back, but not before its start", 1900, 66, ImageQuality::sharp, false},
        {"half an hour in all", 3002, 66, ImageQuality::sharp, true},
    };
    append(0);
    RowID last = 1;
    for (const auto& row : rows) {
        image = std::make_shared<PixelBuffer>(row.width, 40);
        const auto place = append(row.after, 1, row.quality);
        ASSERT_TRUE(place) << row.name;
        EXPECT_EQ(place->segmentID != last, row.newSegment) << row.name;
        if (row.newSegment) {
            EXPECT_EQ(place->index, 0) << row.name;
        }
        last = place->segmentID;
    }
}

TEST_F(SegmentManagerTest, HoldsThreeHundredPictures) {
    for (int i = 0; i < 300; ++i)
        ASSERT_EQ(append(i), (Place{1, i}));
    EXPECT_EQ(append(300), (Place{2, 0}));
}

TEST_F(SegmentManagerTest, ClosesRecordWhatTheFileHolds) {
    append(0);
    append(5, 2);
    append(30);
    at(124.9);
    manager->closeIdle(120);
    EXPECT_EQ(manager->openPaths().size(), 2U);
    clock.setNow(start - 7'200); // an idle segment ends all the same
    clock.advance(0.2);
    manager->closeIdle(120);
    EXPECT_EQ(manager->openPaths().size(), 1U);
    manager->close(9); // has none
    manager->closeAllAndWait();
    EXPECT_TRUE(manager->openPaths().empty());
    for (const RowID id : {1, 2}) {
        EXPECT_TRUE(segment(id)->closed) << id;
        EXPECT_EQ(segment(id)->bytes, static_cast<std::int64_t>(fs::file_size(file(id)))) << id;
        EXPECT_EQ(codec.video(file(id)).status, VideoOutput::Status::completed) << id;
    }
    EXPECT_EQ(segment(1)->frameCount, 2);
    EXPECT_EQ(segment(1)->end, start + 30);
    EXPECT_EQ(segment(2)->end, start + 5);
    EXPECT_EQ(append(200), (Place{3, 0}));
}

TEST_F(SegmentManagerTest, ASegmentWithoutPicturesLeavesNothing) {
    codec.setReady(false);
    EXPECT_EQ(append(0), std::nullopt);
    const fs::path made = codec.created().front().file;
    EXPECT_TRUE(fs::exists(made));
    manager->closeAllAndWait();
    EXPECT_FALSE(fs::exists(made));
    EXPECT_FALSE(segment(1));
}

TEST_F(SegmentManagerTest, LowDiskPausesNewSegmentsAndSaysSoOnce) {
    constexpr std::int64_t bar = 2'147'483'648;
    const struct {
        double after;
        std::optional<std::int64_t> available;
        bool stored;
        const char* log;
    } rows[] = {
        {0, bar, true, ""},
        {10, bar - 1, true, ""}, // goes on until it ends
        {1900, bar - 1, false, "Free disk space 2147483647 bytes: images paused"},
        {1930, bar * 2, false, ""}, // asked a moment ago
        {1960, bar - 5, false, ""},
        {2020, std::nullopt, false, ""}, // can't be told: as before
        {1000, std::nullopt, false, ""}, // the clock was set back: time goes on all the same
        {1060, bar, true, "Free disk space 2147483648 bytes: images resumed"},
    };
    for (const auto& row : rows) {
        volume.available = row.available;
        bool stored = false;
        const std::string log = logged([&] { stored = append(row.after).has_value(); });
        EXPECT_EQ(stored, row.stored) << row.after;
        EXPECT_NE(log.find(row.log), std::string::npos) << row.after << ": " << log;
        EXPECT_EQ(log.empty(), std::string(row.log).empty()) << row.after << ": " << log;
    }
    EXPECT_EQ(volume.questions, 5);
}

TEST_F(SegmentManagerTest, ARefusedSegmentIsTriedAgainAndToldOnce) {
    codec.refuse("The encoder isn't there.");
    const std::string first = logged([&] { EXPECT_FALSE(append(0)); });
    EXPECT_NE(first.find("Could not open segment: The encoder isn't there."), std::string::npos) << first;
    EXPECT_EQ(logged([&] { EXPECT_FALSE(append(1)); }), "");
    codec.refuse("Something else.");
    EXPECT_NE(logged([&] { EXPECT_FALSE(append(2)); }).find("Something else."), std::string::npos);
    codec.refuse("");
    EXPECT_TRUE(append(3));
    manager->closeAllAndWait();

    // No row without a file, no file without a row.
    hub.write([](MemoryStore& store) { store.close(); });
    EXPECT_NE(logged([&] { EXPECT_FALSE(append(4)); }).find("Could not open segment: SQLite"), std::string::npos);
    EXPECT_FALSE(fs::exists(codec.created().back().file));
}

// The encoder takes a picture before it writes it. What it can't write must not stay in the store.
TEST_F(SegmentManagerTest, PicturesThatNeverReachedTheFileAreDropped) {
    const struct {
        const char* name;
        std::int64_t stored;
    } rows[] = {{"after some", 2}, {"from the first on", 0}};
    double base = 0;
    for (const auto& row : rows) {
        base += 100;
        codec.failFrom(row.stored);
        const RowID id = append(base)->segmentID;
        const fs::path written = file(id);
        for (int i = 1; i <= row.stored; ++i)
            ASSERT_EQ(append(base + i), (Place{id, i})) << row.name;
        ASSERT_EQ(pictures(id), static_cast<std::size_t>(row.stored) + 1) << row.name;
        const std::string log = logged([&] { manager->closeAllAndWait(); });
        EXPECT_NE(log.find("Segment finish failed: The disk is full."), std::string::npos) << log;
        EXPECT_EQ(pictures(id), static_cast<std::size_t>(row.stored)) << row.name;
        EXPECT_EQ(fs::exists(written), row.stored > 0) << row.name;
        const auto found = segment(id);
        EXPECT_EQ(found.has_value(), row.stored > 0) << row.name;
        if (!found) continue;
        EXPECT_TRUE(found->closed) << row.name;
        EXPECT_EQ(found->frameCount, row.stored) << row.name;
        EXPECT_EQ(found->end, start + base + static_cast<double>(row.stored - 1)) << row.name;
    }
}

// On a full disk each picture begins a file in vain.
TEST_F(SegmentManagerTest, AFailureThatComesWithEveryPictureIsToldOnce) {
    const auto wholeLog = [&](double first, int count) {
        return logged([&] {
            for (int i = 0; i < count; ++i)
                for (const DisplayID display : {1U, 2U})
                    manager->append(image, display, start + first + i, ImageQuality::balanced);
            // Each display's last segment is still open; the others end in the background.
            while (hub.read([](MemoryStore& store) { return store.openSegments().size(); }) > 2)
                std::this_thread::yield();
        });
    };
    codec.failFrom(0);
    const std::string log = wholeLog(0, 10);
    EXPECT_EQ(std::ranges::count(log, '\n'), 1) << log;
    EXPECT_NE(log.find("Segment finish failed: The disk is full."), std::string::npos) << log;
    // Both displays' pictures come back; when they fail again, that is news.
    codec.failFrom(INT64_MAX);
    EXPECT_EQ(wholeLog(20, 1), "");
    EXPECT_EQ(wholeLog(21, 2), "");
    codec.failFrom(0);
    EXPECT_EQ(std::ranges::count(wholeLog(40, 10), '\n'), 1);
}

// A segment's close that comes late finds another segment under its number.
TEST_F(SegmentManagerTest, AnEmptiedMemoryIsLeftAlone) {
    append(0);
    codec.holdFinish(true);
    manager->close(1);
    hub.eraseAll();
    ASSERT_EQ(leftOpen("segments/2023-11-14/5-5.mp4", 0, 3), 1);
    codec.holdFinish(false);
    manager->closeAllAndWait();
    EXPECT_FALSE(segment(1)->closed);
    EXPECT_EQ(pictures(1), 3U);
}

TEST_F(SegmentManagerTest, AFileThatIsntCompletedInTimeIsGivenUp) {
    manager.emplace(hub, codec, volume, clock, 0.01);
    append(0);
    codec.holdFinish(true);
    manager->closeAllAndWait();
    EXPECT_TRUE(segment(1)->closed);
    EXPECT_EQ(segment(1)->frameCount, 1);
    EXPECT_EQ(codec.video(file(1)).status, VideoOutput::Status::cancelled) << "it might still write";
}

TEST_F(SegmentManagerTest, ACloseThatCantBeRecordedIsLeftToTheNextStart) {
    append(0);
    hub.write([](MemoryStore& store) { store.close(); });
    const std::string log = logged([&] { manager->closeAllAndWait(); });
    EXPECT_NE(log.find("Segment close record failed: SQLite"), std::string::npos) << log;
    EXPECT_FALSE(segment(1)->closed);
    EXPECT_TRUE(fs::exists(file(1)));
}

// What a crash leaves in a real file is in the round trip.
TEST_F(SegmentManagerTest, RecoversWhatACrashHasLeft) {
    const auto video = [&](int readable, int announced, std::set<std::int64_t> damaged = {}) {
        return FakeVideoCodec::Video{.frames = std::vector<Image>(static_cast<std::size_t>(readable), image),
                                     .announcedFrames = announced,
                                     .damaged = std::move(damaged)};
    };
    const struct {
        const char* name;
        std::optional<FakeVideoCodec::Video> video;
        std::int64_t frames, kept;
    } rows[] = {
        {"announces more than can be read", video(3, 2), 5, 3},
        {"a picture that no frame knows of", video(6, 0), 5, 6},
        {"torn in the middle", video(5, 0, {3, 4}), 5, 3},
        {"none can be read", video(3, 0, {0, 1, 2}), 3, 0},
        {"missing", std::nullopt, 2, 0},
        {"no frames", video(2, 0), 0, 2},
    };
    const auto path = [](std::size_t i) { return "segments/2023-11-14/1-" + std::to_string(i) + ".mp4"; };
    std::vector<RowID> ids;
    for (const auto& row : rows) {
        if (row.video) codec.put(NomaraPaths::framesFile(path(ids.size())), *row.video);
        ids.push_back(leftOpen(path(ids.size()), static_cast<double>(ids.size()) * 100, row.frames));
    }
    // Closed long ago, and none of recovery's business.
    append(9'000, 4);
    manager->closeAllAndWait();
    const RowID other = ids.back() + 1;
    fs::remove(file(other));

    manager->recoverOpenSegments().waitForFinished();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const auto& row = rows[i];
        const fs::path left = NomaraPaths::framesFile(path(i));
        EXPECT_EQ(pictures(ids[i]), static_cast<std::size_t>(std::min(row.kept, row.frames))) << row.name;
        EXPECT_EQ(codec.cleared()[i], left) << "oldest first: " << row.name;
        const auto found = segment(ids[i]);
        EXPECT_EQ(found.has_value(), row.kept > 0) << row.name;
        EXPECT_EQ(fs::exists(left), row.kept > 0) << row.name;
        if (!found) continue;
        EXPECT_TRUE(found->closed) << row.name;
        EXPECT_EQ(found->frameCount, row.kept) << row.name;
        EXPECT_EQ(found->bytes, static_cast<std::int64_t>(fs::file_size(left))) << row.name;
        const auto last = static_cast<double>(std::max<std::int64_t>(std::min(row.kept, row.frames) - 1, 0));
        EXPECT_EQ(found->end, start + static_cast<double>(i) * 100 + last) << row.name;
    }
    EXPECT_EQ(pictures(other), 1U);
    for (const auto& [index, side] : codec.decoded())
        EXPECT_EQ(side, 64) << "a look is all that it takes";
}

TEST_F(SegmentManagerTest, RecoveryKeepsWhatItCantLookAt) {
    const std::string path = "segments/2023-11-14/1-1.mp4";
    codec.put(NomaraPaths::framesFile(path), {.frames = {image}});
    const RowID id = leftOpen(path, 0, 1);
    codec.setOpensFail(true);
    const std::string log = logged([&] { manager->recoverOpenSegments().waitForFinished(); });
    EXPECT_NE(log.find(path + " could not be recovered: Too many files"), std::string::npos) << log;
    EXPECT_EQ(pictures(id), 1U);
    EXPECT_FALSE(segment(id)->closed);
    EXPECT_TRUE(fs::exists(NomaraPaths::framesFile(path)));

    codec.setOpensFail(false);
    manager->recoverOpenSegments().waitForFinished();
    EXPECT_TRUE(segment(id)->closed);

    hub.read([](MemoryStore& store) { store.close(); });
    const std::string unread = logged([&] { manager->recoverOpenSegments().waitForFinished(); });
    EXPECT_NE(unread.find("Segments left open could not be listed: SQLite"), std::string::npos) << unread;
}

} // namespace nomara
