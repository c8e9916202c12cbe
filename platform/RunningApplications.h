#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace nomara {

using ProcessID = std::int32_t;

/// The application whose window has the keyboard.
struct FrontmostApp {
    ProcessID pid = 0;
    std::optional<std::string> bundleID; ///< identifier of the application, stable across restarts
    std::optional<std::string> name;     ///< as a person would call it
    bool isBrowser = false;              ///< says of itself that it is a web browser, or opens http links
    friend bool operator==(const FrontmostApp&, const FrontmostApp&) = default;
};

/// Which application is in front. Callable from any thread.
class RunningApplications {
public:
    using Observer = std::function<void(std::optional<FrontmostApp>)>;

    virtual ~RunningApplications() = default;

    /// Absent when no window is active, or its process can't be told.
    virtual std::optional<FrontmostApp> frontmost() = 0;
    /// `observer` hears of every activation, on a thread of the backend's; an empty one ends it. When this returns,
    /// the observer that was there before is not running any more.
    virtual void observeActivations(Observer observer) = 0;
};

} // namespace nomara
