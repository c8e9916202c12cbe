#pragma once

#include "Quillshade/settings/SettingsCommands.h"

#include <string>
#include <variant>

namespace nomara {

/// What the program was asked for when it was started.
struct Arguments {
    std::string dataDirectory;
    SettingsCommands settings;
    bool listsApplications = false;
    bool storesOnly = false;
};

constexpr int exitFailure = 1, exitUsage = 2;

/// The arguments; or, where all is said already (help, or what is wrong with them), the exit code.
std::variant<Arguments, int> parseArguments(int argc, char** argv);

} // namespace nomara
