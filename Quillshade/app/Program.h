#pragma once

#include "Quillshade/app/Arguments.h"
#include "platform/Platform.h"

namespace nomara {

/// The program from its arguments to its exit code: it carries out what was asked of the settings, hands it to the
/// program that runs already, or records until it is told to end. What goes wrong is said on the standard error.
int runProgram(int argc, char** argv, const Arguments& arguments, PlatformProvider& provider);

} // namespace nomara
