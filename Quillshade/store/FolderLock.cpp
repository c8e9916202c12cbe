#include "Quillshade/store/FolderLock.h"

#include "Quillshade/store/FileLocks.h"
#include "core/base/Log.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara {

namespace {

bool isSame(int one, int other) {
    struct stat first {
    }, second{};
    return fstat(one, &first) == 0 && fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

} // namespace

FolderLock::~FolderLock() {
    if (m_folder >= 0) close(m_folder);
}

bool FolderLock::take(const std::filesystem::path& folder) {
    int other = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    bool isFree = true;
    if (other < 0 || !isSame(other, m_folder)) {
        if (other >= 0 && flock(other, LOCK_EX | LOCK_NB) == 0)
            std::swap(other, m_folder);
        else if (errno == EWOULDBLOCK)
            isFree = false;
        else
            Log::notice(LogCategory::storage, "The data folder " + folder.string() + " can't be locked (" +
                                                  std::generic_category().message(errno) +
                                                  "): a second Quillshade would not notice this one");
    }
    if (other >= 0) close(other);
    return isFree;
}

pid_t FolderLock::holder(const std::filesystem::path& folder) {
    const auto processes = FileLocks::wholeFile(folder);
    return processes.empty() ? 0 : processes.front();
}

} // namespace nomara
