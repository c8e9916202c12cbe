#pragma once

#include "Quillshade/capture/CaptureEvents.h"
#include "Quillshade/capture/TickContext.h"

#include <map>
#include <optional>
#include <string>

namespace nomara {

/// What came of the looks, for whoever asks: why nothing of the front window is stored, and the last result of each
/// display.
class LookLog {
public:
    struct Entry {
        LookResult result = LookResult::none;
        std::optional<Date> at;
    };

    explicit LookLog(const CaptureEventPoster& events) : m_events(events) {}

    /// A reason that has nothing to do with the page in front.
    void skip(const SkipReason& reason);
    /// What became of the page in front; it holds until a look finds otherwise or another window comes, whatever the
    /// title says meanwhile.
    void page(const TickContext& tick, SkipReason::Kind stop);
    /// Whether this window's page was last found not to be recorded; a tick may not ask.
    bool isStopped(const std::string& windowKey) const { return m_stoppedWindow == windowKey; }

    void note(const TickContext& tick, DisplayID display, LookResult result) { m_last[display] = {result, tick.date}; }
    Entry last(DisplayID display) const;

private:
    void publish(const SkipReason& reason);

    const CaptureEventPoster& m_events;
    SkipReason m_lastSkip;
    std::optional<std::string> m_stoppedWindow;
    std::map<DisplayID, Entry> m_last;
};

} // namespace nomara
