#pragma once

#include <filesystem>
#include <optional>

#include <sys/types.h>

namespace nomara {

/// Sees to it that one process at a time works on a data folder. The kernel lets go of the lock when the process ends,
/// however it does.
class InstanceLock {
public:
    /// Takes the lock, or learns who holds it. Where no lock file can be made, the data folder is locked as if nobody
    /// else were there: whatever stands in the way shows itself when the folder is used.
    explicit InstanceLock(const std::filesystem::path& dataDirectory);
    ~InstanceLock();
    InstanceLock(const InstanceLock&) = delete;
    InstanceLock& operator=(const InstanceLock&) = delete;

    /// The process that was there first; absent if the lock is ours.
    std::optional<pid_t> holder() const { return m_holder; }

private:
    int m_file = -1;
    std::optional<pid_t> m_holder;
};

} // namespace nomara
