#include "core/search/SearchQuery.h"
#include "core/search/SearchRanking.h"
#include "core/search/SnippetBuilder.h"
#include "core/store/FrameRows.h"
#include "core/store/MemoryStore.h"
#include "core/store/SearchStatement.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace nomara {

namespace {

using SearchRanking::Group;

constexpr std::int64_t snippetCharacters = 180;

struct Application {
    std::string bundleID;
    std::string name;
};

bool passes(const Application& application, const std::vector<std::string>& filters) {
    const std::string name = TextNormalizer::normalize(application.name);
    const std::string bundleID = TextNormalizer::normalize(application.bundleID);
    return std::any_of(filters.begin(), filters.end(), [&](const std::string& filter) {
        return name.find(filter) != std::string::npos || bundleID.find(filter) != std::string::npos;
    });
}

bool contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

/// The applications to search: empty means all of them, absent that the filters let none through.
std::optional<std::vector<std::string>> allowedBundles(SQLiteDatabase& db, const SearchQuery& query) {
    if (query.appNameFilters().empty()) return query.appBundleIDs;
    const auto applications = db.query("SELECT DISTINCT app_bundle, app_name FROM frames WHERE app_bundle IS NOT NULL",
                                       {}, [](const SQLRow& row) {
                                           return Application{row.text(0), row.text(1)};
                                       });
    std::vector<std::string> bundles;
    for (const auto& application : applications)
        if (!contains(bundles, application.bundleID) && passes(application, query.appNameFilters()))
            bundles.push_back(application.bundleID);
    if (!query.appBundleIDs.empty()) {
        std::vector<std::string> both;
        for (const auto& bundleID : query.appBundleIDs)
            if (contains(bundles, bundleID)) both.push_back(bundleID);
        bundles = std::move(both);
    }
    if (bundles.empty()) return std::nullopt;
    return bundles;
}

std::unordered_map<RowID, std::string> textsOf(SQLiteDatabase& db, const std::vector<Group>& groups) {
    std::vector<SQLValue> ids;
    ids.reserve(groups.size());
    for (const auto& group : groups)
        ids.emplace_back(group.representative.id);
    std::unordered_map<RowID, std::string> texts;
    const std::string sql =
        "SELECT frame_id, body FROM frame_text WHERE frame_id IN (" + sqlPlaceholders(ids.size()) + ")";
    PreparedStatement statement(db, sql, ids, false);
    while (statement.step())
        texts.emplace(statement.row().integer(0), statement.row().text(1));
    return texts;
}

} // namespace

std::vector<SearchHit> MemoryStore::search(const SearchQuery& query, Date now) {
    auto match = query.matchExpression(true);
    if (!match) return {};
    const auto bundles = allowedBundles(m_db, query);
    if (!bundles) return {};

    const auto search = SearchStatement::make(query, std::move(*match), *bundles);
    std::vector<Group> groups;
    {
        PreparedStatement statement(m_db, search.sql, search.parameters, false);
        while (statement.step())
            SearchRanking::addRow(groups, FrameRows::summary(statement.row()),
                                  -statement.row().real(SearchStatement::scoreColumn));
    }
    if (query.sort == SearchQuery::Sort::relevance) SearchRanking::sortByScore(groups, now);
    const auto wanted = static_cast<std::size_t>(std::max<std::int64_t>(query.limit, 0));
    if (groups.size() > wanted) groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(wanted), groups.end());
    if (groups.empty()) return {};

    // A frame may be forgotten between the two statements; its hit then shows title or address.
    auto texts = textsOf(m_db, groups);
    const auto terms = query.highlightTerms();
    std::vector<SearchHit> hits;
    hits.reserve(groups.size());
    for (auto& group : groups) {
        const FrameSummary& frame = group.representative;
        auto snippet = SnippetBuilder::build(texts[frame.id], frame.windowTitle, frame.url, terms, snippetCharacters);
        const double score = SearchRanking::score(group, now);
        hits.push_back({std::move(group.representative), std::move(snippet), group.count, score});
    }
    return hits;
}

} // namespace nomara
