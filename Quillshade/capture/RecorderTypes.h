#pragma once

#include "core/policy/PolicyEngine.h"
#include "core/records/Frames.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// The values that the recorder shows to the rest of the application.

namespace nomara {

/// What the recorder is doing, as the user sees it.
struct RecorderStatus {
    enum class Kind { recording, stopped, paused, locked, asleep, needsPermission };

    Kind kind = Kind::stopped;
    bool textOnly = false; ///< of `recording`: no images are taken
    friend bool operator==(const RecorderStatus&, const RecorderStatus&) = default;

    bool isRecording() const { return kind == Kind::recording; }
};

/// Why nothing on the screen is being recorded although recording runs.
struct SkipReason {
    enum class Kind { excludedApp, none, ownApp, secureInput, privateWindow, excludedSite, unverifiedBrowser };

    Kind kind = Kind::none;
    std::string name; ///< of `excludedApp`: the application's
    friend bool operator==(const SkipReason&, const SkipReason&) = default;
};

/// What the recorder remembers of one display between ticks. Times in monotonic seconds.
struct DisplayState {
    std::optional<double> lastCaptureAt; ///< last pass through the gate that reached a verdict
    std::optional<std::uint64_t> lastHash;
    std::optional<std::string> capturedContext; ///< context key of the last stored frame
    std::optional<std::string> pendingContext;  ///< a new context key that waits for the screen to settle
    std::optional<double> contextChangedAt;
    std::optional<double> privacySkipAt;
    std::optional<double> privacyClearAt;
};

} // namespace nomara
