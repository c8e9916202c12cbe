#pragma once

#include "Quillshade/windows/WindowLife.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace nomara {

/// One window of one process. Numbers are used again, so its life belongs to it.
struct WindowKey {
    std::uint32_t number = 0;
    std::int32_t pid = 0;
    std::uint64_t life = 0;
    friend auto operator<=>(const WindowKey&, const WindowKey&) = default;
};

inline WindowKey keyOf(const ScreenWindow& window) {
    return {window.id, window.pid, window.life};
}

/// A window that must not be seen, and why.
struct HiddenWindow {
    std::uint32_t number = 0;
    WindowPrivacy::Verdict reason = WindowPrivacy::Verdict::unknown;
    friend bool operator==(const HiddenWindow&, const HiddenWindow&) = default;
};

/// The browser windows that live, on the screen or not, with all that was observed of them. Every observation is
/// entered here first, and every verdict is read from here. Pure; on the recorder's queue.
class WindowRegistry {
public:
    using IsAlive = std::function<bool(const WindowKey&)>;

    /// The entry of a window that is seen; it begins with the first sight.
    WindowLife& enter(const ScreenWindow& window, double now);
    WindowLife* find(const WindowKey& key);
    /// What a popup, which proves nothing itself, has taken over from another window.
    void inherit(const ScreenWindow& window, WindowPrivacy::Verdict verdict);

    /// Ends the entries of windows that were destroyed, and of those that haven't been seen for long where nobody can
    /// tell.
    void endDestroyed(const IsAlive& isAlive, double now);

    /// All windows that may not be seen, by number.
    std::vector<HiddenWindow> hidden(const RecorderConfig& config) const;
    /// For each process the worst of its windows that aren't among these.
    WindowPrivacy::ProcessVerdicts worstBeside(const std::vector<ScreenWindow>& windows,
                                               const RecorderConfig& config) const;

    std::size_t size() const { return m_entries.size(); }

private:
    struct Entry {
        WindowLife life;
        std::optional<std::string> title;
        bool isPopup = false;
        WindowPrivacy::Verdict inherited = WindowPrivacy::Verdict::unknown;
        double seenAt = 0;
    };

    static WindowPrivacy::Verdict verdictOf(const Entry& entry, const RecorderConfig& config);

    std::map<WindowKey, Entry> m_entries;
};

} // namespace nomara
