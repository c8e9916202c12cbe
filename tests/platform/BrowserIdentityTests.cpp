#include "tests/platform/Machine.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

TEST(LinkHandlers, AreThoseOfHttpAlone) {
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {"", {}},
        {"x-scheme-handler/http=outside.desktop\n", {}},
        {"[Default Applications]\nx-scheme-handler/http=a.desktop;b.desktop;\nx-scheme-handler/https = c.desktop\n",
         {"a", "b", "c"}},
        {"[Added Associations]\r\nx-scheme-handler/https=d.desktop\r\n", {"d"}},
        {"[Removed Associations]\nx-scheme-handler/http=gone.desktop\n", {}},
        {"[Default Applications]\nx-scheme-handler/mailto=mail.desktop\ntext/html=e.desktop\n", {}},
        {"[Default Applications]\nx-scheme-handler/http=;; ;without-ending\n=\n", {"without-ending"}},
    };
    for (const auto& [text, ids] : rows)
        EXPECT_EQ(parseLinkHandlers(text), ids) << text;
}

TEST(ApplicationIdentifier, CountsWhatOpensPagesAsABrowser) {
    const Machine machine;
    machine.install("says.desktop", entry("Says so", "says", "Categories=Network;WebBrowser;"));
    machine.install("http.desktop", entry("Http", "http", "MimeType=text/html;x-scheme-handler/http;"));
    machine.install("https.desktop", entry("Https", "https", "MimeType=x-scheme-handler/https"));
    machine.install("html.desktop", entry("Html", "html", "MimeType=text/html;x-scheme-handler/ftp;"));
    machine.install("default.desktop", entry("Default", "default"));
    machine.install("added.desktop", entry("Added", "added"));
    machine.install("beside.desktop", entry("Beside", "beside"));
    machine.install("org.example.Letters.desktop", entry("Letters", "letters", "MimeType=x-scheme-handler/http"));
    machine.install("terminal.desktop", entry("Terminal", "pager", "Terminal=true\nCategories=WebBrowser"));
    machine.install("hidden.desktop", entry("Hidden", "hidden", "Categories=WebBrowser"));
    machine.install("script.desktop", entry("Script", "/usr/bin/python3 /opt/x", "Categories=WebBrowser"));
    machine.install("suite.desktop", entry("Suite", "suite"));
    machine.install("suite-web.desktop", entry("Suite's browser", "suite --web", "Categories=WebBrowser"));
    write(machine.home() / "applications/hidden.desktop", entry("My launcher", "hidden"));
    write(machine.configuration() / "mimeapps.list",
          "[Default Applications]\nx-scheme-handler/http=default.desktop\n[Added "
          "Associations]\nx-scheme-handler/https=added.desktop\n");
    write(machine.system() / "applications/gnome-mimeapps.list",
          "[Default Applications]\nx-scheme-handler/http=beside.desktop\n");

    struct Row {
        std::string what, executable, instanceName, className, role;
        bool isBrowser;
    };
    const Row rows[] = {
        {"category", "/usr/bin/says", "", "", "", true},
        {"http", "/usr/bin/http", "", "", "", true},
        {"pages from files alone", "/usr/bin/html", "", "", "", false},
        {"made the default", "/usr/bin/default", "", "", "", true},
        {"a mail program that takes http links", "/usr/bin/letters", "letters", "Letters", "", true},
        {"the window is the terminal's", "/usr/bin/pager", "", "", "", false},
        {"hidden by a launcher that says less", "/usr/bin/hidden", "", "", "", true},
        {"another script", "/usr/bin/python3", "x", "Other", "", false},
        {"one of a suite", "/usr/bin/suite", "", "Unheard", "", true},

        {"known", "/usr/bin/chromium", "chromium", "Chromium", "browser", true},
        {"a browser's web program", "/opt/google/chrome/chrome", "crx_abc", "crx_abc", "pop-up", true},
        {"Tor's own", "/home/u/tor-browser/Browser/firefox.real", "Navigator", "Tor Browser", "browser", true},
        {"unheard of, of Firefox's family", "/opt/fork/fork", "Navigator", "Fork", "", true},
        {"unheard of, of Chromium's family", "/tmp/.mount_Fork/fork", "fork", "Fork", "browser", true},
        {"named a browser", "/opt/fork/fork3", "fork", "Swift Browser", "", true},
        {"a browser's class on a known program", "/usr/bin/code", "chromium", "Chromium", "", true},
        {"known, and none", "/usr/bin/code", "code", "Code", "browser-window", false},
        {"a mail window of Firefox's family", "/usr/bin/thunderbird", "Mail", "thunderbird", "3pane", false},
    };
    auto identifier = machine.identifier();
    ProcessID pid = 100;
    for (const Row& row : rows) {
        machine.run(++pid, row.executable);
        const WindowOwner owner{pid, row.instanceName, row.className, row.role};
        EXPECT_EQ(identifier.identify(owner).isBrowser, row.isBrowser) << row.what;
        EXPECT_EQ(identifier.identify(owner).isBrowser, row.isBrowser) << row.what << ", asked again";
    }
    // Windows that don't tell their process.
    for (const WindowOwner& owner : {WindowOwner{0, "", "Says"}, WindowOwner{0, "chromium", "Chromium"},
                                     WindowOwner{0, "", "", "browser"}, WindowOwner{0, "Navigator", "Fork"}})
        EXPECT_TRUE(identifier.identify(owner).isBrowser) << owner.className << owner.role;
    EXPECT_FALSE(identifier.identify({0, "code", "Code"}).isBrowser);
}

TEST(ApplicationIdentifier, NoticesAProgramThatBecomesTheDefaultBrowser) {
    const Machine machine;
    machine.install("late.desktop", entry("Late", "late"));
    machine.run(1, "/usr/bin/late");
    machine.run(2, "/usr/bin/other");
    auto identifier = machine.identifier();
    EXPECT_FALSE(identifier.identify({1, "", ""}).isBrowser);
    write(machine.configuration() / "mimeapps.list", "[Default Applications]\nx-scheme-handler/http=late.desktop\n");
    identifier.identify({2, "", ""});
    EXPECT_TRUE(identifier.identify({1, "", ""}).isBrowser) << "seen with the next new program";
}

TEST(ApplicationIdentifier, TakesTheCarefulAnswerWhereSignsDiffer) {
    const Machine machine;
    machine.install("chrome-abc-Default.desktop",
                    entry("Vault", "/opt/google/chrome/chrome --app-id=abc", "StartupWMClass=crx_abc\nIcon=vault"));
    machine.install("chromium.desktop", entry("Chromium", "/usr/bin/chromium", "Icon=chromium-icon"));
    struct Row {
        std::string what, executable, arguments, flatpak, instanceName, className, bundleID;
        bool isBrowser;
        std::string icon;
    };
    const std::string none;
    const Row rows[] = {
        {"password manager's class, harmless file", "/usr/bin/code", none, none, "x", "KeePassXC",
         "org.keepassxc.keepassxc", false, none},
        {"password manager's file, harmless class", "/usr/bin/keepassxc", none, none, "code", "Code",
         "org.keepassxc.keepassxc", false, none},
        {"password manager in an unheard-of sandbox", "/app/bin/keepassxc", none, "org.example.Boxed", "x", "X",
         "org.keepassxc.keepassxc", false, none},
        {"a file that can't be read", none, "/usr/bin/keepassxc", none, "x", "X", "org.keepassxc.keepassxc", false,
         none},
        {"a line rewritten into one argument", none, "/usr/lib/chromium/chromium --type=x --y", none, "x", "X",
         "org.chromium.Chromium", true, "chromium-icon"},
        {"run by Mono", "/usr/bin/mono-sgen", std::string("mono\0--x\0/usr/lib/KeePass.exe\0", 30), none, "x", "X",
         "org.keepass.KeePass", false, none},
        {"a prompter's class", "/usr/bin/unheard", none, none, "git-gui--askpass", "Git-gui--askpass",
         "git-gui--askpass", false, none},
        {"an askpass of somebody's own", "/opt/my-askpass-2", none, none, "", "", "ssh-askpass", false, none},
        {"Tor's class on Firefox's file", "/opt/tor/firefox", none, none, "Navigator", "Tor Browser",
         "org.torproject.torbrowser-launcher", true, none},
        {"a relative of Firefox", "/opt/fox/firefox", none, "io.gitlab.librewolf-community", "Navigator", "librewolf",
         "io.gitlab.librewolf-community", true, none},
        {"a snap", "/snap/librewolf/1/firefox", none, none, "Navigator", "librewolf", "io.gitlab.librewolf-community",
         true, none},
        {"an icon of the same program", "/usr/lib/chromium/chromium", none, none, "chromium", "Chromium",
         "org.chromium.Chromium", true, "chromium-icon"},
        {"a browser's web program", "/opt/google/chrome/chrome", none, none, "crx_abc", "crx_abc", "com.google.Chrome",
         true, none},
    };
    auto identifier = machine.identifier();
    ProcessID pid = 100;
    for (const Row& row : rows) {
        machine.run(++pid, row.executable.empty() ? "/proc/hidden" : row.executable);
        if (row.executable.empty()) std::filesystem::remove(machine.processes() / std::to_string(pid) / "exe");
        if (!row.arguments.empty()) machine.give(pid, "cmdline", row.arguments);
        if (!row.flatpak.empty()) machine.give(pid, "root/.flatpak-info", "[Application]\nname=" + row.flatpak + "\n");
        const auto found = identifier.identify({pid, row.instanceName, row.className});
        EXPECT_EQ(found.bundleID, row.bundleID) << row.what;
        EXPECT_EQ(found.isBrowser, row.isBrowser) << row.what;
        EXPECT_EQ(found.icon, row.icon) << row.what;
        EXPECT_TRUE(found.name && !found.name->empty()) << row.what;
    }
}

} // namespace nomara
