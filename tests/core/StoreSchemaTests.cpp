#include "core/store/MemoryStore.h"
#include "core/store/Schema.h"
#include "core/text/TextNormalizer.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/TemporaryData.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace nomara {

namespace {

struct StoreSchema : ::testing::Test {
    testing::TemporaryData data;
    ManualClock clock;

    void open(bool readOnly = false) { const MemoryStore store(data.database(), readOnly, clock); }
};

std::vector<std::string> objects(SQLiteDatabase& db) {
    return db.query("SELECT type || ' ' || name || ' ' || COALESCE(sql, '') FROM sqlite_master "
                    "WHERE name NOT LIKE 'frame_fts_%' ORDER BY 1",
                    {}, [](const SQLRow& row) { return row.text(0); });
}

std::int64_t version(SQLiteDatabase& db) {
    return db.scalarInt("PRAGMA user_version").value_or(-1);
}

} // namespace

// Whoever changes a statement raises the version: files with the old form are out there.
TEST_F(StoreSchema, AFreshFileGetsEveryTableAndIndex) {
    MemoryStore store(data.database(), false, clock);
    SQLiteDatabase db(data.database(), true);
    EXPECT_EQ(version(db), 2);
    std::string statements;
    for (const std::string& object : objects(db))
        if (object.find("frame_fts") == std::string::npos) statements += object + '\n';
    EXPECT_EQ(TextNormalizer::fingerprint(statements), 7222193449919480148U) << statements;
    EXPECT_EQ(db.scalarText("SELECT value FROM meta WHERE key = 'created_at'"), "2023-11-14T22:13:20Z");
    EXPECT_EQ(db.scalarText("PRAGMA journal_mode"), "wal");
    EXPECT_EQ(db.scalarInt("PRAGMA busy_timeout"), 5'000) << "another program's write is waited for";
}

// The form is the library's choice at birth: by row id from 3.43 on, by telling the old values before.
TEST_F(StoreSchema, TheIndexHasTheFormOfTheLibraryInUse) {
    const bool byRowID = sqlite3_libversion_number() >= 3043000;
    MemoryStore store(data.database(), false, clock);
    EXPECT_EQ(store.contentlessDelete(), byRowID);
    EXPECT_EQ(store.meta("fts_contentless_delete"), byRowID ? "1" : "0");
    SQLiteDatabase db(data.database(), true);
    const std::string sql = db.scalarText("SELECT sql FROM sqlite_master WHERE name = 'frame_fts'").value();
    EXPECT_EQ(sql.find("contentless_delete=1") != std::string::npos, byRowID) << sql;
    EXPECT_NE(sql.find("content=''"), std::string::npos) << sql;
}

TEST_F(StoreSchema, OpeningAgainChangesNothing) {
    open();
    SQLiteDatabase db(data.database(), false);
    const auto before = objects(db);
    clock.advance(3600);
    open();
    EXPECT_EQ(objects(db), before);
    EXPECT_EQ(db.scalarText("SELECT value FROM meta WHERE key = 'created_at'"), "2023-11-14T22:13:20Z");
}

TEST_F(StoreSchema, AFirstVersionFileGainsOnlyTheRewriteTable) {
    open();
    SQLiteDatabase db(data.database(), false);
    const auto complete = objects(db);
    db.execute("DROP TABLE pending_rewrites; DROP TABLE summaries; PRAGMA user_version = 1;"
               "DELETE FROM meta WHERE key = 'created_at';");
    open();
    auto expected = complete;
    std::erase_if(expected, [](const std::string& object) { return object.find("summaries") != std::string::npos; });
    EXPECT_EQ(objects(db), expected) << "no other table may be touched, not even one that is missing";
    EXPECT_EQ(version(db), 2);
    EXPECT_EQ(db.scalarInt("SELECT COUNT(*) FROM meta WHERE key = 'created_at'"), 0);
}

TEST_F(StoreSchema, AFileFromANewerVersionIsLeftAlone) {
    {
        SQLiteDatabase db(data.database(), false);
        db.execute("CREATE TABLE meta (key TEXT PRIMARY KEY, value TEXT);"
                   "INSERT INTO meta VALUES ('fts_contentless_delete', '0'); PRAGMA user_version = 3;");
    }
    const MemoryStore store(data.database(), false, clock);
    EXPECT_FALSE(store.contentlessDelete());
    SQLiteDatabase db(data.database(), true);
    EXPECT_EQ(version(db), 3);
    EXPECT_EQ(db.scalarInt("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table'"), 1);
}

TEST_F(StoreSchema, AFailingMigrationLeavesTheFileAsItWas) {
    const struct {
        const char* name;
        const char* setUp;
    } rows[] = {
        {"creation: frames is a view, which takes no index", "CREATE VIEW frames AS SELECT 1 AS ts"},
        {"creation: fails at the full-text index", "CREATE TABLE frame_fts_data (x)"},
        {"update: pending_rewrites is taken by an index",
         "CREATE TABLE a (x); CREATE INDEX pending_rewrites ON a(x); PRAGMA user_version = 1"},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(data.database());
        std::vector<std::string> before;
        std::int64_t versionBefore = 0;
        {
            SQLiteDatabase db(data.database(), false);
            db.execute(row.setUp);
            before = objects(db);
            versionBefore = version(db);
        }
        EXPECT_THROW(open(), SQLiteError) << row.name;
        SQLiteDatabase db(data.database(), false);
        EXPECT_EQ(objects(db), before) << row.name;
        EXPECT_EQ(version(db), versionBefore) << row.name;
    }
}

TEST_F(StoreSchema, AReaderTakesWhatItFinds) {
    SQLiteDatabase(data.database(), false).execute("CREATE TABLE other (x)");
    EXPECT_TRUE(MemoryStore(data.database(), true, clock).contentlessDelete()) << "no meta table is no error";

    std::filesystem::remove(data.database());
    { MemoryStore(data.database(), false, clock).setMeta("fts_contentless_delete", std::nullopt); }
    EXPECT_TRUE(MemoryStore(data.database(), true, clock).contentlessDelete())
        << "only the text 0 means the other form";
    { MemoryStore(data.database(), false, clock).setMeta("fts_contentless_delete", "0"); }
    MemoryStore reader(data.database(), true, clock);
    EXPECT_FALSE(reader.contentlessDelete());
    EXPECT_THROW(reader.setMeta("a", "b"), SQLiteError);
}

} // namespace nomara
