#pragma once

#include "core/search/SearchQuery.h"
#include "core/store/SQLValue.h"

#include <string>
#include <vector>

namespace nomara {

/// The one statement that asks the full-text index, and what is bound to it. Its rows are summaries with their bm25
/// score as column 10, best or newest first. Pure.
struct SearchStatement {
    std::string sql;
    std::vector<SQLValue> parameters;

    static constexpr int scoreColumn = 10;
    /// `match` is the query's MATCH text; `bundles` restricts to those applications, none of them to nothing.
    static SearchStatement make(const SearchQuery& query, std::string match, const std::vector<std::string>& bundles);
};

} // namespace nomara
