#include "core/store/FrameQueries.h"

#include "core/store/FrameRows.h"
#include "core/text/Graphemes.h"

#include <limits>

namespace nomara {

namespace {

std::string select(const char* columns, const char* rest) {
    return std::string("SELECT ") + columns + " FROM " + FrameRows::joined + rest;
}

template <typename Record>
std::optional<Record> first(std::vector<Record> rows) {
    if (rows.empty()) return std::nullopt;
    return std::move(rows.front());
}

} // namespace

std::optional<FrameRecord> FrameQueries::frame(RowID id) {
    static const std::string sql = select(FrameRows::recordColumns, " WHERE f.id = ?");
    return first(m_db.query(sql, {id}, FrameRows::record));
}

std::optional<std::string> FrameQueries::frameText(RowID id) {
    return m_db.scalarText("SELECT body FROM frame_text WHERE frame_id = ?", {id});
}

std::vector<FrameSummary> FrameQueries::frames(Date from, Date to, bool descending, std::int64_t limit) {
    const std::string sql =
        select(FrameRows::summaryColumns, descending ? " WHERE f.ts >= ? AND f.ts < ? ORDER BY f.ts DESC LIMIT ?"
                                                     : " WHERE f.ts >= ? AND f.ts < ? ORDER BY f.ts ASC LIMIT ?");
    return m_db.query(sql, {from.seconds, to.seconds, limit}, FrameRows::summary, false);
}

std::optional<FrameSummary> FrameQueries::latestFrame() {
    static const std::string sql = select(FrameRows::summaryColumns, " ORDER BY f.ts DESC LIMIT 1");
    return first(m_db.query(sql, {}, FrameRows::summary));
}

std::optional<FrameSummary> FrameQueries::nearestFrame(Date date) {
    static const std::string before = select(FrameRows::summaryColumns, " WHERE f.ts <= ? ORDER BY f.ts DESC LIMIT 1");
    static const std::string after = select(FrameRows::summaryColumns, " WHERE f.ts > ? ORDER BY f.ts LIMIT 1");
    auto earlier = first(m_db.query(before, {date.seconds}, FrameRows::summary));
    auto later = first(m_db.query(after, {date.seconds}, FrameRows::summary));
    if (!earlier) return later;
    if (!later) return earlier;
    return later->timestamp - date < date - earlier->timestamp ? later : earlier;
}

std::optional<std::string> FrameQueries::contextText(RowID id, double seconds, std::int64_t maxChars) {
    const auto last = frame(id);
    if (!last) return std::nullopt;
    // IS, not =: windows without a title are one another's context.
    const auto bodies =
        m_db.query("SELECT t.body FROM frames f JOIN frame_text t ON t.frame_id = f.id\n"
                   "WHERE f.app_bundle IS ? AND f.window_title IS ? AND f.display_id = ? AND f.ts BETWEEN ? AND ?\n"
                   "ORDER BY f.ts",
                   {last->appBundleID, last->windowTitle, last->displayID, last->timestamp.seconds - seconds,
                    last->timestamp.seconds},
                   [](const SQLRow& row) { return row.text(0); });
    std::string text;
    for (const std::string& body : bodies) {
        if (body.empty()) continue;
        if (!text.empty()) text += '\n';
        text += body;
    }
    return std::string(Graphemes::suffix(text, maxChars));
}

std::vector<ContextDigest> FrameQueries::contextDigests(Date since, std::int64_t limit, std::int64_t maxChars) {
    return m_db.query("SELECT f.app_name, f.app_bundle, f.window_title, MAX(f.url), MIN(f.ts), MAX(f.ts), COUNT(*),\n"
                      "       GROUP_CONCAT(t.body, char(10))\n"
                      "FROM frames f LEFT JOIN frame_text t ON t.frame_id = f.id\n"
                      "WHERE f.ts >= ?\n"
                      "GROUP BY f.app_bundle, f.window_title\n"
                      "ORDER BY MAX(f.ts) DESC LIMIT ?",
                      {since.seconds, limit}, [&](const SQLRow& row) {
                          const std::string whole = row.text(7);
                          const std::string_view trimmed = Graphemes::trimmed(whole);
                          const std::string_view kept = Graphemes::prefix(trimmed, maxChars);
                          return ContextDigest{
                              .appName = row.optionalText(0),
                              .appBundleID = row.optionalText(1),
                              .windowTitle = row.optionalText(2),
                              .url = row.optionalText(3),
                              .start = {row.real(4)},
                              .end = {row.real(5)},
                              .frameCount = row.integer(6),
                              .text = std::string(kept) + (kept.size() < trimmed.size() ? "…" : ""),
                          };
                      });
}

std::vector<AppCount> FrameQueries::appCounts(Date from, Date to) {
    return m_db.query("SELECT app_bundle, MAX(app_name), COUNT(*) FROM frames\n"
                      "WHERE ts >= ? AND ts < ? AND app_bundle IS NOT NULL\n"
                      "GROUP BY app_bundle ORDER BY COUNT(*) DESC",
                      {from.seconds, to.seconds}, [](const SQLRow& row) {
                          const std::string bundle = row.optionalText(0).value_or("?");
                          return AppCount{bundle, row.optionalText(1).value_or(bundle), row.integer(2)};
                      });
}

std::vector<TitleCount> FrameQueries::titleCounts(Date from, Date to, std::int64_t limit) {
    return m_db.query("SELECT COALESCE(app_name, app_bundle, '?'), window_title, COUNT(*) FROM frames\n"
                      "WHERE ts >= ? AND ts < ? AND window_title IS NOT NULL AND window_title != ''\n"
                      "GROUP BY app_bundle, window_title ORDER BY COUNT(*) DESC LIMIT ?",
                      {from.seconds, to.seconds, limit}, [](const SQLRow& row) {
                          return TitleCount{row.text(0), row.text(1), row.integer(2)};
                      });
}

std::vector<std::string> FrameQueries::recentDays(std::int64_t limit) {
    return m_db.query("SELECT DISTINCT date(ts, 'unixepoch', 'localtime') FROM frames ORDER BY 1 DESC LIMIT ?", {limit},
                      [](const SQLRow& row) { return row.text(0); });
}

std::vector<FrameRecord> FrameQueries::ocrBacklog(Date before, std::int64_t limit, const FrameRecord* last) {
    // The picture of a frame whose segment is still open can't be read yet.
    static const std::string sql =
        select(FrameRows::recordColumns, "\nWHERE f.ocr_state = 1 AND f.ts < ? AND (f.ts, f.id) > (?, ?) "
                                         "AND (s.id IS NULL OR s.closed = 1) ORDER BY f.ts, f.id LIMIT ?");
    constexpr double beforeAll = std::numeric_limits<double>::lowest();
    return m_db.query(sql, {before.seconds, last ? last->timestamp.seconds : beforeAll, last ? last->id : 0, limit},
                      FrameRows::record);
}

std::int64_t FrameQueries::queuedOCRCount() {
    return m_db.scalarInt("SELECT COUNT(*) FROM frames WHERE ocr_state = 1").value_or(0);
}

std::vector<FrameRecord> FrameQueries::framesInSegment(RowID id) {
    static const std::string sql =
        select(FrameRows::recordColumns, "\nWHERE f.segment_id = ? ORDER BY f.segment_index");
    return m_db.query(sql, {id}, FrameRows::record);
}

} // namespace nomara
