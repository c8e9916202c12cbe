#include "Quillshade/windows/WindowRegistry.h"

#include <set>

namespace nomara {

namespace {

using WindowPrivacy::Verdict;

constexpr double forgetSeconds = 600; // a window that isn't seen any more, where nobody says whether it is still there

} // namespace

WindowLife& WindowRegistry::enter(const ScreenWindow& window, double now) {
    Entry& entry = m_entries[keyOf(window)];
    entry.title = window.title;
    entry.isPopup = window.isPopup;
    entry.seenAt = now;
    entry.life.sawTitle(window.title);
    if (window.isAlwaysPrivate) entry.life.sawAlwaysPrivate();
    return entry.life;
}

WindowLife* WindowRegistry::find(const WindowKey& key) {
    const auto found = m_entries.find(key);
    return found == m_entries.end() ? nullptr : &found->second.life;
}

void WindowRegistry::inherit(const ScreenWindow& window, Verdict verdict) {
    const auto found = m_entries.find(keyOf(window));
    if (found != m_entries.end()) found->second.inherited = verdict;
}

void WindowRegistry::endDestroyed(const IsAlive& isAlive, double now) {
    std::erase_if(m_entries, [&](const auto& entry) {
        const auto& [key, window] = entry;
        return key.life != 0 ? !isAlive(key) : now - window.seenAt >= forgetSeconds;
    });
}

Verdict WindowRegistry::verdictOf(const Entry& entry, const RecorderConfig& config) {
    return entry.isPopup ? entry.inherited : entry.life.verdict(entry.title, config);
}

std::vector<HiddenWindow> WindowRegistry::hidden(const RecorderConfig& config) const {
    std::vector<HiddenWindow> windows;
    for (const auto& [key, entry] : m_entries) {
        const Verdict verdict = verdictOf(entry, config);
        // One that is only to be read once more would come and go.
        if (verdict != Verdict::allow && verdict != Verdict::unconfirmed) windows.push_back({key.number, verdict});
    }
    return windows;
}

WindowPrivacy::ProcessVerdicts WindowRegistry::worstBeside(const std::vector<ScreenWindow>& windows,
                                                           const RecorderConfig& config) const {
    std::set<WindowKey> listed;
    for (const ScreenWindow& window : windows)
        listed.insert(keyOf(window));
    WindowPrivacy::ProcessVerdicts worst;
    for (const auto& [key, entry] : m_entries) {
        if (entry.isPopup || listed.contains(key)) continue;
        const Verdict verdict = verdictOf(entry, config);
        const auto [known, isNew] = worst.emplace(key.pid, verdict);
        if (!isNew) known->second = WindowPrivacy::worse(known->second, verdict);
    }
    return worst;
}

} // namespace nomara
