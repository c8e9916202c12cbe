#include "Quillshade/capture/FrontmostTracker.h"

#include <utility>

namespace nomara {

FrontmostTracker::FrontmostTracker(RunningApplications& applications, Executor mainThread)
    : m_applications(applications), m_mainThread(std::move(mainThread)) {}

FrontmostTracker::~FrontmostTracker() {
    if (m_observing) m_applications.observeActivations({});
}

void FrontmostTracker::start() {
    if (!m_observing) {
        m_observing = true;
        m_applications.observeActivations(
            [weak = std::weak_ptr(m_self), post = m_mainThread](const std::optional<FrontmostApp>& app) {
                post([weak, app] {
                    if (const auto self = weak.lock()) (*self)->update(app);
                });
            });
    }
    update(m_applications.frontmost());
}

std::optional<FrontmostApp> FrontmostTracker::current() const {
    const std::lock_guard lock(m_lock);
    return m_current;
}

void FrontmostTracker::update(const std::optional<FrontmostApp>& app) {
    {
        const std::lock_guard lock(m_lock);
        if (m_current == app) return;
        m_current = app;
    }
    if (onChange) onChange(app);
}

} // namespace nomara
