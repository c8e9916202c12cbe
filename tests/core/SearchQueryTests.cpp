#include "core/search/SearchQuery.h"

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
        {"   ", ""},
        {"!!!", ""},
        {"foo", "\"foo\"*"},
        {"foo ", "\"foo\""},
        {"foo\t", "\"foo\""},
        {"foo\u00A0", "\"foo\""},
        {"foo\u3000bar\r\n", "\"foo\" \"bar\""},
        // One letter behind a finished word waits for its second.
        {"b", "\"b\"*"},
        {"foo b", "\"foo\"*"},
        {"foo b ", "\"foo\""},
        {"foo bar", "\"foo\" \"bar\"*"},
        {"foo \"b\"", "\"foo\" \"b\""},
        {"foo b c", "\"foo\" \"b\"*"},
        {"foo a-b", "\"foo\" \"a b\"*"},
        {"foo ü", "\"foo\"*"},
        {"foo é", "\"foo\"*"},
        {"foo 漢字", "\"foo\" \"漢字\"*"},
        {"foo \U0001D552", "\"foo\"*"},
        // Quotes.
        {"\"foo bar", "\"foo bar\""},
        {"\"foo bar\" ", "\"foo bar\""},
        {"foo\"bar baz\"", "\"foo\" \"bar baz\""},
        {"\"foo\"bar", "\"foo\" \"bar\"*"},
        {"\"\" \"!\"", ""},
        {"\"", ""},
        {"a\"b\"c\"d e", "\"a\" \"b\" \"c\" \"d e\""},
        {"\\\"foo\\\"", "\"foo\""},
        {"“foo bar”", "\"foo\" \"bar\"*"},
        // A quotation mark with an accent on it is another character.
        {"\"\u0301foo bar", "\"foo\" \"bar\"*"},
        // The mark hides in one character with the letter before it.
        {"\u0D4E\"foo bar\"", "\"\u0D4E foo\" \"bar\"*"},
        {"\U000111C2\"x", "\"\U000111C2 x\"*"},
        // Punctuation and operators.
        {"foo-bar", "\"foo bar\"*"},
        {"foo * bar", "\"foo\" \"bar\"*"},
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
        {"site:github.com ", "url : \"github com\"*"},
        {"SITE:a Site:b", "url : \"a\"* url : \"b\"*"},
        {"site: foo", "\"foo\"*"},
        {"site:", ""},
        {"site:\"foo bar\"", "\"foo bar\""},
        {"site:... app:", ""},
        {"app:mail", ""},
        {"app:mail foo", "\"foo\"*"},
        {"foo b site:x", "\"foo\"* url : \"x\"*"},
        {"website:x", "\"website x\"*"},
        {"\"site:x\"", "\"site x\""},
        {"site:\u0301x", "\"site x\"*"},
        {"sıte:x", "\"site x\"*"},
        {"SİTE:x", "\"site x\"*"},
        // The Turkish letters.
        {"İstanbul", "\"istanbul\"*"},
        {"ISTANBUL", "\"istanbul\"*"},
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
        {"UYGULAMA:x", {"x"}},
        {"app: app:\u0301 uygulama:", {}},
        {"app:\"Visual Studio\"", {}},
        {"app:com.google.Chrome", {"com.google.chrome"}},
        {"app:app:x", {"app:x"}},
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

TEST(SearchQuery, NamesItsSorts) {
    for (const auto sort : SearchQuery::allSorts)
        EXPECT_EQ(SearchQuery::sortNamed(SearchQuery::rawValue(sort)), sort);
    EXPECT_EQ(SearchQuery::sortNamed("oldest"), std::nullopt);
}

} // namespace
} // namespace nomara
