#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

using ProcessID = std::int32_t;

/// The application whose window has the keyboard.
struct FrontmostApp {
    ProcessID pid = 0;
    std::optional<std::string> bundleID;     ///< identifier of the application, stable across restarts
    std::optional<std::string> name;         ///< as a person would call it
    bool isBrowser = false;                  ///< says of itself that it is a web browser, or opens http links
    std::vector<std::string> otherBundleIDs; ///< other applications that the window may belong to
    friend bool operator==(const FrontmostApp&, const FrontmostApp&) = default;
};

/// Which application is in front. Callable from any thread.
class RunningApplications {
public:
    using Observer = std::function<void(std::optional<FrontmostApp>)>;

    virtual ~RunningApplications() = default;

    /// Absent when no window is active, or its process can't be told.
    virtual std::optional<FrontmostApp> frontmost() = 0;
    /// `observer` hears of every activation, and when the window in front turns out to be another application's, on a
    /// thread of the backend's; an empty one ends it. When this returns, the observer that was there before is not
    /// running any more.
    virtual void observeActivations(Observer observer) = 0;
};

} // namespace nomara
