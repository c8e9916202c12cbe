#include "core/applications/AppCatalog.h"

#include "core/applications/LinuxApplications.h"

#include <initializer_list>
#include <unordered_set>

namespace nomara::AppCatalog {

namespace {

using Table = std::unordered_set<std::string_view>;
using LinuxApplications::Kind;

const Table& browsers() {
    static const Table table{
        "com.apple.Safari",
        "com.apple.SafariTechnologyPreview",
        "com.google.Chrome",
        "com.google.Chrome.canary",
        "company.thebrowser.Browser",
        "org.mozilla.firefox",
        "org.mozilla.firefoxdeveloperedition",
        "com.microsoft.edgemac",
        "com.brave.Browser",
        "com.operasoftware.Opera",
        "com.vivaldi.Vivaldi",
        "com.kagi.kagimacOS",
        "app.zen-browser.zen",
        "com.openai.atlas",
        "ai.perplexity.comet",
        "com.sigmaos.sigmaos.macos",
        "org.chromium.Chromium",
        "ru.yandex.desktop.yandex-browser",
    };
    return table;
}

const Table& mediaApps() {
    static const Table table{
        "com.apple.TV",        "com.apple.QuickTimePlayerX",
        "org.videolan.vlc",    "com.colliderli.iina",
        "com.netflix.Netflix", "com.apple.Music",
        "com.spotify.client",  "tv.plex.desktop",
    };
    return table;
}

const Table& callApps() {
    static const Table table{
        "us.zoom.xos",        "com.microsoft.teams2",       "com.microsoft.teams",
        "com.apple.FaceTime", "com.cisco.webexmeetingsapp", "com.google.meet",
        "com.hnc.Discord",
    };
    return table;
}

// Some of these are players or callers as well, which they are first.
const Table& ocrPreferredApps() {
    static const Table table{
        "com.google.Chrome",
        "com.google.Chrome.canary",
        "company.thebrowser.Browser",
        "com.microsoft.edgemac",
        "com.brave.Browser",
        "com.operasoftware.Opera",
        "com.vivaldi.Vivaldi",
        "org.chromium.Chromium",
        "com.tinyspeck.slackmacgap",
        "com.microsoft.VSCode",
        "com.todesktop.230313mzl4w4u92",
        "com.figma.Desktop",
        "notion.id",
        "com.hnc.Discord",
        "net.whatsapp.WhatsApp",
        "com.linear",
        "com.spotify.client",
        "com.exafunction.windsurf",
        "md.obsidian",
        "com.anthropic.claudefordesktop",
        "com.openai.chat",
        "com.microsoft.teams2",
        "us.zoom.xos",
        "com.apple.Preview",
        "com.adobe.Photoshop",
        "com.adobe.illustrator",
        "com.parallels.desktop.console",
        "com.microsoft.rdc.macos",
        "com.utmapp.UTM",
    };
    return table;
}

bool isLinux(std::string_view bundleID, Kind kind) {
    return LinuxApplications::is(bundleID, kind);
}

std::vector<std::string> withLinux(std::initializer_list<const char*> first, Kind kind) {
    std::vector<std::string> all(first.begin(), first.end());
    for (const LinuxApplications::Application& application : LinuxApplications::all())
        if (isLinux(application.id, kind)) all.emplace_back(application.id);
    return all;
}

} // namespace

AppCategory category(std::optional<std::string_view> bundleID) {
    if (!bundleID) return AppCategory::normal;
    if (mediaApps().contains(*bundleID)) return AppCategory::media;
    if (callApps().contains(*bundleID)) return AppCategory::call;
    if (ocrPreferredApps().contains(*bundleID)) return AppCategory::ocrPreferred;
    if (isLinux(*bundleID, Kind::media)) return AppCategory::media;
    if (isLinux(*bundleID, Kind::call)) return AppCategory::call;
    return isLinux(*bundleID, Kind::ocrPreferred) ? AppCategory::ocrPreferred : AppCategory::normal;
}

bool isBrowser(std::optional<std::string_view> bundleID) {
    return bundleID && (browsers().contains(*bundleID) || isLinux(*bundleID, Kind::browser));
}

bool isAlwaysPrivate(std::optional<std::string_view> bundleID) {
    return bundleID && isLinux(*bundleID, Kind::alwaysPrivate);
}

bool isPasswordPrompter(std::optional<std::string_view> bundleID) {
    return bundleID && isLinux(*bundleID, Kind::passwordPrompter);
}

const std::vector<std::string>& passwordPrompters() {
    static const std::vector<std::string> identifiers = withLinux({}, Kind::passwordPrompter);
    return identifiers;
}

const std::vector<std::string>& defaultExcludedApps() {
    static const std::vector<std::string> identifiers = withLinux(
        {
            "com.1password.1password",
            "com.agilebits.onepassword7",
            "com.agilebits.onepassword-osx",
            "com.bitwarden.desktop",
            "com.apple.keychainaccess",
            "com.apple.Passwords",
            "com.lastpass.LastPass",
            "org.keepassxc.keepassxc",
            "me.proton.pass.electron",
            "com.dashlane.dashlanephonefinal",
            "in.sinew.Enpass-Desktop",
        },
        Kind::passwordManager);
    return identifiers;
}

const std::map<std::string, std::string, std::less<>>& passwordManagerNames() {
    static const auto names = [] {
        std::map<std::string, std::string, std::less<>> all{
            {"com.1password.1password", "1Password"},
            {"com.agilebits.onepassword7", "1Password 7"},
            {"com.agilebits.onepassword-osx", "1Password 6"},
            {"com.bitwarden.desktop", "Bitwarden"},
            {"com.lastpass.LastPass", "LastPass"},
            {"org.keepassxc.keepassxc", "KeePassXC"},
            {"me.proton.pass.electron", "Proton Pass"},
            {"com.dashlane.dashlanephonefinal", "Dashlane"},
            {"in.sinew.Enpass-Desktop", "Enpass"},
        };
        for (const LinuxApplications::Application& application : LinuxApplications::all())
            if (isLinux(application.id, Kind::passwordManager)) all.emplace(application.id, application.name);
        return all;
    }();
    return names;
}

const std::vector<std::string>& messagingApps() {
    static const std::vector<std::string> identifiers = withLinux(
        {
            "net.whatsapp.WhatsApp",
            "com.apple.MobileSMS",
            "ru.keepcoder.Telegram",
            "com.tinyspeck.slackmacgap",
            "com.hnc.Discord",
            "org.whispersystems.signal-desktop",
        },
        Kind::messenger);
    return identifiers;
}

} // namespace nomara::AppCatalog
