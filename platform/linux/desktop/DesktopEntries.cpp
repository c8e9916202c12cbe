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
constexpr std::size_t maxEntryBytes = 1'048'576;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Values write a space, line feed, tab, carriage return and backslash as \s \n \t \r \\.
std::string unescaped(std::string_view value) {
    std::string result;
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        switch (const char next = value[++i]) {
        case 's':
            result += ' ';
            break;
        case 'n':
            result += '\n';
            break;
        case 't':
            result += '\t';
            break;
        case 'r':
            result += '\r';
            break;
        default:
            result += next;
        }
    }
    return result;
}

// The words of a command line: in double quotes a backslash takes the next character as it is.
std::vector<std::string> words(std::string_view command) {
    std::vector<std::string> result;
    std::string word;
    bool isQuoted = false, isWord = false;
    for (std::size_t i = 0; i < command.size(); ++i) {
        const char c = command[i];
        if (c == '"') {
            isQuoted = !isQuoted;
            isWord = true;
        } else if (c == '\\' && isQuoted && i + 1 < command.size()) {
            word += command[++i];
        } else if (!isQuoted && (c == ' ' || c == '\t')) {
            if (isWord) result.push_back(std::exchange(word, {}));
            isWord = false;
        } else {
            word += c;
            isWord = true;
        }
    }
    if (isWord) result.push_back(std::move(word));
    return result;
}

// The program that a command line starts: what stands in front of it sets its surroundings.
std::string executableOf(std::string_view command) {
    bool afterEnv = false, isArgument = false;
    for (const std::string& word : words(command)) {
        if (std::exchange(isArgument, false)) continue;
        std::string name = Names::baseName(word);
        if (afterEnv && (word.starts_with('-') || word.find('=') != std::string::npos)) {
            isArgument = word == "-u" || word == "-C";
            continue;
        }
        if (name != "env") return name;
        afterEnv = true;
    }
    return {};
}

std::string idOf(const fs::path& folder, const fs::path& file) {
    std::string id = file.lexically_relative(folder).string();
    id.resize(id.size() - std::string_view(".desktop").size());
    std::ranges::replace(id, '/', '-');
    return id;
}

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text) {
    DesktopEntry entry;
    entry.id = std::move(id);
    std::string command, tried;
    bool isInside = false, isApplication = false, isDeleted = false;
    while (!text.empty()) {
        const auto end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            isInside = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!isInside || equals == std::string_view::npos) continue;
        const std::string_view key = trimmed(line.substr(0, equals));
        const std::string value = unescaped(trimmed(line.substr(equals + 1)));
        if (key == "Type")
            isApplication = value == "Application";
        else if (key == "Name")
            entry.name = value;
        else if (key == "Exec")
            command = value;
        else if (key == "TryExec")
            tried = value;
        else if (key == "StartupWMClass")
            entry.windowClass = value;
        else if (key == "Terminal")
            entry.inTerminal = value == "true";
        else if (key == "Hidden")
            isDeleted = value == "true";
    }
    if (!isApplication || isDeleted) return std::nullopt;
    entry.executable = executableOf(command.empty() ? tried : command);
    if (entry.name.empty()) entry.name = entry.id;
    return entry;
}

DesktopEntries::DesktopEntries(std::vector<fs::path> dataFolders) : m_folders(std::move(dataFolders)) {}

std::vector<fs::path> DesktopEntries::standardFolders() {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string(value ? value : "");
    };
    std::vector<fs::path> folders;
    if (const auto home = variable("XDG_DATA_HOME"); !home.empty())
        folders.emplace_back(home);
    else if (const auto user = variable("HOME"); !user.empty())
        folders.emplace_back(fs::path(user) / ".local/share");
    std::string others = variable("XDG_DATA_DIRS");
    if (others.empty()) others = "/usr/local/share:/usr/share";
    std::istringstream list(others);
    for (std::string folder; std::getline(list, folder, ':');)
        if (!folder.empty()) folders.emplace_back(folder);
    return folders;
}

std::optional<DesktopEntry> DesktopEntries::withID(std::string_view id) {
    const std::lock_guard lock(m_mutex);
    refreshLocked();
    const auto found = std::ranges::find(m_entries, id, &DesktopEntry::id);
    return found == m_entries.end() ? std::nullopt : std::optional(*found);
}

std::optional<DesktopEntry> DesktopEntries::withWindowClass(std::string_view name) {
    if (name.empty()) return std::nullopt;
    const std::lock_guard lock(m_mutex);
    refreshLocked();
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
    return found == m_entries.end() ? std::nullopt : std::optional(*found);
}

std::optional<DesktopEntry> DesktopEntries::withExecutable(std::string_view baseName) {
    if (baseName.empty()) return std::nullopt;
    const std::lock_guard lock(m_mutex);
    refreshLocked();
    // A suite has an entry for each of its windows; the one that is named like the program is the program's own.
    const DesktopEntry* best = nullptr;
    for (const DesktopEntry& entry : m_entries) {
        if (entry.inTerminal || entry.executable != baseName) continue;
        if (!best || entry.id == baseName) best = &entry;
    }
    return best ? std::optional(*best) : std::nullopt;
}

void DesktopEntries::refreshLocked() {
    // Installing or removing a program changes the time of the folder its entry lies in.
    std::map<fs::path, fs::file_time_type> now;
    std::error_code error;
    for (const fs::path& data : m_folders) {
        const fs::path folder = data / "applications";
        const auto time = fs::last_write_time(folder, error);
        if (error) continue;
        now.emplace(folder, time);
        for (fs::recursive_directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
            std::error_code unreadable;
            if (!i->is_directory(unreadable)) continue;
            now.emplace(i->path(), fs::last_write_time(i->path(), unreadable));
        }
    }
    if (now == m_seen) return;
    m_seen = std::move(now);
    m_entries.clear();

    std::set<std::string> ids;
    for (const fs::path& data : m_folders) {
        const fs::path folder = data / "applications";
        for (fs::recursive_directory_iterator i(folder, error), end; !error && i != end; i.increment(error)) {
            if (i->path().extension() != ".desktop") continue;
            std::string id = idOf(folder, i->path());
            if (!ids.insert(id).second) continue;
            const std::string text = FileContents::read(i->path(), maxEntryBytes);
            if (auto entry = parseDesktopEntry(std::move(id), text)) m_entries.push_back(std::move(*entry));
        }
    }
    std::ranges::sort(m_entries, {}, &DesktopEntry::id);
}

} // namespace nomara
