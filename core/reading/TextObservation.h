#pragma once

#include "core/records/Frames.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// A piece of text found in an image, at most one line. Boxes are fractions of the whole image, counted from its bottom
/// left corner.
struct TextObservation {
    struct Symbol {
        std::size_t offset = 0; ///< of its first byte in `text`
        std::size_t length = 0; ///< in bytes
        RelativeRect box;
    };

    std::string text;
    double confidence = 0; ///< 0 to 1
    RelativeRect box;
    std::vector<Symbol> symbols; ///< of what isn't white space, in the order of the text

    /// Where these bytes of the text stand; absent where that isn't known.
    std::optional<RelativeRect> boundingBox(std::size_t offset, std::size_t length) const;
};

} // namespace nomara
