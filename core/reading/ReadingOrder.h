#pragma once

#include "core/reading/TextObservation.h"

#include <string>
#include <vector>

namespace nomara {

/// The order in which people read the pieces of text of an image. Pure; callable from any thread.
namespace ReadingOrder {

/// Band after band from the top, the pieces of one band from left to right; an image has 200 bands. Pieces that are too
/// uncertain to be text at all are left out.
std::vector<TextObservation> ordered(std::vector<TextObservation> pieces);
/// The texts in that order.
std::vector<std::string> lines(const std::vector<TextObservation>& pieces);

} // namespace ReadingOrder

} // namespace nomara
