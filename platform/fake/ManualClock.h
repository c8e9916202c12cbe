#pragma once

#include "core/base/Clock.h"

#include <mutex>

namespace nomara {

/// A clock that stands still until it is told to go on. Callable from any thread.
class ManualClock final : public Clock {
public:
    explicit ManualClock(Date now = {1'700'000'000}, double uptime = 1'000) : m_now(now), m_uptime(uptime) {}

    double uptime() const override {
        const std::lock_guard lock(m_mutex);
        return m_uptime;
    }
    Date now() const override {
        const std::lock_guard lock(m_mutex);
        return m_now;
    }

    /// Both clocks go on together, as they do while the machine is awake.
    void advance(double seconds) {
        const std::lock_guard lock(m_mutex);
        m_uptime += seconds;
        m_now = m_now + seconds;
    }
    /// The wall clock alone: sleep, a changed time zone's clock, a correction over the network.
    void setNow(Date now) {
        const std::lock_guard lock(m_mutex);
        m_now = now;
    }

private:
    mutable std::mutex m_mutex; // guards both fields
    Date m_now;
    double m_uptime;
};

} // namespace nomara
