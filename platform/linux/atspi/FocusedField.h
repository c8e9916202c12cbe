#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

namespace nomara::atspi {

/// What becomes visible of what is typed into the object with the keyboard focus.
enum class Typing {
    shown,
    hidden,  ///< dots, or nothing
    unknown, ///< nothing tells that it is shown
};

/// The object's role and states are known already; `toolkit` is its program's. An empty field whose role doesn't tell
/// is `shown`: its first character is enough to tell.
void askTyping(CallPipeline& calls, const ObjectRef& object, Role role, const States& states, const Toolkit& toolkit,
               const std::function<void(Typing)>& take);

} // namespace nomara::atspi
