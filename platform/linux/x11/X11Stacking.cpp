#include "platform/linux/x11/X11Stacking.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

// Within this time a server has told of the copying that moves a window.
constexpr double copySeconds = 0.3;

bool haveSameSize(const PixelBox& a, const PixelBox& b) {
    return a.right - a.left == b.right - b.left && a.bottom - a.top == b.bottom - b.top;
}

} // namespace

void X11Stacking::reset(std::vector<X11TopWindow> windows, double now) {
    m_windows = std::move(windows);
    std::erase_if(m_begun, [this](const auto& entry) { return !find(entry.first); });
    changed(now);
}

void X11Stacking::add(const X11TopWindow& window, double now) {
    if (const auto known = place(window.id); known != m_windows.end()) m_windows.erase(known);
    m_windows.push_back(window);
    changed(now);
}

void X11Stacking::remove(std::uint32_t id, double now) {
    const auto window = place(id);
    if (window == m_windows.end()) return;
    m_windows.erase(window);
    m_begun.erase(id);
    changed(now);
}

void X11Stacking::setShown(std::uint32_t id, bool isShown, double now) {
    const auto window = place(id);
    if (window == m_windows.end()) return;
    if (isShown && !window->isShown) begin(*window);
    window->isShown = isShown;
    changed(now);
}

void X11Stacking::setExcluded(std::uint32_t id, double now) {
    const auto window = place(id);
    if (window == m_windows.end()) return;
    window->isExcluded = true;
    changed(now);
}

void X11Stacking::configure(std::uint32_t id, const PixelBox& bounds, std::uint32_t sibling, double now) {
    const auto found = place(id);
    if (found == m_windows.end()) return;
    X11TopWindow window = *found;
    const bool isCopied = window.isShown && window.bounds != bounds;
    const bool isResized = !haveSameSize(window.bounds, bounds);
    if (isCopied && !m_isComposited) carry(window, bounds, now);
    window.bounds = bounds;
    if (isCopied && isResized) begin(window);
    m_windows.erase(found);
    const auto below = place(sibling);
    const auto put = m_windows.insert(below == m_windows.end() ? m_windows.begin() : below + 1, window);
    if (isCopied && !m_isComposited) shield(put, now);
    changed(now);
}

void X11Stacking::restack(std::uint32_t id, bool onTop, double now) {
    const auto found = place(id);
    if (found == m_windows.end()) return;
    const X11TopWindow window = *found;
    m_windows.erase(found);
    m_windows.insert(onTop ? m_windows.end() : m_windows.begin(), window);
    changed(now);
}

void X11Stacking::painted(std::uint32_t id, const PixelBox& box) {
    if (!m_isComposited) return m_left.subtract(box);
    const auto* const window = find(id);
    const auto begun = m_begun.find(id);
    if (!window || begun == m_begun.end()) return;
    begun->second.subtract(box.moved(-window->bounds.left, -window->bounds.top));
    begun->second.limit();
}

// A compositor that starts makes the server give each window memory, which begins with what the screen shows in its
// place: its own pixels, but where others lay above it or had left something.
void X11Stacking::setComposited(bool isComposited, double now) {
    if (m_isComposited == isComposited) return;
    m_isComposited = isComposited;
    m_changedAt = now;
    if (!isComposited) {
        for (const auto& [id, begun] : std::exchange(m_begun, {}))
            if (const auto* window = find(id); window && window->isShown)
                m_left.add(begun.moved(window->bounds.left, window->bounds.top));
        return;
    }
    X11Region left = std::exchange(m_left, {});
    left.add(std::exchange(m_carried, {}));
    for (const X11TopWindow& window : m_windows)
        if (window.isShown) addUnpainted(window.id, left.intersection(window.bounds));
    noteNewMemory();
}

void X11Stacking::noteNewMemory() {
    X11Region above;
    for (auto window = m_windows.rbegin(); m_isComposited && window != m_windows.rend(); ++window) {
        if (!window->isShown) continue;
        addUnpainted(window->id, above.intersection(window->bounds));
        above.add(window->bounds);
    }
}

void X11Stacking::forget() {
    m_left = {};
    m_carried = {};
    m_visible = {};
    for (X11TopWindow& window : m_windows)
        window.isExcluded = false;
}

void X11Stacking::addUnpainted(std::uint32_t id, const X11Region& part) {
    const auto* const window = find(id);
    if (!window || !m_isComposited || part.isEmpty()) return;
    m_begun[id].add(part.intersection(window->bounds).moved(-window->bounds.left, -window->bounds.top));
}

void X11Stacking::assumePainted(std::uint32_t id, const X11Region& part) {
    const auto* const window = find(id);
    const auto begun = m_begun.find(id);
    if (window && begun != m_begun.end()) begun->second.subtract(part.moved(-window->bounds.left, -window->bounds.top));
}

bool X11Stacking::isUnpainted(std::uint32_t id) const {
    const auto begun = m_begun.find(id);
    return begun != m_begun.end() && !begun->second.isEmpty();
}

X11Region X11Stacking::hidden(double now) {
    if (!m_carried.isEmpty() && now > m_carriedAt + copySeconds) m_left.add(std::exchange(m_carried, {}));
    X11Region all = m_visible;
    all.add(m_left);
    all.add(m_carried);
    for (const auto& [id, begun] : m_begun)
        if (const auto* window = find(id); window && window->isShown)
            all.add(begun.moved(window->bounds.left, window->bounds.top));
    return all;
}

bool X11Stacking::hasExcluded() const {
    return std::ranges::any_of(m_windows, [](const X11TopWindow& w) { return w.isExcluded && w.isShown; });
}

const X11TopWindow* X11Stacking::find(std::uint32_t id) const {
    const auto found = std::ranges::find(m_windows, id, &X11TopWindow::id);
    return found == m_windows.end() ? nullptr : &*found;
}

X11Stacking::Place X11Stacking::place(std::uint32_t id) {
    return std::ranges::find(m_windows, id, &X11TopWindow::id);
}

void X11Stacking::changed(double now) {
    X11Region before = std::exchange(m_visible, visible());
    if (before.isEmpty() && m_visible.isEmpty()) return;
    const bool isSame = coverTheSame(before, m_visible);
    if (!isSame) m_changedAt = now;
    if (m_isComposited) return;
    before.subtract(m_visible);
    m_left.subtract(m_visible);
    m_left.add(before);
    // Below all windows the server paints the background itself, at once.
    m_left = onWindows(m_left);
}

X11Region X11Stacking::onWindows(const X11Region& region) const {
    X11Region parts;
    for (const X11TopWindow& window : m_windows)
        if (window.isShown) parts.add(region.intersection(window.bounds));
    return parts;
}

// The memory of a window is new, and holds what the screen showed there until its program has painted. Where the pixels
// of a resized window go is its program's choice.
void X11Stacking::begin(const X11TopWindow& window) {
    const PixelBox& place = window.bounds;
    if (m_isComposited) m_begun[window.id] = X11Region(place.moved(-place.left, -place.top));
}

X11Region X11Stacking::visible() const {
    X11Region all;
    for (auto window = m_windows.begin(); window != m_windows.end(); ++window) {
        if (!window->isExcluded || !window->isShown) continue;
        X11Region part(window->bounds);
        for (auto above = window + 1; above != m_windows.end(); ++above)
            if (above->isShown && above->isOpaque && !above->isExcluded) part.subtract(above->bounds);
        all.add(part);
    }
    return all;
}

void X11Stacking::carry(const X11TopWindow& window, const PixelBox& bounds, double now) {
    const PixelBox& old = window.bounds;
    X11Region taken = m_left.intersection(old);
    taken.add(m_carried.intersection(old));
    if (taken.isEmpty()) return;
    const bool isMove = haveSameSize(old, bounds);
    // Where the pixels of a resized window go is its program's choice.
    m_carried.add(isMove ? taken.moved(bounds.left - old.left, bounds.top - old.top) : X11Region(bounds));
    m_carriedAt = now;
}

// The copying that moves a window is told as if nothing lay above the window.
void X11Stacking::shield(Place window, double now) {
    X11Region above;
    for (auto each = window + 1; each != m_windows.end(); ++each)
        if (each->isShown) above.add(m_left.intersection(each->bounds.intersection(window->bounds)));
    if (above.isEmpty()) return;
    m_carried.add(above);
    m_carriedAt = now;
}

} // namespace nomara
