#include "platform/linux/desktop/WellKnownPrograms.h"

namespace nomara {

namespace {

// File names of programs, window classes, and ids of entries, Flatpaks and Snaps. "navigator" is missing on purpose:
// all relatives of Firefox call their windows so.
constexpr WellKnownProgram programs[] = {
    // browsers
    {"com.google.Chrome", "Google Chrome",
     "chrome|google-chrome|google-chrome-stable|google-chrome-beta|com.google.chrome"},
    {"com.google.Chrome.canary", "Google Chrome (unstable)",
     "google-chrome-unstable|google-chrome-canary|com.google.chromedev"},
    {"org.chromium.Chromium", "Chromium",
     "chromium|chromium-browser|chromium-bin|chromium-freeworld|chromium_chromium|org.chromium.chromium"},
    {"org.mozilla.firefox", "Firefox",
     "firefox|firefox-bin|firefox-esr|firefox-default|firefox-beta|firefox_firefox|org.mozilla.firefox|"
     "org.mozilla.firefox-esr"},
    {"org.mozilla.firefoxdeveloperedition", "Firefox Developer Edition",
     "firefox-aurora|firefox-devedition|firefox-developer-edition|firefoxdeveloperedition|firefox-nightly|"
     "firefox-trunk|org.mozilla.firefoxdeveloperedition"},
    {"com.microsoft.edgemac", "Microsoft Edge",
     "msedge|msedge-beta|msedge-dev|microsoft-edge|microsoft-edge-stable|microsoft-edge-beta|microsoft-edge-dev|"
     "com.microsoft.edge|com.microsoft.edgedev"},
    {"com.brave.Browser", "Brave",
     "brave|brave-browser|brave-browser-stable|brave-browser-beta|brave-browser-nightly|brave-browser-dev|"
     "brave_brave|com.brave.browser"},
    {"com.operasoftware.Opera", "Opera",
     "opera|opera-stable|opera-beta|opera-developer|opera_opera|com.opera.opera|com.opera.opera-gx"},
    {"com.vivaldi.Vivaldi", "Vivaldi",
     "vivaldi|vivaldi-bin|vivaldi-stable|vivaldi-snapshot|vivaldi_vivaldi|com.vivaldi.vivaldi"},
    {"app.zen-browser.zen", "Zen", "zen|zen-bin|zen-browser|zen-alpha|zen-beta|zen-twilight|app.zen_browser.zen"},
    {"ru.yandex.desktop.yandex-browser", "Yandex Browser",
     "yandex_browser|yandex-browser|yandex-browser-stable|yandex-browser-beta|yandex-browser-corporate|"
     "ru.yandex.browser"},
    // players
    {"org.videolan.vlc", "VLC", "vlc|vlc_vlc|org.videolan.vlc"},
    {"com.spotify.client", "Spotify", "spotify|spotify_spotify|com.spotify.client"},
    {"tv.plex.desktop", "Plex", "plex|plex-desktop|plex-desktop_plex-desktop|tv.plex.plexdesktop"},
    // calls and messages
    {"us.zoom.xos", "Zoom", "zoom|zoom-client|zoom-client_zoom-client|us.zoom.zoom"},
    {"com.microsoft.teams2", "Microsoft Teams",
     "teams|teams-for-linux|teams-for-linux_teams-for-linux|com.github.ismaelmartinez.teams_for_linux|"
     "com.microsoft.teams|com.microsoft.teams2"},
    {"com.hnc.Discord", "Discord",
     "discord|discord-canary|discordcanary|discord-ptb|discordptb|discord_discord|com.discordapp.discord|"
     "com.discordapp.discordcanary|vesktop|dev.vencord.vesktop|webcord"},
    {"com.tinyspeck.slackmacgap", "Slack", "slack|slack_slack|com.slack.slack"},
    {"ru.keepcoder.Telegram", "Telegram",
     "telegram|telegram-desktop|telegramdesktop|telegram-desktop_telegram-desktop|org.telegram.desktop|ayugram|"
     "ayugram-desktop|com.ayugram.desktop"},
    {"org.whispersystems.signal-desktop", "Signal",
     "signal|signal-desktop|signal-desktop-beta|signal-desktop_signal-desktop|org.signal.signal"},
    {"net.whatsapp.WhatsApp", "WhatsApp",
     "whatsapp|whatsapp-desktop|whatsdesk|whatsapp-for-linux|com.github.eneshecan.whatsappforlinux|zapzap|"
     "com.rtosta.zapzap|com.ktechpit.whatsie|whatsie|io.github.tobagin.karere"},
    // work
    {"com.microsoft.VSCode", "Visual Studio Code",
     "code|code_code|code-url-handler|visual-studio-code|com.visualstudio.code"},
    {"com.microsoft.VSCodeInsiders", "Visual Studio Code - Insiders",
     "code-insiders|code - insiders|code-insiders_code-insiders|code-insiders-url-handler|"
     "com.visualstudio.code.insiders"},
    {"com.todesktop.230313mzl4w4u92", "Cursor", "cursor|cursor-url-handler"},
    {"com.exafunction.windsurf", "Windsurf", "windsurf|windsurf-url-handler"},
    {"dev.zed.Zed", "Zed", "zed|zed-editor|zeditor|dev.zed.zed"},
    {"dev.zed.Zed-Preview", "Zed Preview", "dev.zed.zed-preview"},
    {"com.sublimetext.4", "Sublime Text", "sublime_text|sublime-text|subl|sublime-text_subl|com.sublimetext.three"},
    {"com.jetbrains.intellij", "IntelliJ IDEA",
     "jetbrains-idea|jetbrains-idea-ce|jetbrains-idea-eap|com.jetbrains.intellij-idea-community|"
     "com.jetbrains.intellij-idea-ultimate|intellij-idea-community|intellij-idea-ultimate"},
    {"com.jetbrains.pycharm", "PyCharm",
     "jetbrains-pycharm|jetbrains-pycharm-ce|jetbrains-pycharm-edu|com.jetbrains.pycharm-community|"
     "com.jetbrains.pycharm-professional|pycharm-community|pycharm-professional"},
    {"com.jetbrains.WebStorm", "WebStorm", "jetbrains-webstorm|com.jetbrains.webstorm"},
    {"com.google.android.studio", "Android Studio",
     "jetbrains-studio|android-studio|android-studio_android-studio|com.google.androidstudio"},
    {"com.figma.Desktop", "Figma", "figma-linux|figma-linux_figma-linux|io.github.figma_linux.figma_linux"},
    {"notion.id", "Notion", "notion|notion-app|notion-desktop|notion-snap-reborn"},
    {"md.obsidian", "Obsidian", "obsidian|obsidian_obsidian|md.obsidian.obsidian"},
    // password managers
    {"com.1password.1password", "1Password",
     "1password|1password_1password|com.onepassword.onepassword|com.1password.1password"},
    {"com.bitwarden.desktop", "Bitwarden", "bitwarden|bitwarden-app|bitwarden_bitwarden|com.bitwarden.desktop"},
    {"org.keepassxc.keepassxc", "KeePassXC", "keepassxc|keepassxc_keepassxc|org.keepassxc.keepassxc"},
    {"me.proton.pass.electron", "Proton Pass",
     "proton-pass|proton pass|protonpass|me.proton.pass|me.proton.pass.electron"},
    {"com.lastpass.LastPass", "LastPass", "lastpass|com.lastpass.lastpass"},
    {"com.dashlane.dashlanephonefinal", "Dashlane", "dashlane|com.dashlane.dashlane"},
    {"in.sinew.Enpass-Desktop", "Enpass", "enpass|io.enpass.enpass|in.sinew.enpass-desktop"},
};

} // namespace

std::span<const WellKnownProgram> sharedPrograms() {
    return programs;
}

} // namespace nomara
