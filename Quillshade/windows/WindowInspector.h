#pragma once

#include "platform/Accessibility.h"
#include "platform/WindowServer.h"

#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// What is known of a process's front window. Without an element its text can't be read.
struct WindowSnapshot {
    std::optional<std::string> title;
    std::optional<Rect> frame; ///< global display coordinates
    std::optional<AccessibleElement> element;
    friend bool operator==(const WindowSnapshot&, const WindowSnapshot&) = default;
};

/// A window of a process as accessibility knows it.
struct InspectedWindow {
    AccessibleElement element;
    std::optional<std::string> title;
    std::optional<Rect> frame; ///< as the window server counts it, where `numbers` names a window
    /// The window server's numbers of the windows that this can be: one if it is certain, none if it isn't on the
    /// screen or nothing can be told.
    std::vector<std::uint32_t> numbers;
    friend bool operator==(const InspectedWindow&, const InspectedWindow&) = default;
};

/// The recorder's one door to other programs' windows: accessibility first, the window server where that is silent.
/// Used on one thread, the recorder's. Nothing fails; what can't be read is absent.
class WindowInspector {
public:
    WindowInspector(Accessibility& accessibility, WindowServer& windowServer);

    bool isTrusted();
    /// Whether a password field has the keyboard while this process is in front.
    SecureFocus focusIsSecure(ProcessID front);
    /// `windows`: what is on the screen.
    WindowSnapshot snapshot(ProcessID pid, const WindowList& windows);
    std::vector<InspectedWindow> windows(ProcessID pid);
    /// Which of these windows a snapshot of this process shows; absent where it isn't certain.
    std::optional<WindowInfo> find(ProcessID pid, const WindowSnapshot& snapshot, const WindowList& windows);
    /// What is on the screen at this moment.
    WindowList onScreen() { return m_windowServer.onScreenWindows(); }
    BrowserFacts browserFacts(const AccessibleElement& element, bool deep);
    /// The address of the document in a window; absent when only white space would be left.
    std::optional<std::string> documentAddress(const AccessibleElement& element);
    WindowText text(const AccessibleElement& element, const std::optional<Rect>& frame, const TextLimits& limits);

private:
    WindowList onScreen(ProcessID pid);

    Accessibility& m_accessibility;
    WindowServer& m_windowServer;
};

} // namespace nomara
