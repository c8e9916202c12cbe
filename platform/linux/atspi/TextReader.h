#pragma once

#include "platform/linux/atspi/CallPipeline.h"
#include "platform/linux/atspi/TextRules.h"
#include "platform/linux/atspi/Toolkit.h"

#include <optional>

namespace nomara::atspi {

/// What is to be read, and since when the clock runs.
struct TextRequest {
    ObjectRef root;
    std::optional<Rect> frame;
    TextLimits limits;
    Toolkit toolkit;
    SteadyClock::time_point start;

    SteadyClock::time_point deadline() const {
        return start +
               std::chrono::duration_cast<SteadyClock::duration>(std::chrono::duration<double>(limits.budgetSeconds));
    }
};

// Two ways to the same tree. Both enter only what shows, ask nothing whose cost to the program isn't known beforehand,
// and leave what there was no time for marked as unread.

/// For every toolkit.
TextTree readByWalk(AtspiBus& bus, const TextRequest& request);
/// For toolkits that mark in each text where children stand, with far fewer questions.
TextTree readByMarks(AtspiBus& bus, const TextRequest& request);

} // namespace nomara::atspi
