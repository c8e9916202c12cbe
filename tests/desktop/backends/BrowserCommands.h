#pragma once

#include <string>
#include <vector>

namespace nomara {

/// Browsers with a profile of their own that show a page at once, without questions to a new user.
namespace BrowserCommands {

std::vector<std::string> chromium(const std::string& address);
std::vector<std::string> firefox(const std::string& address);

} // namespace BrowserCommands

} // namespace nomara
