#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include <sys/types.h>

namespace nomara {

/// Who holds the kernel's locks on a file, for messages: other users' processes and other machines aren't seen.
namespace FileLocks {

/// Processes with a lock on the whole file, or folder.
std::vector<pid_t> wholeFile(const std::filesystem::path& file);
/// Processes with a lock on any of these bytes.
std::vector<pid_t> bytes(const std::filesystem::path& file, std::uint64_t first, std::uint64_t last);

} // namespace FileLocks

} // namespace nomara
