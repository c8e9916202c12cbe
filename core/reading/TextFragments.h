#pragma once

#include "core/reading/TextObservation.h"

#include <vector>

namespace nomara {

/// What was read of a screen and is no text: icons taken for letters, thumbnails of pages, and the numbers that an
/// editor or a sheet puts before its lines. Pure; callable from any thread.
namespace TextFragments {

/// What is left of an image's pieces, in their order. The height is the image's, in pixels; `strokeScale` as of
/// `LineSegmenter`.
std::vector<TextObservation> without(std::vector<TextObservation> pieces, int imageHeight, int strokeScale);

} // namespace TextFragments

} // namespace nomara
