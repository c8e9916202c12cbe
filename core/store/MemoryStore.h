#pragma once

#include "core/base/Clock.h"
#include "core/store/ActivityTable.h"
#include "core/store/FrameQueries.h"
#include "core/store/FrameSearch.h"
#include "core/store/FrameTable.h"
#include "core/store/MetaTable.h"
#include "core/store/SegmentTable.h"
#include "core/store/StatisticsTable.h"
#include "core/store/SummaryTable.h"
#include "core/store/Upkeep.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace nomara {

class SearchQuery;

/// The memory on disk, seen through one connection: the writer or a read-only reader of one database file. The only
/// type that knows SQL. Used from one thread at a time; every operation throws SQLiteError, and those that write need
/// the writer. A writing operation is one transaction unless it says otherwise, and joins one that is already open.
class MemoryStore {
public:
    /// Opens the file. A writer creates it where there is none and brings its schema up to date; a file of a newer
    /// version is left as it is. `clock` outlives the store.
    MemoryStore(const std::filesystem::path& file, bool readOnly, const Clock& clock);

    /// How this database forgets text: by row id, or by being told the indexed values again. Decided when the database
    /// was born, not by the library in use.
    bool contentlessDelete() const { return m_contentlessDelete; }
    /// Ends the connection; every later operation fails with the message "closed".
    void close() noexcept { m_db.close(); }
    /// Runs `body`, all of whose writing operations on this store become one transaction; gives what it gives.
    template <typename Body>
    auto transaction(Body&& body) -> std::invoke_result_t<Body> {
        return m_db.transaction(std::forward<Body>(body));
    }

    // Frames and their text

    /// Writes the frame, its text and its full-text entry, all or nothing; gives its id.
    RowID insertFrame(const NewFrame& frame) { return m_frames.insertFrame(frame); }
    /// Adds lines behind the stored text (none leave it as it is), merges the source and, where given, sets the
    /// recognition's state. A frame that is gone is no error.
    void updateFrameText(RowID id, const std::vector<std::string>& lines, TextSource source,
                         std::optional<OCRState> ocrState) {
        return m_frames.updateFrameText(id, lines, source, ocrState);
    }
    void setOCRState(RowID id, OCRState state) { return m_frames.setOCRState(id, state); }
    /// Takes a frame's text out of the full-text index; its rows must still be in place.
    void removeFromIndex(RowID id) { return m_frames.removeFromIndex(id); }

    std::optional<FrameRecord> frame(RowID id) { return m_queries.frame(id); }
    std::optional<std::string> frameText(RowID id) { return m_queries.frameText(id); }
    /// Frames with `from` <= time < `to`.
    std::vector<FrameSummary> frames(Date from, Date to, bool descending, std::int64_t limit) {
        return m_queries.frames(from, to, descending, limit);
    }
    std::optional<FrameSummary> latestFrame() { return m_queries.latestFrame(); }
    /// The frame closest in time; the earlier of two at the same distance.
    std::optional<FrameSummary> nearestFrame(Date date) { return m_queries.nearestFrame(date); }
    /// What this frame's window showed in the `seconds` up to it, its last `maxChars` characters; absent if the frame
    /// is.
    std::optional<std::string> contextText(RowID id, double seconds, std::int64_t maxChars) {
        return m_queries.contextText(id, seconds, maxChars);
    }
    /// What was seen since then, one for each window, the latest seen first.
    std::vector<ContextDigest> contextDigests(Date since, std::int64_t limit, std::int64_t maxChars) {
        return m_queries.contextDigests(since, limit, maxChars);
    }
    /// Frames by application and by window title, most first.
    std::vector<AppCount> appCounts(Date from, Date to) { return m_queries.appCounts(from, to); }
    std::vector<TitleCount> titleCounts(Date from, Date to, std::int64_t limit) {
        return m_queries.titleCounts(from, to, limit);
    }
    /// Keys of the local days that have frames, newest first.
    std::vector<std::string> recentDays(std::int64_t limit) { return m_queries.recentDays(limit); }
    /// Frames whose picture waits for text recognition and can be read by now, oldest first; those that come after
    /// `last`, where one is given.
    std::vector<FrameRecord> ocrBacklog(Date before, std::int64_t limit, const FrameRecord* last = nullptr) {
        return m_queries.ocrBacklog(before, limit, last);
    }
    std::int64_t queuedOCRCount() { return m_queries.queuedOCRCount(); }

    /// Ranked and folded hits, best first, at most as many as the query asks for. `now` dates them.
    std::vector<SearchHit> search(const SearchQuery& query, Date now) { return m_search.search(query, now); }

    // Rows of video segments

    RowID insertOpenSegment(const std::string& path, DisplayID displayID, Date start, std::int64_t width,
                            std::int64_t height) {
        return m_segments.insertOpenSegment(path, displayID, start, width, height);
    }
    void closeSegment(RowID id, Date end, std::int64_t frameCount, std::int64_t bytes) {
        return m_segments.closeSegment(id, end, frameCount, bytes);
    }
    RowID insertClosedSegment(const NewSegment& segment, std::int64_t tier) {
        return m_segments.insertClosedSegment(segment, tier);
    }
    /// The frames from that index on lose their picture.
    void dropFrameImages(RowID segmentID, std::int64_t fromIndex) {
        return m_segments.dropFrameImages(segmentID, fromIndex);
    }
    void deleteSegmentRow(RowID id) { return m_segments.deleteSegmentRow(id); }
    /// A tier of 1 or more makes the segment's frames key frames.
    void setSegmentTier(RowID id, std::int64_t tier) { return m_segments.setSegmentTier(id, tier); }
    void markFramesDropped(std::span<const RowID> ids) { return m_segments.markFramesDropped(ids); }
    void markKeyframes(std::span<const RowID> ids) { return m_segments.markKeyframes(ids); }
    /// Puts a thinner segment (or none) in the place of the old one and moves or drops its frames. Fails with code 0
    /// and changes nothing when the old one no longer exists.
    void applyRewrite(RowID oldSegmentID, const std::optional<NewSegment>& newSegment,
                      std::span<const RewrittenFrame> mapping, std::span<const RowID> droppedFrameIDs,
                      std::int64_t tier) {
        return m_segments.applyRewrite(oldSegmentID, newSegment, mapping, droppedFrameIDs, tier);
    }

    std::optional<SegmentRecord> segment(RowID id) { return m_segments.segment(id); }
    /// Segments never closed, oldest first.
    std::vector<SegmentRecord> openSegments() { return m_segments.openSegments(); }
    /// Closed segments that ended before then and are of at most that tier, oldest first.
    std::vector<SegmentRecord> thinningSegments(Date before, std::int64_t maxTier, std::int64_t limit) {
        return m_segments.thinningSegments(before, maxTier, limit);
    }
    std::vector<SegmentRecord> oldestSegments(std::int64_t limit) { return m_segments.oldestSegments(limit); }
    std::vector<std::string> segmentPaths() { return m_segments.segmentPaths(); }
    std::vector<FrameRecord> framesInSegment(RowID id) { return m_queries.framesInSegment(id); }
    std::optional<Date> lastFrameTime(RowID segmentID) { return m_segments.lastFrameTime(segmentID); }

    // Activity, statistics, summaries, keys and values

    /// `span.id` is ignored; gives the new one.
    RowID insertActivity(const ActivitySpan& span) { return m_activity.insertActivity(span); }
    /// An absent project or title keeps the stored one.
    void updateActivity(RowID id, Date end, const std::optional<std::string>& project,
                        const std::optional<std::string>& windowTitle) {
        return m_activity.updateActivity(id, end, project, windowTitle);
    }
    /// Spans that overlap the stretch, by start, not clipped to it.
    std::vector<ActivitySpan> activity(Date from, Date to) { return m_activity.activity(from, to); }

    /// Adds to the counters of a day; an empty delta makes no row.
    void addStats(const std::string& day, const StatsDelta& delta) { return m_statistics.addStats(day, delta); }
    /// Days from `fromDay` to `toDay`, both included, oldest first.
    std::vector<DayStats> stats(const std::string& fromDay, const std::string& toDay) {
        return m_statistics.stats(fromDay, toDay);
    }

    std::optional<DaySummary> summary(const std::string& day) { return m_summaries.summary(day); }
    void setSummary(const std::string& day, const std::string& text, const std::string& source) {
        return m_summaries.setSummary(day, text, source);
    }

    std::optional<std::string> meta(const std::string& key) { return m_meta.meta(key); }
    /// An absent value removes the key.
    void setMeta(const std::string& key, const std::optional<std::string>& value) { return m_meta.setMeta(key, value); }

    // Disk use and upkeep; none of these may run inside a transaction

    StorageBreakdown storageBreakdown() { return m_upkeep.storageBreakdown(); }
    /// Compacts the file when more than a quarter of it is free.
    void vacuumIfNeeded() { return m_upkeep.vacuumIfNeeded(); }
    /// Merges the full-text index and empties the write-ahead log; failures of either are left for the next time.
    void optimize() noexcept { return m_upkeep.optimize(); }
    /// Empties the write-ahead log; false where it still holds something, as somebody reads there or it failed. Waits
    /// for readers up to 5 s, or not at all.
    bool checkpoint(bool waits = true) noexcept { return m_upkeep.checkpoint(waits); }

private:
    SQLiteDatabase m_db;
    bool m_contentlessDelete = true;
    FrameTable m_frames{m_db, m_contentlessDelete};
    FrameQueries m_queries{m_db};
    FrameSearch m_search{m_db};
    SegmentTable m_segments{m_db};
    ActivityTable m_activity{m_db};
    StatisticsTable m_statistics{m_db};
    SummaryTable m_summaries;
    MetaTable m_meta{m_db};
    Upkeep m_upkeep{m_db};
};

} // namespace nomara
