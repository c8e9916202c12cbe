#include "tests/app/Harness.h"

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Kind = SkipReason::Kind;

const FrontmostApp chromium{20, "org.chromium.Chromium", "Chromium"};
const FrontmostApp editor{10, "org.editor", "Editor"};
const Rect place{0, 0, 800, 600};

/// A recorder that looks at a browser with one window, on the screen and on the accessibility bus.
struct BrowserHarness : RecorderHarness {
    RecorderConfig config;

    BrowserHarness() {
        config.textOnly = true;
        record();
        applications.activate(chromium);
        mainThread.run();
    }
    void apply() {
        recorder.setConfig(config);
        settle();
    }
    void showPage(const std::string& title, const std::string& text, const BrowserFacts& facts,
                  std::uint32_t number = 1) {
        FakeAccessibility::Window window;
        window.title = title;
        window.frame = place;
        window.text = text;
        window.facts = facts;
        window.address = facts.url;
        window.isActive = true;
        accessibility.setWindows(chromium.pid, {window});
        WindowInfo info;
        info.number = number;
        info.pid = chromium.pid;
        info.title = title;
        info.bounds = info.content = place;
        info.isActive = true;
        windowServer.setWindows({info});
    }
    SkipReason::Kind lastSkip() const { return skips.empty() ? Kind::none : skips.back().kind; }
};

const BrowserFacts harmless{"https://a.example/x", false, true}, secret{"https://a.example/x", true, true},
    unproved{"https://a.example/x", false, false}, bank{"https://my.bank.example/", false, true};

TEST(RecorderPrivacy, ABrowserWindowProvesItselfFirst) {
    const std::vector<std::string> none, sites{"bank.example"};
    const struct {
        const char* name;
        std::string title;
        BrowserFacts facts;
        std::vector<std::string> sites;
        Kind skip;
        bool skipPrivate = true;
    } rows[] = {
        {"a harmless one", "Page", harmless, none, Kind::none},
        {"a private title", "Page (Incognito)", harmless, none, Kind::privateWindow},
        {"a marker that isn't known", "Page", unproved, none, Kind::unverifiedBrowser},
        {"private windows are allowed", "Page (Incognito)", secret, none, Kind::none, false},
        {"an excluded site", "Bank", bank, sites, Kind::excludedSite},
        {"a private window comes first", "Bank", {bank.url, true, true}, sites, Kind::privateWindow},
        {"the same where no site is excluded", "New tab", {std::nullopt, false, true}, none, Kind::none},
    };
    for (const auto& row : rows) {
        BrowserHarness h;
        h.config.skipPrivateWindows = row.skipPrivate;
        h.config.excludedSites = row.sites;
        h.apply();
        h.showPage(row.title, "words", row.facts);
        h.tick();
        EXPECT_EQ(h.lastSkip(), row.skip) << row.name;
        EXPECT_EQ(h.saved.size(), row.skip == Kind::none ? 1u : 0u) << row.name;
        EXPECT_EQ(h.accessibility.counts().text, row.skip == Kind::none ? 1 : 0) << row.name;
        if (row.skip != Kind::none) continue;
        EXPECT_EQ(h.saved.at(0).url, row.facts.url) << row.name;
        EXPECT_EQ(h.storedTexts(), std::vector<std::string>{"words"}) << row.name;
        EXPECT_EQ(h.hub.read([&](MemoryStore& store) { return store.frame(h.saved[0].id)->project; }),
                  row.facts.url ? std::optional<std::string>("a.example") : std::nullopt);
    }
}

TEST(RecorderPrivacy, AStopIsNoLook) {
    BrowserHarness h;
    h.showPage("Page", "words", unproved);
    h.tick();
    h.tick(1.4);
    EXPECT_EQ(h.accessibility.counts().browserFacts, 1) << "not before the pause between two looks";
    h.showPage("Page", "words", harmless);
    h.tick(0.1);
    EXPECT_EQ(h.lastSkip(), Kind::none);
    EXPECT_EQ(h.saved.size(), 1u) << "as soon as it has proved itself, not at the heartbeat";
}

TEST(RecorderPrivacy, APageThatChangesUnderTheReadersEyesIsNotKept) {
    BrowserHarness h;
    h.config.excludedSites = {"bank.example"};
    h.apply();
    h.showPage("Home", "words", harmless);
    h.accessibility.setOnText([&h] { h.showPage("Home", "account 12345", bank); });
    h.tick();
    h.accessibility.setOnText({});
    EXPECT_EQ(h.lastSkip(), Kind::unverifiedBrowser);
    EXPECT_TRUE(h.saved.empty());
    // Its address under that title is still thought to be known; the page on show is asked all the same.
    h.tick(2);
    EXPECT_TRUE(h.saved.empty());
    h.tick(70);
    EXPECT_EQ(h.lastSkip(), Kind::excludedSite);
    EXPECT_TRUE(h.saved.empty());
}

TEST(RecorderPrivacy, NoPageIsKeptUnderTheTitleOfTheOneBefore) {
    BrowserHarness h;
    h.config.excludedSites = {"bank.example"};
    h.apply();
    // The excluded page left between the question for the title and that for the address.
    h.showPage("Statement of account 12345", "words", harmless);
    h.accessibility.setOnText([&h] { h.showPage("Home", "words", harmless); });
    h.tick();
    EXPECT_TRUE(h.saved.empty());
    h.accessibility.setOnText({});
    h.tick(2);
    ASSERT_EQ(h.saved.size(), 1u);
    EXPECT_EQ(h.saved[0].windowTitle, "Home");
}

// An office suite is one process of several applications.
TEST(RecorderPrivacy, WhatAnotherApplicationOfTheProcessShowsIsNotKept) {
    RecorderHarness h;
    h.record();
    h.show(editor, "Sheet", "words");
    h.accessibility.setOnText([&h] {
        h.applications.activate(FrontmostApp{editor.pid, "org.letters", "Letters"});
        h.mainThread.run();
    });
    h.tick();
    EXPECT_TRUE(h.saved.empty());
}

TEST(RecorderPrivacy, WithoutAccessibilityNoBrowserIsRecorded) {
    BrowserHarness h;
    h.showPage("Page", "words", harmless);
    h.tick();
    ASSERT_EQ(h.saved.size(), 1u);
    h.accessibility.setUnavailable("The bus has died.");
    h.tick(16);
    h.showPage("Secret", "words", secret);
    h.tick(16);
    EXPECT_EQ(h.lastSkip(), Kind::unverifiedBrowser) << "what was proved of a window counts for no window any more";
    EXPECT_EQ(h.saved.size(), 1u);
    h.show(editor, "Notes", "");
    h.tick(16);
    EXPECT_EQ(h.saved.size(), 2u) << "other programs go on, with their titles";
    h.applications.activate(chromium);
    h.config.skipPrivateWindows = false;
    h.apply();
    h.tick(16);
    EXPECT_EQ(h.saved.size(), 3u) << "nothing about browser windows matters to the user";
}

TEST(RecorderPrivacy, EveryProgramIsHeldToTheRules) {
    BrowserHarness h;
    h.config.excludedSites = {"bank.example"};
    h.apply();
    h.accessibility.setWindows(10, {{"Statement", place, "account 12345", "https://bank.example/statement"}});
    h.applications.activate(editor);
    h.mainThread.run();
    h.tick();
    EXPECT_EQ(h.lastSkip(), Kind::excludedSite) << "a page in a program that is no browser";
    h.show(editor, "Incognito", "words");
    h.tick(2);
    EXPECT_EQ(h.lastSkip(), Kind::privateWindow) << "a private title, whoever shows it";
    EXPECT_TRUE(h.saved.empty());
    // A program that opens http links is a browser, known or not.
    h.show({30, "org.unheard.Of", "Unheard", true}, "Page", "words");
    h.tick(2);
    EXPECT_EQ(h.lastSkip(), Kind::unverifiedBrowser);
    h.show({31, "org.torproject.torbrowser-launcher", "Tor Browser", true}, "Page", "words");
    h.tick(2);
    EXPECT_EQ(h.lastSkip(), Kind::privateWindow) << "every window of it is private";
    EXPECT_TRUE(h.saved.empty());
}

} // namespace
} // namespace nomara
