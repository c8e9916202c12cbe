#include "platform/linux/desktop/InstalledApplications.h"
#include "tests/platform/Machine.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace nomara {

// Whatever people call an application, it is excluded under the identifiers that its windows get.
TEST(InstalledApplications, GoByAllTheirNames) {
    const Machine machine;
    machine.install("org.gnome.Evolution.desktop", entry("Evolution", "evolution"));
    machine.install("firefox-esr.desktop", entry("Firefox ESR", "/usr/lib/firefox-esr/firefox-esr %u"));
    machine.install("notes.desktop", entry("My Notes", "notes", "StartupWMClass=NotesApp"));
    InstalledApplications applications({{machine.system()}, {}});
    const struct {
        const char *name, *id;
    } rows[] = {
        {"org.gnome.Evolution", "org.gnome.Evolution"},
        {"org.gnome.evolution", "org.gnome.Evolution"},
        {"evolution", "org.gnome.Evolution"},
        {"Evolution", "org.gnome.Evolution"},
        {"firefox", "org.mozilla.firefox"},
        {"firefox-esr", "org.mozilla.firefox"},
        {"Firefox ESR", "org.mozilla.firefox"},
        {"NotesApp", "notes"},
        {"my notes", "notes"},
        {"Bitwarden", "com.bitwarden.desktop"},
        {"com.apple.keychainaccess", "com.apple.keychainaccess"},
        {"evolutoin", nullptr},
        {"org.foo", nullptr},
        {"", nullptr},
    };
    for (const auto& row : rows) {
        const auto ids = applications.identifiers(row.name);
        if (row.id == nullptr)
            EXPECT_TRUE(ids.empty()) << row.name << " " << ids.front();
        else
            EXPECT_NE(std::ranges::find(ids, row.id), ids.end()) << row.name;
    }
    const auto all = applications.all();
    const auto installed = [&](std::string_view id) {
        const auto found = std::ranges::find(all, id, &KnownApplication::id);
        return found != all.end() && found->isInstalled;
    };
    EXPECT_TRUE(installed("org.gnome.Evolution") && installed("org.mozilla.firefox") && installed("notes"));
    EXPECT_FALSE(installed("com.bitwarden.desktop"));
    machine.install("com.bitwarden.desktop.desktop", entry("Bitwarden", "bitwarden"));
    applications.refresh();
    EXPECT_EQ(std::ranges::count_if(applications.all(), &KnownApplication::isInstalled), 4);
}

} // namespace nomara
