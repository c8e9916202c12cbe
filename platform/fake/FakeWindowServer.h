#pragma once

#include "platform/WindowServer.h"

#include <mutex>
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
    std::vector<WindowInfo> onScreenWindows() override {
        const std::lock_guard lock(m_mutex);
        return m_windows;
    }

    void setDisplays(std::vector<Display> displays) {
        const std::lock_guard lock(m_mutex);
        m_displays = std::move(displays);
    }
    /// The frontmost first.
    void setWindows(std::vector<WindowInfo> windows) {
        const std::lock_guard lock(m_mutex);
        m_windows = std::move(windows);
    }

private:
    std::mutex m_mutex; // guards both fields
    std::vector<Display> m_displays;
    std::vector<WindowInfo> m_windows;
};

} // namespace nomara
