#include "core/applications/AppCatalog.h"
#include "core/applications/LinuxApplications.h"
#include "platform/linux/desktop/WellKnownApplications.h"
#include "platform/linux/desktop/WellKnownPrograms.h"
#include "tests/platform/Machine.h"

#include <algorithm>
#include <map>
#include <set>

#include <gtest/gtest.h>

namespace nomara {

namespace {

using LinuxApplications::Kind;

// Files of the programs that aren't named like their identifier.
const std::map<std::string, std::string, std::less<>> usualExecutables = {
    {"io.github.ungoogled_software.ungoogled_chromium", "ungoogled-chromium"},
    {"io.gitlab.librewolf-community", "librewolf"},
    {"net.waterfox.waterfox", "waterfox"},
    {"one.ablaze.floorp", "floorp"},
    {"org.torproject.torbrowser-launcher", "firefox.real"},
    {"net.mullvad.MullvadBrowser", "mullvadbrowser.real"},
    {"org.gnome.Epiphany", "epiphany-browser"},
    {"com.github.cassidyjames.ephemeral", "com.github.cassidyjames.ephemeral"},
    {"org.gnome.Eolie", "eolie"},
    {"org.midori_browser.Midori", "midori"},
    {"org.kde.falkon", "falkon"},
    {"org.kde.konqueror", "konqueror"},
    {"org.kde.angelfish", "angelfish"},
    {"org.qutebrowser.qutebrowser", "qutebrowser"},
    {"engineer.atlas.Nyxt", "nyxt"},
    {"org.ladybird.Ladybird", "Ladybird"},
    {"fi.skyjake.Lagrange", "lagrange"},
    {"org.keepass.KeePass", "keepass2"},
    {"org.gnome.seahorse.Application", "seahorse"},
    {"org.kde.kwalletmanager5", "kwalletmanager5"},
    {"org.kde.kwalletmanager", "kwalletmanager"},
    {"org.kde.kleopatra", "kleopatra"},
    {"org.gnome.World.Secrets", "secrets"},
    {"org.gnome.PasswordSafe", "gnome-passwordsafe"},
    {"org.kde.keysmith", "keysmith"},
    {"org.ijhack.QtPass", "qtpass"},
    {"com.belmoussaoui.Authenticator", "authenticator"},
    {"com.yubico.authenticator", "yubico-authenticator"},
    {"com.yubico.yubioath", "yubioath-desktop"},
    {"com.github.paolostivanin.OTPClient", "otpclient"},
    {"io.ente.auth", "enteauth"},
    {"org.gnome.keyring.SystemPrompter", "gcr4-prompter"},
    {"org.kde.polkit-kde-authentication-agent-1", ""}, // its file is a row of its own
    {"io.elementary.desktop.agent-polkit", "io.elementary.desktop.agent-polkit"},
    {"org.kde.ksshaskpass", "ksshaskpass"},
    {"org.kde.kwalletd5", ""},
    {"org.kde.kwalletd6", ""},
};

// Those of the shared tables that exist on Linux.
constexpr std::pair<std::string_view, std::string_view> sharedExecutables[] = {
    {"com.google.Chrome", "chrome"},
    {"org.mozilla.firefox", "firefox-esr"},
    {"com.microsoft.edgemac", "msedge"},
    {"com.brave.Browser", "brave"},
    {"com.operasoftware.Opera", "opera"},
    {"com.vivaldi.Vivaldi", "vivaldi-bin"},
    {"app.zen-browser.zen", "zen-bin"},
    {"org.chromium.Chromium", "chromium"},
    {"ru.yandex.desktop.yandex-browser", "yandex_browser"},
    {"com.1password.1password", "1password"},
    {"com.bitwarden.desktop", "bitwarden"},
    {"com.lastpass.LastPass", "lastpass"},
    {"org.keepassxc.keepassxc", "keepassxc"},
    {"me.proton.pass.electron", "proton-pass"},
    {"in.sinew.Enpass-Desktop", "Enpass"},
};

bool isSensitive(std::string_view id) {
    return LinuxApplications::is(id, Kind::browser) || LinuxApplications::is(id, Kind::passwordManager) ||
           LinuxApplications::is(id, Kind::passwordPrompter);
}

} // namespace

TEST(WellKnownApplications, AreReachedByTheirIdentifiersAndFiles) {
    const Machine machine;
    auto identifier = machine.identifier();
    ProcessID pid = 0;
    const auto byFile = [&](std::string_view file) {
        machine.run(++pid, "/opt/x/" + std::string(file));
        return identifier.identify({pid, "x", "X"});
    };
    const auto bySandbox = [&](std::string_view id) {
        machine.run(++pid, "/app/bin/x");
        machine.give(pid, "root/.flatpak-info", "[Application]\nname=" + std::string(id) + "\n");
        return identifier.identify({pid, "x", "X"});
    };
    for (const auto& application : LinuxApplications::all()) {
        const std::string id(application.id);
        EXPECT_EQ(WellKnownApplications::find(id).bundleID, id);
        if (!isSensitive(id)) continue;
        machine.install(id + ".desktop", entry("Installed", "x"));
        EXPECT_EQ(bySandbox(id).bundleID, id);
        EXPECT_EQ(identifier.identify({0, "", id}).bundleID, id);
        const auto other = usualExecutables.find(id);
        ASSERT_TRUE(other != usualExecutables.end() || id.find('.') == std::string::npos) << id << ": which file?";
        const std::string file = other == usualExecutables.end() ? id : other->second;
        if (file.empty()) continue;
        const auto found = byFile(file);
        EXPECT_EQ(found.bundleID, id) << file;
        EXPECT_EQ(found.isBrowser, LinuxApplications::is(id, Kind::browser)) << file;
    }
    for (const auto& [id, file] : sharedExecutables) {
        EXPECT_EQ(byFile(file).bundleID, id);
        EXPECT_EQ(byFile(file).isBrowser, AppCatalog::isBrowser(id)) << id;
    }
}

TEST(WellKnownApplications, HaveOneMeaningForEachName) {
    std::set<std::string, std::less<>> ids;
    for (const auto& application : LinuxApplications::all())
        ids.emplace(application.id);
    std::map<std::string, std::string, std::less<>> owners;
    const auto check = [&](const WellKnownProgram& program) {
        std::string_view rest = program.aliases;
        while (!rest.empty()) {
            const auto end = std::min(rest.find('|'), rest.size());
            const std::string alias(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            EXPECT_FALSE(alias.empty()) << program.bundleID;
            EXPECT_EQ(WellKnownApplications::find(alias).bundleID, program.bundleID) << alias;
            EXPECT_TRUE(owners.emplace(alias, program.bundleID).second) << alias << " stands in two places";
            EXPECT_NE(alias, "navigator") << "all relatives of Firefox call their windows so";
        }
    };
    for (const WellKnownProgram& program : sharedPrograms())
        check(program);
    for (const WellKnownProgram& program : linuxPrograms()) {
        EXPECT_TRUE(ids.contains(program.bundleID)) << program.bundleID << " isn't in the catalogue";
        check(program);
    }
}

} // namespace nomara
