#include "core/applications/AppCatalog.h"
#include "core/applications/LinuxApplications.h"
#include "core/privacy/LinuxPrivateWindows.h"
#include "core/privacy/PrivacyRules.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Category = AppCategory;
using Kind = LinuxApplications::Kind;

TEST(AppCatalog, ClassifiesByTheWholeIdentifier) {
    const struct {
        std::optional<std::string_view> id;
        Category category;
        bool browser;
    } rows[] = {
        {std::nullopt, Category::normal, false},
        {"", Category::normal, false},
        {"com.spotify.client", Category::media, false},
        {"com.hnc.Discord", Category::call, false},
        {"us.zoom.xos", Category::call, false},
        {"com.microsoft.teams2", Category::call, false},
        {"com.google.Chrome", Category::ocrPreferred, true},
        {"com.google.chrome", Category::normal, false},
        {"com.google.Chrome.beta", Category::normal, false},
        {"com.apple.Safari", Category::normal, true},
        {"COM.APPLE.SAFARI", Category::normal, false},
        {"org.mozilla.firefox", Category::normal, true},
        {"org.gnome.Epiphany", Category::normal, true},
        {"org.gnome.epiphany", Category::normal, false},
        {"io.gitlab.librewolf-community", Category::normal, true},
        {"dillo", Category::ocrPreferred, true},
        {"mpv", Category::media, false},
        {"com.skype.Client", Category::call, false},
        {"net.kovidgoyal.kitty", Category::ocrPreferred, false},
        {"xterm", Category::ocrPreferred, false},
        {"org.gnome.Terminal", Category::normal, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(AppCatalog::category(row.id), row.category) << row.id.value_or("none");
        EXPECT_EQ(AppCatalog::isBrowser(row.id), row.browser) << row.id.value_or("none");
    }
}

TEST(AppCatalog, KnowsEachLinuxApplicationOnce) {
    std::set<std::string_view> seen;
    for (const auto& application : LinuxApplications::all()) {
        EXPECT_TRUE(seen.insert(application.id).second) << application.id;
        EXPECT_FALSE(application.name.empty()) << application.id;
        EXPECT_FALSE(LinuxApplications::is(application.id, Kind::alwaysPrivate) &&
                     !AppCatalog::isBrowser(application.id))
            << application.id;
    }
}

TEST(AppCatalog, LeavesPasswordManagersOutAndNamesThem) {
    const auto& excluded = AppCatalog::defaultExcludedApps();
    ASSERT_GT(excluded.size(), 11U);
    EXPECT_EQ(std::set(excluded.begin(), excluded.end()).size(), excluded.size());
    const std::set<std::string> nameless{"com.apple.keychainaccess", "com.apple.Passwords"};
    for (const std::string& id : excluded) {
        const auto name = AppCatalog::passwordManagerNames().find(id);
        EXPECT_EQ(name == AppCatalog::passwordManagerNames().end(), nameless.contains(id)) << id;
        EXPECT_FALSE(AppCatalog::isPasswordPrompter(id)) << id;
    }
    for (const char* id : {"org.keepass.KeePass", "org.gnome.seahorse.Application", "org.gnome.World.Secrets"})
        EXPECT_EQ(std::count(excluded.begin(), excluded.end(), id), 1) << id;
    EXPECT_EQ(AppCatalog::passwordManagerNames().size(), excluded.size() - nameless.size());

    for (const char* id : {"pinentry-gtk-2", "gcr-prompter", "org.kde.ksshaskpass", "kwalletd5"})
        EXPECT_TRUE(AppCatalog::isPasswordPrompter(id)) << id;
    EXPECT_FALSE(AppCatalog::isPasswordPrompter(std::nullopt));
    EXPECT_FALSE(AppCatalog::isPasswordPrompter("org.gnome.Terminal"));
    EXPECT_TRUE(AppCatalog::isAlwaysPrivate("org.torproject.torbrowser-launcher"));
    EXPECT_FALSE(AppCatalog::isAlwaysPrivate("org.mozilla.firefox"));
}

TEST(PrivacyRules, RecognizesPrivateTitles) {
    const struct {
        std::optional<std::string_view> title;
        bool isPrivate;
    } rows[] = {
        {std::nullopt, false},
        {"", false},
        {"News — Mozilla Firefox Private Browsing", true},
        {"How incognito works - Chrome", true},
        {"[InPrivate] News - Microsoft Edge", true},
        {"GİZLİ PENCERE", true},
        {"Haberler – Özel Dolaşım", true},
        {"Haberler (Gizli)", true},
        {"Gizli bahçe - Vikipedi", false},
        {"(Gizli) Haberler", false},
        {"News - Brave (Private)", true},
        {"Private equity (private) news", false},
        {"My private diary", false},
        {"Actualités — Navigation privée", true},
        {"Noticias - Navegación privada", true},
        {"Privates Fenster – Nachrichten", true},
        // what the browsers of Linux say
        {"News - Chromium (Incognito)", true},
        {"Nachrichten - Chromium (Inkognito)", true},
        {"Inkognito - Wikipedia - Chromium", false},
        {"Actualités - Chromium (Navigation privée)", true},
        {"Notizie - Chromium (In incognito)", true},
        {"Haberler — Mozilla Firefox Gizli Gezinti", true},
        {"Nachrichten — Mozilla Firefox Privater Modus", true},
        {"Новости - Chromium (Инкогнито)", true},
        {"ニュース — Mozilla Firefox プライベートブラウジング", true},
        {"Onion services — Tor Browser", true},
        {"Download Tor Browser — Mozilla Firefox", false},
        {"\xff\xfe(\xc3", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(PrivacyRules::isPrivateTitle(row.title), row.isPrivate) << row.title.value_or("none");
}

TEST(PrivacyRules, KeepsTheListsOfLinuxUseful) {
    using namespace LinuxPrivateWindows;
    for (const auto* list : {&titleEndings(), &titleMarkers(), &controlLabels()})
        for (const std::string& words : *list)
            EXPECT_GE(words.size(), 6U) << "too short, or folded away: " << words;
    for (const char* title : {"Letter - Mousepad", "README.md — Kate", "Privat - Dolphin",
                              "Startseite — Mozilla Firefox", "Nachrichten - Chromium", "privado", "Home (privacy)"})
        EXPECT_FALSE(PrivacyRules::isPrivateTitle(title)) << title;
}

TEST(PrivacyRules, FindsExcludedSites) {
    using Sites = std::vector<std::string>;
    const struct {
        std::optional<std::string_view> url;
        Sites sites;
        bool excluded;
    } rows[] = {
        {"https://bank.com/", {}, false},
        {"https://bank.com/", {" \n", ""}, false},
        {std::nullopt, {"bank.com"}, false},
        {"", {"bank.com"}, false},
        {"https://www.bank.com/account", {"Bank.COM"}, true},
        {"https://WWW.BANK.COM", {"  bank.com\n"}, true},
        {"https://online.bank.com", {"bank.com"}, true},
        {"https://mybank.com", {"bank.com"}, true},
        {"https://other.org/?next=bank.com", {"bank.com"}, true},
        {"https://other.org/health/notes", {"health"}, true},
        {"https://other.org/", {"", "bank.com", "other"}, true},
        {"https://other.org/", {"bank.com"}, false},
        {"not a url with bank.com", {"bank.com"}, true},
        {"https://www.bank.com/", {"www.bank.com"}, true},
        {"https://ba%6ek.com/", {"bank.com"}, true},
        {"https://xn--mller-kva.de/", {"müller.de"}, true},
        {"https://müller.de/", {"MULLER.de"}, true},
        {"https://xn--mller-kva.de/", {"xn--mller-kva.de"}, true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(PrivacyRules::isExcludedSite(row.url, row.sites), row.excluded)
            << row.url.value_or("none") << " for " << (row.sites.empty() ? "nothing" : row.sites.back());
}

} // namespace
} // namespace nomara
