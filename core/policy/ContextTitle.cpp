#include "core/policy/ContextTitle.h"

namespace nomara {

namespace {

// Whoever goes through documents reads one for longer than that.
constexpr double restSeconds = 10;
constexpr std::size_t restlessChanges = 4, restedChanges = 1;

} // namespace

const ContextTitle::Title& ContextTitle::of(const std::string& window, const Title& title, double now) {
    if (window != m_window) {
        m_window = window;
        m_last = title;
        m_changes.clear();
        m_isRestless = false;
    }
    if (title != m_last) {
        m_last = title;
        m_changes.push_back(now);
    }
    while (!m_changes.empty() && now - m_changes.front() > restSeconds)
        m_changes.pop_front();
    if (m_changes.size() >= restlessChanges) m_isRestless = true;
    if (m_changes.size() <= restedChanges) m_isRestless = false;
    if (!m_isRestless) m_context = title;
    return m_context;
}

} // namespace nomara
