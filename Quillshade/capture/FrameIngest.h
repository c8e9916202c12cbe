#pragma once

#include "Quillshade/capture/CaptureEvents.h"
#include "core/base/Clock.h"
#include "core/records/Statistics.h"

#include <functional>
#include <optional>

namespace nomara {

class StoreHub;

/// Stores frames and tells of them, and counts what is done for the statistics of the day.
class FrameIngest {
public:
    /// All of it outlives this. `takeUsage`: what the process has cost since it was last asked.
    FrameIngest(StoreHub& hub, const Clock& clock, const CaptureEventPoster& events,
                std::function<StatsDelta()> takeUsage);

    /// The frame's id; absent where it couldn't be stored, which is logged.
    std::optional<RowID> save(const NewFrame& frame);
    void countSkipped() { m_pending.framesSkipped += 1; }
    void countReading() { m_pending.ocrRuns += 1; }
    /// Writes the counters, where that is due or forced.
    void flush(bool force);
    /// The last one since the start.
    const std::optional<CaptureReport::Picture>& lastPicture() const { return m_lastPicture; }

private:
    StoreHub& m_hub;
    const Clock& m_clock;
    const CaptureEventPoster& m_events;
    const std::function<StatsDelta()> m_takeUsage;
    StatsDelta m_pending;
    double m_lastFlush;
    std::optional<CaptureReport::Picture> m_lastPicture;
};

} // namespace nomara
