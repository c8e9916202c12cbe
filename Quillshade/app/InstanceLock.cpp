#include "Quillshade/app/InstanceLock.h"

#include "core/base/Hash.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;

// In the session's runtime folder, which is the user's alone, so that erasing the data folder can't take the lock away.
// Without a session it lies beside the data folder, where only the user can write.
fs::path lockFile(const fs::path& dataDirectory) {
    std::error_code error;
    fs::path canonical = fs::weakly_canonical(dataDirectory, error);
    if (error) canonical = dataDirectory;
    if (!canonical.has_filename()) canonical = canonical.parent_path();
    char name[64];
    std::snprintf(name, sizeof name, "quillshade-%016llx.lock",
                  static_cast<unsigned long long>(fnv1a(canonical.string())));
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return (runtime != nullptr && *runtime != '\0' ? fs::path(runtime) : canonical.parent_path()) / name;
}

/// Opens a lock file, as long as it is ours: anybody may have put one where others can write.
int openOwn(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat status {};
    if (descriptor < 0 || (fstat(descriptor, &status) == 0 && status.st_uid == geteuid())) return descriptor;
    close(descriptor);
    return -1;
}

} // namespace

InstanceLock::InstanceLock(const fs::path& dataDirectory) : m_file(openOwn(lockFile(dataDirectory))) {
    // Between the two questions the holder may have ended; then the lock is free after all.
    for (int tries = 0; m_file >= 0 && !m_holder && tries < 3; ++tries) {
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (fcntl(m_file, F_SETLK, &lock) == 0) return;
        if (fcntl(m_file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) m_holder = lock.l_pid;
    }
}

InstanceLock::~InstanceLock() {
    if (m_file >= 0) close(m_file);
}

} // namespace nomara
