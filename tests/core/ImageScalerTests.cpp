#include "core/imaging/ImageScaler.h"

#include <vector>

#include <gtest/gtest.h>

namespace nomara {

TEST(ImageScaler, EachPixelIsTheMeanOfWhatItStandsFor) {
    struct Case {
        const char* name;
        int width, height, newWidth, newHeight;
        std::vector<std::uint8_t> values, expected; // one byte a pixel, given to all four channels
    };
    const Case cases[] = {
        {"the same size", 2, 1, 2, 1, {7, 250}, {7, 250}},
        {"half", 4, 2, 2, 1, {0, 100, 255, 255, 100, 200, 255, 255}, {100, 255}},
        {"two thirds", 3, 1, 2, 1, {0, 90, 240}, {30, 190}},
        {"downwards", 1, 3, 1, 2, {0, 90, 240}, {30, 190}},
        {"all into one", 2, 2, 1, 1, {0, 255, 255, 0}, {128}},
    };
    for (const Case& row : cases) {
        PixelBuffer picture(row.width, row.height);
        for (std::size_t i = 0; i < picture.bytes.size(); ++i)
            picture.bytes[i] = row.values[i / 4];
        const auto result = ImageScaler::smaller(picture.bytes.data(), picture.stride, row.width, row.height,
                                                 row.newWidth, row.newHeight);
        ASSERT_EQ(result.bytes.size(), row.expected.size() * 4) << row.name;
        for (std::size_t i = 0; i < result.bytes.size(); ++i)
            EXPECT_EQ(result.bytes[i], row.expected[i / 4]) << row.name << ", byte " << i;
    }
}

} // namespace nomara
