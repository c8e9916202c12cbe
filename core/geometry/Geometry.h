#pragma once

#include <algorithm>

namespace nomara {

// Counted from the top left, y growing downwards, but where a field says otherwise: text that was read in an image
// tells its place from the bottom left.

/// A place on the displays: in points, from the top left corner of the main display's space.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

/// In points, on the displays.
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

/// A part of something, as fractions of its size.
struct RelativeRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend bool operator==(const RelativeRect&, const RelativeRect&) = default;

    static constexpr RelativeRect full() { return {0, 0, 1, 1}; }
    /// Smaller than a twentieth of the frame in either direction isn't worth a closer look.
    constexpr bool isUsableAsFocus() const { return width > 0.05 && height > 0.05; }
};

/// Whole pixels with left <= x < right and top <= y < bottom.
struct PixelBox {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    friend bool operator==(const PixelBox&, const PixelBox&) = default;

    int width() const { return right - left; }
    int height() const { return bottom - top; }
    bool isEmpty() const { return right <= left || bottom <= top; }
    PixelBox intersection(const PixelBox& other) const {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }
    PixelBox moved(int x, int y) const { return {left + x, top + y, right + x, bottom + y}; }
};

struct PixelSize {
    int width = 0;
    int height = 0;
    friend bool operator==(const PixelSize&, const PixelSize&) = default;
};

} // namespace nomara
