#pragma once

#include "core/records/Segments.h"
#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace nomara {

/// A frame that a rewrite of its segment has kept, and its place in the new file.
struct RewrittenFrame {
    RowID frameID = 0;
    std::int64_t newIndex = 0;
};

/// Rows of video segments, and which frames have their picture in them. Part of `MemoryStore`, which says what holds
/// for all of it.
class SegmentTable {
public:
    explicit SegmentTable(SQLiteDatabase& db) : m_db(db) {}

    RowID insertOpenSegment(const std::string& path, DisplayID displayID, Date start, std::int64_t width,
                            std::int64_t height);
    void closeSegment(RowID id, Date end, std::int64_t frameCount, std::int64_t bytes);
    RowID insertClosedSegment(const NewSegment& segment, std::int64_t tier);
    void dropFrameImages(RowID segmentID, std::int64_t fromIndex);
    void deleteSegmentRow(RowID id);
    void setSegmentTier(RowID id, std::int64_t tier);
    void markFramesDropped(std::span<const RowID> ids);
    void markKeyframes(std::span<const RowID> ids);
    void applyRewrite(RowID oldSegmentID, const std::optional<NewSegment>& newSegment,
                      std::span<const RewrittenFrame> mapping, std::span<const RowID> droppedFrameIDs,
                      std::int64_t tier);
    std::optional<SegmentRecord> segment(RowID id);
    std::vector<SegmentRecord> openSegments();
    std::vector<SegmentRecord> thinningSegments(Date before, std::int64_t maxTier, std::int64_t limit);
    std::vector<SegmentRecord> oldestSegments(std::int64_t limit);
    std::vector<std::string> segmentPaths();
    std::optional<Date> lastFrameTime(RowID segmentID);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
