#include "platform/linux/atspi/FrontWindow.h"

#include <gtest/gtest.h>

namespace nomara::atspi {
namespace {

ProgramWindow window(const char* name, Role role, bool active, bool showing, double width = 100) {
    ProgramWindow made;
    made.name = name;
    made.role = role;
    made.states.bits = std::uint64_t{active} << States::activeBit | std::uint64_t{showing} << States::showingBit;
    made.extents = Rect{0, 0, width, width};
    return made;
}

TEST(FrontWindow, IsTheOnlyActiveOneOrTheOnlyOne) {
    const ProgramWindow active = window("active", Role::frame, true, true);
    const ProgramWindow other = window("other", Role::frame, false, true);
    const ProgramWindow minimized = window("minimized", Role::frame, true, false);
    const ProgramWindow menu = window("menu", Role::window, false, true);
    const ProgramWindow popup = window("", Role::frame, false, true);
    const ProgramWindow empty = window("empty", Role::frame, true, true, 0);
    const struct {
        const char* what;
        std::vector<ProgramWindow> windows;
        int front; ///< -1 for none
    } rows[] = {
        {"no windows", {}, -1},
        {"one of two is active", {other, active}, 1},
        {"two are active", {active, other, active}, -1},
        {"two, and none is active", {other, other}, -1},
        {"one that never says", {popup, other, menu}, 1},
        {"a minimized one that still claims to be active", {minimized, other}, 1},
        {"the same with two others", {minimized, other, other}, -1},
        {"an active one without a size", {empty, other}, 1},
        {"a minimized one alone", {minimized}, -1},
        {"a nameless one alone", {popup}, 0},
        {"nameless ones", {popup, menu}, -1},
    };
    for (const auto& [what, windows, front] : rows) {
        const ProgramWindow* found = FrontWindow::among(windows);
        EXPECT_EQ(found == nullptr ? -1 : static_cast<int>(found - windows.data()), front) << what;
    }
}

} // namespace
} // namespace nomara::atspi
