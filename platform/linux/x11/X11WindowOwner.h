#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/linux/x11/X11Connection.h"

#include <optional>
#include <string>

namespace nomara {

/// What a window says about the program that it belongs to: asked in two steps, so that many windows can be asked at
/// once. One window needs one answer.
class X11WindowOwner {
public:
    X11WindowOwner(const X11Connection& connection, xcb_window_t window);
    /// The process is 0 where it can't be told, and where the window is gone.
    WindowOwner answer();

private:
    std::string title();
    std::string desktopFile();

    const X11Connection& m_connection;
    X11WindowProcess m_process; // before the others, so that their answers prove it
    const xcb_get_property_cookie_t m_class, m_role, m_utf8Name, m_oldName, m_kdeDesktopFile, m_gtkApplication,
        m_bamfDesktopFile;
};

} // namespace nomara
