#pragma once

#include "core/base/Geometry.h"
#include "core/imaging/Image.h"

#include <vector>

namespace nomara {

/// Paints over what must not be seen in a picture. Pure; callable from any thread.
namespace FrameMasker {

/// Pixels with minX <= x < maxX and minY <= y < maxY; row 0 is the top.
struct PixelRect {
    int minX = 0;
    int minY = 0;
    int maxX = 0;
    int maxY = 0;
    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

/// A copy of the picture with the rectangles painted over; they are fractions of its size, from the top left. Absent
/// where the pixels aren't what the picture says, a rectangle isn't one, or memory is short: never a picture with part
/// of the masks missing.
Image mask(const PixelBuffer& image, const std::vector<Rect>& rects);

/// What the rectangles cover of a picture of that size; those that cover nothing are left out. Partly covered pixels
/// count as covered.
std::vector<PixelRect> pixelRects(const std::vector<Rect>& rects, int width, int height);

} // namespace FrameMasker

} // namespace nomara
