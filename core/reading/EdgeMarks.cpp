#include "core/reading/EdgeMarks.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace nomara {

namespace {

BitImage edges(const GrayImage& image, int threshold) {
    BitImage marks(image.width, image.height);
    std::vector<std::uint8_t> differs(marks.words() * 64);
    for (int y = 0; y < image.height; ++y) {
        const std::uint8_t* const from = image.row(y);
        for (int x = 0; x + 1 < image.width; ++x) {
            const int difference = from[x + 1] - from[x];
            differs[static_cast<std::size_t>(x)] = (difference > threshold) | (difference < -threshold);
        }
        std::uint64_t* const to = marks.row(y);
        std::uint64_t carried = 0; // the second pixel of a pair may stand in the next word
        for (std::size_t word = 0; word < marks.words(); ++word) {
            std::uint64_t bits = 0;
            for (std::size_t i = 0; i < 8; ++i) {
                std::uint64_t eight = 0;
                std::memcpy(&eight, differs.data() + word * 64 + i * 8, sizeof eight);
                // Gathers the lowest bits of eight bytes in the highest byte.
                bits |= (eight * 0x0102'0408'1020'4080 >> 56) << (i * 8);
            }
            to[word] = bits | bits << 1 | carried;
            carried = bits >> 63;
        }
    }
    return marks;
}

/// Each row becomes all of it and the `count - 1` rows below; beyond the last row nothing is set.
void andBelow(BitImage& image, int count) {
    for (int have = 1; have < count;) {
        const int step = std::min(have, count - have);
        for (int y = 0; y < image.height(); ++y) {
            std::uint64_t* const row = image.row(y);
            if (y + step >= image.height()) {
                std::fill(row, row + image.words(), 0);
                continue;
            }
            const std::uint64_t* const below = image.row(y + step);
            for (std::size_t word = 0; word < image.words(); ++word)
                row[word] &= below[word];
        }
        have += step;
    }
}

/// Each row becomes any of it and the `count - 1` rows above.
void orAbove(BitImage& image, int count) {
    for (int have = 1; have < count;) {
        const int step = std::min(have, count - have);
        for (int y = image.height() - 1; y >= step; --y) {
            std::uint64_t* const row = image.row(y);
            const std::uint64_t* const above = image.row(y - step);
            for (std::size_t word = 0; word < image.words(); ++word)
                row[word] |= above[word];
        }
        have += step;
    }
}

} // namespace

int BitImage::count(int y, int left, int right) const {
    int sum = 0;
    eachWord(left, right,
             [&, words = row(y)](std::size_t word, std::uint64_t mask) { sum += std::popcount(words[word] & mask); });
    return sum;
}

bool BitImage::any(int y, int left, int right) const {
    std::uint64_t found = 0;
    eachWord(left, right, [&, words = row(y)](std::size_t word, std::uint64_t mask) { found |= words[word] & mask; });
    return found != 0;
}

int BitImage::first(int y, int left, int right) const {
    int found = -1;
    eachWord(left, right, [&, words = row(y)](std::size_t word, std::uint64_t mask) {
        const std::uint64_t bits = words[word] & mask;
        if (found < 0 && bits != 0) found = static_cast<int>(word * 64) + std::countr_zero(bits);
    });
    return found;
}

int BitImage::last(int y, int left, int right) const {
    int found = -1;
    eachWord(left, right, [&, words = row(y)](std::size_t word, std::uint64_t mask) {
        const std::uint64_t bits = words[word] & mask;
        if (bits != 0) found = static_cast<int>(word * 64) + 63 - std::countl_zero(bits);
    });
    return found;
}

void BitImage::clear(int y, int left, int right) {
    eachWord(left, right, [&, words = row(y)](std::size_t word, std::uint64_t mask) { words[word] &= ~mask; });
}

EdgeMarks edgeMarks(const GrayImage& image, int threshold, int tallest) {
    EdgeMarks marks{edges(image, threshold), BitImage(0, 0)};
    marks.borders = marks.strokes;
    andBelow(marks.borders, tallest + 1);
    orAbove(marks.borders, tallest + 1);
    for (int y = 0; y < image.height; ++y) {
        std::uint64_t* const stroke = marks.strokes.row(y);
        const std::uint64_t* const border = marks.borders.row(y);
        for (std::size_t word = 0; word < marks.strokes.words(); ++word)
            stroke[word] &= ~border[word];
    }
    return marks;
}

} // namespace nomara
