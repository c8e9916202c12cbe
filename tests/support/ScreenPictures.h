#pragma once

#include "core/imaging/Image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

/// Pictures that look like a screen with a page of text, each of which says its number.
namespace nomara::testing {

inline void fillRect(PixelBuffer& image, int left, int top, int width, int height, std::uint32_t colour) {
    for (int y = std::max(top, 0); y < std::min(top + height, image.height); ++y) {
        for (int x = std::max(left, 0); x < std::min(left + width, image.width); ++x) {
            std::uint8_t* const pixel = image.row(y) + static_cast<std::size_t>(x) * 4;
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<std::uint8_t>(colour >> (8 * i));
            pixel[3] = 255;
        }
    }
}

/// Signs of five by seven dots, with the strokes that letters are made of.
inline std::uint64_t glyph(unsigned letter) {
    constexpr std::array<std::uint64_t, 8> strokes = {
        0b00001'00001'00001'00001'00001'00001'00001, 0b10000'10000'10000'10000'10000'10000'10000,
        0b00000'00000'00000'00000'00000'00000'11111, 0b11111'00000'00000'00000'00000'00000'00000,
        0b00000'00000'00000'01110'00000'00000'00000, 0b00100'00100'00100'00100'00100'00100'00100,
        0b10000'01000'01000'00100'00010'00010'00001, 0b00001'00010'00010'00100'01000'01000'10000,
    };
    std::uint64_t dots = 0;
    for (unsigned i = 0; i < strokes.size(); ++i)
        if (((letter * 37 + 11) >> i & 1) != 0) dots |= strokes[i];
    return dots;
}

inline void drawText(PixelBuffer& image, int left, int top, unsigned seed, int letters, std::uint32_t colour) {
    std::minstd_rand random(seed + 1);
    for (int i = 0; i < letters; ++i) {
        const unsigned letter = static_cast<unsigned>(random()) % 30;
        if (letter >= 26) continue;
        const std::uint64_t dots = glyph(letter);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 5; ++x)
                if ((dots >> (y * 5 + x) & 1) != 0) fillRect(image, left + i * 7 + x, top + y, 1, 1, colour);
    }
}

constexpr int numberBits = 12, numberSide = 16;

/// A window on a desktop, its text scrolled by some lines from picture to picture; every tenth shows another page.
inline Image screenPicture(int number, int width, int height) {
    auto image = std::make_shared<PixelBuffer>(width, height);
    fillRect(*image, 0, 0, width, height, 0x2E5C8A);
    fillRect(*image, width / 16, height / 12, width - width / 8, height - height / 8, 0xFFFFFF);
    fillRect(*image, width / 16, height / 12, width - width / 8, 20, 0xD8D8DC);
    const int page = number / 10, scrolled = number * 3;
    for (int line = 0; line * 13 + height / 12 + 36 < height - height / 8; ++line)
        drawText(*image, width / 16 + 8, height / 12 + 28 + line * 13,
                 static_cast<unsigned>(page * 1'000 + line + scrolled), (width - width / 8) / 7 - 4,
                 line % 9 == 0 ? 0x8A2020 : 0x202020);
    for (int bit = 0; bit < numberBits; ++bit)
        fillRect(*image, bit * numberSide, 0, numberSide, numberSide, (number >> bit & 1) != 0 ? 0xFFFFFF : 0x000000);
    return image;
}

inline double luma(const std::uint8_t* pixel) {
    return 0.0722 * pixel[0] + 0.7152 * pixel[1] + 0.2126 * pixel[2];
}

/// The number that a picture of that width was drawn with, read at whatever size it has now; −1 for none.
inline int numberOf(const Image& image, int drawnWidth) {
    if (!image) return -1;
    const double scale = static_cast<double>(image->width) / drawnWidth;
    int number = 0;
    for (int bit = 0; bit < numberBits; ++bit) {
        const auto x = static_cast<int>((bit + 0.5) * numberSide * scale);
        const auto y = static_cast<int>(0.5 * numberSide * scale);
        if (luma(image->row(y) + static_cast<std::size_t>(x) * 4) > 128) number |= 1 << bit;
    }
    return number;
}

/// How alike two pictures of one size are in brightness, in decibels; 0 where there is no picture.
inline double lumaPSNR(const Image& a, const Image& b) {
    if (!a || !b || a->width != b->width || a->height != b->height) return 0;
    double sum = 0;
    for (int y = 0; y < a->height; ++y) {
        for (int x = 0; x < a->width; ++x) {
            const auto offset = static_cast<std::size_t>(x) * 4;
            const double difference = luma(a->row(y) + offset) - luma(b->row(y) + offset);
            sum += difference * difference;
        }
    }
    const double mean = sum / (static_cast<double>(a->width) * a->height);
    return mean == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mean);
}

} // namespace nomara::testing
