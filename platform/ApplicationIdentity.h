#pragma once

#include "platform/WindowServer.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// What a window says about the program it belongs to.
struct WindowOwner {
    ProcessID pid = 0;
    std::string instanceName; ///< first half of WM_CLASS; empty where there is none
    std::string className;    ///< second half of WM_CLASS; empty where there is none
    std::string role;         ///< WM_WINDOW_ROLE: what the window is among those of its program; often empty
    std::string desktopFile;  ///< the id of the desktop entry that the program names; often empty
    std::string title;        ///< empty where there is none
    friend bool operator==(const WindowOwner&, const WindowOwner&) = default;
};

inline WindowOwner ownerOf(const WindowInfo& window) {
    return {window.pid,  window.instanceName, window.className,
            window.role, window.desktopFile,  window.title.value_or("")};
}

struct ApplicationIdentity {
    std::optional<std::string> bundleID; ///< stable across restarts
    std::optional<std::string> name;     ///< as a person would call it
    std::string icon;                    ///< name in the icon theme, or a file; empty where there is none
    bool isBrowser = false;              ///< says of itself that it is a web browser, or opens http links
    /// Other applications that the window may belong to: what weaker signs name, and, as long as the window doesn't
    /// tell which one it is, all applications of its process.
    std::vector<std::string> otherBundleIDs;
    friend bool operator==(const ApplicationIdentity&, const ApplicationIdentity&) = default;
};

/// Whether the condition holds for the identifier of an application, or for one that it may have.
template <typename Application, typename Condition>
bool isOrMayBe(const Application& application, Condition condition) {
    return (application.bundleID && condition(*application.bundleID)) ||
           std::ranges::any_of(application.otherBundleIDs, condition);
}

/// Tells which application a window belongs to, also where the window doesn't tell its process. Callable from any
/// thread.
using IdentityResolver = std::function<ApplicationIdentity(const WindowOwner&)>;

} // namespace nomara
