#pragma once

#include "core/geometry/Geometry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

using DisplayID = std::uint32_t;
using ProcessID = std::int32_t;

/// One display of the desktop. The id stays the same for the same output across restarts.
struct Display {
    DisplayID id = 0;
    std::string name;
    Rect bounds; ///< global display coordinates
    double scale = 1;
    bool isMain = false;
    friend bool operator==(const Display&, const Display&) = default;
};

/// One on-screen window as the window server knows it.
struct WindowInfo {
    std::uint32_t number = 0;
    ProcessID pid = 0;                ///< 0 where the window doesn't tell
    std::optional<std::string> title; ///< valid UTF-8
    std::optional<Rect> bounds;       ///< what one sees of it, decorations included, shadows not
    int layer = 0;                    ///< 0 for ordinary windows; docks, menus and tips lie above
    double opacity = 1;
    /// The program's own area, without the window manager's decorations and with the shadow that the program draws.
    /// Absent where none of it is shown. Accessibility tells this as the window's place, or else `bounds`.
    std::optional<Rect> content;
    std::string instanceName; ///< first half of WM_CLASS; empty where there is none
    std::string className;    ///< second half of WM_CLASS; empty where there is none
    std::string role;         ///< WM_WINDOW_ROLE: what the window is among those of its program; often empty
    bool isActive = false;    ///< has the keyboard, as the window manager says
    /// The window that it was opened from, as its program says; 0 where it says none. Drag images have none.
    std::uint32_t parent = 0;
    /// What the program calls itself on this window, in the words of desktop entries; often empty.
    std::string desktopFile;
    /// Numbers of windows and of processes are given out again: this one never is. It stays the same from the moment
    /// that a window is made until it is destroyed, whether it is on the screen or not. 0 where that can't be told.
    std::uint64_t life = 0;
    friend bool operator==(const WindowInfo&, const WindowInfo&) = default;
};

using WindowList = std::vector<WindowInfo>; ///< the frontmost first

/// Displays and windows. Callable from any thread; each call asks the server anew.
/// After the connection is lost all answers are empty.
class WindowServer {
public:
    virtual ~WindowServer() = default;

    /// Every active display; exactly one of them is the main one, unless there is none.
    virtual std::vector<Display> displays() = 0;
    /// Visible windows, the frontmost first; the desktop's own background is left out.
    virtual WindowList onScreenWindows() = 0;
    /// Whether a window that was listed hasn't been destroyed since, be it on the screen or not. True where that can't
    /// be told.
    virtual bool isWindowAlive(std::uint32_t number, std::uint64_t life) = 0;
    /// `observer` is called, on a thread of the server's, when displays may have come, gone or changed, at most some
    /// seconds later. An empty one ends that; afterwards none is being called. It must not call this itself.
    virtual void observeDisplays(std::function<void()> observer) = 0;
};

/// The main display, or an empty one with the id 0.
Display mainDisplay(const std::vector<Display>& displays);
/// The display under a point, else the main one.
Display displayAt(const std::vector<Display>& displays, Point point);

} // namespace nomara
