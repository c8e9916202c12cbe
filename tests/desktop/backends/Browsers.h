#pragma once

#include "tests/desktop/backends/DesktopProgram.h"

#include <string>
#include <utility>
#include <vector>

namespace nomara {

/// A page in a file of its own, by its address.
inline std::string writePage(const std::string& html) {
    const std::string file = newFolder() + "/page.html";
    writeFile(file, html);
    return "file://" + file;
}

/// Without its tree of pages, which only the switch --force-renderer-accessibility makes it build at once.
inline std::vector<std::string> bareChromium(const std::string& profile, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"chromium",
                                     "--no-sandbox",
                                     "--disable-gpu",
                                     "--no-first-run",
                                     "--disable-background-networking",
                                     "--disable-sync",
                                     "--password-store=basic",
                                     "--start-maximized",
                                     "--user-data-dir=" + profile};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

inline std::vector<std::string> chromium(std::vector<std::string> arguments, const std::string& profile = newFolder()) {
    arguments.insert(arguments.begin(), "--force-renderer-accessibility");
    return bareChromium(profile, arguments);
}

inline std::vector<std::string> firefox(const std::vector<std::string>& arguments, const std::string& settings = {}) {
    const std::string profile = newFolder();
    writeFile(profile + "/user.js", R"(user_pref("browser.aboutwelcome.enabled", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("browser.startup.homepage_override.mstone", "ignore");
user_pref("app.update.enabled", false);
)" + settings);
    std::vector<std::string> command{"firefox-esr", "--no-remote", "--profile", profile};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

} // namespace nomara
