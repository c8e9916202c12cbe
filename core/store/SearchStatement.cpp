#include "core/store/SearchStatement.h"

#include "core/store/FrameRows.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace nomara {

namespace {

/// Far more rows than hits, since most rows fold into a few.
std::int64_t rowLimit(std::int64_t hits) {
    constexpr std::int64_t rowsPerHit = 8, fewestRows = 200;
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() / rowsPerHit;
    return std::max(std::min(hits, most) * rowsPerHit, fewestRows);
}

} // namespace

SearchStatement SearchStatement::make(const SearchQuery& query, std::string match,
                                      const std::vector<std::string>& bundles) {
    SearchStatement statement;
    auto& [sql, parameters] = statement;
    sql = "SELECT ";
    sql += FrameRows::summaryColumns;
    // A word in the window's title says twice as much as one in the address or the text.
    sql += ", bm25(frame_fts, 2.0, 1.0, 1.0) AS score\nFROM frame_fts JOIN frames f ON f.id = frame_fts.rowid "
           "LEFT JOIN segments s ON s.id = f.segment_id\nWHERE frame_fts MATCH ?";
    parameters.emplace_back(std::move(match));
    if (query.from) {
        sql += " AND f.ts >= ?";
        parameters.emplace_back(query.from->seconds);
    }
    if (query.to) {
        sql += " AND f.ts < ?";
        parameters.emplace_back(query.to->seconds);
    }
    if (!bundles.empty()) {
        sql += " AND f.app_bundle IN (" + sqlPlaceholders(bundles.size()) + ")";
        parameters.insert(parameters.end(), bundles.begin(), bundles.end());
    }
    sql += query.sort == SearchQuery::Sort::newest ? " ORDER BY f.ts DESC LIMIT ?" : " ORDER BY score LIMIT ?";
    parameters.emplace_back(rowLimit(query.limit));
    return statement;
}

} // namespace nomara
