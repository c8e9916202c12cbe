#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nomara {

/// How the programs of Linux name what they show, where their titles differ from those of other desktops. Pure; safe on
/// any bytes; callable from any thread.
namespace LinuxTitles {

/// The project behind the title of an editor, a terminal, a document or a file manager; nothing for other programs.
/// `appName` is the program's name in the user's language.
std::optional<std::string> project(std::string_view bundleID, std::optional<std::string_view> appName,
                                   std::string_view title, std::string_view login);

} // namespace LinuxTitles

} // namespace nomara
