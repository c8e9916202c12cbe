#include "Quillshade/segments/FailureLog.h"

#include "core/base/Log.h"

namespace nomara {

void FailureLog::tell(DisplayID display, const std::string& message) {
    {
        const std::lock_guard lock(m_mutex);
        std::set<DisplayID>& displays = m_standing[message];
        const bool stands = !displays.empty();
        displays.insert(display);
        if (stands) return;
    }
    Log::error(LogCategory::storage, message);
}

void FailureLog::recovered(DisplayID display) {
    const std::lock_guard lock(m_mutex);
    for (auto& [message, displays] : m_standing)
        displays.erase(display);
    std::erase_if(m_standing, [](const auto& entry) { return entry.second.empty(); });
}

void FailureLog::clear() {
    const std::lock_guard lock(m_mutex);
    m_standing.clear();
}

} // namespace nomara
