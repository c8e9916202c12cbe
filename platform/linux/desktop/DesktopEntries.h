#pragma once

#include "platform/linux/desktop/DesktopEntry.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace nomara {

/// Where programs and what they open are described, in order of precedence.
struct DesktopFolders {
    std::vector<std::filesystem::path> data;          ///< programs lie in their "applications" folders
    std::vector<std::filesystem::path> configuration; ///< lists of associations lie in these and beside the programs

    /// $XDG_DATA_HOME, $XDG_DATA_DIRS, $XDG_CONFIG_HOME and $XDG_CONFIG_DIRS with their defaults, and where Flatpak
    /// and Snap keep theirs.
    static DesktopFolders standard();
};

/// The programs that were installed at one moment. Immutable.
class InstalledPrograms {
public:
    InstalledPrograms() = default;
    explicit InstalledPrograms(std::vector<DesktopEntry> entries);

    const std::vector<DesktopEntry>& all() const { return m_entries; }
    const DesktopEntry* withID(std::string_view id) const;
    /// By what the entry says about its windows, else by an id that is or ends in the name, whatever its case.
    const DesktopEntry* withWindowClass(std::string_view name) const;
    /// Entries that open a terminal are left out: the window would be the terminal's.
    const DesktopEntry* withExecutable(std::string_view baseName) const;
    /// Whether any entry of this executable is a browser's.
    bool hasBrowserWithExecutable(std::string_view baseName) const;
    /// All entries that belong to one program: those that start it, and those of the same sandbox, whose id may be
    /// empty.
    std::vector<const DesktopEntry*> ofProgram(std::string_view baseName, std::string_view sandbox) const;

private:
    std::vector<DesktopEntry> m_entries; ///< sorted by id, so that the answer is the same at every start
};

/// Reads the installed programs. An entry in an earlier folder hides those of the same id in later ones, but a browser
/// in one of them is a browser. Callable from any thread.
class DesktopEntries {
public:
    explicit DesktopEntries(DesktopFolders folders);

    /// Read anew when a folder or a list of associations has changed; else the same object.
    std::shared_ptr<const InstalledPrograms> current();

private:
    using Seen = std::map<std::filesystem::path, std::filesystem::file_time_type>;

    const DesktopFolders m_folders;
    std::mutex m_mutex; // held while the folders are looked at: the two fields below it
    Seen m_seen;
    std::shared_ptr<const InstalledPrograms> m_current = std::make_shared<const InstalledPrograms>();
};

} // namespace nomara
