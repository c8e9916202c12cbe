#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/DisplayStream.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Stacking.h"

#include <optional>
#include <set>
#include <vector>

namespace nomara {

/// Tells which windows must never be in an image. The children of the root are what is stacked and shown: frames of the
/// window manager with a program's window in them, and menus, tips and the like on their own. Such a window is excluded
/// where anything in it belongs to an excluded program, stands in for one of its windows (a dialog of another program),
/// or where nothing tells whose it is. What a process showed once decides for all that it shows.
/// On one thread.
class X11ExcludedWindows {
public:
    X11ExcludedWindows(const X11Connection& connection, IdentityResolver resolver);

    void setFilter(DisplayStreamFilter filter);
    /// Whether anything is to be excluded at all.
    bool hasFilter() const { return !m_filter.excludedApplications.empty() || !m_filter.excludedWindows.empty(); }

    /// All children of the root, the lowest first. Absent when one of them went meanwhile, or the connection is lost.
    std::optional<std::vector<X11TopWindow>> read();
    /// Whether a program is to be excluded that has a window of any kind, on the screen or put away.
    bool isAnyOpen();
    /// Of a child of the root, shown or not. True for one that is gone: nothing tells any more whose it was.
    bool isExcluded(xcb_window_t window);

private:
    struct Level;
    struct Speaker;

    std::vector<bool> judge(const std::vector<xcb_window_t>& windows);
    bool isExcludedOwner(const WindowOwner& owner);

    const X11Connection& m_connection;
    const IdentityResolver m_resolver;
    const bool m_hasShapes;
    const std::uint32_t m_clientMask; ///< the bits of a window's number that its program chose
    DisplayStreamFilter m_filter;
    std::set<ProcessID> m_excludedProcesses;
};

} // namespace nomara
