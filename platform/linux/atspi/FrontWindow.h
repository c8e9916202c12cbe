#pragma once

#include "platform/linux/atspi/Programs.h"

#include <vector>

namespace nomara::atspi::FrontWindow {

/// The one of a program's windows that its user works in; null where it can't be told for certain. Pure.
///
/// That is the only one that says it is active, or, where none does, the only one there is: a program that has just
/// been started, or whose menu has the keyboard, doesn't say. A wrong guess would put one window's text under another
/// one's name, a private one's perhaps, so of two there is no guess.
const ProgramWindow* among(const std::vector<ProgramWindow>& windows);

} // namespace nomara::atspi::FrontWindow
