#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace nomara {

using ProcessID = std::int32_t;

/// What a window says about the program it belongs to.
struct WindowOwner {
    ProcessID pid = 0;
    std::string instanceName; ///< first half of WM_CLASS; empty where there is none
    std::string className;    ///< second half of WM_CLASS; empty where there is none
    friend bool operator==(const WindowOwner&, const WindowOwner&) = default;
};

struct ApplicationIdentity {
    std::optional<std::string> bundleID; ///< stable across restarts
    std::optional<std::string> name;     ///< as a person would call it
    std::string icon;                    ///< name in the icon theme, or a file; empty where there is none
    bool isBrowser = false;              ///< says of itself that it is a web browser, or opens http links
    friend bool operator==(const ApplicationIdentity&, const ApplicationIdentity&) = default;
};

/// Tells which application a window belongs to. Callable from any thread.
using IdentityResolver = std::function<ApplicationIdentity(const WindowOwner&)>;

} // namespace nomara
