#pragma once

#include "platform/linux/atspi/Requests.h"
#include "platform/linux/atspi/Toolkit.h"

namespace nomara::atspi {

/// Walks through a browser window's own controls, level by level, past its pages. A program that hangs costs one
/// messaging timeout, one that is merely slow a second. Of programs whose controls are not known only the window's name
/// is read.
BrowserFacts readBrowserControls(AtspiBus& bus, const ObjectRef& window, Toolkit toolkit);

} // namespace nomara::atspi
