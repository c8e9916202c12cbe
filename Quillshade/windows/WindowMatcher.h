#pragma once

#include "platform/Accessibility.h"
#include "platform/WindowServer.h"

#include <cstdint>
#include <vector>

namespace nomara {

/// Tells which window of the window server a window on the accessibility bus is. A program may have a private and an
/// ordinary window of the same title at the same place, so every window that it could be is named. Which window has
/// the keyboard is no help: the two services don't learn of it at the same moment. Pure.
namespace WindowMatcher {

/// Whether two frames are the same but for rounding: no edge and no side differs by more than one point.
bool isNear(const Rect& a, const Rect& b);

/// Whether the two have the same place, in one of the two ways that toolkits count it, and titles that agree.
bool canBe(const AccessibleWindow& accessible, const WindowInfo& window);

/// For each accessible window the numbers of the on-screen windows that it can be. All windows belong to one process.
std::vector<std::vector<std::uint32_t>> match(const std::vector<AccessibleWindow>& accessible,
                                              const std::vector<WindowInfo>& onScreen);

} // namespace WindowMatcher

} // namespace nomara
