#pragma once

#include "platform/WindowServer.h"

#include <vector>

namespace nomara {

class X11Connection;

/// The windows that one sees, the frontmost first, in three round trips however many there are.
std::vector<WindowInfo> readX11Windows(const X11Connection& connection);

} // namespace nomara
