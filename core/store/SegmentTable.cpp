#include "core/store/SegmentTable.h"

namespace nomara {

namespace {

std::string select(const char* rest) {
    return std::string("SELECT id, path, display_id, start_ts, end_ts, frame_count, width, height, bytes, tier, closed "
                       "FROM segments") +
           rest;
}

SegmentRecord record(const SQLRow& row) {
    return {
        .id = row.integer(0),
        .path = row.text(1),
        .displayID = static_cast<DisplayID>(row.integer(2)),
        .start = {row.real(3)},
        .end = {row.real(4)},
        .frameCount = row.integer(5),
        .width = row.integer(6),
        .height = row.integer(7),
        .bytes = row.integer(8),
        .tier = row.integer(9),
        .closed = row.integer(10) != 0,
    };
}

void dropFrames(SQLiteDatabase& db, std::span<const RowID> ids) {
    for (const RowID id : ids)
        db.run("UPDATE frames SET image_state = 2, segment_id = NULL, segment_index = NULL, keyframe = 2 WHERE id = ?",
               {id});
}

} // namespace

RowID SegmentTable::insertOpenSegment(const std::string& path, DisplayID displayID, Date start, std::int64_t width,
                                      std::int64_t height) {
    m_db.run("INSERT INTO segments (path, display_id, start_ts, end_ts, frame_count, width, height, bytes, tier, "
             "closed)\nVALUES (?,?,?,?,0,?,?,0,0,0)",
             {path, displayID, start.seconds, start.seconds, width, height});
    return m_db.lastInsertRowID();
}

void SegmentTable::closeSegment(RowID id, Date end, std::int64_t frameCount, std::int64_t bytes) {
    m_db.run("UPDATE segments SET end_ts = ?, frame_count = ?, bytes = ?, closed = 1 WHERE id = ?",
             {end.seconds, frameCount, bytes, id});
}

RowID SegmentTable::insertClosedSegment(const NewSegment& segment, std::int64_t tier) {
    m_db.run("INSERT INTO segments (path, display_id, start_ts, end_ts, frame_count, width, height, bytes, tier, "
             "closed)\nVALUES (?,?,?,?,?,?,?,?,?,1)",
             {segment.path, segment.displayID, segment.start.seconds, segment.end.seconds, segment.frameCount,
              segment.width, segment.height, segment.bytes, tier});
    return m_db.lastInsertRowID();
}

void SegmentTable::dropFrameImages(RowID segmentID, std::int64_t fromIndex) {
    m_db.run("UPDATE frames SET image_state = 2, segment_id = NULL, segment_index = NULL "
             "WHERE segment_id = ? AND segment_index >= ?",
             {segmentID, fromIndex});
}

void SegmentTable::deleteSegmentRow(RowID id) {
    m_db.run("DELETE FROM segments WHERE id = ?", {id});
}

void SegmentTable::setSegmentTier(RowID id, std::int64_t tier) {
    m_db.transaction([&] {
        m_db.run("UPDATE segments SET tier = ? WHERE id = ?", {tier, id});
        if (tier >= 1) m_db.run("UPDATE frames SET keyframe = 1 WHERE segment_id = ?", {id});
    });
}

void SegmentTable::markFramesDropped(std::span<const RowID> ids) {
    if (ids.empty()) return;
    m_db.transaction([&] { dropFrames(m_db, ids); });
}

void SegmentTable::markKeyframes(std::span<const RowID> ids) {
    if (ids.empty()) return;
    m_db.transaction([&] {
        for (const RowID id : ids)
            m_db.run("UPDATE frames SET keyframe = 1 WHERE id = ?", {id});
    });
}

void SegmentTable::applyRewrite(RowID oldSegmentID, const std::optional<NewSegment>& newSegment,
                                std::span<const RewrittenFrame> mapping, std::span<const RowID> droppedFrameIDs,
                                std::int64_t tier) {
    m_db.transaction([&] {
        if (m_db.scalarInt("SELECT COUNT(*) FROM segments WHERE id = ?", {oldSegmentID}) != 1)
            throw SQLiteError(0, "segment " + std::to_string(oldSegmentID) + " no longer exists");
        if (newSegment) {
            const RowID newID = insertClosedSegment(*newSegment, tier);
            for (const RewrittenFrame& kept : mapping)
                m_db.run("UPDATE frames SET segment_id = ?, segment_index = ?, "
                         "keyframe = CASE WHEN ? > 0 THEN 1 ELSE keyframe END WHERE id = ?",
                         {newID, kept.newIndex, tier, kept.frameID});
        }
        dropFrames(m_db, droppedFrameIDs);
        deleteSegmentRow(oldSegmentID);
    });
}

std::optional<SegmentRecord> SegmentTable::segment(RowID id) {
    static const std::string sql = select(" WHERE id = ?");
    const auto rows = m_db.query(sql, {id}, record);
    if (rows.empty()) return std::nullopt;
    return rows.front();
}

std::vector<SegmentRecord> SegmentTable::openSegments() {
    static const std::string sql = select(" WHERE closed = 0 ORDER BY start_ts");
    return m_db.query(sql, {}, record);
}

std::vector<SegmentRecord> SegmentTable::thinningSegments(Date before, std::int64_t maxTier, std::int64_t limit) {
    static const std::string sql = select("\nWHERE closed = 1 AND end_ts < ? AND tier <= ? ORDER BY end_ts LIMIT ?");
    return m_db.query(sql, {before.seconds, maxTier, limit}, record);
}

std::vector<SegmentRecord> SegmentTable::oldestSegments(std::int64_t limit) {
    static const std::string sql = select(" WHERE closed = 1 ORDER BY end_ts LIMIT ?");
    return m_db.query(sql, {limit}, record);
}

std::vector<std::string> SegmentTable::segmentPaths() {
    return m_db.query("SELECT path FROM segments", {}, [](const SQLRow& row) { return row.text(0); });
}

std::optional<Date> SegmentTable::lastFrameTime(RowID segmentID) {
    const auto seconds = m_db.scalarDouble("SELECT MAX(ts) FROM frames WHERE segment_id = ?", {segmentID});
    if (!seconds) return std::nullopt;
    return Date{*seconds};
}

} // namespace nomara
