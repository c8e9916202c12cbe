#include "core/store/Schema.h"

#include "core/base/Calendar.h"

#include <sqlite3.h>

namespace nomara::Schema {

namespace {

constexpr int firstDeletingByRowID = 3043000;

const char* const tables = R"(
CREATE TABLE IF NOT EXISTS frames (
    id INTEGER PRIMARY KEY,
    ts REAL NOT NULL,
    display_id INTEGER NOT NULL DEFAULT 0,
    app_bundle TEXT,
    app_name TEXT,
    window_title TEXT,
    url TEXT,
    project TEXT,
    phash INTEGER NOT NULL DEFAULT 0,
    width INTEGER NOT NULL DEFAULT 0,
    height INTEGER NOT NULL DEFAULT 0,
    image_state INTEGER NOT NULL DEFAULT 0,
    image_path TEXT,
    segment_id INTEGER,
    segment_index INTEGER,
    ocr_state INTEGER NOT NULL DEFAULT 0,
    text_source INTEGER NOT NULL DEFAULT 0,
    text_chars INTEGER NOT NULL DEFAULT 0,
    keyframe INTEGER NOT NULL DEFAULT 0,
    bytes INTEGER NOT NULL DEFAULT 0,
    win_x REAL,
    win_y REAL,
    win_w REAL,
    win_h REAL
);
CREATE INDEX IF NOT EXISTS idx_frames_ts ON frames(ts);
CREATE INDEX IF NOT EXISTS idx_frames_ocr ON frames(ocr_state, ts);
CREATE INDEX IF NOT EXISTS idx_frames_image ON frames(image_state, ts);
CREATE INDEX IF NOT EXISTS idx_frames_segment ON frames(segment_id);
CREATE INDEX IF NOT EXISTS idx_frames_context ON frames(app_bundle, window_title, ts);
CREATE TABLE IF NOT EXISTS frame_text (
    frame_id INTEGER PRIMARY KEY,
    body TEXT NOT NULL DEFAULT ''
);
CREATE TABLE IF NOT EXISTS segments (
    id INTEGER PRIMARY KEY,
    path TEXT NOT NULL,
    display_id INTEGER NOT NULL DEFAULT 0,
    start_ts REAL NOT NULL,
    end_ts REAL NOT NULL,
    frame_count INTEGER NOT NULL,
    width INTEGER NOT NULL,
    height INTEGER NOT NULL,
    bytes INTEGER NOT NULL,
    tier INTEGER NOT NULL DEFAULT 0,
    closed INTEGER NOT NULL DEFAULT 1
);
CREATE INDEX IF NOT EXISTS idx_segments_end ON segments(end_ts);
CREATE TABLE IF NOT EXISTS activity (
    id INTEGER PRIMARY KEY,
    start_ts REAL NOT NULL,
    end_ts REAL NOT NULL,
    app_bundle TEXT,
    app_name TEXT,
    project TEXT,
    window_title TEXT
);
CREATE INDEX IF NOT EXISTS idx_activity_start ON activity(start_ts);
CREATE INDEX IF NOT EXISTS idx_activity_end ON activity(end_ts);
CREATE TABLE IF NOT EXISTS daily_stats (
    day TEXT PRIMARY KEY,
    frames_saved INTEGER NOT NULL DEFAULT 0,
    frames_skipped INTEGER NOT NULL DEFAULT 0,
    ocr_runs INTEGER NOT NULL DEFAULT 0,
    cpu_seconds REAL NOT NULL DEFAULT 0,
    energy_joules REAL NOT NULL DEFAULT 0,
    bytes_written INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE IF NOT EXISTS summaries (
    day TEXT PRIMARY KEY,
    text TEXT NOT NULL,
    created REAL NOT NULL,
    source TEXT NOT NULL
);
CREATE TABLE IF NOT EXISTS meta (
    key TEXT PRIMARY KEY,
    value TEXT
);
)";

// Came with version 2.
const char* const pendingRewrites = R"(
CREATE TABLE IF NOT EXISTS pending_rewrites (
    segment_id INTEGER PRIMARY KEY,
    created REAL NOT NULL
);
)";

void setCurrentVersion(SQLiteDatabase& database) {
    database.execute("PRAGMA user_version = " + std::to_string(currentVersion));
}

void create(SQLiteDatabase& database, Date now) {
    const bool byRowID = libraryDeletesByRowID();
    database.execute(tables);
    database.execute(pendingRewrites);
    database.execute(fullTextIndex(byRowID));
    database.run("INSERT OR REPLACE INTO meta (key, value) VALUES ('fts_contentless_delete', ?)",
                 {byRowID ? "1" : "0"});
    database.run("INSERT OR IGNORE INTO meta (key, value) VALUES ('created_at', ?)", {Calendar::iso8601(now)});
    setCurrentVersion(database);
}

} // namespace

bool libraryDeletesByRowID() {
    return sqlite3_libversion_number() >= firstDeletingByRowID;
}

std::string fullTextIndex(bool contentlessDelete) {
    return std::string("CREATE VIRTUAL TABLE IF NOT EXISTS frame_fts USING fts5(\n    title, url, body, ") +
           (contentlessDelete ? "content='', contentless_delete=1," : "content='',") +
           " tokenize = 'unicode61 remove_diacritics 2'\n);";
}

void migrate(SQLiteDatabase& database, Date now) {
    const std::int64_t version = database.scalarInt("PRAGMA user_version").value_or(0);
    if (version >= currentVersion) return;
    database.transaction([&] {
        if (version < 1) {
            create(database, now);
        } else {
            database.execute(pendingRewrites);
            setCurrentVersion(database);
        }
    });
}

} // namespace nomara::Schema
