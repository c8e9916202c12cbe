#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>

namespace nomara::libav {

/// Puts a file with one table of all its pictures in the place of one that grew by fragments: it opens several times
/// faster. Written beside, synced and renamed, so that whatever happens one of the two is there. Where it can't be
/// done, where the file doesn't hold `pictures` pictures as they were written, where `givenUp` is set meanwhile, or
/// where the file has lost its name, nothing changes.
void completeSegment(const std::filesystem::path& file, std::int64_t pictures, const std::atomic<bool>& givenUp);

/// The file beside, which an interrupted completion leaves.
std::filesystem::path unfinishedCompletion(const std::filesystem::path& file);

} // namespace nomara::libav
