#include "platform/linux/x11/X11Region.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

// A screen full of windows needs a few dozen. More boxes than this cost more than too large a region does.
constexpr std::size_t maxBoxes = 512;

PixelBox around(const std::vector<PixelBox>& boxes) {
    PixelBox whole = boxes.front();
    for (const PixelBox& each : boxes)
        whole = {std::min(whole.left, each.left), std::min(whole.top, each.top), std::max(whole.right, each.right),
                 std::max(whole.bottom, each.bottom)};
    return whole;
}

} // namespace

void X11Region::add(const PixelBox& box) {
    if (box.isEmpty()) return;
    PixelBox whole = box;
    if (m_boxes.size() >= maxBoxes) {
        m_boxes.push_back(box);
        whole = around(m_boxes);
        m_boxes.clear();
    } else {
        subtract(box);
    }
    m_boxes.push_back(whole);
}

void X11Region::add(const X11Region& other) {
    for (const PixelBox& box : other.m_boxes)
        add(box);
}

void X11Region::subtract(const PixelBox& box) {
    std::vector<PixelBox> rest;
    rest.reserve(m_boxes.size());
    const auto keep = [&rest](const PixelBox& piece) {
        if (!piece.isEmpty()) rest.push_back(piece);
    };
    for (const PixelBox& each : m_boxes) {
        const PixelBox shared = each.intersection(box);
        if (shared.isEmpty()) {
            rest.push_back(each);
            continue;
        }
        keep({each.left, each.top, each.right, shared.top});
        keep({each.left, shared.top, shared.left, shared.bottom});
        keep({shared.right, shared.top, each.right, shared.bottom});
        keep({each.left, shared.bottom, each.right, each.bottom});
    }
    m_boxes = std::move(rest);
}

void X11Region::subtract(const X11Region& other) {
    for (const PixelBox& box : other.m_boxes)
        subtract(box);
}

X11Region X11Region::intersection(const PixelBox& box) const {
    X11Region result;
    for (const PixelBox& each : m_boxes) {
        const PixelBox shared = each.intersection(box);
        if (!shared.isEmpty()) result.m_boxes.push_back(shared);
    }
    return result;
}

X11Region X11Region::intersection(const X11Region& other) const {
    // Parts of boxes that don't overlap don't either, so nothing has to be made larger here.
    X11Region result;
    for (const PixelBox& box : other.m_boxes) {
        const X11Region part = intersection(box);
        result.m_boxes.insert(result.m_boxes.end(), part.m_boxes.begin(), part.m_boxes.end());
    }
    return result;
}

void X11Region::limit() {
    if (m_boxes.size() > maxBoxes) m_boxes = {around(m_boxes)};
}

X11Region X11Region::moved(int x, int y) const {
    X11Region result = *this;
    for (PixelBox& box : result.m_boxes)
        box = box.moved(x, y);
    return result;
}

bool X11Region::contains(int x, int y) const {
    return std::ranges::any_of(
        m_boxes, [&](const PixelBox& box) { return x >= box.left && x < box.right && y >= box.top && y < box.bottom; });
}

bool coverTheSame(const X11Region& a, const X11Region& b) {
    X11Region left = a, right = b;
    left.subtract(b);
    right.subtract(a);
    return left.isEmpty() && right.isEmpty();
}

} // namespace nomara
