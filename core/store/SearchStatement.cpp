#include "core/store/SearchStatement.h"

#include <utility>

namespace nomara {

SearchStatement SearchStatement::make(const SearchQuery& query, std::string match,
                                      const std::vector<std::string>& bundles) {
    SearchStatement statement;
    auto& [sql, parameters] = statement;
    // A word in the window's title says twice as much as one in the address or the text.
    sql = "SELECT f.id, f.ts, f.app_bundle, f.window_title, bm25(frame_fts, 2.0, 1.0, 1.0)\n"
          "FROM frame_fts JOIN frames f ON f.id = frame_fts.rowid\nWHERE frame_fts MATCH ?";
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
    return statement;
}

} // namespace nomara
