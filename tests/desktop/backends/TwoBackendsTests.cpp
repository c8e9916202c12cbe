#include "tests/desktop/backends/AtspiTest.h"
#include "tests/desktop/backends/Browsers.h"
#include "tests/desktop/backends/X11Test.h"

#include <cmath>
#include <sstream>

namespace nomara {

namespace {

bool isNear(const std::optional<Rect>& a, const std::optional<Rect>& b) {
    constexpr double tolerance = 1;
    return a && b && std::abs(a->x - b->x) <= tolerance && std::abs(a->y - b->y) <= tolerance &&
           std::abs(a->width - b->width) <= tolerance && std::abs(a->height - b->height) <= tolerance;
}

std::string text(const std::optional<Rect>& rect) {
    if (!rect) return "(none)";
    std::ostringstream out;
    out << rect->x << "," << rect->y << " " << rect->width << "x" << rect->height;
    return out.str();
}

} // namespace

// Whoever looks for the accessible window of a window on screen compares where they lie.
TEST(AccessibleWindow, LiesWhereTheWindowServerSeesTheFrameOrTheContent) {
    struct Row {
        std::string what;
        std::vector<std::string> command;
        std::optional<Rect> WindowInfo::*place;
        bool isDecorated; ///< or has a shadow, so that the two places differ
    };
    auto smaller = chromium({"about:blank"}); // it leaves room for its shadow then
    std::erase(smaller, "--start-maximized");
    const Row rows[] = {
        {"GTK 3", {"mousepad"}, &WindowInfo::bounds, true},
        {"Qt 5", {"featherpad"}, &WindowInfo::content, true},
        {"Firefox", firefox({"about:blank"}), &WindowInfo::content, false},
        {"Chromium", chromium({"about:blank"}), &WindowInfo::bounds, false},
        {"Chromium, not maximised", smaller, &WindowInfo::content, true},
    };
    AtspiAccessibility accessibility;
    X11WindowServer server;
    for (const Row& row : rows) {
        const DesktopProgram program(row.command, {{"XDG_CONFIG_HOME", newFolder()}});
        WindowInfo window;
        std::string seen;
        EXPECT_TRUE(waitUntil([&] {
            for (const WindowInfo& candidate : server.onScreenWindows())
                if (candidate.pid == program.pid() && candidate.layer == 0) window = candidate;
            const bool areDistinct = !row.isDecorated || !isNear(window.bounds, window.content);
            bool lies = false;
            seen.clear();
            for (const AccessibleWindow& accessible : accessibility.windows(program.pid())) {
                lies = lies || isNear(accessible.frame, window.*row.place);
                seen += accessible.title.value_or("(nameless)") + " at " + text(accessible.frame) + "; ";
            }
            return window.isActive && areDistinct && lies;
        })) << row.what
            << ": accessible " << seen << " frame " << text(window.bounds) << ", content " << text(window.content);
    }
}

} // namespace nomara
