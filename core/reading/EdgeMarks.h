#pragma once

#include "core/reading/GrayImage.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace nomara {

/// A bit for each pixel of an image, row by row in whole words, the leftmost pixel in the lowest bit.
class BitImage {
public:
    BitImage(int width, int height)
        : m_width(width), m_height(height), m_words(static_cast<std::size_t>(width) / 64 + 1),
          m_bits(m_words * static_cast<std::size_t>(height)) {}

    int width() const { return m_width; }
    int height() const { return m_height; }
    /// Words of a row; the bits behind its last pixel are zero.
    std::size_t words() const { return m_words; }
    const std::uint64_t* row(int y) const { return m_bits.data() + static_cast<std::size_t>(y) * m_words; }
    std::uint64_t* row(int y) { return m_bits.data() + static_cast<std::size_t>(y) * m_words; }

    // Of the pixels of a row with left <= x < right:

    int count(int y, int left, int right) const; ///< how many are set
    bool any(int y, int left, int right) const;
    int first(int y, int left, int right) const; ///< of those set; -1 where there is none
    int last(int y, int left, int right) const;
    void clear(int y, int left, int right);
    void set(int y, int x) { row(y)[static_cast<std::size_t>(x) / 64] |= std::uint64_t{1} << (x % 64); }
    /// Calls `perPixel(x)` for each that is set.
    template <typename Visit>
    void each(int y, int left, int right, Visit&& perPixel) const {
        eachWord(left, right, [&, words = row(y)](std::size_t word, std::uint64_t mask) {
            for (std::uint64_t bits = words[word] & mask; bits != 0; bits &= bits - 1)
                perPixel(static_cast<int>(word * 64) + std::countr_zero(bits));
        });
    }

private:
    /// Calls `perWord` with each word that holds pixels of the range, and the bits of it that do.
    template <typename Visit>
    static void eachWord(int left, int right, Visit&& perWord) {
        if (right <= left) return;
        const auto first = static_cast<std::size_t>(left) / 64, last = static_cast<std::size_t>(right - 1) / 64;
        for (std::size_t word = first; word <= last; ++word) {
            std::uint64_t bits = ~std::uint64_t{0};
            if (word == first) bits &= ~std::uint64_t{0} << (left % 64);
            if (word == last) bits &= ~std::uint64_t{0} >> (63 - (right - 1) % 64);
            perWord(word, bits);
        }
    }

    int m_width, m_height;
    std::size_t m_words;
    std::vector<std::uint64_t> m_bits;
};

/// Where brightness changes from one pixel to the next, as it does at the strokes of letters.
struct EdgeMarks {
    BitImage strokes;
    BitImage borders; ///< of windows, columns and cells: too tall for a letter, and no longer among the strokes
};

/// Marks both pixels where brightness differs by more than `threshold`. What goes on for more than `tallest` pixels
/// from top to bottom is a border.
EdgeMarks edgeMarks(const GrayImage& image, int threshold, int tallest);

} // namespace nomara
