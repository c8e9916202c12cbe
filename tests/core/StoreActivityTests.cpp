#include "tests/core/StoreTest.h"
#include "tests/support/Files.h"

#include <fstream>

namespace nomara {

namespace {

struct StoreActivity : testing::StoreTest {};
struct StoreStatistics : testing::StoreTest {};
struct StoreMaintenance : testing::StoreTest {
    double freeShare() {
        return static_cast<double>(raw.scalarInt("PRAGMA freelist_count").value()) /
               static_cast<double>(raw.scalarInt("PRAGMA page_count").value());
    }
};

} // namespace

TEST_F(StoreActivity, OverlappingSpansAreFoundAndTouchingOnesAreNot) {
    const auto insertSpan = [&](double start, double end) {
        return store.insertActivity({.start = {start}, .end = {end}, .appBundleID = "a"});
    };
    const RowID around = insertSpan(0, 500), inside = insertSpan(150, 160), head = insertSpan(50, 101),
                tail = insertSpan(199, 300);
    insertSpan(50, 100); // ends exactly at the start
    insertSpan(200, 300);
    std::vector<RowID> ids;
    for (const ActivitySpan& span : store.activity({100}, {200}))
        ids.push_back(span.id);
    EXPECT_EQ(ids, (std::vector<RowID>{around, head, inside, tail}));
}

TEST_F(StoreActivity, AnAbsentFieldKeepsWhatIsStored) {
    const ActivitySpan span{.start = {1},
                            .end = {2},
                            .appBundleID = "bundle",
                            .appName = std::nullopt,
                            .project = "project",
                            .windowTitle = "title"};
    const RowID id = store.insertActivity(span);
    ActivitySpan expected = span;
    expected.id = id;
    EXPECT_EQ(store.activity({0}, {10}), std::vector{expected});
    store.updateActivity(id, {5}, std::nullopt, "other");
    expected.end = {5};
    expected.windowTitle = "other";
    EXPECT_EQ(store.activity({0}, {10}), std::vector{expected});
    store.updateActivity(id, {6}, "", std::nullopt);
    expected.end = {6};
    expected.project = "";
    EXPECT_EQ(store.activity({0}, {10}), std::vector{expected});
}

TEST_F(StoreStatistics, CountersAddUpAndIdleMinutesMakeNoRow) {
    store.addStats("2023-11-14", {});
    EXPECT_EQ(count("daily_stats"), 0);
    store.addStats("2023-11-15", {.energyJoules = 0.5});
    store.addStats("2023-11-14", {1, 2, 3, 0.25, 0.5, 6});
    store.addStats("2023-11-14", {10, 20, 30, 0.5, 0.25, 5'000'000'000});
    store.addStats("2023-11-17", {.framesSaved = 1});
    const DayStats sum{"2023-11-14", 11, 22, 33, 0.75, 0.75, 5'000'000'006};
    const DayStats next{.day = "2023-11-15", .energyJoules = 0.5};
    EXPECT_EQ(store.stats("2023-11-14", "2023-11-15"), (std::vector{sum, next}));
    EXPECT_EQ(store.stats("2023-11-16", "2023-11-16"), std::vector<DayStats>{});
}

TEST_F(StoreStatistics, SummariesAndKeysAreReplacedAndRemoved) {
    EXPECT_EQ(store.summary("2023-11-14"), std::nullopt);
    store.setSummary("2023-11-14", "first", "model");
    clock.advance(60);
    store.setSummary("2023-11-14", "second", "rules");
    EXPECT_EQ(store.summary("2023-11-14"), (DaySummary{"second", "rules", clock.now()}));

    EXPECT_EQ(store.meta("mcp_enabled"), std::nullopt);
    store.setMeta("mcp_enabled", "1");
    store.setMeta("mcp_enabled", "0");
    EXPECT_EQ(store.meta("mcp_enabled"), "0");
    store.setMeta("mcp_enabled", std::nullopt);
    EXPECT_EQ(raw.scalarInt("SELECT COUNT(*) FROM meta WHERE key = 'mcp_enabled'"), 0);
}

TEST_F(StoreMaintenance, TheBreakdownCountsWhatIsOnDisk) {
    StorageBreakdown empty = store.storageBreakdown();
    EXPECT_GT(empty.databaseBytes, 0);
    empty.databaseBytes = 0;
    EXPECT_EQ(empty, StorageBreakdown());

    store.insertClosedSegment({.path = "closed", .bytes = 1000}, 0);
    store.insertClosedSegment({.path = "closed too", .bytes = 500}, 0);
    store.insertOpenSegment("segments/open.mp4", 1, {1}, 1, 1);
    store.insertOpenSegment("segments/vanished.mp4", 1, {1}, 1, 1);
    std::ofstream(NomaraPaths::framesFile("segments/open.mp4")) << std::string(50'000, 'v');
    for (const ImageState state : {ImageState::segment, ImageState::dropped, ImageState::none, ImageState::none}) {
        NewFrame frame = frameAt(100);
        frame.imageState = state;
        store.insertFrame(frame);
    }
    store.insertFrame(frameAt(42.5));
    const StorageBreakdown full = store.storageBreakdown();
    EXPECT_EQ(full.segmentCount, 4);
    EXPECT_EQ(full.segmentBytes, 1500 + NomaraPaths::fileSize(NomaraPaths::framesFile("segments/open.mp4")));
    EXPECT_GE(full.segmentBytes, 51'500);
    EXPECT_EQ(full.frameCount, 5);
    EXPECT_EQ(full.textOnlyCount, 4);
    EXPECT_EQ(full.oldest, Date{42.5});
}

TEST_F(StoreMaintenance, CompactsOnlyAboveAQuarterFree) {
    raw.execute("CREATE TABLE filler (data)");
    const auto fill = [&](int large) {
        raw.execute("DELETE FROM filler; INSERT INTO filler VALUES (zeroblob(4000000)), (zeroblob(" +
                    std::to_string(large) + ")); DELETE FROM filler WHERE rowid = 2");
    };
    fill(1'200'000);
    const double free = freeShare();
    ASSERT_GT(free, 0.2);
    ASSERT_LT(free, 0.25);
    store.vacuumIfNeeded();
    EXPECT_EQ(freeShare(), free);
    fill(1'500'000);
    ASSERT_GT(freeShare(), 0.25);
    ASSERT_LT(freeShare(), 0.3);
    store.vacuumIfNeeded();
    EXPECT_EQ(freeShare(), 0);
}

TEST_F(StoreMaintenance, TextIsFoundAndForgottenAfterCompacting) {
    std::vector<RowID> ids;
    ids.reserve(200);
    for (int i = 0; i < 200; ++i)
        ids.push_back(insert(i, "a", "t", {"common", "word" + std::to_string(i)}));
    raw.execute("CREATE TABLE filler (data); INSERT INTO filler VALUES (zeroblob(2000000)); DELETE FROM filler;");
    ASSERT_GT(freeShare(), 0.25);
    store.vacuumIfNeeded();
    ASSERT_EQ(freeShare(), 0);
    EXPECT_EQ(matching("word17"), std::vector<RowID>{ids[17]});
    store.removeFromIndex(ids[17]);
    EXPECT_EQ(matching("word17"), std::vector<RowID>{});
    EXPECT_EQ(matching("common").size(), 199U);
}

TEST_F(StoreMaintenance, UpkeepEmptiesTheLogAndSwallowsFailures) {
    for (int i = 0; i < 50; ++i)
        insert(i, "a", "t", {"some text"});
    const auto log = std::filesystem::path(data.database()) += "-wal";
    EXPECT_GT(std::filesystem::file_size(log), 0U);
    {
        SQLiteDatabase reader(data.database(), true);
        reader.execute("BEGIN");
        EXPECT_TRUE(reader.scalarInt("SELECT COUNT(*) FROM frames"));
        insert(50, "a", "t", {"behind the reader's back"});
        EXPECT_FALSE(store.checkpoint(false)) << "somebody reads there";
    }
    EXPECT_TRUE(store.checkpoint());
    EXPECT_EQ(std::filesystem::file_size(log), 0U);
    insert(51, "a", "t", {"more"});
    raw.execute("ALTER TABLE frame_fts RENAME TO frame_fts_away;");
    store.optimize(); // the index is not there: the log is emptied all the same
    EXPECT_EQ(std::filesystem::file_size(log), 0U);
    store.close();
    store.optimize();
    EXPECT_FALSE(store.checkpoint());
}

// What is forgotten must not stay readable in the bytes of the file.
TEST_F(StoreMaintenance, ForgottenTextLeavesTheFile) {
    const std::string secret = "zyxwvsecretutsrq", value = "of a setting " + secret;
    const auto holdsSecret = [&] {
        for (const char* suffix : {"", "-wal"}) {
            const std::string bytes = testing::bytesOf(std::filesystem::path(data.database()) += suffix);
            if (bytes.find(secret) != std::string::npos) return true;
        }
        return false;
    };
    NewFrame frame = frameAt(1);
    frame.windowTitle = secret;
    const RowID id = store.insertFrame(frame);
    store.setMeta("note", value);
    store.checkpoint();
    ASSERT_TRUE(holdsSecret());
    store.removeFromIndex(id);
    raw.execute("PRAGMA secure_delete = ON; DELETE FROM frames");
    store.setMeta("note", std::nullopt);
    store.optimize();
    EXPECT_FALSE(holdsSecret());
}

} // namespace nomara
