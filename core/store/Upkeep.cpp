#include "core/store/Upkeep.h"

#include "core/base/Paths.h"

namespace nomara {

namespace {

constexpr double freeShareWorthCompacting = 0.25;

const char* const mergeIndex = "INSERT INTO frame_fts(frame_fts) VALUES('optimize');";

void executeIgnoringFailure(SQLiteDatabase& db, const char* sql) noexcept {
    try {
        db.execute(sql);
    } catch (const SQLiteError&) {
        // Upkeep only makes things smaller; the next round tries again.
    }
}

} // namespace

StorageBreakdown Upkeep::storageBreakdown() {
    StorageBreakdown breakdown;
    const auto states = m_db.query("SELECT image_state, COUNT(*) FROM frames GROUP BY image_state", {},
                                   [](const SQLRow& row) { return std::pair(row.integer(0), row.integer(1)); });
    for (const auto& [state, count] : states) {
        breakdown.frameCount += count;
        if (const ImageState image = imageState(state); image == ImageState::dropped || image == ImageState::none)
            breakdown.textOnlyCount += count;
    }
    for (const auto& [count, bytes] :
         m_db.query("SELECT COUNT(*), COALESCE(SUM(bytes), 0) FROM segments WHERE closed = 1", {},
                    [](const SQLRow& row) { return std::pair(row.integer(0), row.integer(1)); })) {
        breakdown.segmentCount = count;
        breakdown.segmentBytes = bytes;
    }
    // An open segment's row doesn't know its size yet.
    for (const std::string& path :
         m_db.query("SELECT path FROM segments WHERE closed = 0", {}, [](const SQLRow& row) { return row.text(0); })) {
        breakdown.segmentCount += 1;
        breakdown.segmentBytes += NomaraPaths::fileSize(NomaraPaths::framesFile(path));
    }
    if (const auto oldest = m_db.scalarDouble("SELECT MIN(ts) FROM frames")) breakdown.oldest = Date{*oldest};
    breakdown.databaseBytes = NomaraPaths::fileSize(m_db.path());
    return breakdown;
}

void Upkeep::vacuumIfNeeded() {
    const auto pages = m_db.scalarInt("PRAGMA page_count").value_or(0);
    const auto freePages = m_db.scalarInt("PRAGMA freelist_count").value_or(0);
    if (pages < 1 || static_cast<double>(freePages) / static_cast<double>(pages) <= freeShareWorthCompacting) return;
    m_db.execute(mergeIndex);
    m_db.execute("VACUUM;");
    checkpoint();
}

void Upkeep::optimize() noexcept {
    executeIgnoringFailure(m_db, mergeIndex);
    checkpoint();
}

bool Upkeep::checkpoint(bool waits) noexcept {
    try {
        if (!waits) m_db.setBusyTimeout(0);
        // Readers in the way are no failure but a one in the first column.
        const bool isEmpty = m_db.scalarInt("PRAGMA wal_checkpoint(TRUNCATE)") == 0;
        m_db.setBusyTimeout(SQLiteDatabase::defaultBusyMilliseconds);
        return isEmpty;
    } catch (const SQLiteError&) {
        return false; // closed, or the disk refuses: the next write tells
    }
}

} // namespace nomara
