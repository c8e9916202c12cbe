#pragma once

#include "platform/WindowServer.h"

#include <functional>
#include <optional>
#include <string>

namespace nomara {

/// What a window says about the program it belongs to.
struct WindowOwner {
    ProcessID pid = 0;
    std::string instanceName; ///< first half of WM_CLASS; empty where there is none
    std::string className;    ///< second half of WM_CLASS; empty where there is none
    std::string role;         ///< WM_WINDOW_ROLE: what the window is among those of its program; often empty
    friend bool operator==(const WindowOwner&, const WindowOwner&) = default;
};

inline WindowOwner ownerOf(const WindowInfo& window) {
    return {window.pid, window.instanceName, window.className, window.role};
}

struct ApplicationIdentity {
    std::optional<std::string> bundleID; ///< stable across restarts
    std::optional<std::string> name;     ///< as a person would call it
    std::string icon;                    ///< name in the icon theme, or a file; empty where there is none
    bool isBrowser = false;              ///< says of itself that it is a web browser, or opens http links
    friend bool operator==(const ApplicationIdentity&, const ApplicationIdentity&) = default;
};

/// Tells which application a window belongs to, also where the window doesn't tell its process. Callable from any
/// thread.
using IdentityResolver = std::function<ApplicationIdentity(const WindowOwner&)>;

} // namespace nomara
