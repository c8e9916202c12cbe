#include "core/reading/ReadingOrder.h"

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
