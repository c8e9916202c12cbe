#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/linux/desktop/DesktopEntries.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

namespace nomara {

/// Tells which application a window belongs to, from the strongest sign to the weakest: the sandbox that the program
/// runs in, a well-known program's file, its window class, its desktop entry. The program's file is asked before the
/// window class, which anybody can set: a browser that calls its windows something else is a browser all the same.
/// Callable from any thread.
class ApplicationIdentifier {
public:
    explicit ApplicationIdentifier(std::vector<std::filesystem::path> dataFolders = DesktopEntries::standardFolders(),
                                   std::filesystem::path processes = "/proc");

    ApplicationIdentity identify(const WindowOwner& owner);

private:
    ApplicationIdentity find(const WindowOwner& owner);

    DesktopEntries m_entries;
    const std::filesystem::path m_processes;

    // A process number is used again, so its start time belongs to the key; and one process may own windows of several
    // classes.
    using Key = std::tuple<ProcessID, std::string, std::string, std::string>;
    std::mutex m_mutex; // m_known
    std::map<Key, ApplicationIdentity> m_known;
};

} // namespace nomara
