#pragma once

#include "Quillshade/capture/FrontmostTracker.h"
#include "Quillshade/capture/TickContext.h"
#include "core/policy/ContextTitle.h"
#include "platform/InputActivity.h"

#include <optional>
#include <string>

namespace nomara {

/// Decides whether anything of the front window may be recorded: at once by what it is, then by the page that it shows.
/// What is expensive comes last, and is asked only of what the cheap questions let through.
class FrontWindowGuard {
public:
    struct Services {
        WindowInspector& inspector;
        BrowserPrivacy& browserPrivacy;
        WindowServer& windowServer;
        InputActivity& input;
        const FrontmostTracker& frontmost;
        std::optional<std::string> ownBundleID; ///< this application's own identifier: it never records itself
    };
    struct Stop {
        SkipReason reason;
        bool dropsImages = false; ///< images from before aren't to be stored either
    };

    explicit FrontWindowGuard(Services services) : m_services(std::move(services)) {}

    /// Finds out what the tick needs to know of the front window, or why it ends here.
    std::optional<Stop> examine(TickContext& tick);

    FrontPage page(const TickContext& tick);
    /// Whether that page is still the one in front, after it was read.
    bool isStillShown(const TickContext& tick, const FrontPage& page);

    static HeldBackPage heldBackPage(const TickContext& tick, SkipReason::Kind reason);
    /// Whether nothing has changed that could make a page that was held back another one.
    static bool isStillHeldBack(const DisplayState& state, const TickContext& tick);

private:
    static bool isBrowser(const FrontmostApp& app);
    static std::string windowKey(const TickContext& tick);
    FrontPage browserPage(const TickContext& tick);

    const Services m_services;
    ContextTitle m_contextTitle;
};

} // namespace nomara
