#pragma once

#include "core/records/Frames.h"
#include "core/store/SQLiteDatabase.h"

#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// Reading frames back: one, those of a stretch of time, those that wait to be read. Part of `MemoryStore`, which says
/// what holds for all of it.
class FrameQueries {
public:
    explicit FrameQueries(SQLiteDatabase& db) : m_db(db) {}

    std::optional<FrameRecord> frame(RowID id);
    std::optional<std::string> frameText(RowID id);
    std::vector<FrameSummary> frames(Date from, Date to, bool descending, std::int64_t limit);
    std::optional<FrameSummary> latestFrame();
    std::optional<FrameSummary> nearestFrame(Date date);
    std::optional<std::string> contextText(RowID id, double seconds, std::int64_t maxChars);
    std::vector<ContextDigest> contextDigests(Date since, std::int64_t limit, std::int64_t maxChars);
    std::vector<AppCount> appCounts(Date from, Date to);
    std::vector<TitleCount> titleCounts(Date from, Date to, std::int64_t limit);
    std::vector<std::string> recentDays(std::int64_t limit);
    std::vector<FrameRecord> ocrBacklog(Date before, std::int64_t limit, const FrameRecord* last = nullptr);
    std::int64_t queuedOCRCount();
    std::vector<FrameRecord> framesInSegment(RowID id);

private:
    SQLiteDatabase& m_db;
};

} // namespace nomara
