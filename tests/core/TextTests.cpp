#include "core/text/Graphemes.h"
#include "core/text/LineDeduper.h"
#include "core/text/LineSplitter.h"
#include "core/text/TextNormalizer.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Strings = std::vector<std::string>;

TEST(TextNormalizer, FoldsCaseDiacriticsWidthAndTheTurkishI) {
    const struct {
        const char* text;
        const char* folded;
    } rows[] = {
        {"", ""},
        {"Hello, WORLD @[Z]`{z}", "hello, world @[z]`{z}"},
        {"Ünlü ISI Ｆｕｌｌ", "unlu isi full"},
        {"İstanbul", "istanbul"},
        {"ISTANBUL", "istanbul"},
        {"ıstanbul", "istanbul"},
        {"I\u0307stanbul", "istanbul"},
        {"DE\u0301JA\u0300 vu — Déjà", "deja vu — deja"},
        {"STRASSE Straße", "strasse strasse"},
        {"Ἀχιλλεύς ᾳ", "αχιλλευσ α"},
        {"ЁЛКА Йод", "елка иод"},
        {"ｶﾞｷﾞ がぎ", "カキ かき"},
        {"ﾡ ￣", "ㄱ ¯"},
        {"한국어", "한국어"},
        {"\u1112\u1161\u11ab", "한"},
        {"K\u212A Å", "kk a"},
        {"a\xff\xfe b\xc3", "a\uFFFD\uFFFD b\uFFFD"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TextNormalizer::normalize(row.text), row.folded) << row.text;
}

// Index, query and highlighting compare only if folding what is folded changes nothing, and if a text's fold doesn't
// depend on where a fast path happens to end.
TEST(TextNormalizer, IsIdempotentAndIndependentOfPosition) {
    std::mt19937 random(7);
    const char32_t ranges[][2] = {{0x20, 0x7e},      {0x20, 0x7e},     {0xa0, 0x17f},    {0x300, 0x36f},
                                  {0x370, 0x52f},    {0x900, 0x97f},   {0x1100, 0x11ff}, {0x1e00, 0x1fff},
                                  {0x2000, 0x206f},  {0x3040, 0x30ff}, {0xac00, 0xd7a3}, {0xff00, 0xffef},
                                  {0x1f300, 0x1f6ff}};
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (int i = 0; i < 24; ++i) {
            const auto& range = ranges[random() % std::size(ranges)];
            const char32_t c = range[0] + random() % (range[1] - range[0] + 1);
            if (c < 0x80) {
                text += static_cast<char>(c);
            } else if (c < 0x800) {
                text += static_cast<char>(0xC0 | (c >> 6));
                text += static_cast<char>(0x80 | (c & 0x3F));
            } else if (c < 0x10000) {
                text += static_cast<char>(0xE0 | (c >> 12));
                text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
                text += static_cast<char>(0x80 | (c & 0x3F));
            } else {
                text += static_cast<char>(0xF0 | (c >> 18));
                text += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
                text += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
                text += static_cast<char>(0x80 | (c & 0x3F));
            }
        }
        const std::string folded = TextNormalizer::normalize(text);
        ASSERT_EQ(TextNormalizer::normalize(folded), folded) << text;
        for (const int shift : {1, 3, 7})
            ASSERT_EQ(TextNormalizer::normalize(std::string(static_cast<std::size_t>(shift), '-') + text)
                          .substr(static_cast<std::size_t>(shift)),
                      folded)
                << text;
    }
}

TEST(TextNormalizer, TokensAreWordsOfLettersAndNumbers) {
    const struct {
        std::string text;
        Strings tokens;
    } rows[] = {
        {"A+B & Wi-Fi", {"a", "b", "wi", "fi"}},
        {"!!!", {}},
        {"", {}},
        {"naïve_café 2026½", {"naive", "cafe", "2026½"}},
        {"می\u200cخواهم", {"می\u200cخواهم"}},
        {"\u200dx", {"x"}},
        // Letters that begin a cluster together with whatever follows: the quotation mark must not slip in with them.
        {"\u0d4e\"OR\"", {"\u0d4e", "or"}},
        {"\U000111c2\" b", {"\U000111c2", "b"}},
        {std::string("nul\0byte", 8), {"nul", "byte"}},
        {"👩‍💻 ok👍🏻go", {"ok", "go"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TextNormalizer::tokens(row.text), row.tokens) << row.text;
}

TEST(TextNormalizer, FoldsSingleCharactersLikeTheWholeText) {
    for (const std::string character : {"İ", "I", "ı", "i"})
        EXPECT_EQ(TextNormalizer::foldCharacter(character), "i");
    for (const std::string character : {"ß", "Ａ", "é", "e\u0301", "ŉ", "Z", "[", " ", "\r\n", "한"})
        EXPECT_EQ(TextNormalizer::foldCharacter(character), TextNormalizer::normalize(character)) << character;
    EXPECT_EQ(TextNormalizer::fingerprint(""), 0xcbf29ce484222325u);
    EXPECT_EQ(TextNormalizer::fingerprint("foobar"), 0x85944171f73967e8u); // a published test vector
}

TEST(Graphemes, CountsAndCutsWhatAPersonSees) {
    const struct {
        std::string text;
        Strings clusters;
    } rows[] = {
        {"", {}},
        {"abc", {"a", "b", "c"}},
        {"a\r\nb\n\rc", {"a", "\r\n", "b", "\n", "\r", "c"}},
        {"e\u0301x", {"e\u0301", "x"}},
        {"\r\u0301", {"\r", "\u0301"}},
        {"👩‍👩‍👧 🇩🇪🇫🇷", {"👩‍👩‍👧", " ", "🇩🇪", "🇫🇷"}},
        {"नदी", {"न", "दी"}},
        {"각\u1100\u1161z", {"각", "\u1100\u1161", "z"}},
        {"\u0d4e\"x", {"\u0d4e\"", "x"}},
        {"a\xff\xfez", {"a", "\xff", "\xfe", "z"}},
        {"Grüße, Welt", {"G", "r", "ü", "ß", "e", ",", " ", "W", "e", "l", "t"}},
    };
    for (const auto& row : rows) {
        const auto views = Graphemes::split(row.text);
        EXPECT_EQ(Strings(views.begin(), views.end()), row.clusters) << row.text;
        const auto length = static_cast<std::int64_t>(row.clusters.size());
        EXPECT_EQ(Graphemes::count(row.text), length) << row.text;
        for (std::int64_t n = -1; n <= length + 1; ++n) {
            std::string first, last;
            for (std::int64_t i = 0; i < length; ++i) {
                if (i < n) first += row.clusters[static_cast<std::size_t>(i)];
                if (i >= length - n) last += row.clusters[static_cast<std::size_t>(i)];
            }
            EXPECT_EQ(Graphemes::prefix(row.text, n), first) << row.text << " " << n;
            EXPECT_EQ(Graphemes::suffix(row.text, n), last) << row.text << " " << n;
        }
    }
    EXPECT_EQ(Graphemes::trimmed(" \t\u00a0\n a b \u2028\u3000"), "a b");
    EXPECT_EQ(Graphemes::trimmed(" \u00a0 "), "");
    EXPECT_EQ(Graphemes::trimmed("x\xa0"), "x\xa0");
    EXPECT_EQ(Graphemes::validUTF8(std::string("cut\0off", 7)), "cutoff");
    EXPECT_EQ(Graphemes::validUTF8("ok \xf0\x9f\x98 end\x80"), "ok \uFFFD end\uFFFD");
}

TEST(LineSplitter, KeepsCleanDistinctLines) {
    const struct {
        std::string text;
        Strings lines;
    } rows[] = {
        {"", {}},
        {"a\n\nbb\n  cc   dd  \n", {"bb", "cc dd"}},
        {"Foo\nFOO\nfóo", {"Foo"}},
        {"one\r\ntwo\rthree\vfour\ffive\u0085six\u2028seven\u2029eight",
         {"one", "two", "three", "four", "five", "six", "seven", "eight"}},
        {"\t x\u00a0\u3000y \t", {"x y"}},
        {"é\ne\u0301x", {"e\u0301x"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LineSplitter::lines(row.text, 40'000, 2'000), row.lines) << row.text;

    const std::string tooLong = std::string(39'998, 'x') + "\nyz";
    EXPECT_EQ(LineSplitter::lines(tooLong, 40'000, 2'000).size(), 1u) << "cut before it is split: the y stands alone";
    std::string many;
    for (int i = 0; i < 2'001; ++i)
        many += "line " + std::to_string(i) + "\n";
    const Strings kept = LineSplitter::lines(many, 40'000, 2'000);
    ASSERT_EQ(kept.size(), 2'000u);
    EXPECT_EQ(kept.back(), "line 1999");
}

TEST(LineDeduper, GivesBackWhatIsNewInItsContext) {
    LineDeduper deduper(24, 6'000, 1'800);
    EXPECT_EQ(deduper.newLines({"One", "two"}, "a", {0}), (Strings{"One", "two"}));
    EXPECT_EQ(deduper.newLines({"ONE", "three", "two"}, "a", {1}), (Strings{"three"}));
    EXPECT_EQ(deduper.newLines({"One"}, "b", {1}), (Strings{"One"}));
    EXPECT_EQ(deduper.newLines({"one"}, "a", {1'801}), Strings{}) << "1800 seconds after its last use it is still live";
    EXPECT_EQ(deduper.newLines({"one"}, "a", {3'601.001}), (Strings{"one"}));
    deduper.reset();
    EXPECT_EQ(deduper.newLines({"one"}, "a", {3'602}), (Strings{"one"}));
}

TEST(LineDeduper, ForgetsTheOlderHalfOfAFullContext) {
    LineDeduper deduper(24, 6'000, 1'800);
    Strings lines;
    for (int i = 0; i < 6'000; ++i)
        lines.push_back("line " + std::to_string(i));
    EXPECT_EQ(deduper.newLines(lines, "a", {0}).size(), 6'000u);
    EXPECT_EQ(deduper.newLines({"one more"}, "a", {1}), (Strings{"one more"}));
    // 3000 remain: the newest 2999 lines and the one that tipped it over.
    EXPECT_EQ(deduper.newLines({"one more", "line 3001", "line 3000"}, "a", {2}), (Strings{"line 3000"}));
}

TEST(LineDeduper, KeepsTheContextInUseThoughTheClockWasSetBack) {
    LineDeduper deduper(24, 6'000, 1'800);
    for (int i = 0; i < 24; ++i)
        deduper.newLines({"same"}, "context " + std::to_string(i), {100});
    EXPECT_EQ(deduper.newLines({"same"}, "after", {50}), (Strings{"same"}));
    EXPECT_EQ(deduper.newLines({"same"}, "after", {51}), Strings{});
}

TEST(LineDeduper, EvictsTheContextUnusedForLongest) {
    LineDeduper deduper(24, 6'000, 1'800);
    for (int i = 0; i < 24; ++i)
        deduper.newLines({"same"}, "context " + std::to_string(i), {double(i)});
    deduper.newLines({"same"}, "context 0", {24});
    deduper.newLines({"same"}, "one too many", {25});
    EXPECT_EQ(deduper.newLines({"same"}, "context 0", {26}), Strings{});
    EXPECT_EQ(deduper.newLines({"same"}, "one too many", {27}), Strings{});
    EXPECT_EQ(deduper.newLines({"same"}, "context 1", {28}), (Strings{"same"}));
}

} // namespace
} // namespace nomara
