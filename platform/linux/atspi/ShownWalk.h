#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

#include <functional>

namespace nomara::atspi {

struct ShownNode {
    ObjectRef object;
    Role role{};
    States states;
};

/// What a visitor wants after a node.
enum class WalkStep { enter, pass, finish };

/// Walks over what shows below a window, level by level. It stays out of what would cost the window's program more than
/// is known beforehand: rows of long lists, sheets, and what else has too many children to be listed.
///
/// Of `most` nodes at most the states and the role are asked. Answers whether everything was seen, or the visitor was
/// content: false where time, nodes or the number of children ended the walk.
bool walkShown(AtspiBus& bus, const ObjectRef& window, const Toolkit& toolkit, std::size_t most,
               SteadyClock::time_point deadline, const std::function<WalkStep(const ShownNode&)>& visit);

} // namespace nomara::atspi
