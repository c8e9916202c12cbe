#pragma once

#include <string>
#include <string_view>

namespace nomara {

/// How pieces of window titles are read as paths and as what a terminal says about itself. Pure; UTF-8, any bytes.
namespace TitleText {

/// Without the characters of `set` (scalars, UTF-8) at both ends.
std::string_view trimmed(std::string_view text, std::string_view set);
/// Without blanks of any width and tabs at both ends; line breaks stay.
std::string_view withoutBlanks(std::string_view text);

std::string lowerCased(std::string_view text);

/// Whether it begins at the root or in the user's folder.
bool isPath(std::string_view text);
/// The last component of a path, whatever slashes follow it; "/" for the root.
std::string_view lastComponent(std::string_view path);
/// Without what follows the last dot of the last component, unless the component begins with it.
std::string_view withoutExtension(std::string_view path);

/// Whether a lower-cased part of a terminal's title says nothing about a project: the name of a shell, the size of the
/// window, or the user's own name.
bool isTerminalNoise(std::string_view lowerCasedPart, std::string_view login);

} // namespace TitleText

} // namespace nomara
