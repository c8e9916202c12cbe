#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/Image.h"

#include <vector>

namespace nomara {

/// Paints over what must not be seen in a picture. Pure; callable from any thread.
namespace FrameMasker {

/// A copy of the picture with the rectangles painted over; they are fractions of its size, from the top left. Absent
/// where the pixels aren't what the picture says, a rectangle isn't one, or memory is short: never a picture with part
/// of the masks missing.
Image mask(const PixelBuffer& image, const std::vector<Rect>& rects);

/// What the rectangles cover of a picture of that size; those that cover nothing are left out. Partly covered pixels
/// count as covered.
std::vector<PixelBox> pixelRects(const std::vector<Rect>& rects, int width, int height);

} // namespace FrameMasker

} // namespace nomara
