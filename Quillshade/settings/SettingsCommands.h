#pragma once

#include "Quillshade/settings/AppSettings.h"

#include <string>
#include <vector>

namespace nomara {

/// What a person asks of the settings in one go, each as "KEY=VALUE".
struct SettingsCommands {
    std::vector<std::string> set, add, remove;

    bool isEmpty() const { return set.empty() && add.empty() && remove.empty(); }

    struct Outcome {
        std::string problem;            ///< a sentence; nothing was stored then
        std::vector<std::string> notes; ///< sentences about what the lists lose, and about what isn't known
    };
    /// Carries them out in this order, or none of them where one makes no sense.
    Outcome apply(AppSettings& settings) const;
};

/// A line for each application that can be named, "identifier  name", those that are installed or excluded alone; the
/// excluded ones are marked.
std::vector<std::string> listApplications(const AppSettings& settings);

} // namespace nomara
