#pragma once

#include <filesystem>
#include <string>

namespace nomara {

/// What the system tells about a running process. Texts are empty where that can't be read. Callable from any thread.
namespace ProcessFacts {

/// The base name of the program's file. Where the program hides that, as password managers do, the name that it was
/// started by.
std::string executable(const std::filesystem::path& process);
/// The base name of the first argument that is no option: what a program that runs other people's programs runs.
std::string script(const std::filesystem::path& process);
/// When it was started, as the system counts; together with the number it names one process for good.
std::string startTime(const std::filesystem::path& process);
std::string flatpakID(const std::filesystem::path& process);
/// "SNAP_APP", as the desktop entries of snaps are named, or "SNAP" where the app isn't told.
std::string snapName(const std::filesystem::path& process);

} // namespace ProcessFacts

} // namespace nomara
