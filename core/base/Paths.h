#pragma once

#include "core/base/Date.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace nomara {

/// Where everything lies on disk. Without state: every operation reads the environment afresh.
/// Callable from any thread.
namespace NomaraPaths {

/// $NOMARA_DATA_DIR where set and not empty, else "Nomara" in the user's application-data folder.
std::filesystem::path dataDirectory();
std::filesystem::path databaseURL();
std::filesystem::path framesDirectory();
std::filesystem::path pendingDirectory();
std::filesystem::path segmentsDirectory();
std::filesystem::path tmpDirectory();
/// The file of a path as the `segments` table holds it.
std::filesystem::path framesFile(const std::string& relativePath);

/// Creates the folders that are missing, for the owner alone. Throws std::filesystem::filesystem_error.
void ensureDirectories();

/// Bytes that a file takes on disk; 0 for one that can't be read.
std::int64_t fileSize(const std::filesystem::path& file);
/// Bytes that all regular files below a folder take on disk.
std::int64_t directorySize(const std::filesystem::path& folder);

} // namespace NomaraPaths

} // namespace nomara
