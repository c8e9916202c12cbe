#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/CaptureDiagnostics.h"
#include "platform/fake/FakeAccessibility.h"
#include "platform/fake/FakeWindowServer.h"

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Verdict = WindowPrivacy::Verdict;
using Windows = std::vector<ScreenWindow>;

constexpr ProcessID browserPid = 11, editorPid = 10;
const BrowserFacts normal{"https://a.example/", false, true}, incognito{"https://a.example/", true, true},
    unsure{"https://a.example/", false, false};

WindowInfo onScreen(std::uint32_t number, const std::string& title, Rect bounds, bool isActive = false) {
    WindowInfo window;
    window.number = number;
    window.pid = browserPid;
    window.title = title;
    window.bounds = bounds;
    window.content = Rect{bounds.x + 2, bounds.y + 20, bounds.width - 4, bounds.height - 22};
    window.className = "Browser";
    window.isActive = isActive;
    return window;
}

/// A browser with windows both on the screen and on the accessibility bus.
class BrowserWindows : public testing::Test {
protected:
    FakeAccessibility accessibility;
    FakeWindowServer server;
    WindowInspector inspector{accessibility, server};
    int identified = 0;
    BrowserPrivacy privacy{
        inspector, server, [this](const WindowOwner& owner) {
            ++identified;
            return ApplicationIdentity{"org.own.Browser", "Browser", "", owner.className == "Browser"};
        }};
    RecorderConfig config;
    double now = 1000;

    /// The accessible windows of the browser, at the place of their content as most toolkits tell it.
    struct Window {
        WindowInfo info;
        BrowserFacts facts;
        std::optional<std::string> accessibleTitle;
    };
    void show(const std::vector<Window>& windows) {
        std::vector<WindowInfo> infos;
        std::vector<FakeAccessibility::Window> accessible;
        for (const Window& window : windows) {
            infos.push_back(window.info);
            FakeAccessibility::Window other;
            other.title = window.accessibleTitle ? window.accessibleTitle : window.info.title;
            other.frame = window.info.content;
            other.facts = window.facts;
            other.isActive = window.info.isActive;
            accessible.push_back(other);
        }
        server.setWindows(infos);
        accessibility.setWindows(browserPid, accessible);
    }
    WindowPrivacy::Verdicts grade(double after = 0) {
        now += after;
        return privacy.verdicts(privacy.visibleWindows(), std::nullopt, config, now);
    }
    int asked() { return accessibility.counts().browserFacts; }
    int trips() { return accessibility.counts().browserFacts + accessibility.counts().windows; }
};

const Rect left{0, 0, 800, 600}, right{800, 0, 800, 600};

TEST_F(BrowserWindows, OnlyBrowsersOnTheScreenAreListed) {
    WindowInfo editor = onScreen(1, "Notes", left);
    editor.pid = editorPid;
    editor.className = "Editor";
    WindowInfo glass = onScreen(2, "Glass", left);
    glass.opacity = 0;
    WindowInfo nowhere = onScreen(3, "Nowhere", left);
    nowhere.bounds.reset();
    WindowInfo nobody = onScreen(4, "Of no process", right);
    nobody.pid = 0;
    WindowInfo menu = onScreen(5, "", {10, 10, 100, 200});
    menu.layer = 101;
    server.setWindows({menu, editor, glass, nowhere, nobody, onScreen(6, "Page", right)});
    EXPECT_EQ(privacy.visibleWindows(), (Windows{{5, browserPid, {10, 10, 100, 200}, "", true},
                                                 {4, 0, right, "Of no process", false},
                                                 {6, browserPid, right, "Page", false}}));
    const int before = identified;
    privacy.visibleWindows();
    EXPECT_EQ(identified, before) << "what a process is, is asked once";
    editor.className = "Browser"; // another program has got the number
    server.setWindows({editor});
    EXPECT_EQ(privacy.visibleWindows().size(), 1u);
    // A window that can't be asked is never let through.
    server.setWindows({nobody});
    EXPECT_EQ(grade(), (WindowPrivacy::Verdicts{{4, Verdict::unknown}}));
}

TEST_F(BrowserWindows, AProvedWindowIsNotAskedAgain) {
    show({{onScreen(1, "Page", left, true), normal, {}}, {onScreen(2, "Other", right), incognito, {}}});
    const WindowPrivacy::Verdicts expected{{1, Verdict::allow}, {2, Verdict::privateWindow}};
    EXPECT_EQ(grade(), expected);
    const int once = trips();
    EXPECT_EQ(once, 3) << "the list of windows, and each of the two";
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(grade(20), expected);
    EXPECT_EQ(trips(), once);

    // With excluded sites a title's address counts for a minute.
    config.excludedSites = {"bank.example"};
    EXPECT_EQ(grade(), expected);
    EXPECT_EQ(trips(), once + 3);
    grade(59.9);
    EXPECT_EQ(trips(), once + 3);
    grade(0.1);
    EXPECT_EQ(trips(), once + 6);
    // A new tab is asked about at once, and alone.
    show({{onScreen(1, "Bank", left, true), {"https://bank.example/", false, true}, {}},
          {onScreen(2, "Other", right), incognito, {}}});
    EXPECT_EQ(grade(1), (WindowPrivacy::Verdicts{{1, Verdict::excludedSite}, {2, Verdict::privateWindow}}));
    EXPECT_EQ(trips(), once + 8);
    config = {};
    config.skipPrivateWindows = false;
    EXPECT_EQ(grade(), (WindowPrivacy::Verdicts{{1, Verdict::allow}, {2, Verdict::allow}}));
}

TEST_F(BrowserWindows, AMarkerOnceSeenStays) {
    show({{onScreen(1, "Page", left), unsure, {}}});
    EXPECT_EQ(grade()[1], Verdict::unknown);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(29.9)[1], Verdict::unknown) << "an unknown marker is asked again after half a minute";
    EXPECT_EQ(asked(), 1);
    EXPECT_EQ(grade(0.1)[1], Verdict::allow);
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Page", left), incognito, {}}});
    EXPECT_EQ(grade(60)[1], Verdict::privateWindow);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(60)[1], Verdict::privateWindow);
    show({{onScreen(1, "Page", left), unsure, {}}});
    EXPECT_EQ(grade(60)[1], Verdict::privateWindow);
}

TEST_F(BrowserWindows, AnAddressBelongsToItsTitle) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Page", left), normal, "Page of another tab"}});
    EXPECT_EQ(grade()[1], Verdict::unknown) << "this address may be another tab's";
    EXPECT_EQ(privacy.facts().at(1).privateMarker, false);
    EXPECT_TRUE(privacy.facts().at(1).urls.empty());
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(1)[1], Verdict::allow);
}

TEST_F(BrowserWindows, WhatCannotBeToldApartIsNotAllowed) {
    // Maximised windows. The window server gives private ones the same kind of title as others.
    const WindowInfo page = onScreen(1, "Page - B", left), twin = onScreen(2, "Page - B", left, true),
                     secret = onScreen(3, "Secret - B", left);
    const struct {
        const char* name;
        std::vector<Window> windows;
        WindowPrivacy::Verdicts verdicts;
    } rows[] = {
        {"titles tell",
         {{secret, incognito, "Secret - B (Incognito)"}, {page, normal, {}}},
         {{1, Verdict::allow}, {3, Verdict::privateWindow}}},
        {"nothing tells, and who has the keyboard isn't known at one moment",
         {{twin, incognito, "Page - B (Incognito)"}, {page, normal, {}}},
         {{1, Verdict::unknown}, {2, Verdict::unknown}}},
        {"nothing tells, but none is private",
         {{twin, normal, {}}, {page, normal, {}}},
         {{1, Verdict::allow}, {2, Verdict::allow}}},
        {"nothing tells, and one doesn't say",
         {{twin, unsure, {}}, {page, normal, {}}},
         {{1, Verdict::unknown}, {2, Verdict::unknown}}},
        {"another title", {{page, normal, "Another page"}}, {{1, Verdict::unknown}}},
    };
    for (const auto& row : rows) {
        show(row.windows);
        BrowserPrivacy fresh(inspector, server, [](const WindowOwner&) {
            return ApplicationIdentity{{}, {}, "", true};
        });
        EXPECT_EQ(fresh.verdicts(fresh.visibleWindows(), std::nullopt, config, now), row.verdicts) << row.name;
    }
    // With excluded sites none of two such windows has an address, and they aren't asked again for a minute.
    show({{twin, normal, {}}, {page, normal, {}}});
    config.excludedSites = {"bank.example"};
    const WindowPrivacy::Verdicts unknown{{1, Verdict::unknown}, {2, Verdict::unknown}};
    EXPECT_EQ(grade(), unknown);
    const int once = trips();
    EXPECT_EQ(grade(59), unknown);
    EXPECT_EQ(trips(), once);
    config.excludedSites.clear();
    EXPECT_EQ(grade(), (WindowPrivacy::Verdicts{{1, Verdict::allow}, {2, Verdict::allow}})) << "none is private";
}

TEST_F(BrowserWindows, OneThatIsNotOnTheBusHasNobodyToVouchForIt) {
    const WindowInfo page = onScreen(1, "Page - B", left), twin = onScreen(2, "Page - B", left, true);
    show({{page, normal, {}}});
    server.setWindows({twin, page});
    EXPECT_EQ(grade(), (WindowPrivacy::Verdicts{{1, Verdict::unknown}, {2, Verdict::unknown}}));
}

TEST_F(BrowserWindows, MenusAreGradedByTheWindowAroundThem) {
    WindowInfo menu = onScreen(3, "", {50, 50, 100, 200}), overhanging = onScreen(4, "", {1500, 50, 200, 100});
    menu.layer = overhanging.layer = 101;
    WindowInfo dialog = onScreen(5, "Save", {100, 100, 300, 200});
    show({{onScreen(1, "Page", left), normal, {}}, {onScreen(2, "Other", right), normal, {}}});
    auto windows = server.onScreenWindows();
    windows.insert(windows.begin(), {menu, overhanging, dialog});
    server.setWindows(windows);
    auto verdicts = grade();
    EXPECT_EQ(verdicts[3], Verdict::allow);
    EXPECT_EQ(verdicts[4], Verdict::unknown) << "it hangs over the edge of its window";
    EXPECT_EQ(verdicts[5], Verdict::unknown) << "an ordinary window that isn't on the bus, wherever it lies";
}

TEST_F(BrowserWindows, TheWorstOfTwoListsCounts) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Bank", left), {"https://bank.example/", false, true}, {}}});
    const Windows before = privacy.visibleWindows();
    EXPECT_EQ(grade()[1], Verdict::excludedSite);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(privacy.verdicts(privacy.visibleWindows(), before, config, now)[1], Verdict::excludedSite)
        << "an image between the two lists may show either page";
    const int count = trips();
    // A window that is only in the earlier list causes no question.
    const Windows gone{{9, browserPid, right, "Gone", false}};
    EXPECT_EQ(privacy.verdicts({}, gone, config, now)[9], Verdict::unknown);
    EXPECT_EQ(trips(), count);
    EXPECT_TRUE(privacy.verdicts({}, std::nullopt, config, now).empty());
}

TEST_F(BrowserWindows, WithoutAccessibilityNothingIsLearned) {
    accessibility.setUnavailable("There is no bus.");
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade()[1], Verdict::unknown);
    EXPECT_EQ(trips(), 0);
    config.skipPrivateWindows = false;
    EXPECT_EQ(grade()[1], Verdict::allow) << "nothing matters to the user";
}

TEST_F(BrowserWindows, OldFactsAreForgotten) {
    const AccessibleElement element{"window"};
    for (std::uint32_t number = 1; number <= 41; ++number)
        privacy.record("https://a.example/", false, number, element, "Page", number <= 20 ? now - 600 : now);
    grade();
    EXPECT_EQ(privacy.facts().size(), 21u) << "what hasn't been seen for ten minutes";
    EXPECT_FALSE(privacy.facts().contains(20));
    grade(600);
    EXPECT_EQ(privacy.facts().size(), 21u) << "few are kept, however old";
}

TEST_F(BrowserWindows, TheFrontWindowIsKnownByItsElement) {
    const AccessibleElement element{"window"}, other{"other"};
    privacy.record("https://a.example/", false, 1, element, "Page", now);
    ASSERT_TRUE(privacy.known(1, element, "Page", now + 59));
    EXPECT_EQ(privacy.known(1, element, "Page", now + 59)->url, "https://a.example/");
    EXPECT_FALSE(privacy.known(1, element, "Page", now + 60));
    EXPECT_FALSE(privacy.known(1, element, "Another tab", now));
    EXPECT_FALSE(privacy.known(1, other, "Page", now)) << "another window at the same place";
    EXPECT_FALSE(privacy.known(2, element, "Page", now));
    privacy.record(std::nullopt, std::nullopt, 2, element, "New tab", now);
    EXPECT_FALSE(privacy.known(2, element, "New tab", now)) << "its marker isn't known";
    privacy.record(std::nullopt, true, 1, element, std::nullopt, now);
    privacy.record("https://a.example/", false, 1, element, "Page", now);
    EXPECT_TRUE(privacy.known(1, element, "Page", now)->privateMarker);
    for (int i = 0; i < 30; ++i)
        privacy.record("https://a.example/", false, 1, element, std::to_string(i), now + 100 + i);
    EXPECT_LE(privacy.facts().at(1).urls.size(), 30u);
    EXPECT_FALSE(privacy.facts().at(1).urls.contains("Page")) << "addresses of tabs gone by don't pile up";
}

} // namespace
} // namespace nomara
