#include "core/policy/FrameGate.h"

#include <algorithm>
#include <limits>

namespace nomara::FrameGate {

namespace {

constexpr double settlingSeconds = 0.6; // a window that has just come up is still drawing itself
constexpr double mediaSeconds = 180;    // a film is sampled at most every three minutes
constexpr double noticeableFraction = 0.003;
constexpr double pauseSeconds = 1.2;
constexpr double largeFraction = 0.25;
constexpr double shortPauseSeconds = 0.6;

} // namespace

bool shouldCapture(const GateInput& input, const CapturePolicy& policy) {
    const double elapsed = input.lastCapture ? input.now - *input.lastCapture : std::numeric_limits<double>::infinity();
    if (elapsed < policy.minInterval) return false;
    if (input.contextChangedAt) return input.now - *input.contextChangedAt >= settlingSeconds;
    if (!input.lastCapture) return input.changed;
    if (!input.changed) return false;
    const bool noticeable = input.dirtyFraction >= noticeableFraction;
    if (input.mediaLike) return elapsed >= std::max(policy.heartbeat, mediaSeconds) && noticeable;
    if (noticeable && (input.inputIdle >= pauseSeconds || elapsed >= policy.heartbeat)) return true;
    // A big change needs a shorter pause but a longer gap.
    return input.dirtyFraction >= largeFraction && elapsed >= 2 * policy.minInterval &&
           input.inputIdle >= shortPauseSeconds;
}

bool isUnchanged(std::optional<int> hashDistance, double dirtyFraction, std::int64_t newLineCount) {
    return hashDistance && dirtyFraction < 0.01 && *hashDistance < 2 && newLineCount == 0;
}

} // namespace nomara::FrameGate
