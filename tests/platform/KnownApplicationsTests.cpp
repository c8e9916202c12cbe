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

bool isSensitive(std::string_view id) {
    return LinuxApplications::is(id, Kind::browser) || LinuxApplications::is(id, Kind::passwordManager) ||
           LinuxApplications::is(id, Kind::passwordPrompter);
}

} // namespace

TEST(WellKnownApplications, AreReachedByTheirIdentifiersAndFiles) {
    const Machine machine;
    auto identifier = machine.identifier();
    ProcessID pid = 0;
    for (const auto& application : LinuxApplications::all()) {
        const std::string id(application.id);
        EXPECT_EQ(WellKnownApplications::find(id).bundleID, id);
        if (!isSensitive(id)) continue;
        machine.install(id + ".desktop", entry("Installed", "x"));
        machine.run(++pid, "/app/bin/x");
        machine.give(pid, "root/.flatpak-info", "[Application]\nname=" + id + "\n");
        EXPECT_EQ(identifier.identify({pid, "x", "X"}).bundleID, id);
        EXPECT_EQ(identifier.identify({0, "", id}).bundleID, id);
    }
    // Files that aren't named like the identifier.
    for (const auto& [file, id] : {std::pair("firefox-esr", "org.mozilla.firefox"),
                                   {"msedge", "com.microsoft.edgemac"},
                                   {"firefox.real", "org.torproject.torbrowser-launcher"},
                                   {"mullvadbrowser.real", "net.mullvad.MullvadBrowser"},
                                   {"keepassxc", "org.keepassxc.keepassxc"},
                                   {"keepass2", "org.keepass.KeePass"},
                                   {"gcr4-prompter", "org.gnome.keyring.SystemPrompter"},
                                   {"Enpass", "in.sinew.Enpass-Desktop"}}) {
        machine.run(++pid, std::string("/opt/x/") + file);
        EXPECT_EQ(identifier.identify({pid, "x", "X"}).bundleID, id);
        EXPECT_EQ(identifier.identify({pid, "x", "X"}).isBrowser, AppCatalog::isBrowser(id)) << id;
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
