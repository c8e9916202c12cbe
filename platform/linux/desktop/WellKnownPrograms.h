#pragma once

#include <span>
#include <string_view>

namespace nomara {

/// One row of the tables that `WellKnownApplications` looks names up in.
struct WellKnownProgram {
    std::string_view bundleID;
    std::string_view name;    ///< empty where the catalogue of Linux applications has it
    std::string_view aliases; ///< lower case, with '|' between them
};

/// Programs that exist on several platforms, by the identifiers that all of them share.
std::span<const WellKnownProgram> sharedPrograms();
/// What the applications of Linux are called besides their identifier, which itself is no row.
std::span<const WellKnownProgram> linuxPrograms();

} // namespace nomara
