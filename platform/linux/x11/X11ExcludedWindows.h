#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/DisplayStream.h"
#include "platform/linux/x11/X11Composition.h"
#include "platform/linux/x11/X11Connection.h"
#include "platform/linux/x11/X11Stacking.h"

#include <optional>
#include <set>
#include <vector>

namespace nomara {

/// Tells which windows must never be in an image, and which may. The children of the root are what is stacked and
/// shown: frames of the window manager with a program's window in them, and menus, tips and the like on their own. Such
/// a window is excluded where anything in it belongs to an excluded program, stands in for one of its windows (a dialog
/// of another program), or where nothing tells whose it is. What a process showed once decides for all that it shows.
/// On one thread.
class X11ExcludedWindows {
public:
    X11ExcludedWindows(const X11Connection& connection, IdentityResolver resolver);

    void setFilter(DisplayStreamFilter filter);
    /// Whether anything is to be excluded at all.
    bool hasFilter() const { return !m_filter.excludedApplications.empty() || !m_filter.excludedWindows.empty(); }

    /// All children of the root, the lowest first. Absent when one of them went meanwhile, or the connection is lost.
    std::optional<std::vector<X11TopWindow>> read();
    /// The same with all that composing needs to know of them; nothing that isn't known to be allowed is `seen`.
    /// `compositor` owns the compositor's selection.
    std::optional<std::vector<X11ComposableWindow>> readComposable(xcb_window_t compositor);
    /// Whether a program is to be excluded that has a window of any kind, on the screen or put away.
    bool isAnyOpen();
    /// Of a child of the root, shown or not. True for one that is gone: nothing tells any more whose it was.
    bool isExcluded(xcb_window_t window);

private:
    struct Asked;
    struct Level;
    struct Speaker;
    struct Verdict;
    struct Desktop;

    std::optional<std::vector<Asked>> readTops() const;
    std::vector<Verdict> judge(const std::vector<xcb_window_t>& windows, bool withDetails = false);
    void addClient(Verdict& verdict, const Speaker& speaker, ProcessID pid) const;
    bool isExcludedOwner(const WindowOwner& owner);
    Desktop readDesktop(xcb_window_t compositor) const;
    void describe(X11ComposableWindow& window, const Verdict& verdict, const Desktop& desktop, bool isOverride) const;

    const X11Connection& m_connection;
    const IdentityResolver m_resolver;
    const bool m_hasShapes;
    const std::uint32_t m_clientMask; ///< the bits of a window's number that its program chose
    DisplayStreamFilter m_filter;
    std::set<ProcessID> m_excludedProcesses;
};

} // namespace nomara
