#include "Quillshade/capture/LookLog.h"

namespace nomara {

void LookLog::skip(const SkipReason& reason) {
    publish(reason);
    m_stoppedWindow.reset();
}

void LookLog::page(const TickContext& tick, SkipReason::Kind stop) {
    m_stoppedWindow.reset();
    if (stop != SkipReason::Kind::none) m_stoppedWindow = tick.windowKey;
    const bool keepsTitles = stop == SkipReason::Kind::none && tick.titlesOnly;
    publish({keepsTitles ? SkipReason::Kind::unknownFocus : stop, {}});
}

LookLog::Entry LookLog::last(DisplayID display) const {
    const auto entry = m_last.find(display);
    return entry == m_last.end() ? Entry() : entry->second;
}

void LookLog::publish(const SkipReason& reason) {
    if (reason == m_lastSkip) return;
    m_lastSkip = reason;
    m_events.post(&CaptureEvents::skip, reason);
}

} // namespace nomara
