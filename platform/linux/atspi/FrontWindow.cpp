#include "platform/linux/atspi/FrontWindow.h"

#include "core/text/Graphemes.h"

#include <algorithm>

namespace nomara::atspi::FrontWindow {

namespace {

/// The only one that fits; null for none and for several.
template <typename Fits>
const ProgramWindow* onlyOne(const std::vector<ProgramWindow>& windows, Fits fits) {
    const auto first = std::find_if(windows.begin(), windows.end(), fits);
    if (first == windows.end() || std::find_if(first + 1, windows.end(), fits) != windows.end()) return nullptr;
    return &*first;
}

bool canBeInFront(const ProgramWindow& window) {
    return window.isUsable() && window.states.isShowing();
}

bool isActive(const ProgramWindow& window) {
    return canBeInFront(window) && window.states.isActive();
}

/// Menus, tips and lists that drop down are plain windows, or frames without a name.
bool isPlain(const ProgramWindow& window) {
    return window.role == Role::window || Graphemes::trimmed(window.name).empty();
}

} // namespace

const ProgramWindow* among(const std::vector<ProgramWindow>& windows) {
    if (std::any_of(windows.begin(), windows.end(), isActive)) return onlyOne(windows, isActive);
    const auto isProper = [](const ProgramWindow& window) { return canBeInFront(window) && !isPlain(window); };
    if (std::any_of(windows.begin(), windows.end(), isProper)) return onlyOne(windows, isProper);
    return onlyOne(windows, canBeInFront);
}

} // namespace nomara::atspi::FrontWindow
