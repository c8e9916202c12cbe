#include "Quillshade/capture/WindowInspector.h"

#include "core/text/Graphemes.h"

namespace nomara {

namespace {

// Smaller windows are tips and helpers without a life of their own.
constexpr double smallestWidth = 80, smallestHeight = 60;

} // namespace

WindowInspector::WindowInspector(Accessibility& accessibility, WindowServer& windowServer)
    : m_accessibility(accessibility), m_windowServer(windowServer) {}

bool WindowInspector::isTrusted() {
    return m_accessibility.isTrusted();
}

bool WindowInspector::focusIsSecure() {
    return m_accessibility.isTrusted() && m_accessibility.focusIsSecure();
}

WindowSnapshot WindowInspector::snapshot(ProcessID pid) {
    if (!m_accessibility.isTrusted()) return fromWindowServer(pid);
    const auto window = m_accessibility.frontWindow(pid);
    if (!window) return fromWindowServer(pid);
    WindowSnapshot snapshot{window->title, window->frame, window->element};
    if (snapshot.title && snapshot.frame) return snapshot;
    const WindowSnapshot known = fromWindowServer(pid);
    if (!snapshot.title) snapshot.title = known.title;
    if (!snapshot.frame) snapshot.frame = known.frame;
    return snapshot;
}

std::vector<AccessibleWindow> WindowInspector::windows(ProcessID pid) {
    return m_accessibility.isTrusted() ? m_accessibility.windows(pid) : std::vector<AccessibleWindow>();
}

std::optional<std::string> WindowInspector::documentAddress(const AccessibleElement& element) {
    auto address = m_accessibility.documentAddress(element);
    if (address && Graphemes::trimmed(*address).empty()) address.reset();
    return address;
}

WindowText WindowInspector::text(const AccessibleElement& element, const std::optional<Rect>& frame,
                                 const TextLimits& limits) {
    return m_accessibility.text(element, frame, limits);
}

WindowSnapshot WindowInspector::fromWindowServer(ProcessID pid) {
    for (const WindowInfo& window : m_windowServer.onScreenWindows()) {
        if (window.pid != pid || window.layer != 0) continue;
        if (window.bounds && (window.bounds->width < smallestWidth || window.bounds->height < smallestHeight)) continue;
        return {window.title, window.bounds, std::nullopt};
    }
    return {};
}

} // namespace nomara
