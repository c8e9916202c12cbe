#include "platform/linux/x11/X11Composition.h"

#include <algorithm>

namespace nomara {

namespace {

using Role = X11ComposableWindow::Role;

const X11Layer* find(const std::vector<X11Layer>& layers, std::uint32_t id) {
    const auto found = std::ranges::find(layers, id, &X11Layer::id);
    return found == layers.end() ? nullptr : &*found;
}

// The order of those that are in both, whatever came or went between them.
std::vector<std::uint32_t> commonOrder(const std::vector<X11Layer>& layers, const std::vector<X11Layer>& others) {
    std::vector<std::uint32_t> order;
    for (const X11Layer& layer : layers)
        if (find(others, layer.id)) order.push_back(layer.id);
    return order;
}

void addDifference(X11Region& region, const X11Region& a, const X11Region& b) {
    X11Region onlyA = a, onlyB = b;
    onlyA.subtract(b);
    onlyB.subtract(a);
    region.add(onlyA);
    region.add(onlyB);
}

} // namespace

std::vector<X11Layer> composeLayers(const std::vector<X11ComposableWindow>& windows,
                                    const std::map<std::uint32_t, X11Region>& unpainted, const PixelBox& area) {
    std::vector<X11Layer> layers;
    X11Region covered;
    for (auto each = windows.rbegin(); each != windows.rend(); ++each) {
        const X11ComposableWindow& window = *each;
        if (!window.top.isShown || window.role == Role::absent) continue;
        const X11Region shape = window.shape.intersection(area);
        X11Region visible = shape;
        visible.subtract(covered);
        if (visible.isEmpty()) continue;
        if (window.role == Role::black) {
            covered.add(visible);
            continue;
        }
        X11Region black;
        if (const auto begun = unpainted.find(window.top.id); begun != unpainted.end())
            black = begun->second.moved(window.top.bounds.left, window.top.bounds.top).intersection(visible);
        covered.add(window.isBlended ? black : visible);
        visible.subtract(black);
        if (visible.isEmpty()) continue;
        layers.push_back({window.top.id, window.clients, window.pid, window.top.bounds, window.border, window.isBlended,
                          std::move(visible)});
    }
    std::ranges::reverse(layers);
    return layers;
}

X11Region changedBetween(const std::vector<X11Layer>& before, const std::vector<X11Layer>& after) {
    X11Region changed;
    for (const X11Layer& old : before)
        if (!find(after, old.id)) changed.add(old.visible);
    const bool isOrderKept = commonOrder(before, after) == commonOrder(after, before);
    for (const X11Layer& layer : after) {
        const X11Layer* const old = find(before, layer.id);
        if (old && old->bounds == layer.bounds && old->border == layer.border && old->isBlended == layer.isBlended &&
            (isOrderKept || !layer.isBlended)) {
            addDifference(changed, old->visible, layer.visible);
            continue;
        }
        if (old) changed.add(old->visible);
        changed.add(layer.visible);
    }
    return changed;
}

} // namespace nomara
