#include "core/store/FrameSearch.h"

#include "core/search/SearchQuery.h"
#include "core/search/SearchRanking.h"
#include "core/search/SnippetBuilder.h"
#include "core/store/FrameRows.h"
#include "core/store/SearchStatement.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <utility>

namespace nomara {

namespace {

using SearchRanking::Group;
using SearchRanking::Row;

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

/// Far more rows than hits, since most rows fold into a few.
std::size_t rowLimit(std::int64_t hits) {
    constexpr std::int64_t rowsPerHit = 8, fewestRows = 200;
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() / rowsPerHit;
    return static_cast<std::size_t>(std::max(std::min(hits, most) * rowsPerHit, fewestRows));
}

/// The rows with the lowest keys of all that come, up to a limit; of equal ones those that came first.
class LowestRows {
public:
    explicit LowestRows(std::size_t limit) : m_limit(limit) {}

    /// Whether a row with this key may be among them: nothing else of it need be read otherwise.
    bool wants(double key) const { return key < m_bound; }
    void add(double key, Row&& row) {
        m_rows.push_back({key, m_arrived++, std::move(row)});
        if (m_rows.size() / 2 >= m_limit) cut();
    }
    /// In order.
    std::vector<Row> take() {
        std::sort(m_rows.begin(), m_rows.end());
        if (m_rows.size() > m_limit) m_rows.erase(m_rows.begin() + static_cast<std::ptrdiff_t>(m_limit), m_rows.end());
        std::vector<Row> rows;
        rows.reserve(m_rows.size());
        for (auto& entry : m_rows)
            rows.push_back(std::move(entry.row));
        return rows;
    }

private:
    struct Entry {
        double key;
        std::size_t arrival;
        Row row;
        bool operator<(const Entry& other) const {
            return key != other.key ? key < other.key : arrival < other.arrival;
        }
    };

    void cut() {
        const auto last = m_rows.begin() + static_cast<std::ptrdiff_t>(m_limit) - 1;
        std::nth_element(m_rows.begin(), last, m_rows.end());
        m_bound = last->key;
        m_rows.erase(last + 1, m_rows.end());
    }

    const std::size_t m_limit;
    std::size_t m_arrived = 0;
    double m_bound = std::numeric_limits<double>::infinity();
    std::vector<Entry> m_rows;
};

std::vector<Row> bestRows(SQLiteDatabase& db, const SearchQuery& query, const SearchStatement& search) {
    using Column = SearchStatement::Column;
    LowestRows lowest(rowLimit(query.limit));
    PreparedStatement statement(db, search.sql, search.parameters, false);
    while (statement.step()) {
        const SQLRow row = statement.row();
        const Date timestamp{row.real(Column::timestamp)};
        const bool isNewestFirst = query.sort == SearchQuery::Sort::newest;
        const double key = isNewestFirst ? -timestamp.seconds : row.real(Column::score);
        if (!lowest.wants(key)) continue;
        lowest.add(
            key, {.id = row.integer(Column::id),
                  .timestamp = timestamp,
                  .window = SearchRanking::windowKey(row.optionalText(Column::bundle), row.optionalText(Column::title)),
                  .relevance = -row.real(Column::score)});
    }
    return lowest.take();
}

struct Found {
    FrameSummary frame;
    std::string text;
};

/// The frames that the groups show. One that was forgotten meanwhile is missing.
std::unordered_map<RowID, Found> framesOf(SQLiteDatabase& db, const std::vector<Group>& groups) {
    constexpr std::size_t idsAtOnce = 1'000; // SQLite has a limit
    constexpr int textColumn = 10;
    std::unordered_map<RowID, Found> found;
    found.reserve(groups.size());
    for (std::size_t first = 0; first < groups.size(); first += idsAtOnce) {
        std::vector<SQLValue> ids;
        for (std::size_t i = first; i < std::min(groups.size(), first + idsAtOnce); ++i)
            ids.emplace_back(groups[i].representative.id);
        std::string sql = "SELECT ";
        sql.append(FrameRows::summaryColumns).append(", t.body FROM ").append(FrameRows::joined);
        sql += " LEFT JOIN frame_text t ON t.frame_id = f.id WHERE f.id IN (" + sqlPlaceholders(ids.size()) + ")";
        PreparedStatement statement(db, sql, ids, false);
        while (statement.step()) {
            const SQLRow row = statement.row();
            found.emplace(row.integer(0), Found{FrameRows::summary(row), row.text(textColumn)});
        }
    }
    return found;
}

} // namespace

std::vector<SearchHit> FrameSearch::search(const SearchQuery& query, Date now) {
    auto match = query.matchExpression(true);
    if (!match) return {};
    const auto bundles = allowedBundles(m_db, query);
    if (!bundles) return {};

    const auto search = SearchStatement::make(query, std::move(*match), *bundles);
    std::vector<Group> groups = SearchRanking::folded(bestRows(m_db, query, search));
    if (query.sort == SearchQuery::Sort::relevance) SearchRanking::sortByScore(groups, now);
    const auto wanted = static_cast<std::size_t>(std::max<std::int64_t>(query.limit, 0));
    if (groups.size() > wanted) groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(wanted), groups.end());

    auto frames = framesOf(m_db, groups);
    const auto terms = query.highlightTerms();
    std::vector<SearchHit> hits;
    hits.reserve(groups.size());
    for (const Group& group : groups) {
        const auto found = frames.find(group.representative.id);
        // Between the two statements a frame may be forgotten, and its number be given to another one.
        if (found == frames.end() || found->second.frame.timestamp != group.representative.timestamp) continue;
        auto& [frame, text] = found->second;
        auto snippet = SnippetBuilder::build(text, frame.windowTitle, frame.url, terms, snippetCharacters);
        hits.push_back({std::move(frame), std::move(snippet), group.count, SearchRanking::score(group, now)});
    }
    return hits;
}

} // namespace nomara
