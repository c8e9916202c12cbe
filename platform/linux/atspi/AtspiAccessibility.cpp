#include "platform/linux/atspi/AtspiAccessibility.h"

#include "core/text/Graphemes.h"
#include "platform/linux/atspi/BrowserControls.h"
#include "platform/linux/atspi/DocumentFinder.h"
#include "platform/linux/atspi/FocusTracker.h"
#include "platform/linux/atspi/FrontWindow.h"
#include "platform/linux/atspi/Programs.h"
#include "platform/linux/atspi/TextReader.h"

namespace nomara {

using namespace atspi;

namespace {

AccessibleWindow answerOf(const ProgramWindow& window) {
    AccessibleWindow answer{elementOf(window.object), std::nullopt, std::nullopt};
    if (!Graphemes::trimmed(window.name).empty()) answer.title = window.name;
    if (window.isUsable()) answer.frame = window.extents;
    answer.isActive = window.states.isActive();
    return answer;
}

} // namespace

struct AtspiAccessibility::Parts {
    explicit Parts(Reading how) : reading(how) {}

    Reading reading;
    AtspiBus bus{[this](const ObjectRef& object, bool focused) { focus.noteFocus(object, focused); }};
    Programs programs{bus};
    FocusTracker focus{bus, programs};
    DocumentFinder documents{bus};

    std::optional<std::string> address(const ObjectRef& window) {
        const auto patience = SteadyClock::now() + messagingTimeout;
        // A walk through a window of many controls takes its program as long as reading it.
        if (!programs.mayShowPages(window.bus, patience)) return std::nullopt;
        return documents.address(window, programs.toolkit(window.bus, patience));
    }
};

AtspiAccessibility::AtspiAccessibility(Reading reading) : m_parts(std::make_unique<Parts>(reading)) {
    m_parts->bus.ready();
}

AtspiAccessibility::~AtspiAccessibility() = default;

bool AtspiAccessibility::isTrusted() {
    return m_parts->bus.ready();
}

std::string AtspiAccessibility::unavailableReason() {
    return m_parts->bus.ready() ? std::string() : m_parts->bus.reason();
}

SecureFocus AtspiAccessibility::focusIsSecure(ProcessID front) {
    return m_parts->bus.ready() ? m_parts->focus.isSecure(front) : SecureFocus::unknown;
}

std::optional<AccessibleWindow> AtspiAccessibility::frontWindow(ProcessID pid) {
    if (!m_parts->bus.ready()) return std::nullopt;
    const auto deadline = SteadyClock::now() + messagingTimeout;
    const auto windows = m_parts->programs.frontWindows(m_parts->programs.ofProcess(pid, deadline), deadline);
    const ProgramWindow* front = FrontWindow::among(windows);
    if (front == nullptr) return std::nullopt;
    return answerOf(*front);
}

std::vector<AccessibleWindow> AtspiAccessibility::windows(ProcessID pid) {
    std::vector<AccessibleWindow> answer;
    if (!m_parts->bus.ready()) return answer;
    const auto deadline = SteadyClock::now() + messagingTimeout;
    for (const ProgramWindow& window : m_parts->programs.windows(m_parts->programs.ofProcess(pid, deadline), deadline))
        answer.push_back(answerOf(window));
    return answer;
}

std::optional<std::string> AtspiAccessibility::documentAddress(const AccessibleElement& window) {
    const auto object = objectOf(window);
    if (!object || !m_parts->bus.ready()) return std::nullopt;
    return m_parts->address(*object);
}

BrowserFacts AtspiAccessibility::browserFacts(const AccessibleElement& window, bool deep) {
    const auto object = objectOf(window);
    if (!object || !m_parts->bus.ready()) return {};
    if (!deep) return {m_parts->address(*object), false, false};
    const Toolkit toolkit = m_parts->programs.toolkit(object->bus, SteadyClock::now() + messagingTimeout);
    return readBrowserControls(m_parts->bus, *object, toolkit);
}

std::uint64_t AtspiAccessibility::callsSent() const {
    return m_parts->bus.callsSent();
}

WindowText AtspiAccessibility::text(const AccessibleElement& element, const std::optional<Rect>& frame,
                                    const TextLimits& limits) {
    const auto root = objectOf(element);
    if (!root || !m_parts->bus.ready()) return {};
    const auto start = SteadyClock::now();
    TextRequest request{*root, frame, limits, {}, start};
    const auto patience = start + messagingTimeout;
    request.toolkit = m_parts->programs.toolkit(root->bus, patience);
    if (request.toolkit.isSlow || SteadyClock::now() >= patience) return {.text = {}, .visited = 0, .finished = false};
    const bool asksLess = m_parts->reading == Reading::automatic;
    if (!asksLess) request.toolkit.findsShownChildren = false;
    const TextTree tree = asksLess && request.toolkit.repeatsText ? readByMarks(m_parts->bus, request)
                                                                  : readByWalk(m_parts->bus, request);
    // There is time left of what one operation may take; the text alone has less.
    if (!tree.complete) m_parts->bus.awaitPings(start + messagingTimeout);
    return TextRules::compose(tree, frame, limits);
}

} // namespace nomara
