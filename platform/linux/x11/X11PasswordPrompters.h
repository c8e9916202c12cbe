#pragma once

#include "platform/ApplicationIdentity.h"

#include <functional>

namespace nomara {

class X11Connection;

/// Whether a secret is being asked for on the screen: a window of a password prompter is shown or has the keyboard, or
/// a window has it that its program placed past the window manager, as screen lockers and some prompters do to be
/// alone with the keyboard. Menus and tips don't take it. True also when the server can't be asked.
/// Nothing is grabbed. `windows`: what is on the screen.
bool isPasswordAskedFor(X11Connection& connection, const WindowList& windows,
                        const std::function<bool(const WindowOwner&)>& isPrompter);

} // namespace nomara
