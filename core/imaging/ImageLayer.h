#pragma once

#include "core/geometry/Geometry.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// One window in an image that was put together from windows' own pixels.
struct ImageLayer {
    std::vector<std::uint32_t> windows; ///< the window server's numbers: of what is stacked, then of what lies in it
    std::int32_t pid = 0;               ///< 0 where it isn't known
    std::vector<Rect> visible;          ///< all that may show something of it, in the image's pixels
    friend bool operator==(const ImageLayer&, const ImageLayer&) = default;
};

} // namespace nomara
