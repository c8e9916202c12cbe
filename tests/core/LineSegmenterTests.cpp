#include "core/geometry/Geometry.h"
#include "core/reading/LineCrop.h"
#include "core/reading/LineSegmenter.h"
#include "core/reading/WindowControls.h"
#include "tests/support/ScreenPictures.h"

#include <algorithm>
#include <functional>
#include <random>

#include <gtest/gtest.h>

namespace nomara::testing {

namespace {

constexpr std::uint32_t black = 0x202020, white = 0xF8F8F8;

PixelBuffer canvas(int width, int height, std::uint32_t colour = white) {
    PixelBuffer image(width, height);
    fillRect(image, 0, 0, width, height, colour);
    return image;
}

GrayImage gray(const PixelBuffer& image) {
    return grayImage(image, {0, 0, image.width, image.height});
}

std::vector<PixelBox> linesOf(const PixelBuffer& image) {
    return LineSegmenter::lines(gray(image), LineSegmenter::strokeScale(image.width, image.height));
}

std::string described(const std::vector<PixelBox>& boxes) {
    std::string text;
    for (const PixelBox& box : boxes)
        text += std::to_string(box.left) + "," + std::to_string(box.top) + "-" + std::to_string(box.right) + "," +
                std::to_string(box.bottom) + " ";
    return text;
}

/// Upright strokes as of letters, so high, from there on; a word of six and a space by turns.
void drawStrokes(PixelBuffer& image, int left, int top, int height, int letters, std::uint32_t colour) {
    const int step = std::max(height / 2, 4);
    for (int i = 0; i < letters; ++i)
        if (i % 7 != 6) fillRect(image, left + i * step, top, std::max(height / 8, 1), height, colour);
}

TEST(LineSegmenter, FindsEachLineOnce) {
    struct Strokes {
        int left, top, height = 10, letters = 40;
    };
    const struct {
        const char* what;
        std::size_t lines;
        int width;
        std::vector<Strokes> strokes;
        std::vector<PixelBox> bars = {};
        bool isDark = false;
    } rows[] = {
        {"dark on light", 3, 600, {{20, 10}, {20, 30}, {20, 50}}},
        {"light on dark", 3, 600, {{20, 10}, {20, 30}, {20, 50}}, {}, true},
        {"two columns", 2, 600, {{20, 20}, {320, 20}}},
        {"cells with a rule between them", 2, 600, {{20, 30, 10, 6}, {64, 30, 10, 6}}, {{56, 0, 57, 80}}},
        {"lines whose letters touch", 3, 600, {{20, 10}, {20, 24}, {20, 38}}, {{30, 10, 31, 24}, {30, 24, 31, 38}}},
        {"a large title", 1, 800, {{20, 20, 40, 20}}},
        {"a screen of twice the density", 2, 3840, {{20, 20, 24}, {20, 80, 24}}},
        {"a pointer's bar alone", 0, 200, {}, {{100, 20, 102, 40}}},
    };
    for (const auto& row : rows) {
        PixelBuffer image = canvas(row.width, 120, row.isDark ? black : white);
        const std::uint32_t ink = row.isDark ? white : black;
        for (const Strokes& each : row.strokes)
            drawStrokes(image, each.left, each.top, each.height, each.letters, ink);
        for (const PixelBox& bar : row.bars)
            fillRect(image, bar.left, bar.top, bar.width(), bar.height(), ink);
        const std::vector<PixelBox> lines = linesOf(image);
        EXPECT_EQ(lines.size(), row.lines) << row.what << ": " << described(lines);
    }
}

TEST(LineSegmenter, LeavesTheFrameOfAButtonOut) {
    PixelBuffer image = canvas(300, 80);
    fillRect(image, 20, 20, 90, 34, 0x3070D0);
    drawStrokes(image, 40, 32, 10, 6, white);
    const std::vector<PixelBox> lines = linesOf(image);
    ASSERT_EQ(lines.size(), 1U) << described(lines);
    EXPECT_GE(lines[0].left, 36);
    EXPECT_LE(lines[0].right, 72);
    EXPECT_GE(lines[0].top, 30);
    EXPECT_LE(lines[0].bottom, 44);
}

TEST(LineSegmenter, TakesDotsAndUnderscoresAlong) {
    PixelBuffer image = canvas(300, 60);
    drawStrokes(image, 20, 20, 12, 12, black);
    fillRect(image, 32, 15, 2, 2, black);  // above
    fillRect(image, 40, 34, 10, 1, black); // below
    const std::vector<PixelBox> lines = linesOf(image);
    ASSERT_EQ(lines.size(), 1U) << described(lines);
    EXPECT_EQ(lines[0].top, 15);
    EXPECT_EQ(lines[0].bottom, 35);
}

TEST(LineSegmenter, StaysWithinBoundsWhateverTheImage) {
    std::minstd_rand random(5);
    struct Row {
        const char* what;
        int width, height;
        std::function<std::uint8_t(int, int)> value;
    };
    const Row rows[] = {
        {"nothing", 0, 0, [](int, int) { return 0; }},
        {"no rows", 100, 0, [](int, int) { return 0; }},
        {"one pixel", 1, 1, [](int, int) { return 0; }},
        {"one row", 4000, 1, [](int x, int) { return static_cast<std::uint8_t>(x % 3 * 120); }},
        {"one column", 1, 4000, [](int, int y) { return static_cast<std::uint8_t>(y % 3 * 120); }},
        {"whole words", 128, 64, [](int x, int) { return static_cast<std::uint8_t>(x % 5 * 60); }},
        {"all the same", 640, 480, [](int, int) { return 90; }},
        {"noise", 640, 480, [&](int, int) { return static_cast<std::uint8_t>(random()); }},
        {"sparse noise", 640, 480, [&](int, int) { return static_cast<std::uint8_t>(random() % 9 == 0 ? 0 : 255); }},
        {"stripes", 640, 480, [](int x, int) { return static_cast<std::uint8_t>(x / 2 % 2 * 255); }},
        {"a chessboard", 640, 480, [](int x, int y) { return static_cast<std::uint8_t>((x + y) % 2 * 255); }},
        {"many specks", 1920, 1080,
         [](int x, int y) { return static_cast<std::uint8_t>(x % 30 < 3 && y % 16 < 6 ? 0 : 255); }},
        {"a wide screen", 8000, 40,
         [](int x, int y) { return static_cast<std::uint8_t>(y > 10 && y < 22 && x % 6 < 2 ? 0 : 255); }},
    };
    for (const Row& row : rows) {
        GrayImage image(row.width, row.height);
        for (int y = 0; y < row.height; ++y)
            for (int x = 0; x < row.width; ++x)
                image.row(y)[x] = row.value(x, y);
        for (const int scale : {1, 2}) {
            const std::vector<PixelBox> lines = LineSegmenter::lines(image, scale);
            EXPECT_LE(lines.size(), LineSegmenter::mostLines) << row.what;
            for (const PixelBox& line : lines) {
                EXPECT_TRUE(line.left >= 0 && line.top >= 0 && line.right <= row.width && line.bottom <= row.height &&
                            !line.isEmpty())
                    << row.what << described({line});
                EXPECT_LE(line.width(), LineSegmenter::mostWidth) << row.what;
                EXPECT_LE(line.height(), LineSegmenter::mostHeight) << row.what;
            }
        }
    }
}

TEST(LineSegmenter, FindsNoTextInAPhotograph) {
    PixelBuffer image = canvas(800, 600);
    for (int y = 0; y < 600; ++y)
        for (int x = 0; x < 800; ++x)
            fillRect(image, x, y, 1, 1,
                     static_cast<std::uint32_t>(x * 255 / 800) << 16 | static_cast<std::uint32_t>(y * 255 / 600) << 8);
    EXPECT_TRUE(linesOf(image).empty());

    std::minstd_rand random(9);
    GrayImage noise(60, 14);
    for (std::uint8_t& value : noise.bytes)
        value = static_cast<std::uint8_t>(random());
    EXPECT_FALSE(LineCrop::make(noise, {2, 2, 58, 12}));
}

TEST(LineSegmenter, CutsALongLineBetweenTwoWords) {
    PixelBuffer image = canvas(5'000, 40);
    drawStrokes(image, 20, 12, 10, 980, black);
    const std::vector<PixelBox> lines = linesOf(image);
    ASSERT_EQ(lines.size(), 3U) << described(lines);
    // The gap is at every seventh place.
    for (std::size_t i = 0; i < 2; ++i)
        EXPECT_EQ((lines[i].right - 20) / 5 % 7, 6) << described(lines);
}

TEST(LineCrop, GivesTheSamePixelsForTheSameTextAnywhere) {
    const auto crop = [](int x, int y, std::uint32_t paper, std::uint32_t ink) {
        PixelBuffer image = canvas(400, 100, paper);
        drawText(image, x, y, 7, 30, ink);
        const auto lines = linesOf(image);
        EXPECT_EQ(lines.size(), 1U) << described(lines);
        return LineCrop::make(gray(image), lines.at(0)).value();
    };
    const LineCrop here = crop(40, 20, white, black), there = crop(91, 63, white, black);
    EXPECT_EQ(here.pixels.bytes, there.pixels.bytes);
    EXPECT_EQ(there.box.left - here.box.left, 51);
    EXPECT_EQ(there.box.top - here.box.top, 43);

    // What is light on dark comes out as its negative would.
    const LineCrop dark = crop(40, 20, 0x000000, 0xFFFFFF), light = crop(40, 20, 0xFFFFFF, 0x000000);
    EXPECT_EQ(dark.pixels.bytes, light.pixels.bytes);
    EXPECT_EQ(light.pixels.bytes.front(), 255);
    EXPECT_EQ(light.marginX, 4);
    EXPECT_EQ(light.marginY, light.box.height() / 2);
}

TEST(LineCrop, MakesLargeLettersSmallerAndSmallOnesLarger) {
    using enum LineCrop::Size;
    struct Row {
        int height;
        double quick, careful;
    };
    for (const Row& row : {Row{10, 1, 1.5}, Row{30, 0.5, 1}, Row{96, 16.0 / 98, 30.0 / 98}}) {
        PixelBuffer image = canvas(900, 200);
        drawStrokes(image, 20, 50, row.height, 8, black);
        const LineCrop crop = LineCrop::make(gray(image), {20, 50, 500, 50 + row.height}).value();
        EXPECT_NEAR(crop.scale(quick), row.quick, 0.02) << row.height;
        EXPECT_NEAR(crop.scale(careful), row.careful, 0.02) << row.height;
        for (const LineCrop::Size size : {quick, careful}) {
            const GrayImage scaled = crop.at(size);
            EXPECT_NEAR(scaled.height, crop.pixels.height * crop.scale(size), 1) << row.height;
            EXPECT_EQ(scaled.bytes.size(),
                      static_cast<std::size_t>(scaled.width) * static_cast<std::size_t>(scaled.height));
            EXPECT_NEAR(*scaled.row(0), 248, 1) << row.height;
        }
    }
}

/// Menus above a text with a highlighted line, a panel beside it and a line of status below it.
PixelBuffer windowWith(std::uint32_t bars, std::uint32_t page, int menus) {
    constexpr std::uint32_t highlight = 0xE8E8E8;
    PixelBuffer image = canvas(800, 420, bars);
    fillRect(image, 200, 40, 600, 350, page);
    fillRect(image, 200, 132, 600, 18, highlight);
    for (int i = 0; i < menus; ++i)
        drawStrokes(image, 10 + 50 * i, 15, 10, 5, black);
    for (int i = 0; i < 15; ++i)
        drawStrokes(image, 220, 56 + 20 * i, 10, i == 9 ? 5 : 50, black);       // a short line among long ones
    for (const auto& [top, letters] : {std::pair(100, 12), std::pair(120, 36)}) // a label, and a sentence
        drawStrokes(image, 10, top, 10, letters, black);
    drawStrokes(image, 10, 400, 10, 40, black);
    return image;
}

TEST(WindowControls, AreToldByTheBackgroundOfTheMenus) {
    const struct {
        const char* what;
        PixelBuffer window;
        bool hasControls;
    } windows[] = {{"light", windowWith(0xD4D4D4, white, 5), true},
                   {"less light than its text", windowWith(0xF0F0F0, 0xFFFFFF, 5), true},
                   {"one background for all", windowWith(white, white, 5), false},
                   {"no menus", windowWith(0xD4D4D4, white, 2), false}};
    const struct {
        const char* what;
        Point place;
        bool isControl;
    } rows[] = {{"a menu", {12, 20}, true},
                {"a label in a panel", {12, 105}, true},
                {"a sentence there", {12, 125}, false},
                {"the line of status", {12, 405}, true},
                {"text", {222, 61}, false},
                {"a highlighted line", {222, 141}, false},
                {"a short line", {222, 241}, false}};
    for (const auto& [kind, window, hasControls] : windows) {
        const std::vector<PixelBox> lines = linesOf(window);
        const std::vector<bool> are = WindowControls::among(gray(window), lines, 1);
        ASSERT_EQ(are.size(), lines.size());
        for (const auto& [what, place, isControl] : rows) {
            const auto line = std::ranges::find_if(lines, [&place = place](const PixelBox& box) {
                return Rect{box.left - 3.0, box.top - 3.0, box.width() + 6.0, box.height() + 6.0}.contains(place);
            });
            ASSERT_NE(line, lines.end()) << kind << ": " << what;
            EXPECT_EQ(are[static_cast<std::size_t>(line - lines.begin())], hasControls && isControl)
                << kind << ": " << what;
        }
    }
}

} // namespace

} // namespace nomara::testing
