#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11RunningApplications.h"
#include "tests/desktop/backends/Browsers.h"
#include "tests/desktop/backends/X11Test.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace nomara {

namespace {

// Without what else it may be.
std::optional<FrontmostApp> named(std::optional<FrontmostApp> app) {
    if (app) app->otherBundleIDs.clear();
    return app;
}

} // namespace

TEST_F(X11, FollowsTheFrontApplication) {
    ApplicationIdentifier identifier;
    std::mutex mutex;
    std::vector<std::optional<FrontmostApp>> heard;
    const auto hasHeard = [&](ProcessID pid) {
        const std::lock_guard lock(mutex);
        return std::ranges::any_of(heard, [&](const auto& app) { return app && app->pid == pid; });
    };
    X11RunningApplications applications([&](const WindowOwner& owner) { return identifier.identify(owner); });
    EXPECT_EQ(applications.frontmost(), std::nullopt);
    applications.observeActivations([&](std::optional<FrontmostApp> app) {
        const std::lock_guard lock(mutex);
        heard.push_back(std::move(app));
    });
    const auto frontPid = [&] {
        const auto app = applications.frontmost();
        return app ? app->pid : 0;
    };
    {
        const DesktopProgram xterm(terminal("followed"));
        EXPECT_TRUE(waitUntil([&] { return hasHeard(xterm.pid()); }));
        EXPECT_EQ(named(applications.frontmost()), (FrontmostApp{xterm.pid(), "xterm", "XTerm"}));
        {
            const DesktopProgram dialog({"zenity", "--info", "--title", "dialog in front", "--text", "hello"});
            EXPECT_TRUE(waitUntil([&] { return hasHeard(dialog.pid()); }));
            const auto front = applications.frontmost();
            ASSERT_TRUE(front);
            // From version 4 on it names its window after its desktop file.
            const std::string name = front->bundleID == "zenity" ? "zenity" : "org.gnome.Zenity";
            EXPECT_EQ(named(front), (FrontmostApp{dialog.pid(), name, "Zenity"}));
            EXPECT_EQ(X11RunningApplications({}).frontmost(), (FrontmostApp{dialog.pid(), std::nullopt, std::nullopt}))
                << "known at once, before anything changes";
        }
        EXPECT_TRUE(waitUntil([&] { return frontPid() == xterm.pid(); })) << "its window is gone";
        applications.observeActivations({});
        const std::lock_guard lock(mutex);
        heard.clear();
    }
    EXPECT_TRUE(waitUntil([&] { return !applications.frontmost(); }));
    EXPECT_TRUE(heard.empty());
}

// Office suites tell which of their applications a window is only after it has come up.
TEST_F(X11, HearsThatTheFrontWindowIsAnotherApplications) {
    std::mutex mutex;
    std::vector<std::string> heard;
    X11RunningApplications applications([](const WindowOwner& owner) {
        return ApplicationIdentity{owner.className + "|" + owner.desktopFile + "|" + owner.title};
    });
    const RawWindow window({300, 300, 200, 150});
    window.setClass("suite", "Suite");
    window.setText("_NET_WM_NAME", window.atom("UTF8_STRING"), "Document");
    window.show();
    const auto becomes = [&](const std::string& bundleID) {
        return waitUntil([&] {
            const auto app = applications.frontmost();
            return app && app->bundleID == bundleID;
        });
    };
    ASSERT_TRUE(becomes("Suite||Document"));
    applications.observeActivations([&](const std::optional<FrontmostApp>& app) {
        const std::lock_guard lock(mutex);
        if (app) heard.push_back(app->bundleID.value_or(""));
    });
    const xcb_atom_t utf8 = window.atom("UTF8_STRING");
    window.setClass("suite", "suite-writer");
    window.show();
    EXPECT_TRUE(becomes("suite-writer||Document"));
    window.setText("_BAMF_DESKTOP_FILE", utf8, "/usr/share/applications/suite-calc.desktop");
    window.show();
    EXPECT_TRUE(becomes("suite-writer|suite-calc|Document"));
    window.setText("_NET_WM_NAME", utf8, "Sheet");
    window.show();
    EXPECT_TRUE(becomes("suite-writer|suite-calc|Sheet"));
    applications.observeActivations({});
    const std::lock_guard lock(mutex);
    EXPECT_NE(std::ranges::find(heard, "suite-writer||Document"), heard.end());
}

TEST_F(X11, BelievesTheServerMoreThanTheWindow) {
    const DesktopProgram other(terminal("another program"));
    ASSERT_TRUE(appears("another program"));
    X11RunningApplications applications({});
    for (const std::string& machine : {std::string(), machineName(), std::string("another-machine")}) {
        const RawWindow liar({300, 300, 200, 150});
        liar.claim(other.pid(), machine);
        liar.show();
        ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), liar.number()).has_value(); }));
        EXPECT_EQ(find(server.onScreenWindows(), liar.number())->pid, getpid()) << machine;
        outputOf({"xdotool", "windowactivate", "--sync", std::to_string(liar.number())});
        EXPECT_TRUE(waitUntil([&] { return applications.frontmost() && applications.frontmost()->pid == getpid(); }))
            << machine;
        outputOf({"wmctrl", "-a", "another program"});
        EXPECT_TRUE(waitUntil([&] { return applications.frontmost() && applications.frontmost()->pid == other.pid(); }))
            << machine;
    }
}

// A browser that nobody has heard of is told by what its family writes on its windows.
TEST_F(X11, KnowsRealBrowsersByTheirFileAndByTheirWindow) {
    struct Row {
        std::vector<std::string> command;
        std::string bundleID;
    };
    const Row rows[] = {
        {chromium({"about:blank"}), "org.chromium.Chromium"},
        {firefox({"about:blank"}), "org.mozilla.firefox"},
    };
    ApplicationIdentifier identifier, nothingInstalled(DesktopFolders{});
    std::atomic<bool> isTold = false;
    X11RunningApplications applications([&](const WindowOwner& owner) {
        isTold = nothingInstalled.identify({0, "", "", owner.role}).isBrowser;
        return identifier.identify(owner);
    });
    for (const Row& row : rows) {
        const DesktopProgram browser(row.command);
        std::optional<FrontmostApp> front;
        EXPECT_TRUE(waitUntil([&] {
            front = applications.frontmost();
            return front && front->pid == browser.pid();
        })) << row.bundleID;
        ASSERT_TRUE(front);
        EXPECT_EQ(front->bundleID, row.bundleID);
        EXPECT_TRUE(front->isBrowser);
        EXPECT_TRUE(isTold) << "by its role alone";
        const auto windows = server.onScreenWindows();
        const auto window = std::ranges::find(windows, true, &WindowInfo::isActive);
        ASSERT_NE(window, windows.end());
        const auto identity = identifier.identify(ownerOf(*window));
        EXPECT_EQ(identity.bundleID, row.bundleID);
        EXPECT_EQ(identity.icon, row.bundleID == "org.mozilla.firefox" ? "firefox-esr" : "chromium");
    }
}

} // namespace nomara
