#include "platform/linux/x11/X11Composition.h"

#include <map>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

using Role = X11ComposableWindow::Role;

constexpr PixelBox area{0, 0, 100, 100};

X11ComposableWindow window(std::uint32_t id, const PixelBox& bounds, Role role = Role::seen, bool isBlended = false) {
    X11ComposableWindow result;
    result.top = {id, bounds, true, true, false};
    result.role = role;
    result.isBlended = isBlended;
    result.shape = X11Region(bounds);
    return result;
}

X11Region visible(const std::vector<X11Layer>& layers, std::uint32_t id) {
    for (const X11Layer& layer : layers)
        if (layer.id == id) return layer.visible;
    return {};
}

X11Region without(const PixelBox& box, const std::vector<PixelBox>& parts) {
    X11Region region(box);
    for (const PixelBox& part : parts)
        region.subtract(part);
    return region;
}

} // namespace

TEST(X11Composition, UsesAWindowsPixelsWhereNothingLiesAboveThatCoversThem) {
    const PixelBox half{50, 0, 100, 100}, middle{40, 40, 60, 60};
    X11ComposableWindow round = window(2, half);
    round.shape = X11Region(PixelBox{60, 10, 90, 90});
    X11ComposableWindow hidden = window(2, half);
    hidden.top.isShown = false;
    using Unpainted = std::map<std::uint32_t, X11Region>;
    const struct {
        const char* what;
        std::vector<X11ComposableWindow> windows;
        Unpainted unpainted;
        X11Region first, second;
    } rows[] = {
        {"alone", {window(1, area)}, {}, X11Region(area), {}},
        {"covered in part", {window(1, area), window(2, half)}, {}, without(area, {half}), X11Region(half)},
        {"by a shaped one", {window(1, area), round}, {}, without(area, {{60, 10, 90, 90}}), round.shape},
        {"by one that isn't shown", {window(1, area), hidden}, {}, X11Region(area), {}},
        {"one shines through",
         {window(1, area), window(2, half, Role::seen, true)},
         {},
         X11Region(area),
         X11Region(half)},
        {"below a black one", {window(1, area), window(2, half, Role::black)}, {}, without(area, {half}), {}},
        {"above a black one", {window(1, half, Role::black), window(2, middle)}, {}, {}, X11Region(middle)},
        {"below the window manager's own", {window(1, area), window(2, half, Role::absent)}, {}, X11Region(area), {}},
        {"not painted yet",
         {window(1, area), window(2, half)},
         {{2, X11Region({0, 0, 10, 100})}},
         without(area, {half}),
         X11Region({60, 0, 100, 100})},
        {"not painted, and it would shine through: black, and not what lies below",
         {window(1, area), window(2, half, Role::seen, true)},
         {{2, X11Region({0, 0, 10, 100})}},
         without(area, {{50, 0, 60, 100}}),
         X11Region({60, 0, 100, 100})},
    };
    for (const auto& [what, windows, unpainted, first, second] : rows) {
        const auto layers = composeLayers(windows, unpainted, area);
        EXPECT_TRUE(coverTheSame(visible(layers, 1), first)) << what;
        EXPECT_TRUE(coverTheSame(visible(layers, 2), second)) << what;
        for (std::size_t i = 1; i < layers.size(); ++i)
            EXPECT_LT(layers[i - 1].id, layers[i].id) << what << ": the lowest first";
    }
}

TEST(X11Composition, TellsWhereTheImageMayHaveChanged) {
    const PixelBox left{0, 0, 40, 40}, right{30, 0, 70, 40};
    const auto layers = [](const std::vector<X11ComposableWindow>& windows) {
        return composeLayers(windows, {}, area);
    };
    const auto one = window(1, left), two = window(2, right), glass = window(2, right, Role::seen, true);
    const struct {
        const char* what;
        std::vector<X11Layer> before, after;
        X11Region changed;
    } rows[] = {
        {"one came above", layers({one}), layers({one, two}), X11Region(right)},
        {"one went", layers({one, two}), layers({one}), X11Region(right)},
        {"raised", layers({one, two}), layers({two, one}), X11Region({30, 0, 40, 40})},
        {"what shines through is raised", layers({one, glass}), layers({glass, one}), X11Region(right)},
        {"moved", layers({one}), layers({window(1, {10, 0, 50, 40})}), X11Region({0, 0, 50, 40})},
        {"resized to what it was covered by, its pixels may lie elsewhere", layers({one, two}),
         layers({window(1, {0, 0, 30, 40}), two}), X11Region({0, 0, 30, 40})},
    };
    for (const auto& [what, before, after, changed] : rows)
        EXPECT_TRUE(coverTheSame(changedBetween(before, after), changed)) << what;
}

} // namespace nomara
