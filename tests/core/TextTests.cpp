#include "core/text/ExactLines.h"
#include "core/text/Graphemes.h"
#include "core/text/LanguageGuess.h"
#include "core/text/LineDeduper.h"
#include "core/text/LineSplitter.h"
#include "core/text/TextNormalizer.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace nomara {
namespace {

using Strings = std::vector<std::string>;

std::string utf8(char32_t scalar) {
    char bytes[U8_MAX_LENGTH];
    int length = 0;
    U8_APPEND_UNSAFE(bytes, length, scalar);
    return {bytes, static_cast<std::size_t>(length)};
}

TEST(TextNormalizer, FoldsCaseDiacriticsWidthAndTheTurkishI) {
    const struct {
        const char* text;
        const char* folded;
    } rows[] = {
        {"Hello, WORLD @[Z]`{z}", "hello, world @[z]`{z}"},
        {"Ünlü ISI Ｆｕｌｌ", "unlu isi full"},
        {"İstanbul", "istanbul"},
        {"ıstanbul", "istanbul"},
        {"I\u0307stanbul", "istanbul"},
        {"DE\u0301JA\u0300 vu — Déjà", "deja vu — deja"},
        {"STRASSE Straße", "strasse strasse"},
        {"Ἀχιλλεύς ᾳ", "αχιλλευσ α"},
        {"ｶﾞｷﾞ がぎ", "カキ かき"},
        {"ﾡ ￣", "ㄱ ¯"},
        {"\u1112\u1161\u11ab", "한"},
        {"K\u212A Å", "kk a"},
        {"a\xff\xfe b\xc3", "a\uFFFD\uFFFD b\uFFFD"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(TextNormalizer::normalize(row.text), row.folded) << row.text;
}

// What is in the index was folded by an earlier version. Characters younger than Unicode 13 depend on the library.
TEST(TextNormalizer, FoldsEachCharacterAsEver) {
    std::string all;
    for (char32_t c = 1; c < 0x110000; ++c) {
        UVersionInfo age;
        u_charAge(static_cast<UChar32>(c), age);
        if (age[0] == 0 || age[0] > 13 || U_IS_SURROGATE(c)) continue;
        all += TextNormalizer::normalize(utf8(c)) + '\n';
    }
    EXPECT_EQ(TextNormalizer::fingerprint(all), 16919147200004493445U);
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
            text += utf8(c);
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
        {std::string("\0\0\n\0a\0b\ncd", 10), {"ab", "cd"}},
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

TEST(LanguageGuess, GoesByLettersAndSmallWords) {
    const std::string german = "Der Hund und die Katze sind nicht da, denn das Haus ist leer und der Garten auch. ";
    const std::string english = "The dog and the cat are not here, for the house is empty and so is the garden. ";
    const struct {
        const char* what;
        std::string text;
        std::vector<std::string> codes;
    } rows[] = {
        {"German", german, {"de"}},
        {"English", english, {"en"}},
        {"both", german + english, {"en", "de"}},
        {"German, read with other data",
         "Der Hund und die Katze s1nd nicht da, denn das Baus ist leer und der Garten auch",
         {"de"}},
        {"a German word in English", english + english + english + "It is called Angst und Sturm.", {"en"}},
        {"French",
         "Le chat et le chien ne sont pas dans la maison, qui est vide pour une fois avec les autres.",
         {"fr"}},
        {"Turkish",
         "Köpek ve kedi bu evde değil, çünkü ev çok küçük ve bahçe daha boş gibi, ama ne var ne yok.",
         {"tr"}},
        {"Russian", "Собаки и кошки нет дома", {"ru"}},
        {"Japanese", "犬と猫はこの家にはいません。庭もきっとからです", {"ja"}},
        {"a name in another script", english + "Called Собака.", {"en"}},
        {"code", "for (int i = 0; i < n; ++i) total += rows[i].die; return und(der, total);", {}},
        {"a table", "12 40 Basalt 7.5 kg\n13 41 Cobalt 8 kg\nSumme 81", {}},
        {"nothing", "", {}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(LanguageGuess::of(row.text), row.codes) << row.what;
}

TEST(LineDeduper, GivesBackWhatIsNewInItsContext) {
    LineDeduper deduper(24, 6'000, 1'800);
    EXPECT_EQ(deduper.newLines({"One", "two"}, "a", 0), (Strings{"One", "two"}));
    EXPECT_EQ(deduper.newLines({"ONE", "three", "two"}, "a", 1), (Strings{"three"}));
    EXPECT_EQ(deduper.newLines({"One"}, "b", 1), (Strings{"One"}));
    EXPECT_EQ(deduper.newLines({"one"}, "a", 1'801), Strings{}) << "1800 seconds after its last use it is still live";
    EXPECT_EQ(deduper.newLines({"one"}, "a", 3'601.001), (Strings{"one"}));
    deduper.forget({"ONE", "never seen"}, "a");
    deduper.forget({"one"}, "c");
    EXPECT_EQ(deduper.newLines({"one", "two"}, "a", 3'601.5), (Strings{"one", "two"})) << "it wasn't stored after all";
    deduper.reset();
    EXPECT_EQ(deduper.newLines({"one"}, "a", 3'602), (Strings{"one"}));
}

TEST(LineDeduper, WhatIsReadFromAPictureGivesWayToWhatIsKnown) {
    const std::vector<std::string> told{"Grandmother's marmalade needs seven bitter oranges and a lemon",
                                        "Basalt",
                                        "12",
                                        "grey stone",
                                        "Invoice 1234 of March",
                                        "Straße nach Köln",
                                        "мармелад из апельсинов"};
    const struct {
        const char* what;
        const char* read;
        bool isNew;
    } rows[] = {
        {"the same", "Basalt", false},
        {"cut in front", "andmother's marmalade needs seven", false},
        {"the second half of it", "bitter oranges and a lemon", false},
        {"a misread letter", "Grandrnother's marmalade needs seven", false},
        {"a misread letter in a cut line", "andmother's mamalade needs seven bitter", false},
        {"a letter for a digit", "Invoice l234 of March", false},
        {"cells of one row", "Basalt 12 grey stone", false},
        {"another script, misread", "мармелад из апельсннов", false},
        {"another number", "Invoice 1284 of March", true},
        {"a longer number", "Invoice 12345 of March", true},
        {"another line", "Grandfather's pipe lies on the table", true},
        {"a known line and more", "Basalt and cobalt in the east", true},
        {"signs alone", "\u2192 \u2192", true},
    };
    for (const auto& row : rows) {
        LineDeduper deduper(24, 6'000, 1'800);
        deduper.newLines(told, "a", {0});
        EXPECT_EQ(deduper.newReadLines({row.read}, "a", {1}).size(), row.isNew ? 1U : 0U) << row.what;
        EXPECT_EQ(deduper.newReadLines({row.read}, "other", {1}).size(), 1U) << row.what << ": another context";
        EXPECT_EQ(deduper.newReadLines({row.read}, "a", {2}).size(), 0U) << row.what << ": seen";
    }

    LineDeduper deduper(24, 6'000, 1'800);
    EXPECT_EQ(deduper.newReadLines({"Grandrnother's marmalade needs seven"}, "a", {0}).size(), 1U);
    EXPECT_EQ(deduper.newLines(told, "a", {1}), told) << "what is told is never held back by what was read";
    deduper.newLines({"scrolled away"}, "a", {2});
    EXPECT_TRUE(deduper.newReadLines({"bitter oranges and"}, "a", {3}).empty()) << "known lately";
    EXPECT_EQ(deduper.newReadLines({"bitter oranges and"}, "a", {1'804}).size(), 1U) << "half an hour later";
}

TEST(ExactLines, KeepsTheNewestWithinItsBytes) {
    ExactLines lines(64 * 1024);
    std::vector<std::string> told;
    for (int i = 0; i < 3'000; ++i)
        told.push_back("row " + std::to_string(i) + " of a long list of things that stand in one window");
    lines.add(told);
    lines.add({"another look"});
    EXPECT_TRUE(lines.knows("row 2999 of a long list"));
    EXPECT_FALSE(lines.knows("row 7 of a long list of things that"));
    lines.clear();
    EXPECT_FALSE(lines.knows("row 2999 of a long list"));
}

TEST(LineDeduper, ForgetsTheOlderHalfOfAFullContext) {
    LineDeduper deduper(24, 6'000, 1'800);
    Strings lines;
    for (int i = 0; i < 6'000; ++i)
        lines.push_back("line " + std::to_string(i));
    EXPECT_EQ(deduper.newLines(lines, "a", 0).size(), 6'000u);
    EXPECT_EQ(deduper.newLines({"one more"}, "a", 1), (Strings{"one more"}));
    // 3000 remain: the newest 2999 lines and the one that tipped it over.
    EXPECT_EQ(deduper.newLines({"one more", "line 3001", "line 3000"}, "a", 2), (Strings{"line 3000"}));
}

TEST(LineDeduper, KeepsTheContextInUseWhereWhatIsOlderComesLater) {
    LineDeduper deduper(24, 6'000, 1'800);
    for (int i = 0; i < 24; ++i)
        deduper.newLines({"same"}, "context " + std::to_string(i), {100});
    EXPECT_EQ(deduper.newLines({"same"}, "after", 50), (Strings{"same"}));
    EXPECT_EQ(deduper.newLines({"same"}, "after", 51), Strings{});
}

TEST(LineDeduper, EvictsTheContextUnusedForLongest) {
    LineDeduper deduper(24, 6'000, 1'800);
    for (int i = 0; i < 24; ++i)
        deduper.newLines({"same"}, "context " + std::to_string(i), {double(i)});
    deduper.newLines({"same"}, "context 0", 24);
    deduper.newLines({"same"}, "one too many", 25);
    EXPECT_EQ(deduper.newLines({"same"}, "context 0", 26), Strings{});
    EXPECT_EQ(deduper.newLines({"same"}, "one too many", 27), Strings{});
    EXPECT_EQ(deduper.newLines({"same"}, "context 1", 28), (Strings{"same"}));
}

} // namespace
} // namespace nomara
