#pragma once

#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/windows/WindowInspector.h"
#include "core/privacy/WindowPrivacy.h"
#include "platform/ApplicationIdentity.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace nomara {

/// What is known of the browser windows on the screen: whether they are private and which pages they show. Asking for
/// that is slow, so a window that has proved itself is asked again only when the answer may have changed.
///
/// Times are the caller's, in monotonic seconds. Runs on the recorder's queue, but for `visibleWindows`.
class BrowserPrivacy {
public:
    /// A page address under one title: a tab's title and its address belong together.
    struct Address {
        std::optional<std::string> url;
        double askedAt = 0;
    };
    struct Facts {
        /// True: private, and stays so. False: the window's controls were searched and none says so. Absent: unknown.
        std::optional<bool> privateMarker;
        bool unmatched = false; ///< the last time one asked, accessibility had no window that could only be this one
        std::map<std::optional<std::string>, Address> urls; ///< by title
        double lastAttempt = 0;                             ///< when one last asked
        double lastSeen = 0;                                ///< when the window was last in a list
        AccessibleElement element;                          ///< the one that the answers came from, where one was found
    };
    /// An answer that needs no question.
    struct Known {
        std::string url;
        bool privateMarker = false;
    };

    BrowserPrivacy(WindowInspector& inspector, WindowServer& windowServer, IdentityResolver identify);

    /// The windows of browsers on the screen, the frontmost first. Callable from any thread.
    std::vector<ScreenWindow> visibleWindows();

    /// Grades every window of both lists, of which `previous` may be absent.
    WindowPrivacy::Verdicts verdicts(const std::vector<ScreenWindow>& latest,
                                     const std::optional<std::vector<ScreenWindow>>& previous,
                                     const RecorderConfig& config, double now);

    /// What is known for certain of a front window: its marker, and a recent address under this title. Only what was
    /// learned of this very element counts.
    std::optional<Known> known(std::uint32_t windowID, const AccessibleElement& element,
                               const std::optional<std::string>& title, double now) const;
    /// Keeps what was read of a front window elsewhere.
    void record(const std::optional<std::string>& url, std::optional<bool> privateMarker, std::uint32_t windowID,
                const AccessibleElement& element, const std::optional<std::string>& title, double now);

    const std::map<std::uint32_t, Facts>& facts() const { return m_facts; }

private:
    struct Grading;
    struct Owner {
        std::string name, role;
        bool isBrowser = false;
        bool isAlwaysPrivate = false;
    };

    Owner ownerOf(const WindowInfo& window);
    bool isAlwaysPrivate(ProcessID pid);
    std::optional<WindowPrivacy::Verdict> verdictOf(const ScreenWindow& window, bool mayAsk, Grading& grading);
    bool shouldAsk(const ScreenWindow& window, bool mayAsk, const Grading& grading) const;
    void ask(const ScreenWindow& window, Grading& grading);
    BrowserFacts read(const AccessibleElement& element);
    void forgetOldFacts(double now);
    bool noneIsPrivate(const ScreenWindow& window, const std::vector<InspectedWindow>& inspected);

    WindowInspector& m_inspector;
    WindowServer& m_windowServer;
    const IdentityResolver m_identify;
    std::map<std::uint32_t, Facts> m_facts; ///< by the window server's number

    std::mutex m_ownersLock; // guards m_owners
    std::unordered_map<ProcessID, Owner> m_owners;
};

} // namespace nomara
