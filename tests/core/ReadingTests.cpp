#include "core/reading/ReadingOrder.h"
#include "core/reading/TextCoverage.h"
#include "core/reading/TextFragments.h"

#include <cmath>

#include <gtest/gtest.h>

namespace nomara::testing {

namespace {

/// A piece without height, so that its middle is where it stands.
TextObservation piece(const char* text, double x, double y, double confidence = 1) {
    return {.text = text, .confidence = confidence, .box = {x, y, 0.1, 0}, .symbols = {}};
}

TEST(ReadingOrder, GoesByBandsFromTheTopAndThenFromTheLeft) {
    struct Row {
        const char* what;
        std::vector<TextObservation> pieces;
        std::vector<std::string> lines;
    };
    const Row rows[] = {
        {"nothing", {}, {}},
        {"from the top", {piece("low", 0, 0.1), piece("high", 0.5, 0.9)}, {"high", "low"}},
        {"one band, from the left", {piece("right", 0.6, 0.801), piece("left", 0.1, 0.799)}, {"left", "right"}},
        {"halves go to the lower band", {piece("left", 0.1, 0.8125), piece("right", 0.6, 0.81)}, {"left", "right"}},
        {"just above them the upper one", {piece("left", 0.1, 0.8126), piece("right", 0.6, 0.81)}, {"left", "right"}},
        {"certain enough", {piece("kept", 0, 0.5, 0.3), piece("not", 0, 0.6, 0.29)}, {"kept"}},
        {"the same place", {piece("first", 0, 0.5), piece("second", 0, 0.5)}, {"first", "second"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ReadingOrder::lines(row.pieces), row.lines) << row.what;
        std::vector<std::string> texts;
        for (const TextObservation& piece : ReadingOrder::ordered(row.pieces))
            texts.push_back(piece.text);
        EXPECT_EQ(texts, row.lines) << row.what;
    }
}

TEST(TextCoverage, TheLaterPlaceCountsAndWhatIsOutsideIsNeverKnown) {
    using Kind = TextPlace::Kind;
    const Rect window{100, 50, 800, 600};
    const std::vector<TextPlace> places{
        {Kind::controls, window},          {Kind::open, {100, 90, 800, 560}},    {Kind::content, {100, 90, 800, 160}},
        {Kind::open, {300, 90, 100, 100}}, {Kind::content, {96, 640, 900, 300}}, {Kind::content, {0, 0, 50, 50}}};
    const TextCoverage coverage(window, places);
    EXPECT_NEAR(coverage.openShare(), (390.0 * 800 + 100 * 100) / (800 * 600), 0.004);
    EXPECT_TRUE(coverage.leavesMuchOpen());
    const struct {
        const char* what;
        Rect box;
        bool isKnown;
    } rows[] = {
        {"content", {500, 100, 90, 12}, true},
        {"a picture in it", {310, 100, 80, 12}, false},
        {"more in the picture than beside it", {320, 100, 120, 12}, false},
        {"more beside it", {380, 100, 90, 12}, true},
        {"nothing known", {500, 400, 90, 12}, false},
        {"a line less than a square high", {500, 101, 90, 1}, true},
        {"at the lower edge", {500, 641, 90, 8}, true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(coverage.covers(row.box), row.isKnown) << row.what;

    for (const Rect& none : {Rect{}, Rect{0, 0, -5, 10}, Rect{0, 0, 1e9, 1e9}, Rect{std::nan(""), 0, 10, 10}}) {
        const TextCoverage nothing(none, places);
        EXPECT_EQ(nothing.openShare(), 1);
        EXPECT_FALSE(nothing.covers({200, 60, 90, 12}));
    }
    EXPECT_FALSE(TextCoverage(window, {{Kind::content, window}}).leavesMuchOpen());
}

TEST(TextFragments, LeaveOutWhatIsNoText) {
    constexpr int height = 1000;
    const struct {
        const char* text;
        double confidence;
        bool isKept;
        double pixels = 12;
    } rows[] = {
        {"B2@ O8", 0.4, false}, {"=|", 0.5, false},        {"ok", 0.9, true},       {"12:45", 0.8, true},
        {"1024", 0.9, true},    {"Ld", 0.4, false},        {"Thr", 0.4, true},      {"\u00E4\u00F6\u00FC", 0.4, true},
        {"\u6F22", 0.4, true},  {"a word", 0.4, false, 6}, {"a word", 0.8, true, 6}};
    for (const auto& [text, confidence, isKept, pixels] : rows) {
        const TextObservation piece{
            .text = text, .confidence = confidence, .box = {0.1, 0.5, 0.1, pixels / height}, .symbols = {}};
        EXPECT_EQ(TextFragments::without({piece}, height, 1).size(), isKept ? 1U : 0U) << text;
    }
}

TEST(TextFragments, LeaveOutTheNumbersOfLinesAndKeepOtherNumbers) {
    const struct {
        const char* what;
        std::vector<const char*> numbers;
        std::size_t kept;
    } rows[] = {{"numbers of lines", {"8", "9", "10", "11", "12", "13"}, 0},
                {"some of them misread", {"8", "9", "1o", "11", "12", "13"}, 0},
                {"prices", {"12", "3", "40", "18", "7", "25"}, 6},
                {"a few", {"1", "2", "3"}, 3},
                {"times", {"12:01", "12:02", "12:03", "12:04", "12:05", "12:06"}, 6}};
    for (const auto& row : rows) {
        std::vector<TextObservation> pieces;
        for (std::size_t i = 0; i < row.numbers.size(); ++i)
            pieces.push_back({.text = row.numbers[i],
                              .confidence = 0.9,
                              .box = {0.02, 0.9 - 0.02 * static_cast<double>(i), 0.01, 0.012},
                              .symbols = {}});
        EXPECT_EQ(TextFragments::without(pieces, 1000, 1).size(), row.kept) << row.what;
    }
}

TEST(TextObservation, EnclosesTheSymbolsOfAPart) {
    const TextObservation line{.text = "aä b",
                               .confidence = 1,
                               .box = {0, 0, 1, 1},
                               .symbols = {{0, 1, {0.0, 0.2, 0.25, 0.25}}, //
                                           {1, 2, {0.25, 0.25, 0.25, 0.5}},
                                           {4, 1, {0.75, 0.0, 0.25, 0.5}}}};
    struct Row {
        std::size_t offset, length;
        std::optional<RelativeRect> box;
    };
    const Row rows[] = {
        {0, 1, RelativeRect{0, 0.2, 0.25, 0.25}},
        {0, 3, RelativeRect{0, 0.2, 0.5, 0.55}},
        {2, 1, RelativeRect{0.25, 0.25, 0.25, 0.5}}, // the middle of a character counts as all of it
        {1, SIZE_MAX, RelativeRect{0.25, 0, 0.75, 0.75}},
        {3, 1, std::nullopt}, // a space stands nowhere
        {0, 0, std::nullopt},
        {5, 3, std::nullopt},
        {SIZE_MAX, SIZE_MAX, std::nullopt},
    };
    for (const Row& row : rows)
        EXPECT_EQ(line.boundingBox(row.offset, row.length), row.box) << row.offset << ", " << row.length;
}

} // namespace

} // namespace nomara::testing
