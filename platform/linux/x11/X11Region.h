#pragma once

#include "core/geometry/Geometry.h"

#include <algorithm>
#include <vector>

namespace nomara {

/// A set of pixels, as boxes that don't overlap. One that grows to very many boxes becomes larger than it should be;
/// what is taken away from one, or common to two, is exact.
class X11Region {
public:
    X11Region() = default;
    explicit X11Region(const PixelBox& box) { add(box); }

    void add(const PixelBox& box);
    void add(const X11Region& other);
    void subtract(const PixelBox& box);
    void subtract(const X11Region& other);
    X11Region intersection(const PixelBox& box) const;
    X11Region intersection(const X11Region& other) const;
    /// Makes one of very many boxes larger than it should be.
    void limit();
    X11Region moved(int x, int y) const;

    bool isEmpty() const { return m_boxes.empty(); }
    bool contains(int x, int y) const;
    const std::vector<PixelBox>& boxes() const { return m_boxes; }

private:
    std::vector<PixelBox> m_boxes;
};

/// The same pixels, however they are cut into boxes.
bool coverTheSame(const X11Region& a, const X11Region& b);

} // namespace nomara
