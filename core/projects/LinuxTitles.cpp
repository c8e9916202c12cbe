#include "core/projects/LinuxTitles.h"

#include "core/applications/LinuxApplications.h"
#include "core/projects/ProjectInference.h"
#include "core/projects/TitleText.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace nomara::LinuxTitles {

namespace {

using Name = std::optional<std::string>;
using Parts = std::vector<std::string>;
using LinuxApplications::Kind;

/// A cleaned name; a bracket that belongs to it, as in "report (1)", stays.
Name named(std::string_view text) {
    Name name = ProjectInference::clean(text);
    if (!name) return name;
    for (const auto& [open, close] : {std::pair{'(', ')'}, std::pair{'[', ']'}})
        if (std::count(name->begin(), name->end(), open) == std::count(name->begin(), name->end(), close) + 1 &&
            text.ends_with(*name + close))
            *name += close;
    return name;
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

/// What a program may call itself in its title: in the user's language and in English.
class ProgramNames {
public:
    ProgramNames(std::string_view bundleID, std::optional<std::string_view> appName)
        : m_names{TextNormalizer::normalize(appName.value_or("")),
                  TextNormalizer::normalize(LinuxApplications::name(bundleID))} {}

    bool include(std::string_view part) const {
        const std::string folded = TextNormalizer::normalize(part);
        return std::any_of(m_names.begin(), m_names.end(), [&](const std::string& name) { return name == folded; });
    }

    /// Also "GNU Emacs at box" and "GVIM1", and "File Manager" of what is called "Thunar File Manager".
    bool resemble(std::string_view part) const {
        const std::string folded = TextNormalizer::normalize(part);
        return std::any_of(m_names.begin(), m_names.end(), [&](const std::string& name) {
            if (name.empty() || folded.empty()) return false;
            if (folded.starts_with(name)) return folded.size() == name.size() || !isWordCharacter(folded[name.size()]);
            return name.ends_with(folded) && !isWordCharacter(name[name.size() - folded.size() - 1]);
        });
    }

private:
    std::array<std::string, 2> m_names;
};

/// The parts of a title without the program's name at either end.
Parts ownParts(std::string_view title, const ProgramNames& program) {
    Parts parts = ProjectInference::titleParts(title);
    const auto isName = [&](const std::string& part) {
        return parts.size() > 1 ? program.resemble(part) : program.include(part);
    };
    if (!parts.empty() && isName(parts.back())) parts.pop_back();
    if (!parts.empty() && isName(parts.front())) parts.erase(parts.begin());
    return parts;
}

/// The title up to the program's name behind its last separator.
std::string_view withoutProgram(std::string_view title, const ProgramNames& program) {
    for (const std::string_view separator : {" — ", " – ", " - "}) {
        const auto last = title.rfind(separator);
        if (last != std::string_view::npos && program.resemble(title.substr(last + separator.size())))
            return Graphemes::trimmed(title.substr(0, last));
    }
    return title;
}

/// A folder's own name; nothing for the user's home, which is no project.
Name folderName(std::string_view path, std::string_view login) {
    const std::string_view name = TitleText::lastComponent(path);
    const bool isHome = name == "~" || path == "/root" || path == "/root/" ||
                        (!login.empty() && name == login && path.starts_with("/home/"));
    return isHome ? std::nullopt : Name(name);
}

/// The folder that a file's path leads through.
Name parentName(std::string_view path, std::string_view login) {
    const std::string_view file = TitleText::lastComponent(path);
    const auto start = path.rfind(file);
    if (start == 0 || start == std::string_view::npos) return std::nullopt;
    const std::string_view parent = path.substr(0, start);
    return parent == "/" ? std::nullopt : folderName(parent, login);
}

/// "letter.txt (~/notes)" in two.
struct FileAndFolder {
    std::string_view file, folder;

    explicit FileAndFolder(std::string_view text) : file(text) {
        const auto open = text.rfind(" (");
        if (open == std::string_view::npos || !text.ends_with(')')) return;
        const std::string_view inner = text.substr(open + 2, text.size() - open - 3);
        if (inner != "~" && !TitleText::isPath(inner)) return;
        file = text.substr(0, open);
        folder = inner;
    }
};

// The folder where the title tells it, else the file.
Name ofEditor(std::string_view title, const ProgramNames& program, std::string_view login) {
    // Folders may be called "one - two".
    const std::string_view path = TitleText::trimmed(withoutProgram(title, program), "*● ");
    if (TitleText::isPath(path)) {
        if (auto folder = parentName(path, login)) return folder;
        return named(TitleText::lastComponent(path));
    }
    const Parts parts = ownParts(title, program);
    if (parts.empty()) return std::nullopt;
    const FileAndFolder first(parts.front());
    if (!first.folder.empty()) {
        if (auto folder = folderName(first.folder, login)) return folder;
        return named(first.file);
    }
    if (parts.size() < 2) return named(first.file);
    const std::string& second = parts[1];
    if (second == "~" || TitleText::isPath(second)) {
        if (auto folder = folderName(second, login)) return folder;
        return named(first.file);
    }
    // Eclipse: "workspace - thing/src/Main.java"
    return named(std::string_view(second).substr(0, second.find('/')));
}

// "thing - [ main.cpp ]", "thing [~/src/thing] – Main.java", "main.cpp (src @ thing) [branch]", "thing (main)"
Name ofProjectEditor(const Parts& parts) {
    if (parts.empty()) return std::nullopt;
    std::string_view name = parts.front();
    if (name.starts_with("@ ")) name.remove_prefix(2);
    for (const std::string_view at : {" @ ", "(@ "})
        if (const auto found = name.find(at); found != std::string_view::npos) {
            name.remove_prefix(found + at.size());
            name = name.substr(0, name.find(')'));
        }
    for (const std::string_view aside : {" [", " ("})
        if (const auto found = name.find(aside); found != std::string_view::npos && found > 0)
            name = name.substr(0, found);
    return named(name);
}

/// What follows "user@host:" in a prompt; nothing if there is no more than that.
std::string_view withoutPrompt(std::string_view part) {
    const auto at = part.find('@');
    const auto colon = part.find(':', at == std::string_view::npos ? 0 : at);
    const auto blank = part.find(' ');
    if (at == std::string_view::npos || at == 0 || blank < at) return part;
    if (colon == std::string_view::npos) return blank == std::string_view::npos ? std::string_view{} : part;
    return blank < colon ? part : Graphemes::trimmed(part.substr(colon + 1));
}

bool isNoise(std::string_view text, std::string_view login) {
    constexpr std::array<std::string_view, 10> more{"terminal", "dash", "ksh",    "tcsh", "nu",
                                                    "pwsh",     "tmux", "screen", "sudo", "su"};
    const std::string lower = TitleText::lowerCased(text);
    return TitleText::isTerminalNoise(lower, login) || std::find(more.begin(), more.end(), lower) != more.end();
}

/// One part of a terminal's title: the folder it names, or itself; nothing if it says nothing.
Name ofTerminalPart(std::string_view part, std::string_view login) {
    part = withoutPrompt(part);
    // Konsole's "folder : program"
    part = Graphemes::trimmed(part.substr(0, part.find(" : ")));
    // "fish ~/src/thing"
    if (const auto blank = part.find(' '); blank != std::string_view::npos && isNoise(part.substr(0, blank), login)) {
        const std::string_view rest = Graphemes::trimmed(part.substr(blank));
        if (rest == "~" || TitleText::isPath(rest)) part = rest;
    }
    if (part.empty() || part == "~" || isNoise(part, login)) return std::nullopt;
    return TitleText::isPath(part) ? folderName(part, login) : named(part);
}

Name ofTerminal(const Parts& parts, std::string_view login) {
    for (const std::string& part : parts)
        if (auto name = ofTerminalPart(part, login)) return name;
    return std::nullopt;
}

/// Without what programs put behind a document's name: "(read-only)", "(imported)-2.0 (RGB color …)", "(1,2 MiB)".
std::string_view withoutAnnotations(std::string_view text) {
    constexpr std::array<std::string_view, 8> words{"read-only", "read only", "imported",    "exported",
                                                    "modified",  "recovered", "overwritten", "repaired document"};
    // GIMP: "[photo] (imported)-2.0 (RGB color 8-bit …) 1920x1080"
    for (auto dash = text.find('-'); dash != std::string_view::npos; dash = text.find('-', dash + 1)) {
        const auto behind = text.find_first_not_of("0123456789.", dash + 1);
        if (behind != std::string_view::npos && behind > dash + 1 && text.substr(behind, 2) == " (") {
            text = text.substr(0, dash);
            break;
        }
    }
    for (;;) {
        const auto open = text.rfind(" (");
        if (open == std::string_view::npos || open == 0 || !text.ends_with(')')) return text;
        const std::string inner = TextNormalizer::normalize(text.substr(open + 2, text.size() - open - 3));
        const bool isSize = !inner.empty() && inner[0] >= '0' && inner[0] <= '9' && inner.ends_with("b");
        if (!isSize && std::find(words.begin(), words.end(), inner) == words.end()) return text;
        text = text.substr(0, open);
    }
}

Name ofDocument(const Parts& parts) {
    if (parts.empty()) return std::nullopt;
    const std::string_view name = TitleText::trimmed(withoutAnnotations(parts.front()), "[]* ");
    return named(TitleText::withoutExtension(TitleText::isPath(name) ? TitleText::lastComponent(name) : name));
}

/// The folder that is shown, whole: its name may hold what separates parts elsewhere.
Name ofFileManager(std::string_view title, const ProgramNames& program) {
    title = withoutProgram(title, program);
    // Nemo: "Documents - /home/me/Documents"
    if (const auto path = title.find(" - /"); path != std::string_view::npos && path > 0) title = title.substr(0, path);
    if (title.empty() || program.include(title)) return std::nullopt;
    return std::string(TitleText::isPath(title) ? TitleText::lastComponent(title) : title);
}

} // namespace

std::optional<std::string> project(std::string_view bundleID, std::optional<std::string_view> appName,
                                   std::string_view title, std::string_view login) {
    const auto is = [&](Kind kind) { return LinuxApplications::is(bundleID, kind); };
    const ProgramNames program(bundleID, appName);
    if (is(Kind::fileManager)) return ofFileManager(title, program);
    if (is(Kind::editor)) return ofEditor(title, program, login);
    if (is(Kind::projectEditor)) return ofProjectEditor(ownParts(title, program));
    if (is(Kind::terminal)) return ofTerminal(ownParts(title, program), login);
    if (is(Kind::document)) return ofDocument(ownParts(title, program));
    return std::nullopt;
}

} // namespace nomara::LinuxTitles
