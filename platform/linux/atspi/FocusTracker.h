#pragma once

#include "platform/linux/atspi/Programs.h"

#include <optional>

namespace nomara::atspi {

/// Knows which element has the keyboard focus: from what programs report, checked at every use, and from a walk over
/// what the active window shows where nothing was reported or the report is out of date.
class FocusTracker {
public:
    FocusTracker(AtspiBus& bus, Programs& programs) : m_bus(bus), m_programs(programs) {}

    void noteFocus(const ObjectRef& object, bool focused);
    /// Whether the focused element hides what is typed into it; yes also where it can't be told from one that does.
    /// Unknown where a program that may be in front doesn't answer, and where the walk didn't come to its end. A
    /// process that isn't on the bus can't be asked and has no say.
    SecureFocus isSecure(ProcessID front);

private:
    /// What an object that may have the focus says of itself.
    struct Focus {
        bool answered = false; ///< its program has answered, be it that the object has gone
        bool focused = false, secure = false;
        bool mayHoldAnother = false; ///< a page or a panel: something inside it may have the focus as well
    };
    struct Windows {
        std::vector<ObjectRef> objects;
        bool complete = false; ///< every program that may be in front has answered
    };

    /// A walk that needn't be repeated at every look, as long as nothing is reported.
    struct Search {
        std::vector<ObjectRef> windows;
        SecureFocus answer = SecureFocus::unknown;
        SteadyClock::time_point validUntil;
    };

    Focus checkReported();
    Focus check(const ObjectRef& object);
    Windows activeWindows(ProcessID front);
    Windows shownWindows(ProcessID front);
    SecureFocus searchAll(const std::vector<ObjectRef>& windows);
    SecureFocus search(const ObjectRef& window, const Toolkit& toolkit);

    AtspiBus& m_bus;
    Programs& m_programs;
    std::optional<ObjectRef> m_reported;
    std::optional<Search> m_search;
    std::uint64_t m_generation = 0;
};

} // namespace nomara::atspi
