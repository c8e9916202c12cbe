#pragma once

#include "core/policy/PolicyEngine.h"

#include <cstdint>
#include <optional>

namespace nomara {

/// What is known of one display at one moment. Times in monotonic seconds.
struct GateInput {
    double now = 0;
    std::optional<double> lastCapture;
    bool changed = false;                   ///< the stream reported a change since the last take
    double dirtyFraction = 0;               ///< changed part of the display, summed over images: may exceed 1
    double inputIdle = 0;                   ///< seconds since the last key or pointer event
    std::optional<double> contextChangedAt; ///< when a new window was first seen that isn't captured yet
    bool mediaLike = false;                 ///< a film, a call, or a screen that keeps moving by itself
};

/// Whether the newest image of a display deserves the expensive part of the pipeline. Pure; runs for every display on
/// every tick and allocates nothing.
namespace FrameGate {

bool shouldCapture(const GateInput& input, const CapturePolicy& policy);

/// The second question, when hash and text are known: does the image differ from the last stored one at all? An absent
/// distance counts as a difference.
bool isUnchanged(std::optional<int> hashDistance, double dirtyFraction, std::int64_t newLineCount);

} // namespace FrameGate

} // namespace nomara
