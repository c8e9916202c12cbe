#include "core/projects/ProjectInference.h"

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
        // browsers
        {"org.mozilla.firefox", "Firefox", "News", "https://www.news.com/x", "news.com"},
        // the workspace leads
        {"com.apple.dt.Xcode", "Xcode", "Thing — Main.swift — Edited", {}, "Thing"},
        // editors
        {code, "Visual Studio Code", "● main.cpp — thing — Visual Studio Code", {}, "thing"},
        {code, "Visual Studio Code", "Visual Studio Code", {}, none},
        // terminals
        {terminal, {}, "~/src/thing — zsh — 80×24", {}, "thing"},
        {terminal, {}, "80×24", {}, none},
        {terminal, {}, "ADA — BASH — thing", {}, "thing"},
        {terminal, {}, "✳ thing", {}, "thing"},
        {terminal, {}, "thing — ~/src/other", {}, "thing"},
        // documents
        {word, "Word", "Report.docx — Saved", {}, "Report"},
        {word, "Word", ".hidden", {}, ".hidden"},
        {"com.apple.Preview", "Preview", "map.of.town.pdf – Page 2", {}, "map.of.town"},
        // folders, as they stand
        {"com.apple.finder", "Finder", " • Photos — 2024 \n", {}, "• Photos — 2024"},
        {"com.apple.finder", "Finder", name200, {}, name200.c_str()},
    });
    EXPECT_EQ(inferred("com.apple.dt.Xcode", {}, name80), Name(name80));
    EXPECT_EQ(inferred("com.apple.dt.Xcode", {}, name80 + "n"), std::nullopt);
    EXPECT_EQ(inferred(terminal, {}, "/src/" + name200), Name(name200)) << "a folder's name may be long";
}

// One of each form that a title has; which programs use it is a table in the code.
TEST(ProjectInference, ReadsTheTitlesOfLinuxPrograms) {
    const Text mousepad = "org.xfce.mousepad", creator = "org.qt-project.qtcreator", gnome = "org.gnome.Terminal";
    expectProjects({
        {mousepad, "Mousepad", "letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "*/srv/one - two/letter.txt - Mousepad", {}, "one - two"},
        {mousepad, "Mousepad", "/home/Ada/letter.txt - Mousepad", {}, "letter.txt"},
        {mousepad, "Mousepad", "Mousepad", {}, none},
        {"org.gnome.TextEditor", "Texteditor", "letter.txt (~/Büro) - Texteditor", {}, "Büro"},
        {"gvim", "Vim", "main.cpp (~/src/thing) - GVIM1", {}, "thing"},
        {"org.eclipse.Java", "Eclipse", "work - thing/src/Main.java - Eclipse IDE", {}, "thing"},
        {"jetbrains-clion", "CLion", "thing [~/src/thing] – main.cpp – CLion", {}, "thing"},
        {creator, "Qt Creator", "main.cpp (src @ thing) [master] - Qt Creator", {}, "thing"},
        {gnome, "Terminal", "ada@box: ~/src/thing", {}, "thing"},
        {gnome, "Terminal", "ada@box: ~", {}, none},
        {gnome, "Terminal", "root@box: /etc/ssh", {}, "ssh"},
        {"org.kde.konsole", "Konsole", "~/src/thing : vim — Konsole", {}, "thing"},
        {"org.kde.krita", "Krita", "town.kra (1,2 MiB) * — Krita", {}, "town"},
        {"org.gimp.GIMP", "GIMP", "*[town-map] (imported)-2.0 (RGB color, 1 layer) 1920x1080 – GIMP", {}, "town-map"},
        {"thunar", "Thunar-Dateiverwaltung", "Dokumente - Dateiverwaltung", {}, "Dokumente"},
        {"nemo", "Nemo", "Documents - /home/Ada/Documents", {}, "Documents"},
        {"mpv", "mpv", "film.mkv - mpv", {}, none},
    });
}

TEST(ProjectInference, SurvivesAnyBytes) {
    std::mt19937 random(11);
    const std::vector<std::string> pieces{" — ", " - ", "~/", "/",    "(",    ")",  "[",     "]",      " @ ",  ":",
                                          ".",   "*",   "é",  "\xe2", "\xff", "sh", "80x24", "-2.0 (", "thing"};
    const char* const programs[] = {"com.microsoft.VSCode",     "com.apple.Terminal", "org.kde.kate",
                                    "org.qt-project.qtcreator", "org.gimp.GIMP",      "thunar"};
    int named = 0;
    for (int round = 0; round < 20'000; ++round) {
        std::string title;
        for (auto n = random() % 8; n > 0; --n)
            title += random() % 8 == 0 ? std::string(1, static_cast<char>(random())) : pieces[random() % pieces.size()];
        const char* const program = programs[random() % std::size(programs)];
        const Name name = inferred(program, "App", title);
        named += name ? 1 : 0;
        EXPECT_TRUE(!name || title.find(*name) != std::string::npos) << program << ": " << title;
    }
    EXPECT_GT(named, 5'000);
}

} // namespace
} // namespace nomara
