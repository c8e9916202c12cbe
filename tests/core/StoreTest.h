#pragma once

#include "core/store/MemoryStore.h"
#include "core/text/TextNormalizer.h"
#include "platform/fake/ManualClock.h"
#include "tests/support/TemporaryData.h"

#include <gtest/gtest.h>

namespace nomara::testing {

/// A writer on a fresh database, and a second connection to look behind it.
struct StoreTest : ::testing::Test {
    TemporaryData data;
    ManualClock clock;
    MemoryStore store{data.database(), false, clock};
    SQLiteDatabase raw{data.database(), false};

    static NewFrame frameAt(double seconds, std::vector<std::string> lines = {}) {
        NewFrame frame;
        frame.timestamp = {seconds};
        frame.lines = std::move(lines);
        return frame;
    }

    RowID insert(double seconds, const std::optional<std::string>& bundle, const std::optional<std::string>& title,
                 std::vector<std::string> lines = {}) {
        NewFrame frame = frameAt(seconds, std::move(lines));
        frame.appBundleID = bundle;
        frame.windowTitle = title;
        return store.insertFrame(frame);
    }

    RowID insertInSegment(double seconds, RowID segment, std::int64_t index) {
        NewFrame frame = frameAt(seconds);
        frame.imageState = ImageState::segment;
        frame.segmentID = segment;
        frame.segmentIndex = index;
        return store.insertFrame(frame);
    }

    /// Ids whose full-text entry matches, ascending.
    std::vector<RowID> matching(const std::string& expression) {
        return raw.query("SELECT rowid FROM frame_fts WHERE frame_fts MATCH ? ORDER BY rowid", {expression},
                         [](const SQLRow& row) { return row.integer(0); });
    }

    std::int64_t count(const std::string& table) { return raw.scalarInt("SELECT COUNT(*) FROM " + table).value_or(-1); }
};

} // namespace nomara::testing
