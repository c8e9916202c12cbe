#pragma once

#include <algorithm>
#include <vector>

namespace nomara {

/// Whole pixels of the screen; right and bottom lie just outside.
struct X11Box {
    int left = 0, top = 0, right = 0, bottom = 0;
    friend bool operator==(const X11Box&, const X11Box&) = default;

    bool isEmpty() const { return right <= left || bottom <= top; }
    X11Box intersection(const X11Box& other) const {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }
    X11Box moved(int x, int y) const { return {left + x, top + y, right + x, bottom + y}; }
};

/// A set of pixels, as boxes that don't overlap. One that grows to very many boxes becomes larger than it should be;
/// what is taken away from one, or common to two, is exact.
class X11Region {
public:
    X11Region() = default;
    explicit X11Region(const X11Box& box) { add(box); }

    void add(const X11Box& box);
    void add(const X11Region& other);
    void subtract(const X11Box& box);
    void subtract(const X11Region& other);
    X11Region intersection(const X11Box& box) const;
    X11Region intersection(const X11Region& other) const;
    /// Makes one of very many boxes larger than it should be.
    void limit();
    X11Region moved(int x, int y) const;

    bool isEmpty() const { return m_boxes.empty(); }
    bool contains(int x, int y) const;
    const std::vector<X11Box>& boxes() const { return m_boxes; }

private:
    std::vector<X11Box> m_boxes;
};

/// The same pixels, however they are cut into boxes.
bool coverTheSame(const X11Region& a, const X11Region& b);

} // namespace nomara
