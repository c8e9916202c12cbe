#include "core/base/Clock.h"
#include "core/search/SearchQuery.h"
#include "core/store/MemoryStore.h"
#include "core/store/SQLiteError.h"

#include <array>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <string_view>
#include <unordered_set>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace nomara {
namespace {

using namespace std::string_view_literals;

constexpr std::uint64_t seed = 20'260'314;
constexpr int queries = 1'000'000;
/// Every so many queries go through the real index, and besides them each that makes MATCH text of a new shape.
constexpr int searchEvery = 40;

// Letters and digits that join the character behind them: a quotation mark may hide in one character with them.
constexpr std::u32string_view prepended =
    U"\u0600\u0604\u06DD\u070F\u08E2\u0D4E\U000110BD\U000111C2\U000111C3\U0001193F\U00011941\U00011A3A\U00011A84"
    U"\U00011D46";

constexpr std::string_view pieces[] = {
    // What the grammar itself knows.
    "\"", "\"", "\"", " ", " ", " ", "\t", "\n", "\r\n", "\u00A0", "\u3000", "\u2028",
    "site:", "SITE:", "app:", "Uygulama:", "site:\u0301",
    // What the full-text index knows.
    "AND", "OR", "NOT", "NEAR", "NEAR(", ", 5)", "^", "*", ":", "(", ")", "{", "}", "+", "-", "title", "url", "body",
    "url : ", "{title url} :", "frame_fts", "rank", "\"\"", "\"*",
    // What SQL knows.
    "'", "''", ";", "--", "?", "?1", "%", "_", "\\", "/*", "\0"sv, "\0\0"sv, "\x1a", "'; DROP TABLE frames; --",
    // What folds into any of them.
    "＂", "＊", "（", "：", "ａｎｄ", "“", "”", "\u02BA", "\u2033", "\u05F4", "\"\u0301", "\"\u200D", "\"\uFE0F",
    "*\u20E3", "a\u0308\"", "\u0660", "²", "Ⅷ", "½", "ﬁ", "ß",
    // Words, so that much of it matches.
    "a", "b", "foo", "bar", "Foo", "foobar", "2", "github.com", "foo-bar", "x_y", "İstanbul", "ISTANBUL", "ıstanbul",
    "I\u0307", "ığdır", "ŞİŞLİ", "çğöüş", "Déjà", "日本語", "한국어", "\u1112\u1161\u11AB", "हिन्दी", "ไทย", "עברית",
    "مرحبا",
    // What only looks like one character, or like none.
    "👩‍👩‍👧", "🇹🇷", "🇹", "👍🏽", "❤️", "\u200D", "\u200C", "\u200B", "\u0301", "\u0300\u0301\u0302",
    "\u202E", "\uFEFF", "\uFFFD", "\uFFFE", "\xED\xA0\x80", "\xC0\xA2", "\xE2\x80", "\xF4\x90\x80\x80", "\x80", "\xFF"};

void appendScalar(std::string& text, char32_t scalar) {
    std::array<char, U8_MAX_LENGTH> bytes{};
    int length = 0;
    U8_APPEND_UNSAFE(bytes.data(), length, scalar);
    text.append(bytes.data(), static_cast<std::size_t>(length));
}

class Generator {
public:
    const std::string& next() {
        m_text.clear();
        const auto kind = below(100);
        const auto parts = kind == 0 ? below(400) : below(12);
        for (std::uint64_t i = 0; i < parts; ++i) {
            const auto part = below(100);
            if (part < 70) {
                m_text += pieces[below(std::size(pieces))];
            } else if (part < 80) {
                m_text += static_cast<char>(below(0x80));
            } else if (part < 86) {
                m_text += static_cast<char>(below(0x100));
            } else if (part < 92) {
                appendScalar(m_text, prepended[below(prepended.size())]);
            } else if (part < 97) {
                appendScalar(m_text, static_cast<char32_t>(below(0x3000)));
            } else {
                const auto scalar = static_cast<char32_t>(below(0x110000));
                appendScalar(m_text, U_IS_SURROGATE(scalar) ? U'"' : scalar);
            }
        }
        return m_text;
    }

private:
    std::uint64_t below(std::uint64_t bound) { return m_random() % bound; }

    std::mt19937_64 m_random{seed};
    std::string m_text;
};

/// Reads MATCH text as the one shape it may have: clauses parted by a space, each `"word word"` with an optional star
/// behind it and an optional `url : ` in front.
class MatchReader {
public:
    explicit MatchReader(std::string_view match) : m_rest(match) {}

    /// The shape, in which repetitions count for little; empty if the text has another shape than the permitted one.
    std::string shape() {
        std::string shape, last;
        do {
            std::string clause = take("url : ") ? "u" : "";
            if (!take("\"") || !readTokens(clause) || !take("\"")) return {};
            if (take("*")) clause += '*';
            if (clause != last) shape += clause + ' ';
            last = clause;
        } while (take(" "));
        return m_rest.empty() ? shape : std::string();
    }

private:
    bool take(std::string_view expected) {
        if (!m_rest.starts_with(expected)) return false;
        m_rest.remove_prefix(expected.size());
        return true;
    }

    bool readTokens(std::string& clause) {
        int tokens = 0;
        do {
            const char script = readToken();
            if (script == '\0') return false;
            if (++tokens <= 2) clause += script;
        } while (take(" "));
        return true;
    }

    /// 'a' for an ASCII word, 'x' for another; 0 for what is no word.
    char readToken() {
        char script = 'a';
        int length = 0;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(m_rest.data());
        int position = 0;
        while (position < static_cast<int>(m_rest.size())) {
            int behind = position;
            UChar32 c = 0;
            U8_NEXT(bytes, behind, static_cast<int>(m_rest.size()), c);
            const bool joiner = c == 0x200C || c == 0x200D;
            const bool word = c > 0 && (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_N_MASK | U_GC_M_MASK)) != 0;
            if (!word && !(joiner && length > 0)) break;
            if (c >= 'A' && c <= 'Z') return '\0';
            if (c >= 0x80) script = 'x';
            ++length;
            position = behind;
        }
        m_rest.remove_prefix(static_cast<std::size_t>(position));
        return length > 0 ? script : '\0';
    }

    std::string_view m_rest;
};

/// A small memory that holds many of the words the queries are made of.
class SmallMemory {
public:
    SmallMemory() : m_store(":memory:", false, m_clock) {
        const std::array titles{"Foo and bar", "İstanbul — notlar", "site app", "日本語 한국어"};
        for (int i = 0; i < 24; ++i) {
            NewFrame frame;
            frame.timestamp = {1000.0 * i};
            frame.appBundleID = "org.example.App" + std::to_string(i % 3);
            frame.windowTitle = titles[static_cast<std::size_t>(i) % titles.size()];
            if (i % 2 == 0) frame.url = "https://github.com/foo/bar";
            frame.lines = {"foo bar or not near title url body " + std::to_string(i), "Déjà vu ŞİŞLİ ığdır हिन्दी ไทย",
                           "a b c x_y foobar rank frame_fts drop table frames"};
            m_store.insertFrame(frame);
        }
    }

    std::size_t hits(const SearchQuery& query) { return m_store.search(query, {30'000}).size(); }

private:
    SystemClock m_clock;
    MemoryStore m_store;
};

std::string repeated(std::string_view piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

TEST(SearchQueryGenerative, NothingTypedReachesTheIndexAsSyntax) {
    std::cout << "seed " << seed << "\n";
    Generator generator;
    SmallMemory memory;
    std::unordered_set<std::string> shapes;
    int matches = 0, searches = 0, found = 0;
    for (int i = 0; i < queries; ++i) {
        const std::string& typed = generator.next();
        SearchQuery query(typed);
        const auto match = query.matchExpression(true);
        ASSERT_EQ(match.has_value(), !query.isEmpty()) << testing::PrintToString(typed);
        bool search = i % searchEvery == 0;
        if (match) {
            ++matches;
            auto shape = MatchReader(*match).shape();
            ASSERT_NE(shape, "") << testing::PrintToString(typed) << " gave " << *match;
            search |= shapes.insert(std::move(shape)).second;
        }
        if (!search) continue;
        ++searches;
        query.limit = 3;
        if (searches % 2 == 0) query.sort = SearchQuery::Sort::newest;
        try {
            found += memory.hits(query) > 0 ? 1 : 0;
        } catch (const SQLiteError& error) {
            FAIL() << testing::PrintToString(typed) << ": " << error.what();
        }
    }
    std::cout << matches << " of " << queries << " queries match something, in " << shapes.size() << " shapes; "
              << found << " of " << searches << " searches found something\n";
    // The generator has to make sense for the checks to mean something.
    EXPECT_GT(matches, queries / 2);
    EXPECT_GT(searches, 20'000);
    EXPECT_GT(found, searches / 20);
}

TEST(SearchQueryGenerative, TheReaderItselfTakesNoSyntax) {
    EXPECT_EQ(MatchReader("\"foo bar\" url : \"b\" \"é\"*").shape(), "aa ua x* ");
    for (const char* match : {"", "foo", "\"foo", "\"\"", "\"a\"b\"", "\"a\" OR \"b\"", "\"a\"  \"b\"", "title : \"a\"",
                              "\"a\"* ", "^\"a\"", "\"a\"**", "\"a.b\"", "\"A\"", "\"a\" url : ", "\" a\"", "-\"a\""})
        EXPECT_EQ(MatchReader(match).shape(), "") << match;
}

TEST(SearchQueryGenerative, VeryLongQueriesAreOnlyLong) {
    SmallMemory memory;
    std::string distinct;
    for (int i = 0; i < 10'000; ++i)
        distinct += "word" + std::to_string(i) + " ";
    const struct {
        const char* name;
        std::string typed;
        bool finds;
    } rows[] = {
        {"ten thousand words", distinct, false},
        {"ten thousand words in quotes", "\"" + distinct + "\"", false},
        {"one word a thousand times", repeated("foo ", 1'000), true},
        {"a phrase of ten thousand words", repeated("foo-", 10'000), false},
        {"a thousand sites", repeated("site:github ", 1'000), true},
        {"ten thousand applications", repeated("app:org.example ", 10'000) + "foo", true},
        {"one long word", repeated("foo", 100'000), false},
        {"quotes only", repeated("\"", 100'001), false},
        {"marks on one letter", "a" + repeated("\u0301", 100'000), true},
        {"open brackets", repeated("(", 100'000) + "foo", true},
    };
    for (const auto& row : rows) {
        const SearchQuery query(row.typed);
        const auto match = query.matchExpression(true);
        EXPECT_NE(MatchReader(match.value_or("\"nothing\"")).shape(), "") << row.name;
        try {
            EXPECT_EQ(memory.hits(query) > 0, row.finds) << row.name;
        } catch (const SQLiteError& error) {
            ADD_FAILURE() << row.name << ": " << error.what();
        }
    }
}

} // namespace
} // namespace nomara
