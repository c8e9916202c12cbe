#include "platform/linux/desktop/WellKnownApplications.h"

#include "platform/linux/desktop/Names.h"

#include <algorithm>
#include <unordered_map>

namespace nomara::WellKnownApplications {

namespace {

struct Program {
    std::string_view bundleID;
    std::string_view name;
    std::string_view aliases; ///< lower case, with spaces between
};

// File names of programs, window classes, and ids of entries, Flatpaks and Snaps.
constexpr Program programs[] = {
    // browsers
    {"com.google.Chrome", "Google Chrome",
     "chrome google-chrome google-chrome-stable google-chrome-beta com.google.chrome"},
    {"com.google.Chrome.canary", "Google Chrome (unstable)",
     "google-chrome-unstable google-chrome-canary com.google.chromedev"},
    {"org.chromium.Chromium", "Chromium",
     "chromium chromium-browser chromium-bin chromium_chromium org.chromium.chromium ungoogled-chromium "
     "io.github.ungoogled_software.ungoogled_chromium"},
    {"org.mozilla.firefox", "Firefox",
     "firefox firefox-bin firefox-esr firefox_firefox navigator org.mozilla.firefox org.mozilla.firefox-esr"},
    {"org.mozilla.firefoxdeveloperedition", "Firefox Developer Edition",
     "firefox-aurora firefox-devedition firefox-developer-edition firefoxdeveloperedition"},
    {"com.microsoft.edgemac", "Microsoft Edge",
     "msedge microsoft-edge microsoft-edge-stable microsoft-edge-beta microsoft-edge-dev com.microsoft.edge"},
    {"com.brave.Browser", "Brave",
     "brave brave-browser brave-browser-beta brave-browser-nightly brave_brave com.brave.browser"},
    {"com.operasoftware.Opera", "Opera", "opera opera-stable opera-beta opera-developer opera_opera com.opera.opera"},
    {"com.vivaldi.Vivaldi", "Vivaldi", "vivaldi vivaldi-bin vivaldi-stable vivaldi-snapshot com.vivaldi.vivaldi"},
    {"app.zen-browser.zen", "Zen", "zen zen-bin zen-browser zen-alpha zen-beta app.zen_browser.zen"},
    {"ru.yandex.desktop.yandex-browser", "Yandex Browser",
     "yandex_browser yandex-browser yandex-browser-stable yandex-browser-beta ru.yandex.browser"},
    // players
    {"org.videolan.vlc", "VLC", "vlc vlc_vlc org.videolan.vlc"},
    {"com.spotify.client", "Spotify", "spotify spotify_spotify com.spotify.client"},
    {"tv.plex.desktop", "Plex", "plex plex-desktop plex-desktop_plex-desktop tv.plex.plexdesktop"},
    // calls and messages
    {"us.zoom.xos", "Zoom", "zoom zoom-client zoom-client_zoom-client us.zoom.zoom"},
    {"com.microsoft.teams2", "Microsoft Teams",
     "teams teams-for-linux teams-for-linux_teams-for-linux com.github.ismaelmartinez.teams_for_linux "
     "com.microsoft.teams"},
    {"com.hnc.Discord", "Discord", "discord discord-canary discord-ptb discord_discord com.discordapp.discord"},
    {"com.tinyspeck.slackmacgap", "Slack", "slack slack_slack com.slack.slack"},
    {"ru.keepcoder.Telegram", "Telegram",
     "telegram telegram-desktop telegramdesktop telegram-desktop_telegram-desktop org.telegram.desktop"},
    {"org.whispersystems.signal-desktop", "Signal",
     "signal signal-desktop signal-desktop_signal-desktop org.signal.signal"},
    {"net.whatsapp.WhatsApp", "WhatsApp",
     "whatsapp whatsapp-desktop whatsdesk whatsapp-for-linux com.github.eneshecan.whatsappforlinux zapzap "
     "com.rtosta.zapzap"},
    // work
    {"com.microsoft.VSCode", "Visual Studio Code",
     "code code-insiders code_code code-url-handler visual-studio-code com.visualstudio.code"},
    {"com.todesktop.230313mzl4w4u92", "Cursor", "cursor cursor-url-handler"},
    {"com.exafunction.windsurf", "Windsurf", "windsurf windsurf-url-handler"},
    {"com.figma.Desktop", "Figma", "figma-linux figma-linux_figma-linux io.github.figma_linux.figma_linux"},
    {"notion.id", "Notion", "notion notion-app notion-desktop notion-snap-reborn"},
    {"md.obsidian", "Obsidian", "obsidian obsidian_obsidian md.obsidian.obsidian"},
    // password managers
    {"com.1password.1password", "1Password", "1password 1password_1password com.onepassword.onepassword"},
    {"com.bitwarden.desktop", "Bitwarden", "bitwarden bitwarden-app bitwarden_bitwarden com.bitwarden.desktop"},
    {"org.keepassxc.keepassxc", "KeePassXC", "keepassxc keepassxc_keepassxc org.keepassxc.keepassxc"},
    {"me.proton.pass.electron", "Proton Pass", "proton-pass protonpass me.proton.pass"},
    {"com.lastpass.LastPass", "LastPass", "lastpass"},
    {"in.sinew.Enpass-Desktop", "Enpass", "enpass io.enpass.enpass"},
};

std::unordered_map<std::string_view, const Program*> byAlias() {
    std::unordered_map<std::string_view, const Program*> map;
    for (const Program& program : programs) {
        std::string_view rest = program.aliases;
        while (!rest.empty()) {
            const auto space = std::min(rest.find(' '), rest.size());
            if (space > 0) map.emplace(rest.substr(0, space), &program);
            rest.remove_prefix(std::min(space + 1, rest.size()));
        }
    }
    return map;
}

} // namespace

ApplicationIdentity find(std::string_view name) {
    static const auto table = byAlias();
    const auto found = table.find(Names::lowered(name));
    if (found == table.end()) return {};
    return {std::string(found->second->bundleID), std::string(found->second->name)};
}

} // namespace nomara::WellKnownApplications
