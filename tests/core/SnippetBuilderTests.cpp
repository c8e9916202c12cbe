#include "core/search/SnippetBuilder.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

std::ostream& operator<<(std::ostream& out, const CharacterRange& range) {
    return out << range.start << "..<" << range.end;
}

namespace {

using Strings = std::vector<std::string>;
using Ranges = std::vector<CharacterRange>;

std::string repeated(const std::string& piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

/// What a highlight marks, character by character.
std::string marked(const Snippet& snippet, const CharacterRange& range) {
    const auto upTo = Graphemes::prefix(snippet.text, range.end);
    return std::string(Graphemes::suffix(upTo, range.end - range.start));
}

TEST(SnippetBuilder, MarksEveryOccurrenceAndLetsLongerTermsClaimFirst) {
    const struct {
        std::string line;
        Strings terms;
        Ranges ranges;
    } rows[] = {
        {"Déjà vu", {"deja"}, {{0, 4}}},
        {"De\u0301ja\u0300 vu", {"deja"}, {{0, 4}}},
        {"aaa", {"aa", "a"}, {{0, 2}, {2, 3}}},
        {"aaa", {"a"}, {{0, 1}, {1, 2}, {2, 3}}},
        {"aaaa aa", {"aa"}, {{0, 2}, {2, 4}, {5, 7}}},
        {"the theme", {"theme", "the"}, {{0, 3}, {4, 9}}},
        {"abcabc", {"bca", "abc"}, {{1, 4}}},
        {"short", {"shorter", ""}, {}},
        {"", {"a"}, {}},
        {"ISTANBUL İstanbul ıstanbul", {"istanbul"}, {{0, 8}, {9, 17}, {18, 26}}},
        // One letter that folds to two characters: each leads back to the letter.
        {"Straße x", {"strasse"}, {{0, 6}}},
        {"Straße x", {"se"}, {{4, 6}}},
        {"Straße x", {"x"}, {{7, 8}}},
        {"aßb", {"as", "sb"}, {{0, 2}, {1, 3}}},
        {"ａｂｃ", {"bc"}, {{1, 3}}},
        {"👩‍👩‍👧 né", {"ne"}, {{2, 4}}},
        {"a\r\nb", {"b"}, {{2, 3}}},
        // Half of a character isn't found.
        {"각각", {"각"}, {{0, 1}, {1, 2}}},
        {"👩‍👩‍👧", {"👩"}, {}},
        {"日本語の本", {"本"}, {{1, 2}, {4, 5}}},
        {"ка \xff ка", {"ка"}, {{0, 2}, {5, 7}}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SnippetBuilder::highlightRanges(row.line, row.terms), row.ranges) << row.line;
}

TEST(SnippetBuilder, ChoosesTheLineThatSaysMost) {
    const struct {
        std::string body;
        std::optional<std::string> title, url;
        Strings terms;
        std::string text;
        Ranges highlights;
    } rows[] = {
        {"one foo\ntwo foo", {}, {}, {"foo"}, "one foo", {{4, 7}}},
        {"foo\nfoo bar\nbar", {}, {}, {"Foo", "BAR"}, "foo bar", {{0, 3}, {4, 7}}},
        {"supercalifragilistic\nan ox", {}, {}, {"supercalifragilistic", "ox", "an"}, "an ox", {{0, 2}, {3, 5}}},
        {"ab\nabc", {}, {}, {"abc", "ab"}, "abc", {{0, 3}}},
        {"x\r\nfoo\u2028foo bar\u0085bar", {}, {}, {"bar", "foo"}, "foo bar", {{0, 3}, {4, 7}}},
        {"foo\nbar", "Foo title", "url foo", {"baz", "title"}, "Foo title", {{4, 9}}},
        {"foo", "", "https://ex.com/foo", {"com"}, "https://ex.com/foo", {{11, 14}}},
        {"foo", "title", "https://ex.com", {"com"}, "https://ex.com", {{11, 14}}},
        {"aßb ß", {}, {}, {"as", "sb", "s"}, "aßb ß", {{0, 2}, {2, 3}, {4, 5}}},
        // Nothing matches.
        {"abc\nabcd\nabcde", "title", {}, {"zzz"}, "abcd", {}},
        {"abc\nab", "title", "url", {"zzz"}, "title", {}},
        {"abc\nab", {}, "url", {"zzz"}, "", {}},
        {"ééé\nééé\u0301\néééé", {}, {}, {}, "éééé", {}},
        {"line of text", "title", {}, {"", "\u0301"}, "line of text", {}},
        {"", {}, {}, {"a"}, "", {}},
    };
    for (const auto& row : rows) {
        const auto snippet = SnippetBuilder::build(row.body, row.title, row.url, row.terms, 180);
        EXPECT_EQ(snippet.text, row.text) << row.body;
        EXPECT_EQ(snippet.highlights, row.highlights) << row.body;
    }
}

TEST(SnippetBuilder, CutsAWindowAroundTheFirstMatch) {
    const std::string thousand = repeated("x", 500) + "MATCH" + repeated("y", 495);
    const std::string accented = repeated("é", 500) + "MATCH" + repeated("ü", 495);
    const struct {
        const char* name;
        std::string body;
        std::int64_t maxLength;
        std::string text;
        Ranges highlights;
    } rows[] = {
        {"a third before", thousand, 180, "…" + repeated("x", 60) + "MATCH" + repeated("y", 115) + "…", {{61, 66}}},
        {"characters, not bytes",
         accented,
         180,
         "…" + repeated("é", 60) + "MATCH" + repeated("ü", 115) + "…",
         {{61, 66}}},
        {"at the start", "match" + repeated("y", 30), 9, "matchyyyy…", {{0, 5}}},
        {"pulled back at the end", repeated("x", 30) + "match", 12, "…xxxxxxxmatch", {{8, 13}}},
        {"left word cut off",
         repeated("x", 20) + " abcd match" + repeated("y", 60),
         30,
         "…abcd match" + repeated("y", 15) + "…",
         {{6, 11}}},
        {"right word cut off", "match one two three", 12, "match one…", {{0, 5}}},
        {"a space at the last place that counts",
         "match " + repeated("y", 15) + " " + repeated("y", 40),
         37,
         "match " + repeated("y", 15) + "…",
         {{0, 5}}},
        {"a space one before it",
         "match" + repeated("y", 15) + " " + repeated("y", 40),
         37,
         "match" + repeated("y", 15) + " " + repeated("y", 16) + "…",
         {{0, 5}}},
        {"spaces too far in", "match " + repeated("y", 40), 30, "match " + repeated("y", 24) + "…", {{0, 5}}},
        {"highlight clipped", repeated("match", 4), 12, "matchmatchma…", {{0, 5}, {5, 10}, {10, 12}}},
        {"highlight cut away", "match one match", 12, "match one…", {{0, 5}}},
        {"no room", "match one", 0, "…", {}},
    };
    for (const auto& row : rows) {
        const auto snippet = SnippetBuilder::build(row.body, {}, {}, {"match"}, row.maxLength);
        EXPECT_EQ(snippet.text, row.text) << row.name;
        EXPECT_EQ(snippet.highlights, row.highlights) << row.name;
    }
}

// Whatever the text: the excerpt keeps its length, and what is marked folds to the term or, at an edge, a part of it.
TEST(SnippetBuilder, MarksOnlyWhatMatchesInRandomText) {
    std::mt19937 random(20);
    const Strings pieces{"a",  "b", "A",  "é",    "e\u0301", "İ",           "ı",  "I",  "ß",
                         " ",  " ", "\n", "ﬁ",    "한",      "👩‍👧", "日", "本", "ａ",
                         "\t", "x", "y",  "\xff", "ка",      "\r\n",        "ŉ",  "ΐ",  "-"};
    const Strings terms{"s", "ab", "a", "e", "i", "ss", "fi", "한", "日本", "xy", "к", "ba", "ια"};
    const auto pick = [&](const Strings& from) { return from[random() % from.size()]; };
    for (int round = 0; round < 20'000; ++round) {
        std::string body;
        for (std::size_t left = random() % 120; left > 0; --left)
            body += pick(pieces);
        const Strings wanted{pick(terms), pick(terms)};
        const auto maxLength = static_cast<std::int64_t>(random() % 40);
        const auto snippet = SnippetBuilder::build(body, {}, {}, wanted, maxLength);
        ASSERT_LE(Graphemes::count(snippet.text), maxLength + 2) << body;
        std::int64_t behind = 0;
        for (const auto& range : snippet.highlights) {
            ASSERT_LT(range.start, range.end);
            ASSERT_GE(range.start, behind) << body;
            ASSERT_LE(range.end, Graphemes::count(snippet.text)) << body;
            behind = range.end;
            const std::string fold = TextNormalizer::normalize(marked(snippet, range));
            bool related = false;
            for (const auto& term : wanted)
                related |= fold.find(term) != std::string::npos || term.find(fold) != std::string::npos;
            ASSERT_TRUE(related) << body << " marks " << fold;
        }
    }
}

} // namespace
} // namespace nomara
