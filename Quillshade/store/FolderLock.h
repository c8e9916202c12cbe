#pragma once

#include <filesystem>

#include <sys/types.h>

namespace nomara {

/// Sees to it that one process at a time works on a data folder. The lock is on the folder itself: whichever way it is
/// reached, and whatever is removed from it, it holds; a folder that is moved takes it along, and the kernel lets go of
/// it when the process ends. Another machine that shares the disk doesn't see it. Used by one thread at a time.
class FolderLock {
public:
    FolderLock() = default;
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    /// Takes the lock of the folder that lies there now, in exchange for the one held before. False, and the lock is
    /// as before, where another process has it. Where folders can't be locked it is taken as if nobody else were there.
    bool take(const std::filesystem::path& folder);
    /// The process that has it, as far as that can be told; otherwise 0.
    static pid_t holder(const std::filesystem::path& folder);

private:
    int m_folder = -1;
};

} // namespace nomara
