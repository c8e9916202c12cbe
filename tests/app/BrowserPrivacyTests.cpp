#include "Quillshade/windows/BrowserPrivacy.h"
#include "Quillshade/windows/CaptureDiagnostics.h"
#include "platform/fake/FakeAccessibility.h"
#include "platform/fake/FakeWindowServer.h"
#include "platform/fake/ManualClock.h"

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
class BrowserWindows : public ::testing::Test {
protected:
    FakeAccessibility accessibility;
    FakeWindowServer server;
    ManualClock clock;
    WindowInspector inspector{accessibility, server};
    int identified = 0;
    BrowserPrivacy privacy{
        inspector, server,
        [this](const WindowOwner& owner) {
            ++identified;
            return ApplicationIdentity{"org.own.Browser", "Browser", "", owner.className == "Browser"};
        },
        clock};
    RecorderConfig config;

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
        clock.advance(after);
        return privacy.verdicts(privacy.visibleWindows(), std::nullopt, clock.uptime(), config);
    }
    int asked() { return accessibility.counts().browserFacts; }
    int trips() { return accessibility.counts().browserFacts + accessibility.counts().windows; }
};

ApplicationIdentity identifyAll(const WindowOwner&) {
    return {{}, {}, "", true};
}

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

    config.skipPrivateWindows = false;
    EXPECT_EQ(grade(), (WindowPrivacy::Verdicts{{1, Verdict::allow}, {2, Verdict::allow}}));
    EXPECT_EQ(trips(), once);
}

TEST_F(BrowserWindows, AnAddressCountsForImagesBetweenTwoReadingsOfIt) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Sign in", left, true), normal, {}}, {onScreen(2, "Other", right), incognito, {}}});
    EXPECT_EQ(grade()[1], Verdict::unconfirmed) << "read after the image alone";
    EXPECT_EQ(trips(), 3);
    EXPECT_EQ(grade(1)[1], Verdict::allow);
    EXPECT_EQ(trips(), 4) << "one reading for each image, and none of a window that is private anyway";
    EXPECT_EQ(grade(0)[1], Verdict::allow);
    EXPECT_EQ(trips(), 4) << "another display's image of the same moment";
    // An excluded page under the title of the one before.
    const auto goTo = [&](const char* url) {
        show({{onScreen(1, "Sign in", left, true), {url, false, true}, {}},
              {onScreen(2, "Other", right), incognito, {}}});
    };
    goTo("https://bank.example/");
    EXPECT_EQ(grade(1)[1], Verdict::excludedSite);
    goTo("https://a.example/");
    EXPECT_EQ(grade(1)[1], Verdict::unconfirmed) << "the image may still show the page before";
    EXPECT_EQ(grade(1)[1], Verdict::allow);
    EXPECT_EQ(grade(60)[1], Verdict::unconfirmed) << "nobody knows where it was meanwhile";
    EXPECT_EQ(grade(1)[1], Verdict::allow);
    // One that never rests is hidden, so that the rest of the screen can be kept.
    int unconfirmed = 0;
    for (int i = 0; i < 20; ++i) {
        goTo(("https://a.example/" + std::to_string(i)).c_str());
        const Verdict verdict = grade(1)[1];
        unconfirmed += verdict == Verdict::unconfirmed ? 1 : 0;
        EXPECT_TRUE(i <= 10 || verdict == Verdict::unknown) << i;
    }
    EXPECT_GT(unconfirmed, 1);
    EXPECT_EQ(grade(1)[1], Verdict::allow) << "it has come to rest";
}

TEST_F(BrowserWindows, AMarkerOnceSeenStays) {
    show({{onScreen(1, "Page", left), unsure, {}}});
    EXPECT_EQ(grade()[1], Verdict::unknown);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(29.9)[1], Verdict::unknown) << "an unknown marker is asked again after half a minute";
    EXPECT_EQ(asked(), 1);
    EXPECT_EQ(grade(0.1)[1], Verdict::allow);
    // A title casts doubt on what was found, and is answered by another search.
    show({{onScreen(1, "Page (Incognito)", left), incognito, {}}});
    EXPECT_EQ(grade(1)[1], Verdict::privateWindow);
    EXPECT_EQ(asked(), 3);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(60)[1], Verdict::privateWindow);
    show({{onScreen(1, "Page", left), unsure, {}}});
    EXPECT_EQ(grade(60)[1], Verdict::privateWindow);
}

TEST_F(BrowserWindows, AnOrdinaryWindowWithSuchATitleIsOrdinaryAgainAfterIt) {
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade()[1], Verdict::allow);
    show({{onScreen(1, "What a private window is", left), normal, {}}});
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(grade(1)[1], Verdict::privateWindow);
    EXPECT_EQ(asked(), 2) << "once for the title";
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(grade(1)[1], Verdict::allow);
}

// The server gives the numbers of a browser that has ended to the next one.
TEST_F(BrowserWindows, NoWindowInheritsWhatAnotherOfItsNumberProved) {
    const BrowserFacts facts[] = {normal, incognito};
    for (const BrowserFacts& before : facts) {
        for (const BrowserFacts& after : facts) {
            BrowserPrivacy fresh(inspector, server, identifyAll, clock);
            const auto look = [&](const BrowserFacts& of, std::uint64_t life) {
                WindowInfo window = onScreen(1, "Page", left);
                window.life = life;
                show({{window, of, {}}});
                return fresh.verdicts(fresh.visibleWindows(), std::nullopt, clock.uptime(), config)[1];
            };
            EXPECT_EQ(look(before, 7), before.privateMarker ? Verdict::privateWindow : Verdict::allow);
            server.destroy(7);
            EXPECT_EQ(look(after, 8), after.privateMarker ? Verdict::privateWindow : Verdict::allow);
            EXPECT_EQ(fresh.registry().size(), 1U) << "the other one has ended";
            EXPECT_EQ(fresh.hiddenWindows(config).size(), after.privateMarker ? 1U : 0U);
        }
    }
}

TEST_F(BrowserWindows, AnAddressThatMayBeAnotherTabsCountsForNothing) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Page", left), normal, "Page of another tab"}});
    EXPECT_EQ(grade()[1], Verdict::unknown);
    EXPECT_EQ(grade(1)[1], Verdict::unconfirmed);
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
        BrowserPrivacy fresh(inspector, server, identifyAll, clock);
        EXPECT_EQ(fresh.verdicts(fresh.visibleWindows(), std::nullopt, clock.uptime(), config), row.verdicts)
            << row.name;
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

TEST_F(BrowserWindows, PopupsAreGradedByWhatTheyWereOpenedFrom) {
    WindowInfo menu = onScreen(3, "", {50, 50, 100, 200}), dragged = onScreen(4, "", {100, 50, 200, 100});
    menu.layer = dragged.layer = 101;
    menu.parent = 1;
    menu.life = 13;
    dragged.life = 14;
    WindowInfo dialog = onScreen(5, "Save", {100, 100, 300, 200});
    WindowInfo secret = onScreen(2, "Other", right);
    secret.life = 12;
    show({{onScreen(1, "Page", left), normal, {}}, {secret, incognito, {}}});
    auto windows = server.onScreenWindows();
    windows.insert(windows.begin(), {menu, dragged, dialog});
    server.setWindows(windows);
    auto verdicts = grade();
    EXPECT_EQ(verdicts[3], Verdict::allow);
    EXPECT_EQ(verdicts[4], Verdict::privateWindow) << "it may have been picked up from the private one";
    EXPECT_EQ(verdicts[5], Verdict::unknown) << "an ordinary window that isn't on the bus, wherever it lies";
    const std::vector<HiddenWindow> hidden{
        {2, Verdict::privateWindow}, {4, Verdict::privateWindow}, {5, Verdict::unknown}};
    EXPECT_EQ(privacy.hiddenWindows(config), hidden);
    // Put away, the private window still counts; closed, it doesn't.
    show({{onScreen(1, "Page", left), normal, {}}});
    windows = server.onScreenWindows();
    windows.insert(windows.begin(), {menu, dragged});
    server.setWindows(windows);
    EXPECT_EQ(grade()[4], Verdict::privateWindow);
    EXPECT_EQ(privacy.hiddenWindows(config).front(), hidden.front()) << "it may be shown small, where one switches";
    server.destroy(12);
    EXPECT_EQ(grade()[3], Verdict::allow);
    EXPECT_NE(grade()[4], Verdict::privateWindow);
}

TEST_F(BrowserWindows, TheWorstOfTwoListsCounts) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Bank", left), {"https://bank.example/", false, true}, {}}});
    const Windows before{{1, browserPid, left, "Bank (Incognito)"}};
    EXPECT_EQ(grade()[1], Verdict::excludedSite);
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(privacy.verdicts(privacy.visibleWindows(), before, clock.uptime(), config)[1], Verdict::privateWindow)
        << "an image between the two lists may show either page";
    const int count = trips();
    // A window that is only in the earlier list causes no question.
    const Windows gone{{9, browserPid, right, "Gone", false}};
    EXPECT_EQ(privacy.verdicts({}, gone, clock.uptime(), config)[9], Verdict::unknown);
    EXPECT_EQ(trips(), count);
    EXPECT_TRUE(privacy.verdicts({}, std::nullopt, clock.uptime(), config).empty());
}

/// The window in front, as accessibility names it.
class FrontBrowserWindow : public BrowserWindows {
protected:
    BrowserPrivacy::Front front(const std::optional<std::string>& title = "Page") {
        const WindowSnapshot snapshot{title, onScreen(1, "", left).content, element()};
        return privacy.front(browserPid, snapshot, server.onScreenWindows(), false, config);
    }
    std::optional<AccessibleElement> element() { return accessibility.windows(browserPid).at(0).element; }
};

TEST_F(FrontBrowserWindow, IsAskedOnlyForWhatIsNotKnown) {
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(front().verdict, Verdict::allow);
    EXPECT_EQ(front().url, normal.url);
    EXPECT_EQ(asked(), 1);
    clock.advance(59.9);
    front();
    EXPECT_EQ(asked(), 1);
    clock.advance(0.1);
    front();
    EXPECT_EQ(asked(), 2) << "its address may have changed";
    EXPECT_EQ(grade()[1], Verdict::allow);
    EXPECT_EQ(asked(), 2) << "what was read of it in front counts for its image";
    config.excludedSites = {"bank.example"};
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(front().verdict, Verdict::allow);
    EXPECT_EQ(asked(), 5) << "an address is good for one look";
    show({{onScreen(1, "Page", left), {"https://bank.example/", false, true}, {}}});
    EXPECT_EQ(front().verdict, Verdict::excludedSite) << "under the same title";
}

TEST_F(FrontBrowserWindow, TheSecondReadingIsKept) {
    config.excludedSites = {"bank.example"};
    show({{onScreen(1, "Page", left), normal, {}}});
    const auto page = front();
    const WindowSnapshot snapshot{"Page", left, element()};
    ASSERT_TRUE(page.window);
    show({{onScreen(1, "Page", left), {"https://bank.example/", false, true}, {}}});
    EXPECT_EQ(privacy.readAgain(page, snapshot), "https://bank.example/");
    EXPECT_EQ(privacy.hiddenWindows(config), (std::vector<HiddenWindow>{{1, Verdict::excludedSite}}));
}

TEST_F(FrontBrowserWindow, WithoutACertainNumberNothingIsRemembered) {
    const WindowInfo page = onScreen(1, "Page", left), twin = onScreen(2, "Page", left);
    show({{page, unsure, {}}, {twin, normal, {}}});
    EXPECT_EQ(front().verdict, Verdict::unknown);
    EXPECT_FALSE(front().window);
    EXPECT_EQ(privacy.registry().size(), 0U);
    show({{page, normal, {}}, {twin, incognito, {}}});
    EXPECT_EQ(front().verdict, Verdict::allow) << "its own controls prove it";
    show({{page, unsure, {}}, {twin, normal, {}}});
    EXPECT_EQ(front().verdict, Verdict::unknown) << "once more";
}

TEST_F(FrontBrowserWindow, ATitleIsHeardAlsoByWhoeverLooksNoFurther) {
    show({{onScreen(1, "Page", left), normal, {}}});
    EXPECT_EQ(front().verdict, Verdict::allow);
    show({{onScreen(1, "Page", left), incognito, "Page (Incognito)"}});
    privacy.observeTitle(browserPid, {"Page (Incognito)", onScreen(1, "", left).content, element()},
                         server.onScreenWindows());
    accessibility.setWindows(browserPid, {});
    EXPECT_EQ(grade()[1], Verdict::unknown) << "the window server's title doesn't tell, and nobody can be asked";
}

} // namespace
} // namespace nomara
