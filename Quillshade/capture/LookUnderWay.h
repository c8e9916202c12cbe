#pragma once

#include "Quillshade/capture/RecorderTypes.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

namespace nomara {

/// What other threads need of a look that takes long: to ask it to end soon, and to learn how things stood in its
/// middle.
class LookUnderWay {
public:
    /// Somebody wants something of the recorder that can't wait, until `served`.
    void interrupt() { ++m_waiting; }
    void served() { --m_waiting; }
    bool isInterrupted() const { return m_waiting > 0; }

    void setReport(std::optional<CaptureReport> report) {
        const std::lock_guard lock(m_mutex);
        m_report = std::move(report);
    }
    std::optional<CaptureReport> report() const {
        const std::lock_guard lock(m_mutex);
        return m_report;
    }

private:
    std::atomic<int> m_waiting = 0;
    mutable std::mutex m_mutex; // guards m_report
    std::optional<CaptureReport> m_report;
};

} // namespace nomara
