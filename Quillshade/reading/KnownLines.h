#pragma once

#include "core/records/Frames.h"

#include <functional>
#include <string>

namespace nomara {

/// What whoever took an image knows of the lines in it.
struct KnownLines {
    std::string context; ///< in which lines count as seen before
    /// Whether a line's text is known by its place on the image, as a fraction from the bottom left; empty: none is.
    std::function<bool(const RelativeRect&)> isKnown = {};
};

} // namespace nomara
