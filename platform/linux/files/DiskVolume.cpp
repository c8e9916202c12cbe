#include "platform/linux/files/DiskVolume.h"

#include <sys/statvfs.h>

namespace nomara {

std::optional<std::int64_t> DiskVolume::availableBytes(const std::filesystem::path& folder) {
    struct statvfs status {};
    if (statvfs(folder.c_str(), &status) != 0) return std::nullopt;
    return static_cast<std::int64_t>(status.f_bavail) * static_cast<std::int64_t>(status.f_frsize);
}

} // namespace nomara
