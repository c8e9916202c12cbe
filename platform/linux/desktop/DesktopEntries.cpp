#include "platform/linux/desktop/DesktopEntries.h"

#include "platform/linux/desktop/FileContents.h"
#include "platform/linux/desktop/Names.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <set>
#include <sstream>
#include <utility>

namespace nomara {

namespace {

namespace fs = std::filesystem;

// Entries with all their translations stay below a tenth of it.
constexpr std::size_t maxFileBytes = 1'048'576;

std::string idOf(const fs::path& folder, const fs::path& file) {
    std::string id = file.lexically_relative(folder).string();
    id.resize(id.size() - std::string_view(".desktop").size());
    std::ranges::replace(id, '/', '-');
    return id;
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The user's folder, then those of the list between colons.
std::vector<fs::path> foldersOf(const std::string& own, const char* ownDefault, std::string others,
                                const char* othersDefault) {
    std::vector<fs::path> folders;
    if (!own.empty())
        folders.emplace_back(own);
    else if (const auto user = variable("HOME"); !user.empty())
        folders.emplace_back(fs::path(user) / ownDefault);
    if (others.empty()) others = othersDefault;
    std::istringstream list(others);
    for (std::string folder; std::getline(list, folder, ':');)
        if (!folder.empty()) folders.emplace_back(folder);
    return folders;
}

// "mimeapps.list", those of single desktops ("gnome-mimeapps.list"), and the name that they had once.
bool isAssociationList(const fs::path& file) {
    const std::string name = file.filename().string();
    return name.ends_with("mimeapps.list") || name == "defaults.list";
}

// LibreOffice is started by scripts of several names, with a number in some, and runs as another program.
std::string_view programOf(std::string_view executable) {
    for (const std::string_view name : {"libreoffice", "loffice", "soffice"})
        if (executable.starts_with(name)) return "soffice";
    return executable;
}

template <typename Iterator, typename Body>
void forEachFile(const fs::path& folder, Body body) {
    std::error_code error;
    for (Iterator i(folder, error), end; !error && i != end; i.increment(error))
        body(*i);
}

} // namespace

DesktopFolders DesktopFolders::standard() {
    DesktopFolders folders;
    folders.data =
        foldersOf(variable("XDG_DATA_HOME"), ".local/share", variable("XDG_DATA_DIRS"), "/usr/local/share:/usr/share");
    folders.configuration = foldersOf(variable("XDG_CONFIG_HOME"), ".config", variable("XDG_CONFIG_DIRS"), "/etc/xdg");
    // A session that was started without a login shell hasn't heard of these.
    std::vector<fs::path> besides = {"/var/lib/flatpak/exports/share", "/var/lib/snapd/desktop"};
    if (!folders.data.empty()) besides.insert(besides.begin(), folders.data.front() / "flatpak/exports/share");
    for (const fs::path& folder : besides)
        if (std::ranges::find(folders.data, folder) == folders.data.end()) folders.data.push_back(folder);
    return folders;
}

InstalledPrograms::InstalledPrograms(std::vector<DesktopEntry> entries) : m_entries(std::move(entries)) {
    std::ranges::sort(m_entries, {}, &DesktopEntry::id);
}

const DesktopEntry* InstalledPrograms::withID(std::string_view id) const {
    const auto found = std::ranges::find(m_entries, id, &DesktopEntry::id);
    return found == m_entries.end() ? nullptr : &*found;
}

const DesktopEntry* InstalledPrograms::withWindowClass(std::string_view name) const {
    if (name.empty()) return nullptr;
    const std::string wanted = Names::lowered(name);
    // From the surest sign to the weakest.
    const auto exact = [&](const DesktopEntry& e) { return e.windowClass == name; };
    const auto declared = [&](const DesktopEntry& e) { return Names::lowered(e.windowClass) == wanted; };
    const auto named = [&](const DesktopEntry& e) { return Names::lowered(e.id) == wanted; };
    const auto lastPart = [&](const DesktopEntry& e) {
        const std::string id = Names::lowered(e.id);
        const auto dot = id.rfind('.');
        return e.windowClass.empty() && dot != std::string::npos && id.substr(dot + 1) == wanted;
    };
    auto found = std::ranges::find_if(m_entries, exact);
    if (found == m_entries.end()) found = std::ranges::find_if(m_entries, declared);
    if (found == m_entries.end()) found = std::ranges::find_if(m_entries, named);
    if (found == m_entries.end()) found = std::ranges::find_if(m_entries, lastPart);
    return found == m_entries.end() ? nullptr : &*found;
}

const DesktopEntry* InstalledPrograms::withExecutable(std::string_view baseName) const {
    if (baseName.empty()) return nullptr;
    // A suite has an entry for each of its windows; the one that is named like the program is the program's own.
    const DesktopEntry* best = nullptr;
    for (const DesktopEntry& entry : m_entries) {
        if (entry.inTerminal || entry.executable != baseName) continue;
        if (best == nullptr || entry.id == baseName) best = &entry;
    }
    return best;
}

bool InstalledPrograms::hasBrowserWithExecutable(std::string_view baseName) const {
    return !baseName.empty() && std::ranges::any_of(m_entries, [&](const DesktopEntry& entry) {
        return entry.isBrowser && !entry.inTerminal && entry.executable == baseName;
    });
}

std::vector<const DesktopEntry*> InstalledPrograms::ofProgram(std::string_view baseName,
                                                              std::string_view sandbox) const {
    const std::string_view program = programOf(baseName);
    // "org.example.Suite" has "org.example.Suite.writer"; "suite_writer" has "suite_calc".
    const std::string_view package = sandbox.substr(0, sandbox.find('_'));
    const auto isOfSandbox = [&](std::string_view id) {
        return !package.empty() && id.size() > package.size() && id.starts_with(package) &&
               (id[package.size()] == '.' || id[package.size()] == '_');
    };
    std::vector<const DesktopEntry*> found;
    for (const DesktopEntry& entry : m_entries) {
        const bool isStarted = !program.empty() && !entry.inTerminal && programOf(entry.executable) == program;
        if (isStarted || isOfSandbox(entry.id)) found.push_back(&entry);
    }
    return found;
}

DesktopEntries::DesktopEntries(DesktopFolders folders) : m_folders(std::move(folders)) {}

std::shared_ptr<const InstalledPrograms> DesktopEntries::current() {
    const std::lock_guard lock(m_mutex);
    Seen now;
    std::vector<fs::path> lists;
    const auto look = [&](const fs::path& path) {
        std::error_code error;
        const auto time = fs::last_write_time(path, error);
        if (!error) now.emplace(path, time);
    };
    const auto lookForList = [&](const fs::directory_entry& file) {
        if (!isAssociationList(file.path())) return;
        lists.push_back(file.path());
        look(file.path());
    };
    // Installing or removing a program changes the time of the folder its entry lies in.
    for (const fs::path& data : m_folders.data) {
        const fs::path folder = data / "applications";
        look(folder);
        forEachFile<fs::recursive_directory_iterator>(folder, [&](const fs::directory_entry& file) {
            std::error_code unreadable;
            if (file.is_directory(unreadable)) look(file.path());
            lookForList(file);
        });
    }
    for (const fs::path& folder : m_folders.configuration)
        forEachFile<fs::directory_iterator>(folder, lookForList);
    if (now == m_seen) return m_current;
    m_seen = std::move(now);

    std::set<std::string, std::less<>> ids, browsers;
    std::vector<DesktopEntry> entries;
    for (const fs::path& data : m_folders.data) {
        const fs::path folder = data / "applications";
        forEachFile<fs::recursive_directory_iterator>(folder, [&](const fs::directory_entry& file) {
            if (file.path().extension() != ".desktop") return;
            const std::string id = idOf(folder, file.path());
            const bool isHidden = !ids.insert(id).second;
            auto entry = parseDesktopEntry(id, FileContents::read(file.path(), maxFileBytes));
            if (!entry) return;
            if (entry->isBrowser) browsers.insert(id);
            if (!isHidden) entries.push_back(std::move(*entry));
        });
    }
    for (const fs::path& list : lists)
        for (std::string& id : parseLinkHandlers(FileContents::read(list, maxFileBytes)))
            browsers.insert(std::move(id));
    for (DesktopEntry& entry : entries)
        if (browsers.contains(entry.id)) entry.isBrowser = true;
    m_current = std::make_shared<const InstalledPrograms>(std::move(entries));
    return m_current;
}

} // namespace nomara
