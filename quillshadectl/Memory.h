#pragma once

#include "core/store/MemoryStore.h"

#include <filesystem>
#include <string>

namespace nomara::ctl {

/// The memory in the folder, for reading; also while it is being recorded. Throws Fault or SQLiteError.
MemoryStore openMemory(const std::filesystem::path& folder, const Clock& clock);

/// What went wrong with the memory in that folder, in one sentence.
std::string explain(const SQLiteError& error, const std::filesystem::path& folder);

} // namespace nomara::ctl
