#pragma once

#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/windows/WindowInspector.h"
#include "Quillshade/windows/WindowRegistry.h"
#include "core/base/Clock.h"
#include "core/privacy/WindowPrivacy.h"
#include "platform/ApplicationIdentity.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace nomara {

/// Whether browser windows are private, and which pages they show. Asking for that is slow, so a window that has proved
/// itself is asked again only when the answer may have changed: what is known of it lies in a registry, from its first
/// sight to its end. While sites are excluded an address counts only for images taken between two readings of it.
///
/// Runs on the recorder's queue, but for `visibleWindows`.
class BrowserPrivacy {
public:
    /// What may be said of the window in front.
    struct Front {
        WindowPrivacy::Verdict verdict = WindowPrivacy::Verdict::unknown;
        std::optional<std::string> url;
        std::optional<WindowKey> window; ///< its entry; absent where it isn't certain which window this is
    };

    BrowserPrivacy(WindowInspector& inspector, WindowServer& windowServer, IdentityResolver identify,
                   const Clock& clock);

    /// The windows of browsers on the screen, the frontmost first. Callable from any thread.
    std::vector<ScreenWindow> visibleWindows();

    /// Grades every window of both lists, of which `previous` may be absent, for an image that was taken at `imageAt`.
    WindowPrivacy::Verdicts verdicts(const std::vector<ScreenWindow>& latest,
                                     const std::optional<std::vector<ScreenWindow>>& previous, double imageAt,
                                     const RecorderConfig& config);

    /// Enters what the title of a process's front window says. For whoever looks no further because of it.
    /// `windows`: what is on the screen.
    void observeTitle(ProcessID pid, const WindowSnapshot& window, const WindowList& windows);
    /// Grades a browser's front window, and reads its address. One that can't be told for certain from others has to
    /// prove itself each time.
    Front front(ProcessID pid, const WindowSnapshot& window, const WindowList& windows, bool isAlwaysPrivate,
                const RecorderConfig& config);
    /// Reads the address of a front window once more.
    std::optional<std::string> readAgain(const Front& front, const WindowSnapshot& window);

    /// All browser windows that must not be seen, on the screen or not, by number.
    std::vector<HiddenWindow> hiddenWindows(const RecorderConfig& config);

    const WindowRegistry& registry() const { return m_registry; }

private:
    struct Grading;
    struct Owner {
        bool isBrowser = false;
        bool isAlwaysPrivate = false;
    };
    using OwnerKey = std::tuple<std::uint64_t, ProcessID, std::string, std::string>; // with the class and the role

    Owner ownerOf(const WindowInfo& window);
    void endDestroyed();
    std::optional<WindowPrivacy::Verdict> verdictOf(const ScreenWindow& window, bool mayAsk, Grading& grading);
    bool shouldAsk(const WindowLife& life, const ScreenWindow& window, const Grading& grading) const;
    void ask(WindowLife& life, const ScreenWindow& window, Grading& grading);
    BrowserFacts read(const AccessibleElement& element, bool deep);
    bool noneIsPrivate(const ScreenWindow& window, const std::vector<InspectedWindow>& inspected);

    WindowInspector& m_inspector;
    WindowServer& m_windowServer;
    const IdentityResolver m_identify;
    const Clock& m_clock;
    WindowRegistry m_registry;

    std::mutex m_ownersLock; // guards m_owners
    std::map<OwnerKey, Owner> m_owners;
};

} // namespace nomara
