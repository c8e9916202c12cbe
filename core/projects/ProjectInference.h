#pragma once

#include "core/base/LoginName.h"
#include "core/projects/ProjectRule.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// What the user is working on, read from the window in front: the user's own rules first, then one way of reading for
/// each family of applications. Any other application has no project. Pure; safe on any bytes; callable from any
/// thread.
namespace ProjectInference {

/// A short name, or nothing. A rule's name is answered as the user typed it.
std::optional<std::string> infer(std::optional<std::string_view> bundleID, std::optional<std::string_view> appName,
                                 std::optional<std::string_view> windowTitle, std::optional<std::string_view> url,
                                 const std::vector<ProjectRule>& rules, std::string_view login = loginName());

/// The host of a URL, lower case and without one leading "www."; nothing if it has none.
std::optional<std::string> host(std::optional<std::string_view> url);

/// The pieces of a title between its dashes, bars and dots, without the marks that decorate them; never an empty one.
std::vector<std::string> titleParts(std::string_view title);

/// A project's name out of a piece of a title: without "Edited" and the brackets around it. Nothing if fewer than 2 or
/// more than 80 characters are left.
std::optional<std::string> clean(std::string_view text);

} // namespace ProjectInference

} // namespace nomara
