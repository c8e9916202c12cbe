#pragma once

#include "platform/WindowServer.h"

#include <vector>

namespace nomara {

class X11Connection;

/// The monitors as RandR tells them, one of them the main one; the whole screen where it tells none. Empty once the
/// connection is lost.
std::vector<Display> readX11Displays(X11Connection& connection);

} // namespace nomara
