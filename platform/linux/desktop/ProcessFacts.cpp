#include "platform/linux/desktop/ProcessFacts.h"

#include "platform/linux/desktop/FileContents.h"
#include "platform/linux/desktop/Names.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

namespace nomara::ProcessFacts {

namespace {

// The longest of these files have a few thousand bytes, but what lies in a program's own root is up to that program.
std::string contents(const std::filesystem::path& file) {
    constexpr std::size_t maxBytes = 65'536;
    return FileContents::read(file, maxBytes);
}

// Calls `body` with every piece until it answers true.
template <typename Body>
void forEachPiece(std::string_view text, char separator, Body body) {
    while (!text.empty()) {
        const auto end = std::min(text.find(separator), text.size());
        if (body(text.substr(0, end))) return;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// The last part of a control group's path that starts with `prefix` and ends in ".scope" or ".service", without both.
std::string unitName(std::string_view groups, std::string_view prefix) {
    std::string found;
    forEachPiece(groups, '\n', [&](std::string_view line) {
        forEachPiece(line, '/', [&](std::string_view part) {
            const auto dot = part.rfind('.');
            if (!part.starts_with(prefix) || dot == std::string_view::npos) return false;
            const auto kind = part.substr(dot);
            if (kind == ".scope" || kind == ".service") found = part.substr(prefix.size(), dot - prefix.size());
            return false;
        });
        return false;
    });
    return found;
}

std::string executablePath(const std::filesystem::path& process) {
    std::error_code error;
    std::string target = std::filesystem::read_symlink(process / "exe", error).string();
    // An upgrade has replaced the file while the program runs.
    constexpr std::string_view replaced = " (deleted)";
    if (target.ends_with(replaced)) target.resize(target.size() - replaced.size());
    return target;
}

} // namespace

std::string executable(const std::filesystem::path& process) {
    if (std::string name = Names::baseName(executablePath(process)); !name.empty()) return name;
    const std::string line = contents(process / "cmdline");
    std::string_view started = std::string_view(line).substr(0, line.find('\0'));
    // A program that rewrites its line puts all arguments into the first.
    started = started.substr(0, started.find(" -"));
    if (!started.empty()) return Names::baseName(started);
    const std::string status = contents(process / "stat"); // "PID (NAME) STATE …", the name cut at 15 characters
    const auto begin = status.find('('), end = status.rfind(')');
    if (begin == std::string::npos || end == std::string::npos || end < begin) return {};
    return status.substr(begin + 1, end - begin - 1);
}

std::string script(const std::filesystem::path& process) {
    const std::string line = contents(process / "cmdline");
    std::string found;
    bool isFirst = true;
    forEachPiece(line, '\0', [&](std::string_view argument) {
        if (std::exchange(isFirst, false) || argument.starts_with('-')) return false;
        found = Names::baseName(argument);
        return true;
    });
    return found;
}

std::string startTime(const std::filesystem::path& process) {
    const std::string line = contents(process / "stat");
    // "PID (NAME) STATE …": the name may hold anything, so count from its last bracket. The start time is field 22.
    const auto bracket = line.rfind(')');
    if (bracket == std::string::npos) return {};
    std::string found;
    int field = 2;
    forEachPiece(std::string_view(line).substr(bracket + 1), ' ', [&](std::string_view piece) {
        if (piece.empty()) return false;
        if (++field < 22) return false;
        found = piece;
        return true;
    });
    return found;
}

std::string flatpakID(const std::filesystem::path& process) {
    const std::string info = contents(process / "root" / ".flatpak-info");
    std::string found;
    bool isInside = false;
    forEachPiece(info, '\n', [&](std::string_view line) {
        if (line.starts_with('[')) isInside = line == "[Application]";
        constexpr std::string_view key = "name=";
        if (isInside && line.starts_with(key)) found = line.substr(key.size());
        return !found.empty();
    });
    if (!found.empty()) return found;
    const std::string unit = unitName(contents(process / "cgroup"), "app-flatpak-"); // "ID-INSTANCE"
    return unit.substr(0, std::min(unit.rfind('-'), unit.size()));
}

std::string snapName(const std::filesystem::path& process) {
    // Programs that a snap starts share its control group and its environment; the place of their file tells them
    // apart.
    constexpr std::string_view folder = "/snap/";
    std::string name = executablePath(process);
    if (!name.starts_with(folder)) return {};
    name.erase(0, folder.size());
    name.resize(std::min(name.find('/'), name.size()));
    // "SNAP.APP-UUID" or "SNAP.APP"
    std::string unit = unitName(contents(process / "cgroup"), "snap.");
    constexpr std::size_t uuidLength = 36;
    if (unit.size() > uuidLength + 1 && unit[unit.size() - uuidLength - 1] == '-')
        unit.resize(unit.size() - uuidLength - 1);
    std::ranges::replace(unit, '.', '_');
    return unit.starts_with(name + "_") ? unit : name;
}

} // namespace nomara::ProcessFacts
