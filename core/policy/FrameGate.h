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
    double paintedFraction = 0;             ///< as `dirtyFraction`, what was painted twice counted once
    bool isReadFromPicture = false;         ///< the window's text is known from its picture alone
    bool showsNewText = false;              ///< the last frame brought a line's worth of text
};

/// Whether the newest image of a display deserves the expensive part of the pipeline. Pure; runs for every display on
/// every tick and allocates nothing.
namespace FrameGate {

bool shouldCapture(const GateInput& input, const CapturePolicy& policy);

/// The second question, when hash and text are known: does the image differ from the last stored one at all? An absent
/// distance counts as a difference. `changedFraction`: of the display, what looks otherwise than in that image.
bool isUnchanged(std::optional<int> hashDistance, double changedFraction, std::int64_t newLineCount);

/// Whether so much of a display can hold a word. A caret can't.
bool mayHoldText(double fraction);

} // namespace FrameGate

} // namespace nomara
