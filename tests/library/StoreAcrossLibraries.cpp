// Makes a memory with one SQLite library, or goes on with one that another library has made. Run by
// scripts/test-newer-sqlite with libraries from before and after full-text indexes could delete by row id.
// usage: store_across_libraries make|continue FILE

#include "core/base/Clock.h"
#include "core/store/MemoryStore.h"
#include "core/store/SQLiteDatabase.h"

#include <cstdio>
#include <string>
#include <vector>

#include <sqlite3.h>

using namespace nomara;

namespace {

constexpr int frames = 50;

int failures = 0;

void expect(bool truth, const char* what) {
    if (truth) return;
    std::printf("  FAILED: %s\n", what);
    ++failures;
}

std::vector<RowID> matching(SQLiteDatabase& db, const std::string& expression) {
    return db.query("SELECT rowid FROM frame_fts WHERE frame_fts MATCH ? ORDER BY rowid", {expression},
                    [](const SQLRow& row) { return row.integer(0); });
}

RowID insert(MemoryStore& store, int number) {
    NewFrame frame{.timestamp = {static_cast<double>(number)}, .windowTitle = "Ünlü " + std::to_string(number)};
    frame.url = "https://www.example.org/" + std::to_string(number);
    frame.lines = {"shared words", "own" + std::to_string(number)};
    return store.insertFrame(frame);
}

void make(MemoryStore& store, SQLiteDatabase& db) {
    const bool newer = sqlite3_libversion_number() >= 3043000;
    expect(store.contentlessDelete() == newer, "the form is the one that this library prefers");
    for (int i = 1; i <= frames; ++i)
        insert(store, i);
    expect(matching(db, "shared").size() == frames, "every frame is found");
}

void goOn(MemoryStore& store, SQLiteDatabase& db) {
    store.removeFromIndex(7);
    expect(matching(db, "own7 OR (title : \"unlu 7\") OR (url : \"org 7\")").empty(), "an older frame is forgotten");
    expect(matching(db, "shared").size() == frames - 1, "and no other one");
    store.updateFrameText(8, {"later"}, TextSource::ocr(), OCRState::done);
    expect(matching(db, "later") == std::vector<RowID>{8}, "an older frame's text can be added to");
    const RowID added = insert(store, frames + 1);
    expect(matching(db, "own51") == std::vector<RowID>{added}, "a new frame is found");
    store.removeFromIndex(added);
    expect(matching(db, "own51").empty(), "and forgotten");
    store.optimize();
    expect(matching(db, "shared").size() == frames - 1, "merging the index changes nothing");
    db.run("INSERT INTO frame_fts(frame_fts) VALUES('integrity-check')");
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc == 3 ? argv[1] : "";
    if (mode != "make" && mode != "continue") {
        std::fprintf(stderr, "usage: store_across_libraries make|continue FILE\n");
        return 2;
    }
    try {
        const SystemClock clock;
        MemoryStore store(argv[2], false, clock);
        SQLiteDatabase db(argv[2], false);
        std::printf("SQLite %s: %s a memory that deletes %s\n", sqlite3_libversion(),
                    mode == "make" ? "made" : "goes on with",
                    store.contentlessDelete() ? "by row id" : "by the old values");
        if (mode == "make")
            make(store, db);
        else
            goOn(store, db);
    } catch (const SQLiteError& error) {
        std::printf("  %s\n", error.what());
        return 3;
    }
    return failures == 0 ? 0 : 1;
}
