#pragma once

#include "core/search/SearchQuery.h"
#include "core/store/SQLValue.h"

#include <string>
#include <vector>

namespace nomara {

/// The one statement that asks the full-text index, and what is bound to it. Its rows are all that match, the oldest
/// first: id, time, bundle, title, bm25 score. Whoever reads them picks the best, at a fraction of what SQLite takes to
/// put them into order. Pure.
struct SearchStatement {
    std::string sql;
    std::vector<SQLValue> parameters;

    enum Column { id, timestamp, bundle, title, score };

    /// `match` is the query's MATCH text; `bundles` restricts to those applications, none of them to nothing.
    static SearchStatement make(const SearchQuery& query, std::string match, const std::vector<std::string>& bundles);
};

} // namespace nomara
