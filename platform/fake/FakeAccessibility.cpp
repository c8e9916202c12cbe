#include "platform/fake/FakeAccessibility.h"

#include <charconv>
#include <utility>

namespace nomara {

namespace {

// An element's reference is "PID/INDEX".
AccessibleElement elementOf(ProcessID pid, std::size_t index) {
    return {std::to_string(pid) + "/" + std::to_string(index)};
}

} // namespace

bool FakeAccessibility::isTrusted() {
    const std::lock_guard lock(m_mutex);
    ++m_counts.isTrusted;
    return m_reason.empty();
}

std::string FakeAccessibility::unavailableReason() {
    const std::lock_guard lock(m_mutex);
    return m_reason;
}

SecureFocus FakeAccessibility::focusIsSecure(ProcessID /*front*/) {
    const std::lock_guard lock(m_mutex);
    ++m_counts.focusIsSecure;
    return m_reason.empty() ? m_focusSecure : SecureFocus::unknown;
}

std::optional<AccessibleWindow> FakeAccessibility::frontWindow(ProcessID pid) {
    const std::lock_guard lock(m_mutex);
    ++m_counts.frontWindow;
    const auto windows = windowsLocked(pid);
    if (windows.empty()) return std::nullopt;
    return windows.front();
}

std::vector<AccessibleWindow> FakeAccessibility::windows(ProcessID pid) {
    const std::lock_guard lock(m_mutex);
    ++m_counts.windows;
    return windowsLocked(pid);
}

std::optional<std::string> FakeAccessibility::documentAddress(const AccessibleElement& window) {
    const std::lock_guard lock(m_mutex);
    ++m_counts.documentAddress;
    const Window* found = find(window);
    return found ? found->address : std::nullopt;
}

BrowserFacts FakeAccessibility::browserFacts(const AccessibleElement& window, bool deep) {
    const std::lock_guard lock(m_mutex);
    ++m_counts.browserFacts;
    const Window* found = find(window);
    if (!found) return {};
    return deep ? found->facts : BrowserFacts{found->facts.url, false, false};
}

WindowText FakeAccessibility::text(const AccessibleElement& element, const std::optional<Rect>& frame,
                                   const TextLimits& limits) {
    std::function<void()> onText;
    {
        const std::lock_guard lock(m_mutex);
        ++m_counts.text;
        m_lastLimits = limits;
        m_lastFrame = frame;
        onText = m_onText;
    }
    if (onText) onText();
    const std::lock_guard lock(m_mutex);
    const Window* found = find(element);
    if (!found) return {};
    WindowText text{.text = found->text,
                    .unproven = found->unproven,
                    .visited = 1,
                    .finished = found->finished,
                    .isPage = found->isPage,
                    .language = found->language,
                    .places = found->places.value_or(std::vector<TextPlace>())};
    if (!found->places && found->frame && !found->text.empty())
        text.places.push_back({TextPlace::Kind::content, *found->frame});
    return text;
}

void FakeAccessibility::setUnavailable(std::string reason) {
    const std::lock_guard lock(m_mutex);
    m_reason = std::move(reason);
}

void FakeAccessibility::setFocusSecure(SecureFocus secure) {
    const std::lock_guard lock(m_mutex);
    m_focusSecure = secure;
}

void FakeAccessibility::setWindows(ProcessID pid, std::vector<Window> windows) {
    const std::lock_guard lock(m_mutex);
    m_windows[pid] = std::move(windows);
}

void FakeAccessibility::setText(ProcessID pid, std::string text) {
    const std::lock_guard lock(m_mutex);
    m_windows.at(pid).at(0).text = std::move(text);
}

void FakeAccessibility::setOnText(std::function<void()> onText) {
    const std::lock_guard lock(m_mutex);
    m_onText = std::move(onText);
}

FakeAccessibility::Counts FakeAccessibility::counts() const {
    const std::lock_guard lock(m_mutex);
    return m_counts;
}

TextLimits FakeAccessibility::lastLimits() const {
    const std::lock_guard lock(m_mutex);
    return m_lastLimits;
}

std::optional<Rect> FakeAccessibility::lastFrame() const {
    const std::lock_guard lock(m_mutex);
    return m_lastFrame;
}

std::vector<AccessibleWindow> FakeAccessibility::windowsLocked(ProcessID pid) const {
    std::vector<AccessibleWindow> answer;
    const auto found = m_windows.find(pid);
    if (!m_reason.empty() || found == m_windows.end()) return answer;
    for (std::size_t i = 0; i < found->second.size(); ++i)
        answer.push_back(
            {elementOf(pid, i), found->second[i].title, found->second[i].frame, found->second[i].isActive});
    return answer;
}

const FakeAccessibility::Window* FakeAccessibility::find(const AccessibleElement& element) const {
    if (!m_reason.empty()) return nullptr;
    const auto slash = element.reference.find('/');
    if (slash == std::string::npos) return nullptr;
    ProcessID pid = 0;
    std::size_t index = 0;
    const char* const text = element.reference.data();
    std::from_chars(text, text + slash, pid);
    std::from_chars(text + slash + 1, text + element.reference.size(), index);
    const auto windows = m_windows.find(pid);
    if (windows == m_windows.end() || index >= windows->second.size()) return nullptr;
    return &windows->second[index];
}

} // namespace nomara
