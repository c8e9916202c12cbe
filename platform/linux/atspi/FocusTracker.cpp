#include "platform/linux/atspi/FocusTracker.h"

#include "platform/linux/atspi/FocusedField.h"
#include "platform/linux/atspi/ShownWalk.h"

#include <algorithm>

namespace nomara::atspi {

namespace {

constexpr std::size_t mostSearched = 3000;
// The focus moves by itself, without a report, in few programs; browsers report every move of it, and a walk over a
// page takes them some tens of milliseconds.
constexpr std::chrono::seconds searchValidFor{3}, browserSearchValidFor{15};
constexpr const char* rootPath = "/org/a11y/atspi/accessible/root";

SteadyClock::time_point soon() {
    return SteadyClock::now() + messagingTimeout;
}

bool mayHoldFocus(Role role) {
    switch (treatmentOf(role)) {
    case Treatment::skipped:
    case Treatment::secure:
    case Treatment::staticText:
    case Treatment::field:
        return false;
    default:
        return true;
    }
}

} // namespace

void FocusTracker::noteFocus(const ObjectRef& object, bool focused) {
    m_search.reset();
    if (focused)
        m_reported = object;
    else if (m_reported == object)
        m_reported.reset();
}

SecureFocus FocusTracker::isSecure(ProcessID front) {
    if (m_generation != m_bus.generation()) {
        m_generation = m_bus.generation();
        m_reported.reset();
        m_search.reset();
    }
    const Focus reported = checkReported();
    if (reported.focused && reported.secure) return SecureFocus::yes;
    if (m_reported && !reported.answered && m_programs.mayBelongTo(m_reported->bus, front, soon()))
        return SecureFocus::unknown;
    if (reported.focused && !reported.mayHoldAnother) {
        bool complete = false;
        for (const ProgramWindow& window :
             m_programs.activeWindows({ObjectRef{m_reported->bus, rootPath}}, soon(), complete))
            if (window.isUsable()) return SecureFocus::no;
    }

    Windows windows = activeWindows(front);
    // One window has the keyboard, so programs that stay silent don't matter once it is found.
    if (windows.objects.empty()) {
        if (!windows.complete) return SecureFocus::unknown;
        windows = shownWindows(front);
        if (!windows.complete) return SecureFocus::unknown;
    }
    if (!m_search || m_search->windows != windows.objects || SteadyClock::now() >= m_search->validUntil)
        return searchAll(windows.objects);
    return m_search->answer;
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
    CallPipeline calls(m_bus, soon());
    ask::states(calls, object, [&](std::optional<States> answer) { states = answer; });
    ask::role(calls, object, [&](std::optional<Role> answer) { role = answer; });
    Focus focus;
    focus.answered = calls.run() == CallPipeline::Outcome::answered;
    if (!focus.answered || !states || !role) return focus;
    focus.focused = states->isFocused();
    focus.secure = *role == Role::passwordText;
    if (focus.focused) {
        askTyping(calls, object, *role, *states, m_programs.toolkit(object.bus, soon()),
                  [&](Typing typing) { focus.secure = typing != Typing::shown; });
        focus.answered = calls.run() == CallPipeline::Outcome::answered;
    }
    const Treatment treatment = treatmentOf(*role);
    // What manages its descendants has the focus in place of them.
    const bool isParagraphTypedInto = *role == Role::paragraph && states->isEditable();
    focus.mayHoldAnother = (treatment == Treatment::structure || treatment == Treatment::container) &&
                           !states->managesDescendants() && !isParagraphTypedInto;
    return focus;
}

/// The windows that say they have the keyboard, of all programs: a window of another one than the window manager names
/// may have taken it.
FocusTracker::Windows FocusTracker::activeWindows(ProcessID front) {
    Windows windows;
    const auto programs = m_programs.all(soon());
    if (!programs) return windows;
    std::vector<ObjectRef> askable = *programs;
    std::erase_if(askable, [&](const ObjectRef& program) { return !m_bus.mayAsk(program.bus); });
    bool allAnswered = false;
    for (const ProgramWindow& window : m_programs.activeWindows(askable, soon(), allAnswered))
        if (window.isUsable()) windows.objects.push_back(window.object);
    std::vector<ObjectRef> silent = *programs;
    std::erase_if(silent, [&](const ObjectRef& program) { return m_bus.mayAsk(program.bus); });
    // Where nobody is known to be silent, there wasn't time for all.
    windows.complete =
        (allAnswered || !silent.empty()) && std::none_of(silent.begin(), silent.end(), [&](const ObjectRef& program) {
            return m_programs.mayBelongTo(program.bus, front, soon());
        });
    return windows;
}

/// Some programs never say that a window of theirs is active.
FocusTracker::Windows FocusTracker::shownWindows(ProcessID front) {
    Windows windows;
    const std::vector<ObjectRef> programs = m_programs.ofProcess(front, soon());
    for (const ProgramWindow& window : m_programs.windows(programs, soon()))
        if (window.isUsable() && window.states.isShowing()) windows.objects.push_back(window.object);
    windows.complete = std::all_of(programs.begin(), programs.end(),
                                   [&](const ObjectRef& program) { return m_bus.mayAsk(program.bus); });
    return windows;
}

SecureFocus FocusTracker::searchAll(const std::vector<ObjectRef>& windows) {
    m_search.reset();
    bool areBrowsers = true;
    SecureFocus answer = SecureFocus::no;
    for (const ObjectRef& window : windows) {
        const Toolkit toolkit = m_programs.toolkit(window.bus, soon());
        areBrowsers = areBrowsers && toolkit.kind != Toolkit::Kind::other;
        const SecureFocus found = search(window, toolkit);
        if (found == SecureFocus::yes) return found;
        if (found == SecureFocus::unknown) answer = found;
    }
    const auto validFor = answer == SecureFocus::no && areBrowsers ? browserSearchValidFor : searchValidFor;
    m_search = {windows, answer, SteadyClock::now() + validFor};
    return answer;
}

SecureFocus FocusTracker::search(const ObjectRef& window, const Toolkit& toolkit) {
    const auto deadline = soon();
    if (toolkit.isSlow) return SecureFocus::unknown;
    std::vector<ObjectRef> focused;
    const bool complete = walkShown(m_bus, window, toolkit, mostSearched, deadline, [&](const ShownNode& node) {
        if (node.states.isFocused()) focused.push_back(node.object);
        if (node.states.isFocused() && !mayHoldFocus(node.role)) return WalkStep::finish;
        return mayHoldFocus(node.role) ? WalkStep::enter : WalkStep::pass;
    });
    // Where a page and a field in it both claim the focus, the inner one comes last.
    if (!focused.empty()) m_reported = focused.back();
    bool known = complete;
    for (const ObjectRef& object : focused) {
        const Focus focus = check(object);
        if (focus.focused && focus.secure) return SecureFocus::yes;
        if (!focus.answered) return SecureFocus::unknown;
        known = known || (focus.focused && !focus.mayHoldAnother);
    }
    return known ? SecureFocus::no : SecureFocus::unknown;
}

} // namespace nomara::atspi
