#pragma once

#include "core/reading/GrayImage.h"

#include <vector>

namespace nomara {

/// Finds the lines of text on a screen: light or dark, of any size, in tables and between pictures. Knows nothing of
/// letters; it looks for strokes that stand in rows, and so also finds some that are none. Pure; callable from any
/// thread.
namespace LineSegmenter {

/// No more are found than so many: what is denser is a picture, not text.
constexpr std::size_t mostLines = 3'000;
/// Longer lines are cut where the widest gap is: reading one can't be interrupted.
constexpr int mostWidth = 2'048;
/// Nothing higher counts as a line.
constexpr int mostHeight = 320;

/// How much larger the strokes of a screen of that size are drawn than those of a common one: 1 or 2.
int strokeScale(int imageWidth, int imageHeight);

/// Each line, from the top; a line across two columns is two. `strokeScale` as above, of the screen that the image is
/// (a part) of.
std::vector<PixelBox> lines(const GrayImage& image, int strokeScale);

} // namespace LineSegmenter

} // namespace nomara
