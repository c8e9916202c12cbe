#pragma once

#include "core/reading/GrayImage.h"

#include <optional>

namespace nomara {

/// One line of text as it is read: dark on light, with a margin of its background. The same text drawn the same way
/// gives the same pixels, wherever it stands.
struct LineCrop {
    GrayImage pixels;
    PixelBox box; ///< of the image, what the crop shows within its margins
    int marginX = 0, marginY = 0;

    /// How many pixels the line is drawn with for being read. Most lines are read well at the lesser size, in less
    /// time.
    enum class Size { quick, careful };

    /// Absent where what the box holds has no background to speak of, as within a photograph. The box lies within the
    /// image.
    static std::optional<LineCrop> make(const GrayImage& image, const PixelBox& line);

    /// How much larger the pixels of a size are, below 1 where they are smaller.
    double scale(Size size) const;
    GrayImage at(Size size) const;
};

} // namespace nomara
