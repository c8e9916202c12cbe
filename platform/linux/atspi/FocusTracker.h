#pragma once

#include "platform/linux/atspi/Programs.h"

#include <optional>

namespace nomara::atspi {

/// Knows which element has the keyboard focus: from what programs report, checked at every use, and found by a search
/// of the active window where nothing was reported or the report is out of date.
class FocusTracker {
public:
    FocusTracker(AtspiBus& bus, Programs& programs) : m_bus(bus), m_programs(programs) {}

    void noteFocus(const ObjectRef& object, bool focused);
    /// Whether the focused element is a password field. Where that can't be told in time, the last answer stands, and
    /// without one it counts as a password field.
    bool isSecure();

private:
    struct Focus {
        bool answered = false, focused = false, secure = false;
        bool mayHoldAnother = false; ///< a page or a panel: something inside it may have the focus as well
    };
    struct ActiveWindows {
        std::vector<ObjectRef> windows;
        bool complete = false; ///< everybody who was asked has answered
    };

    Focus checkReported();
    Focus check(const ObjectRef& object);
    ActiveWindows activeWindows(const std::vector<ObjectRef>& programs);
    Focus search(const ObjectRef& window);
    bool findFocused(const ObjectRef& window, SteadyClock::time_point deadline, std::vector<ObjectRef>& focused);

    AtspiBus& m_bus;
    Programs& m_programs;
    std::optional<ObjectRef> m_reported;
    std::uint64_t m_generation = 0;
    std::optional<bool> m_lastAnswer;
};

} // namespace nomara::atspi
