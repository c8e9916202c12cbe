#include "platform/WindowServer.h"

namespace nomara {

Display mainDisplay(const std::vector<Display>& displays) {
    for (const Display& display : displays)
        if (display.isMain) return display;
    return displays.empty() ? Display() : displays.front();
}

Display displayAt(const std::vector<Display>& displays, Point point) {
    for (const Display& display : displays)
        if (display.bounds.contains(point)) return display;
    return mainDisplay(displays);
}

} // namespace nomara
