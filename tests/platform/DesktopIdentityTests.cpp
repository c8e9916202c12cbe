#include "tests/platform/Machine.h"

#include <chrono>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara {

TEST(DesktopEntry, ReadsWhatMatters) {
    const auto full = parseDesktopEntry("org.example.Editor", "# comment\n"
                                                              "Name=outside any group\n"
                                                              "[Desktop Entry]\r\n"
                                                              " Type = Application \r\n"
                                                              "Name[de]=Texte\n"
                                                              "Name=Te\\sxt\\\\s\n"
                                                              "Exec=env LANG=C -u X \"/opt/my editor/edit\" --new %U\n"
                                                              "StartupWMClass=Edit-Window\n"
                                                              "Icon=/opt/my editor/icon.svg\n"
                                                              "Categories=Utility;TextEditor\n"
                                                              "[Desktop Action new]\n"
                                                              "Name=New window\n"
                                                              "Exec=other\n");
    ASSERT_TRUE(full);
    EXPECT_EQ(*full, (DesktopEntry{"org.example.Editor", "Te xt\\s", "Edit-Window", "edit", false,
                                   "/opt/my editor/icon.svg", false}));

    const std::pair<std::string, bool> rows[] = {
        {"", false},
        {"[Desktop Entry]\nType=Link\nName=Page\n", false},
        {entry("Gone", "gone", "Hidden=true"), false},
        {entry("Quiet", "quiet", "NoDisplay=true"), true},
        {"[Desktop Entry]\nType=Application", true},
        {"[Desktop Entry]\n=\nnonsense\nType=Application\nExec=\"unfinished \\", true},
    };
    for (const auto& [text, isEntry] : rows)
        EXPECT_EQ(parseDesktopEntry("x", text).has_value(), isEntry) << text;
}

TEST(ApplicationIdentifier, FollowsTheStrongestSign) {
    const Machine machine;
    machine.install("org.xfce.mousepad.desktop", entry("Mousepad", "mousepad %U"));
    machine.install("org.example.Paint.desktop", entry("Paint", "paint", "StartupWMClass=Paint-Window"));
    machine.install("firefox-esr.desktop", entry("Firefox ESR", "/usr/lib/firefox-esr/firefox-esr %u"));
    machine.install("chrome-abc-Default.desktop",
                    entry("Some Web Program", "/opt/google/chrome/chrome --app-id=abc", "StartupWMClass=crx_abc"));
    machine.install("python3.11.desktop", entry("Python", "/usr/bin/python3.11", "Terminal=true"));
    machine.install("jedit.desktop", entry("jEdit", "jedit", "StartupWMClass=jedit"));
    machine.install("suite-writer.desktop", entry("Writer", "suite --writer", "StartupWMClass=suite-writer"));
    machine.install("suite.desktop", entry("Suite", "suite"));
    machine.install("kde/org.kde.viewer.desktop", entry("Viewer", "viewer"));
    machine.install("org.gnome.Maps.desktop", entry("Maps", "gjs /usr/share/maps"));
    machine.install("snapped_app.desktop", entry("Snapped", "snap run snapped.app"));
    machine.install("org.example.Sandboxed.desktop", entry("Sandboxed", "flatpak run org.example.Sandboxed"));

    struct Row {
        std::string what, executable, instanceName, className;
        ApplicationIdentity expected;
    };
    const std::string firefox = "/usr/lib/firefox-esr/firefox-esr", chrome = "/opt/google/chrome/chrome",
                      chromium = "/usr/lib/chromium/chromium", java = "/usr/lib/jvm/java-17/bin/java",
                      jedit = "org-gjt-sp-jedit-jEdit";
    const Row rows[] = {
        {"last part of the id", "/usr/bin/mousepad", "mousepad", "Mousepad", {"org.xfce.mousepad", "Mousepad"}},
        {"declared class", "/usr/bin/paint", "x", "Paint-Window", {"org.example.Paint", "Paint"}},
        {"well-known file", firefox, "Navigator", "firefox-esr", {"org.mozilla.firefox", "Firefox"}},
        {"replaced", chromium + " (deleted)", "chromium", "Chromium", {"org.chromium.Chromium", "Chromium"}},
        {"a browser of its own name", chromium, "work", "Work", {"org.chromium.Chromium", "Chromium"}},
        {"a browser's web program", chrome, "crx_abc", "crx_abc", {"com.google.Chrome", "Google Chrome"}},
        {"class of one window of a suite", "/usr/bin/suite", "suite", "suite-writer", {"suite-writer", "Writer"}},
        {"file, named like the entry", "/usr/bin/suite", "", "", {"suite", "Suite"}},
        {"entry in a folder", "/usr/bin/viewer", "x", "org.kde.viewer", {"kde-org.kde.viewer", "Viewer"}},
        {"a script by its class", "/usr/bin/python3.11", "tool.py", "Tool.py", {"tool.py", "Tool.py"}},
        {"a script without a class", "/usr/bin/python3.11", "", "", {"python3.11", "python3.11"}},
        {"main class of a Java program", java, "sun-awt-X11-XFramePeer", jedit, {"jedit", "jEdit"}},
        {"the same class of another program", "/opt/x/x", "x", jedit, {"org-gjt-sp-jedit-jedit", jedit}},
        {"another script's entry", "/usr/bin/gjs", "x", "Other", {"other", "Other"}},
        {"nothing but a class", "", "a", "Unheard Of", {"unheard of", "Unheard Of"}},
        {"nothing at all", "", "", "", {}},
    };
    auto identifier = machine.identifier();
    ProcessID pid = 100;
    for (const Row& row : rows) {
        ++pid;
        if (!row.executable.empty()) machine.run(pid, row.executable);
        const auto found = identifier.identify({pid, row.instanceName, row.className});
        EXPECT_EQ(found.bundleID, row.expected.bundleID) << row.what;
        EXPECT_EQ(found.name, row.expected.name) << row.what;
    }
}

TEST(ApplicationIdentifier, KnowsSandboxedPrograms) {
    const Machine machine;
    machine.install("snapped_app.desktop", entry("Snapped", "snap run snapped.app"));
    machine.install("org.example.Boxed.desktop", entry("Boxed", "flatpak run org.example.Boxed"));
    const std::string snapGroup = "0::/user.slice/snap.snapped.app-0123abcd-0123-0123-0123-0123456789ab.scope\n";
    auto identifier = machine.identifier();

    machine.run(1, "/app/bin/boxed");
    machine.give(1, "root/.flatpak-info", "[Context]\nname=wrong\n[Application]\nname=org.example.Boxed\nruntime=x\n");
    EXPECT_EQ(identifier.identify({1, "boxed", "Boxed"}).bundleID, "org.example.Boxed");

    machine.run(2, "/app/lib/firefox/firefox");
    machine.give(2, "cgroup", "0::/user.slice/app.slice/app-flatpak-org.mozilla.firefox-4711.scope\n");
    EXPECT_EQ(identifier.identify({2, "Navigator", "firefox"}).bundleID, "org.mozilla.firefox");

    machine.run(3, "/snap/snapped/12/bin/app");
    machine.give(3, "cgroup", snapGroup);
    EXPECT_EQ(identifier.identify({3, "x", "X"}).bundleID, "snapped_app");

    machine.run(4, "/usr/bin/thing");
    machine.give(4, "cgroup", snapGroup);
    EXPECT_EQ(identifier.identify({4, "thing", "Thing"}).bundleID, "thing") << "started by a snap, but none itself";
}

TEST(ApplicationIdentifier, DoesNotTakeOneProcessForAnother) {
    const Machine machine;
    auto identifier = machine.identifier();
    machine.run(7, "/usr/bin/first", "100");
    EXPECT_EQ(identifier.identify({7, "", ""}).bundleID, "first");
    EXPECT_EQ(identifier.identify({7, "", "Dialog"}).bundleID, "dialog") << "same process, another class";
    machine.run(7, "/usr/bin/second", "200");
    EXPECT_EQ(identifier.identify({7, "", ""}).bundleID, "second") << "the number is used again";
    EXPECT_TRUE(identifier.identify({7, "", "", "browser"}).isBrowser);
    EXPECT_TRUE(identifier.identify({7, "", ""}).isBrowser) << "its other windows as well, those known before too";
    EXPECT_TRUE(identifier.identify({7, "", "Dialog"}).isBrowser);
    machine.run(7, "/usr/bin/second", "300");
    EXPECT_FALSE(identifier.identify({7, "", ""}).isBrowser) << "the number is used again";
}

TEST(ApplicationIdentifier, SaysWhatElseAWindowMayBe) {
    const Machine machine;
    const auto suite = [&](const std::string& id, const std::string& name, const std::string& option) {
        machine.install(id + ".desktop", entry(name, "libreoffice " + option, "StartupWMClass=" + id));
    };
    suite("libreoffice-startcenter", "LibreOffice", "");
    suite("libreoffice-writer", "LibreOffice Writer", "--writer");
    suite("libreoffice-calc", "LibreOffice Calc", "--calc");
    machine.install("org.example.Box.note.desktop", entry("Note", "flatpak run --command=x org.example.Box"));
    machine.install("org.example.Box.mail.desktop", entry("Mail", "flatpak run --command=y org.example.Box"));
    machine.install("pack_one.desktop", entry("One", "snap run pack.one"));
    machine.install("pack_two.desktop", entry("Two", "snap run pack.two"));
    machine.install("alone.desktop", entry("Alone", "alone"));
    machine.install("tool.desktop", entry("Tool", "tool"));
    machine.install("tool-page.desktop", entry("Page", "tool --app=page", "StartupWMClass=page_1"));
    auto identifier = machine.identifier();
    machine.run(1, "/usr/lib/libreoffice/program/soffice.bin");
    machine.run(2, "/app/bin/box");
    machine.give(2, "root/.flatpak-info", "[Application]\nname=org.example.Box\n");
    machine.run(3, "/snap/pack/12/bin/pack");
    machine.give(3, "cgroup", "0::/user.slice/snap.pack.one-0123abcd-0123-0123-0123-0123456789ab.scope\n");
    machine.run(4, "/usr/bin/alone");
    machine.run(5, "/usr/bin/tool");
    machine.run(6, "/usr/bin/kontainer");
    machine.install("org.kde.first.desktop", entry("First", "first"));
    machine.install("org.kde.second.desktop", entry("Second", "second"));

    const std::string start = "libreoffice-startcenter", writer = "libreoffice-writer", calc = "libreoffice-calc",
                      note = "org.example.Box.note", mail = "org.example.Box.mail", first = "org.kde.first",
                      second = "org.kde.second";
    using IDs = std::set<std::string>;
    const struct {
        std::string what;
        WindowOwner owner;
        IDs expected; ///< all that it is or may be
        IDs never = {};
    } rows[] = {
        {"before it has told", {1, "soffice", "Soffice"}, {start, writer, calc}},
        {"when it has told", {1, "libreoffice", calc, "", "", "Sheet - LibreOffice Calc"}, {calc}, {writer}},
        {"its title ahead of its class",
         {1, "libreoffice", start, "", "", "Letter - LibreOffice Writer"},
         {start, writer},
         {calc}},
        {"a title that only has the word in it",
         {1, "libreoffice", calc, "", "", "LibreOffice Writer.ods - LibreOffice Calc"},
         {calc},
         {writer}},
        {"a sandbox of several", {2, "box", "Box"}, {note, mail}},
        {"one of them", {2, "box", "Box", "", mail}, {"org.example.Box", mail}, {note}},
        {"a snap of several", {3, "pack", "Pack"}, {"pack_one", "pack_two"}},
        {"a program with one entry", {4, "x", "X"}, {"alone", "x"}},
        {"a class of the user's own", {5, "work", "Work"}, {"tool", "tool-page"}},
        {"the program's own class", {5, "tool", "Tool"}, {"tool"}, {"tool-page"}},
        {"by the desktop entry that it names", {6, "kontainer", "kontainer", "", first}, {first}, {second}},
        {"another of its process", {6, "kontainer", "kontainer", "", second}, {second}, {first}},
        {"a window of it that tells nothing", {6, "kontainer", "kontainer"}, {first, second}},
    };
    for (const auto& row : rows) {
        for (const char* const time : {"first", "again"}) {
            const auto identity = identifier.identify(row.owner);
            for (const std::string& id : row.expected)
                EXPECT_TRUE(isOrMayBe(identity, [&](const std::string& other) { return other == id; }))
                    << row.what << ", " << time << ": " << id;
            for (const std::string& id : row.never)
                EXPECT_FALSE(isOrMayBe(identity, [&](const std::string& other) { return other == id; }))
                    << row.what << ", " << time << ": " << id;
        }
    }
    machine.run(6, "/usr/bin/kontainer", "200");
    EXPECT_EQ(identifier.identify({6, "kontainer", "kontainer"}).otherBundleIDs, std::vector<std::string>())
        << "another process with its number";
}

TEST(ApplicationIdentifier, NeitherWaitsForFilesNorReadsThemWithoutEnd) {
    const Machine machine;
    const std::string boxed = "[Application]\nname=org.example.Boxed\n";
    const auto pipeAt = [](const fs::path& file) {
        fs::create_directories(file.parent_path());
        EXPECT_EQ(mkfifo(file.c_str(), 0600), 0);
        return file;
    };
    std::vector<fs::path> pipes;
    for (const char* const file : {"stat", "cmdline", "cgroup", "root/.flatpak-info"})
        pipes.push_back(pipeAt(machine.processes() / "1" / file));
    pipes.push_back(pipeAt(machine.system() / "applications/pipe.desktop"));
    pipes.push_back(pipeAt(machine.configuration() / "mimeapps.list"));
    machine.run(2, "/usr/bin/padded");
    machine.give(2, "root/.flatpak-info", std::string(std::size_t{65'536}, '\n') + boxed);
    machine.run(3, "/usr/bin/long");
    machine.give(3, "root/.flatpak-info", boxed + std::string(std::size_t{1'048'576}, '\n'));
    machine.install("padded.desktop", std::string(std::size_t{1'048'576}, '\n') + entry("Too far", "padded"));
    machine.install("long.desktop",
                    entry("Long", "x", "StartupWMClass=Long") + std::string(std::size_t{1'048'576}, '\n'));
    auto identifier = machine.identifier();

    std::promise<std::string> answered;
    std::thread asking([&] { answered.set_value(*identifier.identify({1, "", "Piped"}).bundleID); });
    auto answer = answered.get_future();
    const bool isPrompt = answer.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(isPrompt) << "waits for somebody to write into a pipe";
    while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        for (const fs::path& pipe : pipes)
            close(open(pipe.c_str(), O_WRONLY | O_NONBLOCK)); // lets the reader go on
    asking.join();
    EXPECT_EQ(answer.get(), "piped");

    EXPECT_EQ(identifier.identify({2, "", ""}).bundleID, "padded") << "told too far down the file";
    EXPECT_EQ(identifier.identify({0, "", "Padded"}).name, "Padded") << "told too far down the entry";
    EXPECT_EQ(identifier.identify({3, "", ""}).bundleID, "org.example.Boxed");
    EXPECT_EQ(identifier.identify({0, "", "Long"}).name, "Long");
}

TEST(ApplicationIdentifier, SeesWhatIsInstalledMeanwhileAndWhatTheUserHides) {
    const Machine machine;
    machine.install("tool.desktop", entry("Tool of the system", "tool", "StartupWMClass=Tool"));
    auto identifier = machine.identifier();
    EXPECT_EQ(identifier.identify({0, "", "Tool"}).name, "Tool of the system");

    write(machine.home() / "applications/tool.desktop", entry("My tool", "tool", "StartupWMClass=Tool"));
    EXPECT_EQ(identifier.identify({0, "", "Tool"}).name, "My tool");

    write(machine.home() / "applications/tool.desktop", entry("My tool", "tool", "Hidden=true"));
    // Rewriting a file leaves its folder's time alone; programs that install entries replace them.
    fs::last_write_time(machine.home() / "applications", fs::file_time_type::clock::now() + std::chrono::seconds(5));
    EXPECT_EQ(identifier.identify({0, "", "Tool"}).bundleID, "tool");
    EXPECT_EQ(identifier.identify({0, "", "Tool"}).name, "Tool");
}

} // namespace nomara
