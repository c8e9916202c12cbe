#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nomara {

/// One program as its desktop entry describes it.
struct DesktopEntry {
    std::string id; ///< without ".desktop"; folders are joined with "-"
    std::string name;
    std::string windowClass; ///< StartupWMClass; empty where the entry doesn't tell
    std::string executable;  ///< base name of the program in Exec; empty where it can't be told
    bool inTerminal = false;
    friend bool operator==(const DesktopEntry&, const DesktopEntry&) = default;
};

/// Reads an entry's text; absent when it isn't a program's, or is marked as deleted.
std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text);

/// The installed programs. An entry in an earlier folder hides those of the same id in later ones.
/// Callable from any thread. Folders are looked at again when one of them has changed.
class DesktopEntries {
public:
    /// Data folders in order of precedence; their "applications" folders are read.
    explicit DesktopEntries(std::vector<std::filesystem::path> dataFolders);

    /// $XDG_DATA_HOME and $XDG_DATA_DIRS, with their defaults.
    static std::vector<std::filesystem::path> standardFolders();

    std::optional<DesktopEntry> withID(std::string_view id);
    /// By what the entry says about its windows, else by an id that is or ends in the name, whatever its case.
    std::optional<DesktopEntry> withWindowClass(std::string_view name);
    /// Entries that open a terminal are left out: the window would be the terminal's.
    std::optional<DesktopEntry> withExecutable(std::string_view baseName);

private:
    void refreshLocked();

    const std::vector<std::filesystem::path> m_folders;
    std::mutex m_mutex; // guards the two fields below it
    std::map<std::filesystem::path, std::filesystem::file_time_type> m_seen;
    std::vector<DesktopEntry> m_entries; ///< sorted by id, so that the answer is the same at every start
};

} // namespace nomara
