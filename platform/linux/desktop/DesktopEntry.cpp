#include "platform/linux/desktop/DesktopEntry.h"

#include "platform/linux/desktop/KeyFile.h"
#include "platform/linux/desktop/Names.h"

#include <utility>

namespace nomara {

namespace {

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

bool isLinkScheme(std::string_view type) {
    return type == "x-scheme-handler/http" || type == "x-scheme-handler/https";
}

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string id, std::string_view text) {
    DesktopEntry entry;
    entry.id = std::move(id);
    std::string command, tried;
    bool isApplication = false, isDeleted = false;
    KeyFile::forEachKey(text, [&](std::string_view group, std::string_view key, std::string_view written) {
        if (group != "[Desktop Entry]") return;
        const std::string value = unescaped(written);
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
        else if (key == "Icon")
            entry.icon = value;
        else if (key == "Terminal")
            entry.inTerminal = value == "true";
        else if (key == "Hidden")
            isDeleted = value == "true";
        else if (key == "Categories")
            KeyFile::forEachPiece(value, [&](std::string_view piece) {
                if (piece == "WebBrowser") entry.isBrowser = true;
            });
        else if (key == "MimeType")
            KeyFile::forEachPiece(value, [&](std::string_view piece) {
                if (isLinkScheme(piece)) entry.isBrowser = true;
            });
    });
    if (!isApplication || isDeleted) return std::nullopt;
    entry.executable = executableOf(command.empty() ? tried : command);
    if (entry.name.empty()) entry.name = entry.id;
    return entry;
}

std::vector<std::string> parseLinkHandlers(std::string_view text) {
    std::vector<std::string> ids;
    KeyFile::forEachKey(text, [&](std::string_view group, std::string_view key, std::string_view value) {
        if (!isLinkScheme(key) || (group != "[Default Applications]" && group != "[Added Associations]")) return;
        KeyFile::forEachPiece(value, [&](std::string_view file) {
            constexpr std::string_view ending = ".desktop";
            if (file.ends_with(ending)) file.remove_suffix(ending.size());
            ids.emplace_back(file);
        });
    });
    return ids;
}

} // namespace nomara
