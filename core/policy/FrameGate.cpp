#include "core/policy/FrameGate.h"

#include <algorithm>
#include <limits>

namespace nomara::FrameGate {

namespace {

constexpr double settlingSeconds = 0.6; // a window that has just come up is still drawing itself
constexpr double mediaSeconds = 180;    // a film is sampled at most every three minutes
constexpr double scrollingSeconds = 5;  // whoever reads a line takes longer
constexpr double noticeableFraction = 0.003;
constexpr double pauseSeconds = 1.2;
constexpr double largeFraction = 0.25;
constexpr double shortPauseSeconds = 0.6;
// Of a display of 1920 x 1080, 1037 pixels: five letters of a terminal; one letter and a caret come to less.
constexpr double legibleFraction = 0.0005;

} // namespace

bool shouldCapture(const GateInput& input, const CapturePolicy& policy) {
    const double elapsed = input.lastCapture ? input.now - *input.lastCapture : std::numeric_limits<double>::infinity();
    if (elapsed < policy.minInterval) return false;
    if (input.contextChangedAt) return input.now - *input.contextChangedAt >= settlingSeconds;
    if (!input.lastCapture) return input.changed;
    if (!input.changed) return false;
    const bool noticeable = input.dirtyFraction >= noticeableFraction;
    // What scrolls by itself isn't a film as long as it brings something to read.
    if (input.mediaLike && input.showsNewText) return elapsed >= scrollingSeconds && noticeable;
    if (input.mediaLike) return elapsed >= std::max(policy.heartbeat, mediaSeconds) && noticeable;
    // Nothing else tells of a line that is shorter than that.
    const bool isLegible = input.isReadFromPicture && mayHoldText(input.paintedFraction);
    if ((noticeable || isLegible) && (input.inputIdle >= pauseSeconds || elapsed >= policy.heartbeat)) return true;
    // A big change needs a shorter pause but a longer gap.
    return input.dirtyFraction >= largeFraction && elapsed >= 2 * policy.minInterval &&
           input.inputIdle >= shortPauseSeconds;
}

bool isUnchanged(std::optional<int> hashDistance, double changedFraction, std::int64_t newLineCount) {
    return hashDistance && changedFraction < 0.01 && *hashDistance < 2 && newLineCount == 0;
}

bool mayHoldText(double fraction) {
    return fraction >= legibleFraction;
}

} // namespace nomara::FrameGate
