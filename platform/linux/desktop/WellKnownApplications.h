#pragma once

#include "platform/ApplicationIdentity.h"

#include <string_view>

namespace nomara {

/// Programs by the identifiers under which the product's tables know them.
namespace WellKnownApplications {

/// `name` is a program's file name, a window class, a desktop entry's id, or a Flatpak or Snap name, in any case.
/// An empty identity for a name that isn't in the tables.
ApplicationIdentity find(std::string_view name);

} // namespace WellKnownApplications

} // namespace nomara
