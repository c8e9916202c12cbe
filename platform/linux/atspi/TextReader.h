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

    SteadyClock::time_point deadline() const;
};

/// Two ways to the same tree. Both leave what there was no time for marked as unread.
///
/// One question finds all showing objects, then their attributes and texts are asked for in document order.
struct MatchesAnswer {
    std::optional<TextTree> tree; ///< absent where the program doesn't answer that question in time, or at all
    SteadyClock::duration questionTook{};
};
/// The same for toolkits that mark in each text where children stand, with far fewer questions.
MatchesAnswer readByMarks(AtspiBus& bus, const TextRequest& request);
MatchesAnswer readByMatches(AtspiBus& bus, const TextRequest& request);
/// Level by level, without what isn't showing.
TextTree readByWalk(AtspiBus& bus, const TextRequest& request);

} // namespace nomara::atspi
