#include "Quillshade/capture/FrameIngest.h"

#include "Quillshade/store/StoreHub.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"

#include <exception>
#include <utility>

namespace nomara {

namespace {

constexpr double flushSeconds = 60;

} // namespace

FrameIngest::FrameIngest(StoreHub& hub, const Clock& clock, const CaptureEventPoster& events,
                         std::function<StatsDelta()> takeUsage)
    : m_hub(hub), m_clock(clock), m_events(events), m_takeUsage(std::move(takeUsage)), m_lastFlush(clock.uptime()) {}

std::optional<RowID> FrameIngest::save(const NewFrame& frame) {
    FrameSummary summary;
    try {
        summary.id = m_hub.write([&](MemoryStore& store) { return store.insertFrame(frame); });
    } catch (const std::exception& error) {
        Log::error(LogCategory::capture, std::string("Frame insert failed: ") + error.what());
        return std::nullopt;
    }
    m_pending.framesSaved += 1;
    if (frame.imageState == ImageState::segment) m_lastPicture = {summary.id, frame.displayID, frame.timestamp};
    summary.timestamp = frame.timestamp;
    summary.displayID = frame.displayID;
    summary.appBundleID = frame.appBundleID;
    summary.appName = frame.appName;
    summary.windowTitle = frame.windowTitle;
    summary.url = frame.url;
    summary.imageState = frame.imageState;
    m_events.post(&CaptureEvents::saved, summary, frame.project);
    return summary.id;
}

void FrameIngest::flush(bool force) {
    const double now = m_clock.uptime();
    if (!force && now - m_lastFlush < flushSeconds) return;
    m_lastFlush = now;
    // The cost of a quiet minute isn't worth a write of its own; it is counted with the next one.
    if (m_pending.isEmpty() && !force) return;
    StatsDelta delta = std::exchange(m_pending, {});
    const StatsDelta usage = m_takeUsage();
    delta.cpuSeconds += usage.cpuSeconds;
    delta.bytesWritten += usage.bytesWritten;
    const std::string day = Calendar::dayKey(m_clock.now());
    try {
        m_hub.write([&](MemoryStore& store) { store.addStats(day, delta); });
    } catch (const std::exception&) {
        // Counters are for display; a lost minute of them isn't worth a second try.
    }
}

} // namespace nomara
