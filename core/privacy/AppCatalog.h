#pragma once

#include <string>
#include <vector>

namespace nomara {

/// Fixed knowledge about other applications. Immutable; callable from any thread.
namespace AppCatalog {

/// Password managers: excluded from recording until the user says otherwise.
const std::vector<std::string>& defaultExcludedApps();

} // namespace AppCatalog

} // namespace nomara
