#include "Quillshade/windows/WindowInspector.h"

#include "Quillshade/windows/WindowMatcher.h"
#include "core/text/Graphemes.h"

#include <algorithm>
#include <utility>

namespace nomara {

namespace {

// Smaller windows are tips and helpers without a life of their own.
constexpr double smallestWidth = 80, smallestHeight = 60;

WindowList ofProcess(WindowList windows, ProcessID pid) {
    std::erase_if(windows, [pid](const WindowInfo& window) { return window.pid != pid; });
    return windows;
}

/// What the window server knows of a process's foremost window.
WindowSnapshot withoutElement(ProcessID pid, const WindowList& windows) {
    for (const WindowInfo& window : windows) {
        if (window.pid != pid || window.layer != 0) continue;
        if (window.bounds && (window.bounds->width < smallestWidth || window.bounds->height < smallestHeight)) continue;
        return {window.title, window.bounds, std::nullopt};
    }
    return {};
}

} // namespace

WindowInspector::WindowInspector(Accessibility& accessibility, WindowServer& windowServer)
    : m_accessibility(accessibility), m_windowServer(windowServer) {}

bool WindowInspector::isTrusted() {
    return m_accessibility.isTrusted();
}

SecureFocus WindowInspector::focusIsSecure(ProcessID front) {
    return m_accessibility.isTrusted() ? m_accessibility.focusIsSecure(front) : SecureFocus::unknown;
}

WindowSnapshot WindowInspector::snapshot(ProcessID pid, const WindowList& windows) {
    if (!m_accessibility.isTrusted()) return withoutElement(pid, windows);
    const auto window = m_accessibility.frontWindow(pid);
    if (!window) return withoutElement(pid, windows);
    WindowSnapshot snapshot{window->title, window->frame, window->element};
    if (snapshot.title && snapshot.frame) return snapshot;
    const WindowSnapshot known = withoutElement(pid, windows);
    if (!snapshot.title) snapshot.title = known.title;
    if (!snapshot.frame) snapshot.frame = known.frame;
    return snapshot;
}

std::vector<InspectedWindow> WindowInspector::windows(ProcessID pid) {
    std::vector<InspectedWindow> answer;
    if (!m_accessibility.isTrusted()) return answer;
    // A window that came or went between the two questions could be taken for another one.
    constexpr int tries = 2;
    for (int attempt = 0; attempt < tries; ++attempt) {
        const auto before = onScreen(pid);
        const auto accessible = m_accessibility.windows(pid);
        const bool isStill = onScreen(pid) == before;
        if (!isStill && attempt + 1 < tries) continue;
        const auto numbers = WindowMatcher::match(accessible, isStill ? before : std::vector<WindowInfo>());
        for (std::size_t i = 0; i < accessible.size(); ++i) {
            InspectedWindow window{accessible[i].element, accessible[i].title, accessible[i].frame, numbers[i]};
            for (const WindowInfo& known : before)
                if (!numbers[i].empty() && known.number == numbers[i].front()) window.frame = known.bounds;
            answer.push_back(std::move(window));
        }
        break;
    }
    return answer;
}

std::optional<WindowInfo> WindowInspector::find(ProcessID pid, const WindowSnapshot& snapshot,
                                                const WindowList& windows) {
    if (!snapshot.element) return std::nullopt;
    const AccessibleWindow accessible{*snapshot.element, snapshot.title, snapshot.frame, false};
    const auto numbers = WindowMatcher::match({accessible}, ofProcess(windows, pid)).front();
    if (numbers.size() != 1) return std::nullopt;
    return *std::ranges::find(windows, numbers.front(), &WindowInfo::number);
}

BrowserFacts WindowInspector::browserFacts(const AccessibleElement& element, bool deep) {
    return m_accessibility.browserFacts(element, deep);
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

WindowList WindowInspector::onScreen(ProcessID pid) {
    return ofProcess(onScreen(), pid);
}

} // namespace nomara
