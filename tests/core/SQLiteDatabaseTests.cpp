#include "core/store/SQLiteDatabase.h"
#include "tests/support/TemporaryData.h"

#include <stdexcept>

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace nomara {

namespace {

struct SQLiteDatabaseTest : ::testing::Test {
    testing::TemporaryData data;
    SQLiteDatabase db{data.database(), false};

    std::int64_t count() { return db.scalarInt("SELECT COUNT(*) FROM t").value_or(-1); }
    void insert(std::int64_t value) { db.run("INSERT INTO t VALUES (?)", {value}); }
};

template <typename Body>
SQLiteError failure(Body&& body) {
    try {
        body();
    } catch (const SQLiteError& error) {
        return error;
    }
    ADD_FAILURE() << "no SQLiteError was thrown";
    return {-1, "nothing thrown"};
}

} // namespace

TEST_F(SQLiteDatabaseTest, BindsAndReadsEveryKindOfValue) {
    const std::string umlauts = "Ünlü – 🦊";
    const std::vector<SQLValue> values = {std::int64_t{-9223372036854775807 - 1}, 0.1,        umlauts, "", nullptr,
                                          std::optional<std::string>(),           4294967295U};
    const auto rows = db.query("SELECT ?,?,?,?,?,?,?", values, [](const SQLRow& row) {
        return std::vector<SQLValue>{row.optionalInt(0),  row.optionalDouble(1), row.optionalText(2),
                                     row.optionalText(3), row.optionalText(4),   row.optionalInt(5),
                                     row.integer(6)};
    });
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows.front(), values);
    EXPECT_EQ(db.scalarInt("SELECT NULL"), std::nullopt);
    EXPECT_EQ(db.scalarText("SELECT '' WHERE 1 = 0"), std::nullopt);
}

TEST_F(SQLiteDatabaseTest, ACachedStatementKeepsNothingOfItsLastUse) {
    db.execute("CREATE TABLE t (v)");
    db.run("INSERT INTO t VALUES (?)", {"kept"});
    db.run("INSERT INTO t VALUES (?)"); // unbound now: must not insert the text again
    EXPECT_EQ(db.scalarInt("SELECT COUNT(*) FROM t WHERE v IS NULL"), 1);
    // A callback that throws leaves the statement usable, and no read transaction open behind it.
    const auto boom = [](const SQLRow&) -> int { throw std::runtime_error("boom"); };
    EXPECT_THROW(db.query("SELECT v FROM t", {}, boom), std::runtime_error);
    EXPECT_EQ(db.query("SELECT v FROM t", {}, [](const SQLRow& row) { return row.isNull(0); }).size(), 2U);
    EXPECT_NO_THROW(db.execute("PRAGMA journal_mode = WAL; DROP TABLE t;"));
}

TEST_F(SQLiteDatabaseTest, ErrorsSayWhatFailedAndWhere) {
    db.execute("CREATE TABLE t (v UNIQUE)");
    insert(1);
    const std::string longTail(400, 'x');
    const std::string unknown = "SELECT '" + longTail + "' FROM nowhere";
    const struct {
        const char* name;
        std::function<void()> work;
        int code;
        std::string messagePart;
        std::optional<std::string> sql;
    } rows[] = {
        {"constraint, extended code", [&] { insert(1); }, SQLITE_CONSTRAINT_UNIQUE, "UNIQUE constraint failed: t.v",
         "INSERT INTO t VALUES (?)"},
        {"unknown table", [&] { db.run(unknown); }, SQLITE_ERROR, "no such table: nowhere", unknown},
        {"no statement", [&] { db.run("-- nothing"); }, SQLITE_OK, "", "-- nothing"},
        {"too many parameters",
         [&] {
             db.run("SELECT ?", {1, 2});
         },
         SQLITE_RANGE, "", "SELECT ?"},
        {"script", [&] { db.execute("SELECT 1; SELECT nonsense;"); }, SQLITE_ERROR, "no such column: nonsense",
         "SELECT 1; SELECT nonsense;"},
        {"no such file", [&] { SQLiteDatabase(data.root() / "none.sqlite", true); }, SQLITE_CANTOPEN,
         "unable to open database file", std::nullopt},
    };
    for (const auto& row : rows) {
        const SQLiteError error = failure(row.work);
        EXPECT_EQ(error.code(), row.code) << row.name;
        EXPECT_NE(error.message().find(row.messagePart), std::string::npos) << row.name << ": " << error.message();
        EXPECT_EQ(error.sql(), row.sql) << row.name;
    }
    EXPECT_EQ(std::string(failure([&] { db.run(unknown); }).what()),
              "SQLite 1: no such table: nowhere — " + unknown.substr(0, 160));
    EXPECT_STREQ(SQLiteError(5, "busy").what(), "SQLite 5: busy");
    EXPECT_NO_THROW(db.run("SELECT ?", {1})) << "a failed binding must not spoil the cached statement";
}

TEST_F(SQLiteDatabaseTest, EverythingFailsOnceClosed) {
    db.execute("CREATE TABLE t (v)");
    insert(1);
    db.close();
    db.close();
    for (const auto& work : std::vector<std::function<void()>>{
             [&] { db.execute("SELECT 1"); }, [&] { insert(1); }, [&] { db.scalarInt("SELECT 1"); },
             [&] { db.lastInsertRowID(); }, [&] { db.transaction([] {}); }})
        EXPECT_EQ(failure(work).message(), "closed");
}

TEST_F(SQLiteDatabaseTest, ATransactionIsAllOrNothing) {
    db.execute("CREATE TABLE t (v)");
    EXPECT_EQ(db.transaction([&] {
        insert(1);
        return 7;
    }),
              7);
    EXPECT_THROW(db.transaction([&] {
        insert(2);
        throw std::runtime_error("not SQLite's");
    }),
                 std::runtime_error);
    EXPECT_EQ(count(), 1);
    EXPECT_NO_THROW(db.transaction([&] { insert(3); })) << "the connection is usable after a rollback";
    EXPECT_EQ(count(), 2);
}

TEST_F(SQLiteDatabaseTest, AnInnerTransactionLeavesTheOutcomeToTheOuterOne) {
    db.execute("CREATE TABLE t (v)");
    db.transaction([&] {
        insert(1);
        EXPECT_THROW(db.transaction([&] {
            insert(2);
            throw std::runtime_error("inner");
        }),
                     std::runtime_error);
        EXPECT_EQ(count(), 2) << "the inner failure must not roll back by itself";
    });
    EXPECT_EQ(count(), 2);
    EXPECT_THROW(db.transaction([&] {
        db.transaction([&] { insert(3); });
        throw std::runtime_error("outer");
    }),
                 std::runtime_error);
    EXPECT_EQ(count(), 2) << "what the inner one did goes with the outer one";
}

TEST_F(SQLiteDatabaseTest, AFailedCommitRollsBackAndSaysWhy) {
    db.execute("PRAGMA foreign_keys = ON; CREATE TABLE parent (id INTEGER PRIMARY KEY);"
               "CREATE TABLE t (v REFERENCES parent(id) DEFERRABLE INITIALLY DEFERRED);");
    EXPECT_EQ(failure([&] { db.transaction([&] { insert(5); }); }).code(), SQLITE_CONSTRAINT_FOREIGNKEY);
    EXPECT_EQ(count(), 0);
    EXPECT_NO_THROW(db.transaction([&] { db.run("INSERT INTO parent VALUES (5)"); }));
}

// A writer that waited for its first write could fail midway, when another has got in before it.
TEST_F(SQLiteDatabaseTest, ATransactionTakesTheWriteLockAtOnce) {
    db.execute("PRAGMA journal_mode = WAL; CREATE TABLE t (v)");
    SQLiteDatabase other(data.database(), false);
    other.execute("PRAGMA busy_timeout = 0");
    db.transaction([&] {
        EXPECT_EQ(failure([&] { other.transaction([] {}); }).primaryCode(), SQLITE_BUSY);
        insert(1);
        EXPECT_EQ(other.scalarInt("SELECT COUNT(*) FROM t"), 0) << "readers go on with the state before";
    });
    EXPECT_EQ(other.scalarInt("SELECT COUNT(*) FROM t"), 1);
}

} // namespace nomara
