#pragma once

#include "core/reading/MarkComponents.h"

#include <vector>

namespace nomara {

/// From strokes that hang together to boxes around parts of one line. Pure.
namespace LinePieces {

/// Takes away the upright sides of buttons and fields that stand around a text: thin, and higher than the text on
/// both ends.
void dropFrames(BitImage& strokes, const MarkComponents& components, int strokeScale);

/// The boxes of a component's lines: cut between rows, and at gaps that are wider than words need.
std::vector<PixelBox> cut(const BitImage& strokes, const MarkComponents& components, std::size_t component);

} // namespace LinePieces

} // namespace nomara
