#include "core/store/MemoryStore.h"
#include "tests/support/KilledProcess.h"
#include "tests/support/TemporaryData.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace nomara {

namespace {

constexpr int kills = 200;

std::string wordOf(RowID id) {
    return "unique" + std::to_string(id);
}
std::string laterWordOf(RowID id) {
    return "later" + std::to_string(id);
}

// What the process does that dies. A frame's id is reported once its insertion has returned, and, negated, once its
// text has been added to. Upkeep runs in between so that kills meet it as well.
void insertUntilKilled(const std::filesystem::path& database, const testing::KilledProcess::Report& report) {
    const SystemClock clock;
    MemoryStore store(database, false, clock);
    RowID next = 1;
    if (const auto last = store.latestFrame()) next = last->id + 1;
    for (;; ++next) {
        NewFrame frame{.timestamp = {static_cast<double>(next)}, .windowTitle = "Window " + std::to_string(next % 9)};
        frame.url = "https://www.example.org/" + std::to_string(next % 31);
        frame.lines = {"everyframe " + wordOf(next), "a line that many frames share", std::to_string(next * 7919)};
        const RowID id = store.insertFrame(frame);
        if (id != next) _exit(2);
        report(id);
        if (id % 5 == 0) {
            store.updateFrameText(id, {laterWordOf(id)}, TextSource::ocr(), OCRState::done);
            report(-id);
        }
        if (id % 60 == 0) store.checkpoint();
        if (id % 400 == 0) store.optimize();
    }
}

std::vector<RowID> ids(SQLiteDatabase& db, const std::string& sql, SQLParameters parameters = {}) {
    return db.query(sql, parameters, [](const SQLRow& row) { return row.integer(0); });
}

std::vector<RowID> matching(SQLiteDatabase& db, const std::string& word) {
    return ids(db, "SELECT rowid FROM frame_fts WHERE frame_fts MATCH ?", {word});
}

} // namespace

TEST(StoreCrash, NothingReportedIsLostWhenTheProcessIsKilled) {
    const char* given = std::getenv("QUILLSHADE_SEED");
    const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    SCOPED_TRACE("run again with QUILLSHADE_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    const testing::TemporaryData data;
    std::vector<RowID> inserted; // ascending, over all rounds
    std::size_t updates = 0;

    for (int round = 0; round < kills; ++round) {
        SCOPED_TRACE("kill " + std::to_string(round));
        std::vector<RowID> reported;
        testing::KilledProcess victim([&](const auto& report) { insertUntilKilled(data.database(), report); });
        // Every fourth kill may meet the opening, the others the inserting.
        if (round % 4 != 0) reported.push_back(victim.next().value_or(0));
        usleep(std::uniform_int_distribution<useconds_t>(0, 25'000)(random));
        victim.kill();
        while (const auto id = victim.next())
            reported.push_back(*id);

        const SystemClock clock;
        { const MemoryStore opened(data.database(), false, clock); }
        SQLiteDatabase db(data.database(), false);
        ASSERT_EQ(db.scalarText("PRAGMA integrity_check"), "ok");
        ASSERT_NO_THROW(db.run("INSERT INTO frame_fts(frame_fts) VALUES('integrity-check')"));

        // A frame is there with all of its three rows, or not at all.
        const std::vector<RowID> frames = ids(db, "SELECT id FROM frames ORDER BY id");
        ASSERT_EQ(ids(db, "SELECT frame_id FROM frame_text WHERE body LIKE 'everyframe unique%' ORDER BY frame_id"),
                  frames);
        ASSERT_EQ(ids(db, "SELECT rowid FROM frame_fts WHERE frame_fts MATCH 'everyframe' ORDER BY rowid"), frames);

        for (const RowID id : reported) {
            if (id > 0) {
                inserted.push_back(id);
                ASSERT_EQ(matching(db, wordOf(id)), std::vector<RowID>{id});
            } else {
                ++updates;
                ASSERT_EQ(matching(db, laterWordOf(-id)), std::vector<RowID>{-id});
            }
        }
        ASSERT_TRUE(std::includes(frames.begin(), frames.end(), inserted.begin(), inserted.end()));
    }
    std::printf("%d kills, %zu frames and %zu updates reported, none lost (seed %u)\n", kills, inserted.size(), updates,
                seed);
    EXPECT_GT(inserted.size(), static_cast<std::size_t>(kills)) << "too few insertions to have met a kill";
}

} // namespace nomara
