#pragma once

#include <algorithm>

namespace nomara {

/// Global display coordinates: the origin is the top left corner of the main display's space, y grows downwards.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const Rect&, const Rect&) = default;

    bool isEmpty() const { return !(width > 0 && height > 0); }
    Point middle() const { return {x + width / 2, y + height / 2}; }
    bool contains(Point p) const { return p.x >= x && p.x < x + width && p.y >= y && p.y < y + height; }
    /// Whether the other lies wholly inside; edges may touch. A negative size lies nowhere.
    bool contains(const Rect& other) const {
        return other.width >= 0 && other.height >= 0 && other.x >= x && other.y >= y &&
               other.x + other.width <= x + width && other.y + other.height <= y + height;
    }
    /// Empty (all zero) where the two share no area.
    Rect intersection(const Rect& other) const {
        const double left = std::max(x, other.x), top = std::max(y, other.y);
        const double right = std::min(x + width, other.x + other.width);
        const double bottom = std::min(y + height, other.y + other.height);
        if (isEmpty() || other.isEmpty() || right <= left || bottom <= top) return {};
        return {left, top, right - left, bottom - top};
    }
    bool intersects(const Rect& other) const { return !intersection(other).isEmpty(); }
};

} // namespace nomara
