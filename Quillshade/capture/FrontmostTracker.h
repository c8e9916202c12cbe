#pragma once

#include "core/base/Executor.h"
#include "platform/RunningApplications.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace nomara {

/// Which application is in front. `current` may be read from any thread; everything else belongs to the main thread.
class FrontmostTracker {
public:
    FrontmostTracker(RunningApplications& applications, Executor mainThread);
    ~FrontmostTracker();
    FrontmostTracker(const FrontmostTracker&) = delete;
    FrontmostTracker& operator=(const FrontmostTracker&) = delete;

    /// Called on the main thread after each change.
    std::function<void(const std::optional<FrontmostApp>&)> onChange;

    /// Takes the front application and begins to follow it; a second call only looks again.
    void start();
    std::optional<FrontmostApp> current() const;

private:
    void update(const std::optional<FrontmostApp>& app);

    RunningApplications& m_applications;
    const Executor m_mainThread;
    // Shared only so that a notice on its way to the main thread can tell that the tracker is gone.
    const std::shared_ptr<FrontmostTracker*> m_self = std::make_shared<FrontmostTracker*>(this);
    bool m_observing = false;
    mutable std::mutex m_lock; // guards m_current
    std::optional<FrontmostApp> m_current;
};

} // namespace nomara
