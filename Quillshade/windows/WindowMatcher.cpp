#include "Quillshade/windows/WindowMatcher.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>

namespace nomara::WindowMatcher {

namespace {

bool isAt(const std::optional<Rect>& place, const Rect& frame) {
    return place && isNear(*place, frame);
}

// Browsers tell the accessibility bus more than the window server: "Page - Chromium (Incognito)".
bool titlesAgree(const AccessibleWindow& accessible, const WindowInfo& window) {
    const std::string title = accessible.title.value_or(""), known = window.title.value_or("");
    return known.empty() ? title.empty() : title.starts_with(known);
}

} // namespace

bool isNear(const Rect& a, const Rect& b) {
    constexpr double tolerance = 1;
    return std::abs(a.x - b.x) <= tolerance && std::abs(a.y - b.y) <= tolerance &&
           std::abs(a.width - b.width) <= tolerance && std::abs(a.height - b.height) <= tolerance;
}

bool canBe(const AccessibleWindow& accessible, const WindowInfo& window) {
    return accessible.frame && (isAt(window.bounds, *accessible.frame) || isAt(window.content, *accessible.frame)) &&
           titlesAgree(accessible, window);
}

std::vector<std::vector<std::uint32_t>> match(const std::vector<AccessibleWindow>& accessible,
                                              const std::vector<WindowInfo>& onScreen) {
    std::vector<std::vector<std::uint32_t>> numbers(accessible.size());
    for (std::size_t a = 0; a < accessible.size(); ++a)
        for (const WindowInfo& window : onScreen)
            if (canBe(accessible[a], window)) numbers[a].push_back(window.number);
    return numbers;
}

} // namespace nomara::WindowMatcher
