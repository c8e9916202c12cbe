#include "core/projects/ProjectInference.h"
#include "core/text/Graphemes.h"

#include <random>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Text = std::optional<std::string_view>;
using Name = std::optional<std::string>;

constexpr const char* none = nullptr;

Name nameOf(const char* text) {
    return text ? Name(text) : std::nullopt;
}

Name inferred(Text bundleID, Text appName, Text title, Text url = {}, const std::vector<ProjectRule>& rules = {}) {
    return ProjectInference::infer(bundleID, appName, title, url, rules, "Ada");
}

TEST(ProjectInference, CutsTitlesIntoParts) {
    using Parts = std::vector<std::string>;
    const struct {
        const char* title;
        Parts parts;
    } rows[] = {
        {"", {}},
        {" — ", {}},
        {"one", {"one"}},
        {"● main.cpp — thing – Editor", {"main.cpp", "thing", "Editor"}},
        {"a - b | c · d", {"a", "b", "c", "d"}},
        {"a-b|c·d", {"a-b|c·d"}},
        {"a - - b", {"a", "- b"}},
        {"✳ ⠂ thing •*", {"thing"}},
        {"one —  — two", {"one", "two"}},
        {"\xff — \xe2\x80", {"\xff", "\xe2\x80"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ProjectInference::titleParts(row.title), row.parts) << row.title;
}

TEST(ProjectInference, CleansNames) {
    const std::string eighty(80, 'x'), accents = [] {
        std::string text;
        for (int i = 0; i < 80; ++i)
            text += "é"; // each of two scalars
        return text;
    }();
    const std::pair<std::string, Name> rows[] = {
        {"", {}},
        {"x", {}},
        {"xy", "xy"},
        {eighty, eighty},
        {eighty + "x", {}},
        {accents, accents},
        {accents + "x", {}},
        {"e\u0301", {}},
        {"  thing\n", "thing"},
        {"[(thing)]", "thing"},
        {"[ thing ]", " thing "},
        {"thing Edited", "thing"},
        {"EditedthEditeding", "thing"},
        {"edited", "edited"},
        {"Edited", {}},
    };
    for (const auto& [text, name] : rows)
        EXPECT_EQ(ProjectInference::clean(text), name) << text;
}

TEST(ProjectInference, AsksTheUsersRulesFirst) {
    const std::vector<ProjectRule> rules{
        {"1", "Blank", {" ", "\t", ""}},      {"2", "Q", {"  CAFÉ\t"}}, {"3", "Line", {"\nnever"}},
        {"4", "Site", {"example.com/board"}}, {"5", "Later", {"cafe"}},
    };
    const struct {
        const char* name;
        Text bundleID, title, url;
        const char* project;
    } rows[] = {
        {"folded, and shorter than names that are read", "com.apple.finder", "My café list", {}, "Q"},
        {"no application", {}, "the CAFE", {}, "Q"},
        {"an address in a browser", "org.mozilla.firefox", "Board", "https://EXAMPLE.com/board/1", "Site"},
        {"a keyword's line break counts", "com.apple.finder", "never", {}, "never"},
        {"the end of the title and the beginning of the address", {}, "x", "never", none},
        {"nothing matches", "com.apple.finder", "Documents", {}, "Documents"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(inferred(row.bundleID, {}, row.title, row.url, rules), nameOf(row.project)) << row.name;
    EXPECT_EQ(inferred({}, {}, {}, "https://cafe.org", rules), Name("Q"));
    EXPECT_EQ(inferred({}, {}, {}, {}, rules), std::nullopt);
}

struct Row {
    Text bundleID, appName, title, url;
    const char* project;
};

void expectProjects(std::initializer_list<Row> rows) {
    for (const Row& row : rows)
        EXPECT_EQ(inferred(row.bundleID, row.appName, row.title, row.url), nameOf(row.project))
            << row.bundleID.value_or("no application") << ": " << row.title.value_or("no title");
}

TEST(ProjectInference, ReadsEachFamilysTitles) {
    const Text code = "com.microsoft.VSCode", terminal = "com.apple.Terminal", word = "com.microsoft.Word";
    const std::string name80(80, 'n'), name200(200, 'n');
    expectProjects({
        {{}, "Any", "thing — Any", {}, none},
        {"com.unknown", "Any", "thing — Any", "https://a.com", none},
        // browsers
        {"org.mozilla.firefox", "Firefox", "News", "https://www.news.com/x", "news.com"},
        {"org.mozilla.firefox", "Firefox", "News — thing — Firefox", {}, none},
        {"org.gnome.Epiphany", "Web", "News", "https://news.com", "news.com"},
        {"com.google.Chrome", "Chrome", "News", "about:blank", none},
        // the workspace leads
        {"com.apple.dt.Xcode", "Xcode", "Thing — Main.swift — Edited", {}, "Thing"},
        {"com.apple.dt.Xcode", "Xcode", "", {}, none},
        {"com.apple.dt.Xcode", "Xcode", "X", {}, none},
        // editors
        {code, "Visual Studio Code", "● main.cpp — thing — Visual Studio Code", {}, "thing"},
        {code, "Visual Studio Code", "main.cpp - thing - VISUAL STUDIO CODE", {}, "thing"},
        {code, "Visual Studio Code", "Visual Studio Code", {}, none},
        {code, "Visual Studio Code", "thing — Visual Studio Code", {}, "thing"},
        {code, {}, "main.cpp — Visual Studio Code", {}, "Visual Studio Code"},
        {code, "Visual Studio Code", "main.cpp — x — Visual Studio Code", {}, none},
        {code, "Visual Studio Code", {}, {}, none},
        // terminals
        {terminal, {}, "~/src/thing — zsh — 80×24", {}, "thing"},
        {terminal, {}, "~/src/thing/ — -zsh — 80 x 24", {}, "thing"},
        {terminal, {}, "zsh", {}, none},
        {terminal, {}, "-zsh", {}, none},
        {terminal, {}, "80×24", {}, none},
        {terminal, {}, "80 X 24", {}, none},
        {terminal, {}, "80x24x", {}, "80x24x"},
        {terminal, {}, "ADA — BASH — thing", {}, "thing"},
        {terminal, {}, "/", {}, "/"},
        {terminal, {}, "/x", {}, "x"},
        {terminal, {}, "✳ thing", {}, "thing"},
        {terminal, {}, "thing — ~/src/other", {}, "thing"},
        {"net.kovidgoyal.kitty", "kitty", "~/src/thing", {}, "thing"},
        // documents
        {word, "Word", "Report.docx — Saved", {}, "Report"},
        {word, "Word", "Report v1.2.docx", {}, "Report v1.2"},
        {word, "Word", ".hidden", {}, ".hidden"},
        {word, "Word", "a.docx", {}, none},
        {word, "Word", "", {}, none},
        {"com.apple.Preview", "Preview", "map.of.town.pdf – Page 2", {}, "map.of.town"},
        // folders, as they stand
        {"com.apple.finder", "Finder", " • Photos — 2024 \n", {}, "• Photos — 2024"},
        {"com.apple.finder", "Finder", "x", {}, "x"},
        {"com.apple.finder", "Finder", name200, {}, name200.c_str()},
        {"com.apple.finder", "Finder", " ", {}, none},
    });
    EXPECT_EQ(inferred("com.apple.dt.Xcode", {}, name80), Name(name80));
    EXPECT_EQ(inferred("com.apple.dt.Xcode", {}, name80 + "n"), std::nullopt);
    EXPECT_EQ(inferred(terminal, {}, "/src/" + name200), Name(name200)) << "a folder's name may be long";
}

TEST(ProjectInference, ReadsTheTitlesOfLinuxPrograms) {
    const Text mousepad = "org.xfce.mousepad", kate = "org.kde.kate", gedit = "org.gnome.gedit",
               konsole = "org.kde.konsole", gnome = "org.gnome.Terminal", xterm = "xterm",
               writer = "libreoffice-writer", thunar = "thunar", dolphin = "org.kde.dolphin",
               creator = "org.qt-project.qtcreator", gimp = "org.gimp.GIMP";
    expectProjects({
        // editors: the folder where the title tells it, else the file
        {mousepad, "Mousepad", "letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "*~/notes/letter.txt - Mousepad", {}, "notes"},
        {mousepad, "Mousepad", "/srv/notes/letter.txt - Mousepad", {}, "notes"},
        {mousepad, "Mousepad", "*/srv/one - two/letter.txt - Mousepad", {}, "one - two"},
        {"featherpad", "FeatherPad", "/srv/notes/letter.txt", {}, "notes"},
        {mousepad, "Mousepad", "~/letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "/letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "/home/ada/letter.txt - Mousepad", {}, "ada"},
        {mousepad, "Mousepad", "/home/Ada/letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "Mousepad", {}, none},
        {gedit, "gedit", "*letter.txt (~/notes) - gedit", {}, "notes"},
        {gedit, "Texteditor", "letter.txt (~) - gedit", {}, "letter.txt"},
        {"org.gnome.TextEditor", "Texteditor", "letter.txt (~/Büro) - Texteditor", {}, "Büro"},
        {kate, "Kate", "main.cpp — Kate", {}, "main.cpp"},
        {kate, "Kate", "main.cpp * — Kate", {}, "main.cpp"},
        {"geany", "Geany", "*main.c - /home/Ada/src/thing - Geany", {}, "thing"},
        {"geany", "Geany", "main.c - [Thing] - Geany", {}, "Thing"},
        {"gvim", "Vim", "main.cpp (~/src/thing) - GVIM1", {}, "thing"},
        {"emacs", "Emacs", "main.cpp - GNU Emacs at box", {}, "main.cpp"},
        {"com.vscodium.codium", "VSCodium", "main.cpp - thing - VSCodium", {}, "thing"},
        {"org.eclipse.Java", "Eclipse", "work - thing/src/Main.java - Eclipse IDE", {}, "thing"},
        // development environments that name the project
        {"jetbrains-clion", "CLion", "thing – main.cpp", {}, "thing"},
        {"jetbrains-clion", "CLion", "thing [~/src/thing] – main.cpp – CLion", {}, "thing"},
        {"org.kde.kdevelop", "KDevelop", "thing - [ main.cpp ] — KDevelop", {}, "thing"},
        {"org.gnome.Builder", "Builder", "Builder — thing", {}, "thing"},
        {"org.gnome.Builder", "Erstellung", "thing (main) — Builder", {}, "thing"},
        {creator, "Qt Creator", "main.cpp @ thing [master] - Qt Creator", {}, "thing"},
        {creator, "Qt Creator", "main.cpp (src @ thing) [master] - Qt Creator", {}, "thing"},
        {creator, "Qt Creator", "@ thing - Qt Creator", {}, "thing"},
        {creator, "Qt Creator", "Qt Creator", {}, none},
        // terminals
        {gnome, "Terminal", "ada@box: ~/src/thing", {}, "thing"},
        {gnome, "Terminal", "ada@box:~/src/thing/", {}, "thing"},
        {gnome, "Terminal", "ada@box: ~", {}, none},
        {gnome, "Terminal", "ada@box", {}, none},
        {gnome, "Terminal", "ada@box: /", {}, "/"},
        {gnome, "Terminal", "root@box: /etc/ssh", {}, "ssh"},
        {gnome, "Terminal", "root@box: /root", {}, none},
        {gnome, "Terminal", "Terminal", {}, none},
        {"xfce4-terminal", "Xfce Terminal", "Terminal - ada@box: ~/src/thing", {}, "thing"},
        {konsole, "Konsole", "thing : bash — Konsole", {}, "thing"},
        {konsole, "Konsole", "~ : bash — Konsole", {}, none},
        {konsole, "Konsole", "~/src/thing : vim — Konsole", {}, "thing"},
        {xterm, "XTerm", "bash", {}, none},
        {xterm, "XTerm", "fish ~/src/thing", {}, "thing"},
        {xterm, "XTerm", "/home/Ada", {}, none},
        {xterm, "XTerm", "make thing", {}, "make thing"},
        // documents
        {writer, "LibreOffice Writer", "report.odt — LibreOffice Writer", {}, "report"},
        {writer, "LibreOffice Writer", "report.odt (read-only) - LibreOffice Writer", {}, "report"},
        {writer, "LibreOffice Writer", "LibreOffice Writer", {}, none},
        {"org.gnome.Evince", "Dokumentenbetrachter", "report.pdf", {}, "report"},
        {"org.gnome.Evince", "Dokumentenbetrachter", "Dokumentenbetrachter", {}, none},
        {"org.kde.okular", "Okular", "report.pdf — Okular", {}, "report"},
        {"mupdf", "MuPDF", "MuPDF - report.pdf", {}, "report"},
        {"qpdfview", "qpdfview", "~/docs/report.pdf - qpdfview", {}, "report"},
        {"com.github.xournalpp.xournalpp", "Xournal++", "*notes.xopp - Xournal++", {}, "notes"},
        {"org.kde.krita", "Krita", "town.kra (1,2 MiB) * — Krita", {}, "town"},
        {"org.inkscape.Inkscape", "Inkscape", "*town (2024).svg - Inkscape", {}, "town (2024)"},
        {gimp,
         "GNU Image Manipulation Program",
         "*[town-map] (imported)-2.0 (RGB color 8-bit gamma integer, GIMP built-in sRGB, 1 layer) 1920x1080 – "
         "GNU Image Manipulation Program",
         {},
         "town-map"},
        {gimp, "GIMP", "GNU Image Manipulation Program", {}, none},
        // file managers
        {thunar, "Thunar File Manager", "Documents - File Manager", {}, "Documents"},
        {thunar, "Thunar-Dateiverwaltung", "Dokumente - Dateiverwaltung", {}, "Dokumente"},
        {thunar, "Thunar", "Photos - 2024 - Thunar", {}, "Photos - 2024"},
        {thunar, "Thunar", "/srv/photos - Thunar", {}, "photos"},
        {dolphin, "Dolphin", "Documents — Dolphin", {}, "Documents"},
        {dolphin, "Dolphin", "Dolphin", {}, none},
        {"org.gnome.Nautilus", "Files", "Documents", {}, "Documents"},
        {"org.gnome.Nautilus", "Files", "x", {}, "x"},
        {"nemo", "Nemo", "Documents - /home/Ada/Documents", {}, "Documents"},
        // others have none
        {"mpv", "mpv", "film.mkv - mpv", {}, none},
        {"org.keepass.KeePass", "KeePass", "secrets.kdbx - KeePass", {}, none},
    });
}

TEST(ProjectInference, SurvivesAnyBytes) {
    std::mt19937 random(11);
    const std::vector<std::string> pieces{" — ",    " - ",  " | ",  "~/",     "/",        "(",      ")",  "[",
                                          "]",      " @ ",  "@",    ":",      " : ",      ".",      "*",  "●",
                                          "é",      "\xe2", "\xff", "Edited", "sh",       " ",      "\n", "80x24",
                                          "-2.0 (", " (~/", "Kate", "thing",  "\xc0\x80", "e\u0301"};
    const char* const programs[] = {"com.microsoft.VSCode", "com.apple.Terminal", "com.apple.Preview",
                                    "com.apple.finder",     "org.kde.kate",       "org.qt-project.qtcreator",
                                    "org.kde.konsole",      "org.gimp.GIMP",      "thunar",
                                    "org.mozilla.firefox"};
    const std::vector<ProjectRule> rules{{"1", "Rule", {"\xff", "thing thing"}}};
    int named = 0;
    for (int round = 0; round < 20'000; ++round) {
        const auto text = [&] {
            std::string made;
            for (std::size_t n = random() % 8; n > 0; --n)
                made +=
                    random() % 8 == 0 ? std::string(1, static_cast<char>(random())) : pieces[random() % pieces.size()];
            return made;
        };
        const char* const program = programs[random() % std::size(programs)];
        const std::string title = text(), appName = text(), url = "https://" + text();
        const auto name = ProjectInference::infer(program, appName, title, url, rules, random() % 2 == 0 ? "Ada" : "");
        named += name ? 1 : 0;
        std::string unedited = title;
        for (auto at = unedited.find("Edited"); at != std::string::npos; at = unedited.find("Edited"))
            unedited.erase(at, 6);
        const bool isRead = name && *name != "Rule" && std::string_view(program) != "org.mozilla.firefox";
        EXPECT_TRUE(!isRead || title.find(*name) != std::string::npos || unedited.find(*name) != std::string::npos)
            << program << ": " << title << " gives " << *name;
        for (const std::string& part : ProjectInference::titleParts(title))
            EXPECT_FALSE(part.empty());
    }
    EXPECT_GT(named, 5'000);
}

} // namespace
} // namespace nomara
