#pragma once

#include "platform/Accessibility.h"
#include "platform/WindowServer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace nomara {

/// Tells which window of the window server a window on the accessibility bus is. A program may have a private and an
/// ordinary window of the same title at the same place, so what isn't certain is no match. Pure.
namespace WindowMatcher {

/// Whether two frames are the same but for rounding: no edge and no side differs by more than one point.
bool isNear(const Rect& a, const Rect& b);

/// Whether the two have the same place, in one of the two ways that toolkits count it, and either both have the
/// keyboard or their titles agree.
bool canBe(const AccessibleWindow& accessible, const WindowInfo& window);

/// For each accessible window the number of the on-screen window that it is; absent where none or several could be
/// meant. All windows belong to one process.
std::vector<std::optional<std::uint32_t>> match(const std::vector<AccessibleWindow>& accessible,
                                                const std::vector<WindowInfo>& onScreen);

} // namespace WindowMatcher

} // namespace nomara
