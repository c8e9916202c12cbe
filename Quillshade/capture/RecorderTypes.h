#pragma once

#include "core/geometry/Geometry.h"
#include "core/imaging/TileDigest.h"
#include "core/policy/PolicyEngine.h"
#include "core/records/Frames.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// The values that the recorder shows to the rest of the application.

namespace nomara {

/// What the recorder is doing, as the user sees it.
struct RecorderStatus {
    enum class Kind {
        recording,
        stopped,
        paused,
        locked,
        asleep,
        needsPermission,
        waiting, ///< for settings that can be read, or for a memory that can be written
    };

    Kind kind = Kind::stopped;
    bool textOnly = false; ///< of `recording`: no images are taken
    friend bool operator==(const RecorderStatus&, const RecorderStatus&) = default;

    bool isRecording() const { return kind == Kind::recording; }
};

/// Why nothing on the screen is being recorded although recording runs.
struct SkipReason {
    enum class Kind {
        excludedApp,
        none,
        ownApp,
        secureInput,
        privateWindow,
        excludedSite,
        unverifiedBrowser,
        unknownFocus
    };

    Kind kind = Kind::none;
    std::string name; ///< of `excludedApp`: the application's
    friend bool operator==(const SkipReason&, const SkipReason&) = default;
};

/// A page that was found not to be recorded: until something changes it isn't asked again.
struct HeldBackPage {
    SkipReason::Kind reason = SkipReason::Kind::none;
    double at = 0; ///< monotonic seconds
    std::string window;
    std::optional<std::string> title;
    std::vector<std::uint64_t> windows; ///< on the screen, the frontmost first
    bool isOutdated = false;            ///< the settings have changed since
};

/// What the recorder remembers of one display between ticks. Times in monotonic seconds.
struct DisplayState {
    std::optional<double> lastCaptureAt;   ///< last pass through the gate that reached a verdict
    std::optional<std::uint64_t> lastHash; ///< of the last stored frame, as the two that follow
    TileDigest lastTiles;
    double lastStoredAt = 0;
    double paintedSinceStored = 0; ///< the sum of the display's parts; may exceed 1
    std::optional<HeldBackPage> heldBack;
    std::optional<std::uint64_t> lastReadTiles; ///< of the last image that was read and said nothing new
    bool isReadFromPicture = false;             ///< the window's text is known from its picture alone
    bool showsNewText = false;                  ///< the last stored frame brought a line's worth of text
    bool hasUnreadChange = false;               ///< what may be text, that couldn't be read and isn't stored
    /// Context key of the last frame that was stored while the front window lay on the display, else of the first one.
    std::optional<std::string> capturedContext;
    bool isStoredSince = false;                ///< a frame was stored since then, without the front window
    std::optional<std::string> pendingContext; ///< a new context key that waits for the screen to settle
    std::string pendingWindow;                 ///< whose it is
    std::optional<double> contextChangedAt;    ///< when that window was first seen
    double changeBeganAt = 0;                  ///< when the context was first another than the captured one
    double titleChangedAt = 0;                 ///< when that window's title was last seen to change
};

/// What came of a look at a display that was worth more than a glance.
enum class LookResult {
    none, ///< there hasn't been one
    stored,
    storedText,    ///< without a picture
    unchanged,     ///< nothing new on it
    noImage,       ///< the display has handed over no image yet
    staleImage,    ///< the image may still show what was held back before
    heldBack,      ///< the front window must not be recorded; the skip reason tells why
    windowsMoving, ///< a window that must be hidden can't be located in the image
    failed,        ///< the image couldn't be masked, or the frame not be stored
};

/// What the recorder is doing with the displays, for whoever asks.
struct CaptureReport {
    struct DisplayReport {
        DisplayID id = 0;
        std::string name;
        Rect bounds;
        bool isActive = false;    ///< the front window lies on it
        bool isStreaming = false; ///< its images are taken
        LookResult lastLook = LookResult::none;
        std::optional<Date> lookedAt;
    };
    struct Picture {
        RowID frameID = 0;
        DisplayID displayID = 0;
        Date at;
    };
    std::vector<DisplayReport> displays;
    std::string streamTrouble;          ///< why the last stream could not start or ended, until one works
    std::set<std::string> openSegments; ///< relative to the frames folder
    std::optional<Picture> lastPicture; ///< since the start
    bool accessibilityTrusted = false;
    std::string accessibilityReason; ///< why other programs' windows can't be read, as a sentence; empty if they can
};

} // namespace nomara
