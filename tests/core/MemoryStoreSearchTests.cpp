#include "core/search/SearchQuery.h"
#include "core/search/SearchRanking.h"
#include "tests/core/StoreTest.h"

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Text = std::optional<std::string>;
using Strings = std::vector<std::string>;
using IDs = std::vector<RowID>;

constexpr double day = 86400;
constexpr Date now{1'800'000'000};

struct MemoryStoreSearch : testing::StoreTest {
    RowID add(double secondsAgo, const Text& app, const Text& title, const Strings& lines, const Text& url = {}) {
        NewFrame frame;
        frame.timestamp = now - secondsAgo;
        frame.appBundleID = app;
        if (app) frame.appName = "Name of " + *app;
        frame.windowTitle = title;
        frame.url = url;
        frame.lines = lines;
        return store.insertFrame(frame);
    }

    std::vector<SearchHit> search(const SearchQuery& query) { return store.search(query, now); }

    IDs ids(const SearchQuery& query) {
        IDs found;
        for (const auto& hit : search(query))
            found.push_back(hit.frame.id);
        return found;
    }

    static SearchQuery newest(const std::string& typed, std::int64_t limit = 60) {
        SearchQuery query(typed);
        query.sort = SearchQuery::Sort::newest;
        query.limit = limit;
        return query;
    }
};

TEST_F(MemoryStoreSearch, RanksByRelevanceAgeAndRepetition) {
    const auto inText = add(30 * day, "a", "other", {"word"});
    const auto inTitle = add(30 * day, "a", "word", {"other"});
    const auto fresh = add(60, "a", "again", {"word"});
    const auto repeated = add(50, "b", "again", {"word"});
    add(40, "b", "again", {"word and more text"});
    for (int i = 0; i < 40; ++i)
        add(i * 3600, "c", "noise", {"noise " + std::to_string(i)});

    IDs order;
    const auto hits = search(SearchQuery("word"));
    for (const auto& hit : hits)
        order.push_back(hit.frame.id);
    EXPECT_EQ(order, (IDs{repeated, fresh, inTitle, inText}));

    const auto byTime = search(newest("word"));
    ASSERT_EQ(byTime.size(), 4U);
    EXPECT_EQ(byTime[1].frame.id, fresh);
    // The score is the same whether or not it gave the order.
    for (const auto& hit : byTime)
        for (const auto& ranked : hits)
            if (hit.frame.id == ranked.frame.id) {
                EXPECT_EQ(hit.score, ranked.score);
            }
}

TEST_F(MemoryStoreSearch, ScoresByTheFormula) {
    const struct {
        double relevance, ageDays;
        std::int64_t count;
        double score;
    } rows[] = {
        {2, 0, 1, 2},
        {2, -5, 1, 2}, // a clock set back
        {2, 7, 1, 2 * (0.4 * 0.36787944117144233 + 0.6)},
        {2, 100'000, 1, 1.2},
        {2, 0, 2, 2.0693147180559945},
        {0, 0, 1, 0.0001},
        {-1, 0, 1, 0.0001},
    };
    for (const auto& row : rows) {
        SearchRanking::Group group;
        group.representative.timestamp = now - row.ageDays * day;
        group.representative.relevance = row.relevance;
        group.count = row.count;
        EXPECT_DOUBLE_EQ(SearchRanking::score(group, now), row.score);
    }
}

TEST_F(MemoryStoreSearch, AppliesFiltersAndBounds) {
    const auto chrome = add(100, "com.google.Chrome", "Docs", {"word"}, "https://github.com/page");
    const auto notes = add(200, "org.example.Notlar", "List", {"word github"});
    const auto bare = add(300, {}, {}, {"word"}, "http://www.github.com");
    const Date notesTime = now - 200;
    const struct {
        const char* name;
        std::string typed;
        std::optional<Date> from, to;
        Strings bundles;
        IDs found;
    } rows[] = {
        {"everything", "word", {}, {}, {}, {chrome, notes, bare}},
        {"nothing to match", "!!! app:chrome", {}, {}, {}, {}},
        {"by identifier", "app:chrome word", {}, {}, {}, {chrome}},
        {"by name, Turkish keyword", "uygulama:NOTLAR word", {}, {}, {}, {notes}},
        {"by name only", "app:name word", {}, {}, {}, {chrome, notes}},
        {"either of two", "app:chrome app:notlar word", {}, {}, {}, {chrome, notes}},
        {"no such application", "app:xyz word", {}, {}, {}, {}},
        {"given application", "word", {}, {}, {"org.example.Notlar", "other"}, {notes}},
        {"given and typed agree", "app:notlar word", {}, {}, {"com.google.Chrome", "org.example.Notlar"}, {notes}},
        {"given and typed differ", "app:notlar word", {}, {}, {"com.google.Chrome"}, {}},
        {"from is included", "word", notesTime, {}, {}, {chrome, notes}},
        {"to is excluded", "word", {}, notesTime, {}, {bare}},
        {"an empty stretch", "word", notesTime, notesTime, {}, {}},
        {"all at once", "app:chrome site:github wo", notesTime, now, {"com.google.Chrome"}, {chrome}},
        {"the address alone", "site:github.com", {}, {}, {}, {chrome, bare}},
        {"the address alone, a prefix", "site:git", {}, {}, {}, {chrome, bare}},
        {"the protocol isn't indexed", "site:https", {}, {}, {}, {}},
        {"any column", "github", {}, {}, {}, {chrome, notes, bare}},
        {"unfinished word", "wor", {}, {}, {}, {chrome, notes, bare}},
        {"finished word", "wor ", {}, {}, {}, {}},
        {"phrase", "\"word github\"", {}, {}, {}, {notes}},
        {"phrase in another order", "\"github word\"", {}, {}, {}, {}},
        {"both words", "github word ", {}, {}, {}, {chrome, notes, bare}},
    };
    for (const auto& row : rows) {
        SearchQuery query = newest(row.typed);
        query.from = row.from;
        query.to = row.to;
        query.appBundleIDs = row.bundles;
        EXPECT_EQ(ids(query), row.found) << row.name;
    }
}

TEST_F(MemoryStoreSearch, ShowsWhereTheMatchIs) {
    add(100, "a", "Başlık", {"first line", "ikinci satır: İSTANBUL"}, "https://example.org/path");
    const struct {
        const char* typed;
        const char* text;
        std::vector<CharacterRange> highlights;
    } rows[] = {
        {"istanbul", "ikinci satır: İSTANBUL", {{14, 22}}},
        {"baslik", "Başlık", {{0, 6}}},
        {"site:example", "https://example.org/path", {{8, 15}}},
        {"satir first", "first line", {{0, 5}}},
    };
    for (const auto& row : rows) {
        const auto hits = search(SearchQuery(row.typed));
        ASSERT_EQ(hits.size(), 1U) << row.typed;
        EXPECT_EQ(hits[0].snippet.text, row.text);
        EXPECT_EQ(hits[0].snippet.highlights, row.highlights) << row.typed;
    }
    add(100, "a", "Long", {"lengthy" + std::string(300, 'x')});
    EXPECT_EQ(search(SearchQuery("lengthy"))[0].snippet.text, "lengthy" + std::string(173, 'x') + "…");
}

// Between finding a frame and reading its text it may be forgotten.
TEST_F(MemoryStoreSearch, ShowsTheTitleOfAFrameWithoutText) {
    add(100, "a", "Title of it", {"word"});
    raw.execute("DELETE FROM frame_text");
    const auto hits = search(SearchQuery("word"));
    ASSERT_EQ(hits.size(), 1U);
    EXPECT_EQ(hits[0].snippet, (Snippet{"Title of it", {}}));
}

TEST_F(MemoryStoreSearch, GivesAtMostTheHitsAskedFor) {
    for (int i = 0; i < 30; ++i)
        add(i * 700, "a", "t", {"word"});
    for (const std::int64_t limit : {0, 1, 7, 30, 100})
        EXPECT_EQ(search(newest("word", limit)).size(), static_cast<std::size_t>(std::min<std::int64_t>(limit, 30)));
    EXPECT_TRUE(search(newest("word", -1)).empty());
}

TEST_F(MemoryStoreSearch, FoldsOnlyTheBestRows) {
    // Two hundred rows are looked at for up to 25 hits; those with the word more often come first.
    for (int i = 0; i < 450; ++i)
        add(i * 700, "a", "t", {i % 2 == 0 ? "word word word" : "word and much that is no word"});
    for (const auto& [limit, rows] : {std::pair(25, 200), std::pair(30, 240), std::pair(1'000, 450)}) {
        for (const auto sort : {SearchQuery::Sort::newest, SearchQuery::Sort::relevance}) {
            const auto hits = search(SearchQuery("word", {}, {}, {}, limit, sort));
            ASSERT_EQ(hits.size(), static_cast<std::size_t>(std::min(limit, rows)));
            for (std::size_t i = 0; i < hits.size() && sort == SearchQuery::Sort::newest; ++i)
                EXPECT_EQ(hits[i].frame.id, static_cast<RowID>(i) + 1);
            if (sort == SearchQuery::Sort::relevance) {
                EXPECT_EQ(hits.front().frame.id % 2, 1) << "the first frame is an even row";
            }
        }
    }
    // Folding comes after the choice: the rows of one window crowd out the others.
    for (int i = 0; i < 300; ++i)
        add(1'000'000 + i, "b", "u", {"other"});
    add(2'000'000, "c", "v", {"other"});
    EXPECT_EQ(search(newest("other", 25)).size(), 1U);
    EXPECT_EQ(search(newest("other", 25))[0].matchCount, 200);
    EXPECT_EQ(search(newest("other", 38)).size(), 2U);
}

} // namespace
} // namespace nomara
