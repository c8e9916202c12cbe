#pragma once

#include "Quillshade/capture/RecorderTypes.h"
#include "Quillshade/settings/RecorderConfig.h"
#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/WindowInspector.h"
#include "platform/RunningApplications.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nomara {

/// What one look at the screen goes by, and what it has found out before it comes to the displays.
struct TickContext {
    double now = 0; ///< monotonic seconds
    Date date;
    const RecorderConfig& config;
    const CapturePolicy& policy;
    FrontmostApp app;

    WindowList windows; ///< on the screen, read once, so that all decisions of a tick are about the same screen
    WindowSnapshot window;
    std::string windowKey; ///< tells this window from the others of its program, as far as they can be told apart
    std::string contextKey;
    std::vector<Display> displays;
    Display display;                 ///< the active one
    std::optional<double> inputIdle; ///< seconds; absent where it isn't known
    /// Whether a password is being typed can't be told: nothing of what windows show is kept, only what they are
    /// called.
    bool titlesOnly = false;
};

/// What may be recorded of the front window's page.
struct FrontPage {
    std::optional<std::string> url;
    SkipReason::Kind stop = SkipReason::Kind::none; ///< why nothing of it may be kept
    bool isBrowser = false;
    BrowserPrivacy::Front browser; ///< where it is one
};

/// Of a place its part within `bounds`, as fractions of these from the top left; none where they don't meet.
std::optional<RelativeRect> relativeRect(const Rect& place, const Rect& bounds);

/// How much of one window's text is kept.
constexpr std::int64_t maxCaptureCharacters = 40'000, maxCaptureLines = 2'000;

} // namespace nomara
