#pragma once

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
    std::string icon;       ///< name in the icon theme, or a file; empty where there is none
    bool isBrowser = false; ///< calls itself a web browser, or opens http links
    friend bool operator==(const DesktopEntry&, const DesktopEntry&) = default;
};

/// Reads an entry's text; absent when it isn't a program's, or is marked as deleted.
std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text);

/// Ids of the entries that a list of associations ("mimeapps.list") gives http links to, as the default or besides.
/// Mail programs and editors among them count as browsers too: they show pages.
std::vector<std::string> parseLinkHandlers(std::string_view text);

} // namespace nomara
