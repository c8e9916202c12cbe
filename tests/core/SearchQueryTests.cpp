#include "core/search/SearchQuery.h"
#include "core/store/MemoryStore.h"
#include "platform/fake/ManualClock.h"

#include <random>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Strings = std::vector<std::string>;
using namespace std::string_literals;

TEST(SearchQuery, MakesMatchTextOfWhatWasTyped) {
    const struct {
        std::string typed;
        std::string match; // empty: absent
    } rows[] = {
        {"", ""},
        {"!!!", ""},
        {"foo", "\"foo\"*"},
        {"foo ", "\"foo\""},
        {"foo\u00A0", "\"foo\""},
        {"foo\u3000bar\r\n", "\"foo\" \"bar\""},
        // One letter behind a finished word waits for its second.
        {"b", "\"b\"*"},
        {"foo b", "\"foo\"*"},
        {"foo bar", "\"foo\" \"bar\"*"},
        {"foo b c", "\"foo\" \"b\"*"},
        {"foo a-b", "\"foo\" \"a b\"*"},
        {"foo é", "\"foo\"*"},
        {"foo 漢字", "\"foo\" \"漢字\"*"},
        {"foo \U0001D552", "\"foo\"*"},
        // Quotes.
        {"\"foo bar", "\"foo bar\""},
        {"foo\"bar baz\"", "\"foo\" \"bar baz\""},
        {"\"foo\"bar", "\"foo\" \"bar\"*"},
        {"\"\" \"!\"", ""},
        {"\"", ""},
        {"\\\"foo\\\"", "\"foo\""},
        {"“foo bar”", "\"foo\" \"bar\"*"},
        // A quotation mark with an accent on it is another character.
        {"\"\u0301foo bar", "\"foo\" \"bar\"*"},
        // The mark hides in one character with the letter before it.
        {"\u0D4E\"foo bar\"", "\"\u0D4E foo\" \"bar\"*"},
        {"\U000111C2\"x", "\"\U000111C2 x\"*"},
        // Punctuation and operators.
        {"foo-bar", "\"foo bar\"*"},
        {"foo*", "\"foo\"*"},
        {"(foo OR bar) AND NOT baz^2", "\"foo\" \"or\" \"bar\" \"and\" \"not\" \"baz 2\"*"},
        {"NEAR(foo bar, 5)", "\"near foo\" \"bar\"*"},
        {"title:foo {title url}:bar", "\"title foo\" \"title\" \"url bar\"*"},
        {"foo\0bar"s, "\"foo bar\"*"},
        {"\0"s, ""},
        {"foo\xff\xfe"
         "bar",
         "\"foo bar\"*"},
        {"👩‍👩‍👧 foo", "\"foo\"*"},
        // Filters.
        {"site:github.com foo", "\"foo\"* url : \"github com\"*"},
        {"SITE:a Site:b", "url : \"a\"* url : \"b\"*"},
        {"site: foo", "\"foo\"*"},
        {"site:", ""},
        {"site:\"foo bar\"", "\"foo bar\""},
        {"app:mail foo", "\"foo\"*"},
        {"foo b site:x", "\"foo\"* url : \"x\"*"},
        {"website:x", "\"website x\"*"},
        {"site:\u0301x", "\"site x\"*"},
        {"SİTE:x", "\"site x\"*"},
        // The Turkish letters.
        {"İstanbul", "\"istanbul\"*"},
        {"ıstanbul", "\"istanbul\"*"},
    };
    for (const auto& row : rows) {
        const SearchQuery query(row.typed);
        EXPECT_EQ(query.matchExpression(true).value_or(""), row.match) << row.typed;
        EXPECT_EQ(query.text(), row.typed);
        EXPECT_EQ(query.matchExpression(true).has_value(), !row.match.empty()) << row.typed;
        EXPECT_EQ(query.isEmpty(), row.match.empty()) << row.typed;
    }
}

TEST(SearchQuery, LeavesThePrefixMarkOutOfFinishedQueriesButNotOfSites) {
    EXPECT_EQ(SearchQuery("foo bar site:x.y").matchExpression(false), "\"foo\" \"bar\" url : \"x y\"*");
}

TEST(SearchQuery, FoldsApplicationFilters) {
    const struct {
        std::string typed;
        Strings filters;
    } rows[] = {
        {"APP:Mail", {"mail"}},
        {"Uygulama:NOTLAR app:Ünlü", {"notlar", "unlu"}},
        {"app: app:\u0301 uygulama:", {}},
        {"app:\"Visual Studio\"", {}},
        {"app:com.google.Chrome", {"com.google.chrome"}},
        {"application:x", {}},
        {"\"app:x\"", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SearchQuery(row.typed).appNameFilters(), row.filters) << row.typed;
}

TEST(SearchQuery, HighlightsEachWordOnceInTheOrderTyped) {
    EXPECT_EQ(SearchQuery("site:b.com foo \"Bar foo\" a app:mail").highlightTerms(),
              (Strings{"foo", "bar", "a", "b", "com"}));
    EXPECT_EQ(SearchQuery("app:mail").highlightTerms(), Strings());
}

TEST(SearchQuery, TellsWhetherTheLastWordIsFinished) {
    const struct {
        std::string typed;
        bool ends;
    } rows[] = {{"", false},       {" ", true},        {"a ", true},    {"a", false},       {"\"a ", true},
                {"a\u2003", true}, {"a \u0301", true}, {"a\r\n", true}, {"a\u200B", false}, {"a\u200D", false}};
    for (const auto& row : rows)
        EXPECT_EQ(SearchQuery(row.typed).endsWithSpace(), row.ends) << row.typed;
}

// What the grammar, the full-text index and SQL know, what folds into it, and letters that join the quotation mark
// behind them.
const Strings pieces{"\"",
                     "\"",
                     " ",
                     " ",
                     "\r\n",
                     "\u3000",
                     "site:",
                     "app:",
                     "site:\u0301",
                     "AND",
                     "OR",
                     "NOT",
                     "NEAR(",
                     ", 5)",
                     "^",
                     "*",
                     ":",
                     "(",
                     ")",
                     "{title url} :",
                     "url : ",
                     "+",
                     "-",
                     "frame_fts",
                     "\"*",
                     "'",
                     ";",
                     "--",
                     "?1",
                     "%",
                     "\\",
                     "\0"s,
                     "'; DROP TABLE frames; --",
                     "＂",
                     "＊",
                     "：",
                     "ａｎｄ",
                     "“",
                     "\u02BA",
                     "\"\u0301",
                     "\"\u200D",
                     "\"\uFE0F",
                     "*\u20E3",
                     "\u0600",
                     "\u06DD",
                     "\u0D4E",
                     "\U000111C2",
                     "\U00011A3A",
                     "½",
                     "ß",
                     "a",
                     "foo",
                     "bar",
                     "2",
                     "github.com",
                     "x_y",
                     "İstanbul",
                     "日本語",
                     "हिन्दी",
                     "👩‍👩‍👧",
                     "🇹",
                     "\u200D",
                     "\u200B",
                     "\u0301",
                     "\u202E",
                     "\uFFFE",
                     "\xED\xA0\x80",
                     "\xC0\xA2",
                     "\xF4\x90\x80\x80",
                     "\x80",
                     "\xFF"};

TEST(SearchQuery, NothingTypedReachesTheIndexAsSyntax) {
    const ManualClock clock;
    MemoryStore store(":memory:", false, clock);
    store.insertFrame({.timestamp = {1}, .url = "https://github.com/foo", .lines = {"foo bar or not near a 2 title"}});
    const std::regex clause(R"re((?:url : )?"([^"]*)"\*?(?: |$))re");
    std::mt19937 random(20'260'314);
    int found = 0;
    for (int round = 0; round < 40'000; ++round) {
        std::string typed;
        for (auto parts = random() % 12; parts > 0; --parts)
            typed += random() % 5 == 0 ? std::string(1, static_cast<char>(random())) : pieces[random() % pieces.size()];
        const SearchQuery query(typed);
        const std::string match = query.matchExpression(true).value_or("");
        ASSERT_EQ(match.empty(), query.isEmpty()) << testing::PrintToString(typed);
        std::string rest = match, words;
        for (std::smatch part; std::regex_search(rest, part, clause, std::regex_constants::match_continuous);
             rest = part.suffix())
            words += part.str(1) + ' ';
        ASSERT_EQ(rest, "") << testing::PrintToString(typed) << " gave " << match;
        for (const char c : words)
            ASSERT_TRUE(std::islower(c) || std::isdigit(c) || c == ' ' || static_cast<unsigned char>(c) > 0x7F)
                << match;
        if (round % 10 == 0) found += store.search(query, {2}).empty() ? 0 : 1;
    }
    EXPECT_GT(found, 100) << "the queries have to make sense for the checks to mean something";
}

TEST(SearchQuery, VeryLongQueriesAreOnlyLong) {
    const ManualClock clock;
    MemoryStore store(":memory:", false, clock);
    store.insertFrame({.timestamp = {1}, .url = "https://github.com/foo", .lines = {"foo a"}});
    const auto repeated = [](const std::string& piece, int times) {
        std::string text;
        for (int i = 0; i < times; ++i)
            text += piece;
        return text;
    };
    const std::pair<std::string, bool> rows[] = {
        {repeated("foo ", 1'000), true},           {repeated("foo-", 10'000), false},
        {repeated("site:github ", 1'000), true},   {repeated("\"", 100'001), false},
        {"a" + repeated("\u0301", 100'000), true}, {repeated("(", 100'000) + "foo", true}};
    for (const auto& [typed, isFound] : rows)
        EXPECT_EQ(!store.search(SearchQuery(typed), {2}).empty(), isFound) << typed.substr(0, 20);
}

} // namespace
} // namespace nomara
