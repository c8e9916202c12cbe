#include "core/projects/ProjectInference.h"

#include "core/applications/AppCatalog.h"
#include "core/projects/LinuxTitles.h"
#include "core/projects/TitleText.h"
#include "core/text/Graphemes.h"
#include "core/text/TextNormalizer.h"
#include "core/text/WebAddress.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace nomara::ProjectInference {

namespace {

using Name = std::optional<std::string>;
using Parts = std::vector<std::string>;
using Table = std::unordered_set<std::string_view>;

const Table& editors() {
    static const Table table{
        "com.microsoft.VSCode",
        "com.microsoft.VSCodeInsiders",
        "com.todesktop.230313mzl4w4u92",
        "com.exafunction.windsurf",
        "dev.zed.Zed",
        "dev.zed.Zed-Preview",
        "com.sublimetext.4",
        "com.jetbrains.intellij",
        "com.jetbrains.pycharm",
        "com.jetbrains.WebStorm",
        "com.google.android.studio",
        "com.panic.Nova",
        "com.barebones.bbedit",
    };
    return table;
}

const Table& terminals() {
    static const Table table{
        "com.apple.Terminal",   "com.googlecode.iterm2", "dev.warp.Warp-Stable", "com.mitchellh.ghostty",
        "net.kovidgoyal.kitty", "org.alacritty",         "co.zeit.hyper",
    };
    return table;
}

const Table& documentApps() {
    static const Table table{
        "com.figma.Desktop",  "com.apple.iWork.Keynote", "com.apple.iWork.Pages",    "com.apple.iWork.Numbers",
        "com.microsoft.Word", "com.microsoft.Excel",     "com.microsoft.Powerpoint", "com.apple.Preview",
    };
    return table;
}

// Each with its blanks; applied in this order.
constexpr std::array<std::string_view, 5> titleSeparators{" — ", " – ", " - ", " | ", " · "};
// Editors' marks of unsaved work and terminals' spinners.
constexpr std::string_view titleMarks = "●•*✳⠂⠐✻ ";

Name namedByRule(std::string_view title, std::string_view url, const std::vector<ProjectRule>& rules) {
    if (rules.empty()) return std::nullopt;
    const std::string haystack = TextNormalizer::normalize(std::string(title) + " " + std::string(url));
    for (const ProjectRule& rule : rules)
        for (const std::string& keyword : rule.keywords) {
            const std::string wanted = TextNormalizer::normalize(TitleText::withoutBlanks(keyword));
            if (!wanted.empty() && haystack.find(wanted) != std::string::npos) return rule.name;
        }
    return std::nullopt;
}

Name leading(const Parts& parts) {
    return parts.empty() ? std::nullopt : clean(parts.front());
}

// These titles read file, folder, and perhaps the application.
Name ofEditor(Parts parts, std::optional<std::string_view> appName) {
    if (!parts.empty() && appName && TextNormalizer::normalize(parts.back()) == TextNormalizer::normalize(*appName))
        parts.pop_back();
    return parts.size() < 2 ? leading(parts) : clean(parts[1]);
}

Name ofTerminal(const Parts& parts, std::string_view login) {
    const auto kept = std::find_if(parts.begin(), parts.end(), [&](const std::string& part) {
        return !TitleText::isTerminalNoise(TitleText::lowerCased(part), login);
    });
    if (kept == parts.end()) return std::nullopt;
    if (TitleText::isPath(*kept)) return std::string(TitleText::lastComponent(*kept));
    return clean(*kept);
}

Name ofDocument(const Parts& parts) {
    return parts.empty() ? std::nullopt : clean(TitleText::withoutExtension(parts.front()));
}

void replaceByPieces(std::vector<std::string_view>& list, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (std::string_view rest : list) {
        for (auto cut = rest.find(separator); cut != std::string_view::npos; cut = rest.find(separator)) {
            pieces.push_back(rest.substr(0, cut));
            rest.remove_prefix(cut + separator.size());
        }
        pieces.push_back(rest);
    }
    list = std::move(pieces);
}

} // namespace

std::optional<std::string> infer(std::optional<std::string_view> bundleID, std::optional<std::string_view> appName,
                                 std::optional<std::string_view> windowTitle, std::optional<std::string_view> url,
                                 const std::vector<ProjectRule>& rules, std::string_view login) {
    const std::string_view title = Graphemes::trimmed(windowTitle.value_or(""));
    if (auto name = namedByRule(title, url.value_or(""), rules)) return name;
    if (!bundleID) return std::nullopt;
    // Without a host a browser has no project: the title of a page is never taken for one.
    if (AppCatalog::isBrowser(bundleID)) return host(url);

    const Parts parts = titleParts(title);
    if (*bundleID == "com.apple.dt.Xcode") return leading(parts);
    if (editors().contains(*bundleID)) return ofEditor(parts, appName);
    if (terminals().contains(*bundleID)) return ofTerminal(parts, login);
    if (documentApps().contains(*bundleID)) return ofDocument(parts);
    if (*bundleID == "com.apple.finder") return title.empty() ? std::nullopt : Name(title);
    return LinuxTitles::project(*bundleID, appName, title, login);
}

std::optional<std::string> host(std::optional<std::string_view> url) {
    return WebAddress::host(url);
}

std::vector<std::string> titleParts(std::string_view title) {
    std::vector<std::string_view> pieces{title};
    for (const std::string_view separator : titleSeparators)
        replaceByPieces(pieces, separator);
    std::vector<std::string> parts;
    for (const std::string_view piece : pieces)
        if (const auto part = TitleText::trimmed(Graphemes::trimmed(piece), titleMarks); !part.empty())
            parts.emplace_back(part);
    return parts;
}

std::optional<std::string> clean(std::string_view text) {
    constexpr std::string_view unsaved = "Edited";
    std::string name(text);
    for (auto at = name.find(unsaved); at != std::string::npos; at = name.find(unsaved, at))
        name.erase(at, unsaved.size());
    const std::string_view bare = TitleText::trimmed(Graphemes::trimmed(name), "[]()");
    constexpr std::int64_t shortest = 2, longest = 80;
    const std::int64_t characters = Graphemes::count(bare);
    if (characters < shortest || characters > longest) return std::nullopt;
    return std::string(bare);
}

} // namespace nomara::ProjectInference
