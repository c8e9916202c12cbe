#pragma once

#include "core/base/Clock.h"
#include "core/records/Frames.h"
#include "core/records/Segments.h"
#include "core/records/Statistics.h"
#include "core/store/SQLiteDatabase.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace nomara {

class SearchQuery;

/// A frame that a rewrite of its segment has kept, and its place in the new file.
struct RewrittenFrame {
    RowID frameID = 0;
    std::int64_t newIndex = 0;
};

/// The memory on disk, seen through one connection: the writer or a read-only reader of one database file. The only
/// type that knows SQL. Used from one thread at a time; every operation throws SQLiteError, and those that write need
/// the writer. A writing operation is one transaction unless it says otherwise, and joins one that is already open.
class MemoryStore {
public:
    /// Opens the file. A writer creates it where there is none and brings its schema up to date; a file of a newer
    /// version is left as it is. `clock` outlives the store.
    MemoryStore(const std::filesystem::path& file, bool readOnly, const Clock& clock);

    bool isReadOnly() const { return m_isReadOnly; }
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
    RowID insertFrame(const NewFrame& frame);
    /// Adds lines behind the stored text (none leave it as it is), merges the source and, where given, sets the
    /// recognition's state. A frame that is gone is no error.
    void updateFrameText(RowID id, const std::vector<std::string>& lines, TextSource source,
                         std::optional<OCRState> ocrState);
    void setOCRState(RowID id, OCRState state);
    /// Takes a frame's text out of the full-text index; its rows must still be in place.
    void removeFromIndex(RowID id);

    std::optional<FrameRecord> frame(RowID id);
    std::optional<std::string> frameText(RowID id);
    /// Frames with `from` <= time < `to`.
    std::vector<FrameSummary> frames(Date from, Date to, bool descending, std::int64_t limit);
    std::optional<FrameSummary> latestFrame();
    /// The frame closest in time; the earlier of two at the same distance.
    std::optional<FrameSummary> nearestFrame(Date date);
    /// What this frame's window showed in the `seconds` up to it, its last `maxChars` characters; absent if the frame
    /// is.
    std::optional<std::string> contextText(RowID id, double seconds, std::int64_t maxChars);
    /// What was seen since then, one for each window, the latest seen first.
    std::vector<ContextDigest> contextDigests(Date since, std::int64_t limit, std::int64_t maxChars);
    /// Frames by application and by window title, most first.
    std::vector<AppCount> appCounts(Date from, Date to);
    std::vector<TitleCount> titleCounts(Date from, Date to, std::int64_t limit);
    /// Keys of the local days that have frames, newest first.
    std::vector<std::string> recentDays(std::int64_t limit);
    /// Frames whose picture waits for text recognition and can be read by now, oldest first; those that come after
    /// `last`, where one is given.
    std::vector<FrameRecord> ocrBacklog(Date before, std::int64_t limit, const FrameRecord* last = nullptr);
    std::int64_t queuedOCRCount();

    /// Ranked and folded hits, best first, at most as many as the query asks for. `now` dates them.
    std::vector<SearchHit> search(const SearchQuery& query, Date now);

    // Rows of video segments

    RowID insertOpenSegment(const std::string& path, DisplayID displayID, Date start, std::int64_t width,
                            std::int64_t height);
    void closeSegment(RowID id, Date end, std::int64_t frameCount, std::int64_t bytes);
    RowID insertClosedSegment(const NewSegment& segment, std::int64_t tier);
    /// The frames from that index on lose their picture.
    void dropFrameImages(RowID segmentID, std::int64_t fromIndex);
    void deleteSegmentRow(RowID id);
    /// A tier of 1 or more makes the segment's frames key frames.
    void setSegmentTier(RowID id, std::int64_t tier);
    void markFramesDropped(std::span<const RowID> ids);
    void markKeyframes(std::span<const RowID> ids);
    /// Puts a thinner segment (or none) in the place of the old one and moves or drops its frames. Fails with code 0
    /// and changes nothing when the old one no longer exists.
    void applyRewrite(RowID oldSegmentID, const std::optional<NewSegment>& newSegment,
                      std::span<const RewrittenFrame> mapping, std::span<const RowID> droppedFrameIDs,
                      std::int64_t tier);

    std::optional<SegmentRecord> segment(RowID id);
    /// Segments never closed, oldest first.
    std::vector<SegmentRecord> openSegments();
    /// Closed segments that ended before then and are of at most that tier, oldest first.
    std::vector<SegmentRecord> thinningSegments(Date before, std::int64_t maxTier, std::int64_t limit);
    std::vector<SegmentRecord> oldestSegments(std::int64_t limit);
    std::vector<std::string> segmentPaths();
    std::vector<FrameRecord> framesInSegment(RowID id);
    std::optional<Date> lastFrameTime(RowID segmentID);

    // Activity, statistics, summaries, keys and values

    /// `span.id` is ignored; gives the new one.
    RowID insertActivity(const ActivitySpan& span);
    /// An absent project or title keeps the stored one.
    void updateActivity(RowID id, Date end, const std::optional<std::string>& project,
                        const std::optional<std::string>& windowTitle);
    /// Spans that overlap the stretch, by start, not clipped to it.
    std::vector<ActivitySpan> activity(Date from, Date to);

    /// Adds to the counters of a day; an empty delta makes no row.
    void addStats(const std::string& day, const StatsDelta& delta);
    /// Days from `fromDay` to `toDay`, both included, oldest first.
    std::vector<DayStats> stats(const std::string& fromDay, const std::string& toDay);

    std::optional<DaySummary> summary(const std::string& day);
    void setSummary(const std::string& day, const std::string& text, const std::string& source);

    std::optional<std::string> meta(const std::string& key);
    /// An absent value removes the key.
    void setMeta(const std::string& key, const std::optional<std::string>& value);

    // Disk use and upkeep; none of these may run inside a transaction

    StorageBreakdown storageBreakdown();
    /// Compacts the file when more than a quarter of it is free.
    void vacuumIfNeeded();
    /// Merges the full-text index and empties the write-ahead log; failures of either are left for the next time.
    void optimize() noexcept;
    /// Empties the write-ahead log; false where it still holds something, as somebody reads there or it failed. Waits
    /// for readers up to 5 s, or not at all.
    bool checkpoint(bool waits = true) noexcept;

private:
    SQLiteDatabase m_db;
    const Clock& m_clock;
    const bool m_isReadOnly;
    bool m_contentlessDelete = true;
};

} // namespace nomara
