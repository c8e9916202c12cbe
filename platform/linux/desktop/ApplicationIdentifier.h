#pragma once

#include "platform/ApplicationIdentity.h"
#include "platform/linux/desktop/DesktopEntries.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace nomara {

/// Tells which application a window belongs to, from the strongest sign to the weakest: the sandbox that the program
/// runs in, a well-known program's file, its window class, its desktop entry. The program's file is asked before the
/// window class, which anybody can set. Where the signs differ, the careful answer wins: what any of them calls a
/// password manager or prompter is one, and what any of them calls a browser counts as one, also a program without a
/// desktop entry whose window has the role that browsers give theirs.
/// One process may show several applications, as an office suite does. A window of it has told which one it is when its
/// class or the desktop entry that it names is known; until then it may be any of them. A title that ends in the name
/// of one counts too: a window may become another application's, its title first. Callable from any thread. An answer
/// is kept while the process lives, and found anew when a program that wasn't seen before shows that others were
/// installed; for a process that is known it costs reading one small file.
class ApplicationIdentifier {
public:
    explicit ApplicationIdentifier(DesktopFolders folders = DesktopFolders::standard(),
                                   std::filesystem::path processes = "/proc");

    ApplicationIdentity identify(const WindowOwner& owner);

private:
    struct Found {
        ApplicationIdentity identity;
        bool hasTold = false; ///< the window says by itself which application it is
        /// The applications of its program by identifier, and as their names end a title.
        std::vector<std::pair<std::string, std::string>> relatives;
    };

    Found find(const WindowOwner& owner, const InstalledPrograms& installed) const;

    DesktopEntries m_entries;
    const std::filesystem::path m_processes;

    // A process number is used again, so its start time belongs to it.
    using Process = std::pair<ProcessID, std::string>;
    // One process may own windows of several classes and roles: the names of both halves of the class, the role, and
    // the desktop entry.
    using Key = std::tuple<Process, std::string, std::string, std::string, std::string>;

    ApplicationIdentity answer(const Process& process, const Found& found, const std::string& title) const;

    std::mutex m_mutex; // the fields below
    std::map<Key, Found> m_known;
    std::set<Process> m_browsers;                     ///< one window told; the other ones of the process may not
    std::map<Process, std::set<std::string>> m_shown; ///< the applications that windows of a process told
    std::shared_ptr<const InstalledPrograms> m_installed;
};

} // namespace nomara
