#include "core/reading/TextObservation.h"

#include <algorithm>

namespace nomara {

namespace {

RelativeRect enclosing(const RelativeRect& a, const RelativeRect& b) {
    const double x = std::min(a.x, b.x), y = std::min(a.y, b.y);
    return {x, y, std::max(a.x + a.width, b.x + b.width) - x, std::max(a.y + a.height, b.y + b.height) - y};
}

} // namespace

std::optional<RelativeRect> TextObservation::boundingBox(std::size_t offset, std::size_t length) const {
    std::optional<RelativeRect> found;
    if (length == 0) return found;
    for (const Symbol& symbol : symbols) {
        const bool isBefore = symbol.offset + symbol.length <= offset;
        const bool isBehind = symbol.offset >= offset && symbol.offset - offset >= length;
        if (!isBefore && !isBehind) found = found ? enclosing(*found, symbol.box) : symbol.box;
    }
    return found;
}

} // namespace nomara
