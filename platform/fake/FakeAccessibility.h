#pragma once

#include "platform/Accessibility.h"

#include <functional>
#include <map>
#include <mutex>

namespace nomara {

/// Windows with text that the test has scripted. Callable from any thread, so that a test may change a window while
/// the recorder reads.
class FakeAccessibility final : public Accessibility {
public:
    struct Window {
        std::optional<std::string> title;
        std::optional<Rect> frame;
        std::string text;
        std::optional<std::string> address;
        bool finished = true; ///< false: the walk's limits ended it
        BrowserFacts facts = {std::nullopt, false, true};
        bool isActive = false;
        std::vector<UnprovenLine> unproven = {};
        /// Absent: the text is all that the window shows, where there is any.
        std::optional<std::vector<TextPlace>> places = {};
        bool isPage = false;
        std::string language = {};
    };
    /// How often each kind of question has been asked.
    struct Counts {
        int isTrusted = 0;
        int focusIsSecure = 0;
        int frontWindow = 0;
        int windows = 0;
        int documentAddress = 0;
        int browserFacts = 0;
        int text = 0;
    };

    bool isTrusted() override;
    std::string unavailableReason() override;
    SecureFocus focusIsSecure(ProcessID front) override;
    std::optional<AccessibleWindow> frontWindow(ProcessID pid) override;
    std::vector<AccessibleWindow> windows(ProcessID pid) override;
    std::optional<std::string> documentAddress(const AccessibleElement& window) override;
    BrowserFacts browserFacts(const AccessibleElement& window, bool deep) override;
    WindowText text(const AccessibleElement& element, const std::optional<Rect>& frame,
                    const TextLimits& limits) override;

    /// Trusted from the start. An empty reason means trusted.
    void setUnavailable(std::string reason);
    void setFocusSecure(SecureFocus secure);
    /// The windows of a process, the focused one first; none at all is a program without accessibility.
    void setWindows(ProcessID pid, std::vector<Window> windows);
    void setText(ProcessID pid, std::string text); ///< of the process's first window, which must be there
    /// Runs at the start of every `text`, outside the lock: a slow program, or one that changes meanwhile.
    void setOnText(std::function<void()> onText);
    Counts counts() const;
    /// What the last `text` was asked with.
    TextLimits lastLimits() const;
    std::optional<Rect> lastFrame() const;

private:
    std::vector<AccessibleWindow> windowsLocked(ProcessID pid) const;
    const Window* find(const AccessibleElement& element) const;

    mutable std::mutex m_mutex; // guards all fields below it
    std::string m_reason;
    SecureFocus m_focusSecure = SecureFocus::no;
    std::map<ProcessID, std::vector<Window>> m_windows;
    std::function<void()> m_onText;
    Counts m_counts;
    TextLimits m_lastLimits;
    std::optional<Rect> m_lastFrame;
};

} // namespace nomara
