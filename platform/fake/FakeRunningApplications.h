#pragma once

#include "platform/RunningApplications.h"

#include <mutex>
#include <utility>

namespace nomara {

/// The test activates applications. Callable from any thread; the observer runs on the thread that activates.
class FakeRunningApplications final : public RunningApplications {
public:
    std::optional<FrontmostApp> frontmost() override {
        const std::lock_guard lock(m_mutex);
        return m_frontmost;
    }
    void observeActivations(Observer observer) override {
        const std::lock_guard notifying(m_notifying);
        m_observer = std::move(observer);
    }

    /// Also tells the observer when nothing has changed, as activation notices do.
    void activate(std::optional<FrontmostApp> app) {
        const std::lock_guard notifying(m_notifying);
        {
            const std::lock_guard lock(m_mutex);
            m_frontmost = app;
        }
        if (m_observer) m_observer(std::move(app));
    }

private:
    std::mutex m_notifying; // held while the observer runs; guards m_observer
    std::mutex m_mutex;     // guards m_frontmost, which an observer may ask for
    Observer m_observer;
    std::optional<FrontmostApp> m_frontmost;
};

} // namespace nomara
