#include "platform/linux/atspi/FocusTracker.h"

#include <functional>

namespace nomara::atspi {

namespace {

// A search without `Collection` reads states alone; a window with more showing objects is not searched to its end.
constexpr std::size_t mostSearched = 3000;
constexpr std::int32_t mostChildren = 256;
constexpr const char* rootPath = "/org/a11y/atspi/accessible/root";

} // namespace

void FocusTracker::noteFocus(const ObjectRef& object, bool focused) {
    if (focused)
        m_reported = object;
    else if (m_reported == object)
        m_reported.reset();
}

bool FocusTracker::isSecure() {
    if (m_generation != m_bus.generation()) {
        m_generation = m_bus.generation();
        m_lastAnswer.reset();
        m_reported.reset();
    }
    const Focus reported = checkReported();
    const auto answer = [&](bool secure) { return *(m_lastAnswer = secure); };
    if (reported.focused && reported.secure) return answer(true);
    if (m_reported && !reported.answered && m_bus.isHung(m_reported->bus)) return m_lastAnswer.value_or(true);
    if (reported.focused && !reported.mayHoldAnother &&
        !activeWindows({ObjectRef{m_reported->bus, rootPath}}).windows.empty())
        return answer(false);

    const ActiveWindows active = activeWindows(m_programs.responsive(SteadyClock::now() + messagingTimeout));
    // One window has the keyboard, so programs that stay silent don't matter once it is found.
    bool known = active.complete || !active.windows.empty();
    for (const ObjectRef& window : active.windows) {
        const Focus found = search(window);
        if (found.secure) return answer(true);
        known = known && found.answered;
    }
    return known ? answer(false) : m_lastAnswer.value_or(true);
}

/// A report that arrives while the last one is checked replaces it; the second look settles it.
FocusTracker::Focus FocusTracker::checkReported() {
    Focus focus;
    for (int look = 0; look < 2 && m_reported; ++look) {
        const ObjectRef object = *m_reported;
        focus = check(object);
        if (m_reported == object) return focus;
    }
    return m_reported ? focus : Focus();
}

FocusTracker::Focus FocusTracker::check(const ObjectRef& object) {
    std::optional<States> states;
    std::optional<Role> role;
    CallPipeline calls(m_bus, SteadyClock::now() + messagingTimeout);
    ask::states(calls, object, [&](std::optional<States> answer) { states = answer; });
    ask::role(calls, object, [&](std::optional<Role> answer) { role = answer; });
    calls.run();
    if (!states || !role) return {};
    const Treatment treatment = treatmentOf(*role);
    return {true, states->isFocused(), *role == Role::passwordText,
            treatment == Treatment::structure || treatment == Treatment::container};
}

FocusTracker::ActiveWindows FocusTracker::activeWindows(const std::vector<ObjectRef>& programs) {
    ActiveWindows active;
    const auto deadline = SteadyClock::now() + messagingTimeout;
    for (const ProgramWindow& window : m_programs.activeWindows(programs, deadline, active.complete))
        if (window.isUsable()) active.windows.push_back(window.object);
    return active;
}

FocusTracker::Focus FocusTracker::search(const ObjectRef& window) {
    const auto deadline = SteadyClock::now() + messagingTimeout;
    std::vector<ObjectRef> focused;
    Focus focus;
    focus.answered = findFocused(window, deadline, focused);
    CallPipeline calls(m_bus, deadline);
    for (const ObjectRef& object : focused)
        ask::role(calls, object, [&](std::optional<Role> role) {
            focus.answered = focus.answered && role;
            focus.secure = focus.secure || role == Role::passwordText;
        });
    focus.answered = calls.run() == CallPipeline::Outcome::answered && focus.answered;
    focus.focused = !focused.empty();
    // Where a page and a field in it both claim the focus, the inner one comes last.
    if (focus.focused) m_reported = focused.back();
    return focus;
}

/// Appends what has the focus below a window. False when the program didn't answer in time.
bool FocusTracker::findFocused(const ObjectRef& window, SteadyClock::time_point deadline,
                               std::vector<ObjectRef>& focused) {
    CallPipeline calls(m_bus, deadline);
    std::size_t searched = 0;
    std::function<void(const ObjectRef&)> visit;
    const auto visitChildren = [&](const ObjectRef& object) {
        ask::children(calls, object, [&](std::optional<std::vector<ObjectRef>> children) {
            if (!children) return;
            for (const ObjectRef& child : *children)
                if (!child.isNull() && ++searched <= mostSearched) visit(child);
        });
    };
    visit = [&](const ObjectRef& object) {
        ask::states(calls, object, [&, object](std::optional<States> states) {
            if (!states || !states->isShowing()) return;
            if (states->isFocused()) focused.push_back(object);
            ask::childCount(calls, object, [&, object](std::optional<std::int32_t> count) {
                // Rows of a long list are no fields, and merely naming them takes the program longer than it may.
                if (count && *count > 0 && *count <= mostChildren) visitChildren(object);
            });
        });
    };
    ask::interfaces(calls, window, [&](std::optional<Interfaces> interfaces) {
        if (!interfaces) return;
        if (!interfaces->collection) return visitChildren(window);
        ask::matches(calls, window, {.stateBit = States::focusedBit}, [&](std::optional<std::vector<ObjectRef>> found) {
            if (found) focused = std::move(*found);
        });
    });
    return calls.run() == CallPipeline::Outcome::answered;
}

} // namespace nomara::atspi
