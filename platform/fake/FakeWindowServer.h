#pragma once

#include "platform/WindowServer.h"

#include <atomic>
#include <mutex>
#include <set>
#include <utility>

namespace nomara {

/// Answers what the test has set. Callable from any thread.
class FakeWindowServer final : public WindowServer {
public:
    /// One main display of 1920×1080 with the id 1, no windows.
    FakeWindowServer() : m_displays{{1, "FAKE-1", {0, 0, 1920, 1080}, 1, true}} {}

    std::vector<Display> displays() override {
        const std::lock_guard lock(m_mutex);
        return m_displays;
    }
    WindowList onScreenWindows() override {
        const std::lock_guard lock(m_mutex);
        ++m_readings;
        return m_windows;
    }
    int readings() const { return m_readings; } ///< of the window list so far
    bool isWindowAlive(std::uint32_t, std::uint64_t life) override {
        const std::lock_guard lock(m_mutex);
        return !m_destroyed.contains(life);
    }

    void observeDisplays(std::function<void()> observer) override {
        const std::lock_guard lock(m_notifying);
        m_observer = std::move(observer);
    }

    void setDisplays(std::vector<Display> displays) {
        {
            const std::lock_guard lock(m_mutex);
            m_displays = std::move(displays);
        }
        const std::lock_guard lock(m_notifying);
        if (m_observer) m_observer();
    }
    /// The frontmost first.
    void setWindows(std::vector<WindowInfo> windows) {
        const std::lock_guard lock(m_mutex);
        m_windows = std::move(windows);
    }

    void destroy(std::uint64_t life) {
        const std::lock_guard lock(m_mutex);
        m_destroyed.insert(life);
        std::erase_if(m_windows, [life](const WindowInfo& window) { return window.life == life; });
    }

private:
    std::mutex m_notifying; // held while the observer is called
    std::function<void()> m_observer;
    std::atomic<int> m_readings = 0;
    std::mutex m_mutex; // guards the fields below it
    std::vector<Display> m_displays;
    std::vector<WindowInfo> m_windows;
    std::set<std::uint64_t> m_destroyed;
};

} // namespace nomara
