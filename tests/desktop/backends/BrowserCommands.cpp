#include "tests/desktop/backends/BrowserCommands.h"

#include "tests/desktop/backends/DesktopProgram.h"

namespace nomara::BrowserCommands {

std::vector<std::string> chromium(const std::string& address) {
    return {"chromium",
            "--no-sandbox",
            "--disable-gpu",
            "--force-renderer-accessibility",
            "--no-first-run",
            "--disable-background-networking",
            "--disable-sync",
            "--start-maximized",
            "--user-data-dir=" + newFolder(),
            address};
}

std::vector<std::string> firefox(const std::string& address) {
    const std::string profile = newFolder();
    writeFile(profile + "/user.js", R"(user_pref("browser.aboutwelcome.enabled", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("browser.startup.homepage_override.mstone", "ignore");
user_pref("app.update.enabled", false);
)");
    return {"firefox-esr", "--no-remote", "--profile", profile, address};
}

} // namespace nomara::BrowserCommands
