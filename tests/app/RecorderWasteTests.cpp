#include "tests/app/ImageHarness.h"

namespace nomara {
namespace {

using Kind = SkipReason::Kind;

struct HeldBack : ImageHarness {
    HeldBack() {
        identities[chromium.pid] = {"org.chromium.Chromium", "Chromium", "", true};
        input.setSecondsSinceLastInput(1e6);
    }
    void showBrowser(const std::string& title, const BrowserFacts& facts, std::uint32_t number = 5) {
        FakeAccessibility::Window window{title, Rect{0, 0, 800, 600}, words(300), std::nullopt};
        window.facts = facts;
        accessibility.setWindows(chromium.pid, {window});
        WindowInfo info;
        info.number = number;
        info.pid = chromium.pid;
        info.title = title;
        info.bounds = info.content = Rect{0, 0, 800, 600};
        windowServer.setWindows({info});
        applications.activate(chromium);
        mainThread.run();
    }
    /// Each image that is asked for comes a moment later, as of a screen that stands still.
    int images = 0;
    void wait(int seconds, unsigned seed = 1) {
        for (int i = 0; i < seconds; ++i) {
            tick(1);
            for (const std::string& asked : streams.takeLog()) {
                if (asked != "renew 1") continue;
                ++images;
                deliver(picture(seed), 0);
            }
        }
    }
    int asked() { return accessibility.counts().browserFacts; }
};

TEST(RecorderWaste, APageThatIsHeldBackIsLeftAloneUntilSomethingChanges) {
    const std::string bank = "https://bank.example/";
    const struct {
        const char* name;
        BrowserFacts facts;
        Kind reason;
        int questions, images; ///< at most, in five minutes
    } rows[] = {
        {"private", {bank, true, true}, Kind::privateWindow, 1, 2},
        {"excluded", {bank, false, true}, Kind::excludedSite, 42, 2},
        {"unknown", {"https://news.example/", false, false}, Kind::unverifiedBrowser, 12, 2},
    };
    for (const bool isTextOnly : {false, true})
        for (const auto& row : rows) {
            HeldBack h;
            h.config.textOnly = isTextOnly;
            h.config.excludedSites = {"bank.example"};
            h.showBrowser("Account", row.facts);
            h.recordImages(h.config);
            ASSERT_TRUE(isTextOnly || h.awaitStreams({1}));
            h.tick();
            if (!isTextOnly) h.deliver(picture(1), 1);
            h.wait(5);
            ASSERT_EQ(h.skips.size(), 1U) << row.name;
            ASSERT_EQ(h.skips.back().kind, row.reason) << row.name;
            const int before = h.asked();
            h.images = 0;
            h.wait(300);
            EXPECT_LE(h.asked() - before, row.questions) << row.name;
            EXPECT_LE(h.images, row.images) << row.name;
            EXPECT_EQ(h.skips.size(), 1U) << row.name << ": the reason is said all the time";
            EXPECT_TRUE(h.storedFrames().empty()) << row.name;

            // Another title is asked about at once, and until that is answered the reason stays.
            const int here = h.asked();
            h.showBrowser("Account (1)", row.facts);
            h.wait(4);
            EXPECT_TRUE(h.asked() > here || row.reason == Kind::privateWindow) << row.name;
            EXPECT_EQ(h.skips.size(), 1U) << row.name;

            // An allowed page under another title, and a window that takes the place of the first.
            h.showBrowser("News", {"https://news.example/", false, true}, row.reason == Kind::privateWindow ? 6 : 5);
            for (int i = 0; i < 2'000 && h.storedFrames().empty(); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                h.wait(1, 2);
            }
            ASSERT_EQ(h.storedFrames().size(), 1U) << row.name;
            EXPECT_EQ(h.storedFrames()[0].imageState, isTextOnly ? ImageState::none : ImageState::segment) << row.name;
            EXPECT_EQ(h.skips.back().kind, Kind::none) << row.name;
        }
}

TEST(RecorderWaste, WhatIsHeldBackIsAskedAgainWhenSomebodyDoesSomethingOrTheListChanges) {
    HeldBack h;
    h.config.excludedSites = {"bank.example"};
    h.showBrowser("Page", {"https://bank.example/", false, true});
    h.recordImages(h.config);
    ASSERT_TRUE(h.awaitStreams({1}));
    h.tick();
    h.deliver(picture(1), 1);
    h.wait(6);
    ASSERT_EQ(h.skips.back().kind, Kind::excludedSite);
    // A page of the same title, which paints nothing that the streams may see.
    h.showBrowser("Page", {"https://news.example/", false, true});
    h.input.setSecondsSinceLastInput(0.5);
    for (int i = 0; i < 2'000 && h.storedFrames().empty(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        h.wait(1, 2);
    }
    ASSERT_EQ(h.storedFrames().size(), 1U);

    h.showBrowser("Page", {"https://bank.example/", false, true});
    h.deliver(picture(3), 1);
    h.input.setSecondsSinceLastInput(1e6);
    h.wait(6, 3);
    ASSERT_EQ(h.skips.back().kind, Kind::excludedSite);
    h.config.excludedSites.clear();
    h.recorder.setConfig(h.config);
    // The streams hear in their own time that nothing is to be hidden any more.
    for (int i = 0; i < 2'000 && h.storedFrames().size() < 2; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        h.wait(1, 3);
    }
    EXPECT_EQ(h.storedFrames().size(), 2U) << "the user allows it";
}

TEST(RecorderWaste, AChangeOfFocusStoresNoStillScreens) {
    ImageHarness h;
    h.config.allDisplays = true;
    h.windowServer.setDisplays({{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 1000, 800}, 1, false}});
    const FrontmostApp left{10, "org.editor", "Editor"}, right{11, "org.reader", "Reader"};
    h.accessibility.setWindows(left.pid, {{"Notes", Rect{0, 0, 800, 600}, words(300), std::nullopt}});
    h.accessibility.setWindows(right.pid, {{"Book", Rect{1000, 0, 800, 600}, words(400), std::nullopt}});
    h.applications.activate(left);
    h.input.setSecondsSinceLastInput(1e6);
    h.recordImages(h.config);
    ASSERT_TRUE(h.awaitStreams({1, 2}));
    h.tick();
    h.deliver(picture(1), 1, 1);
    h.deliver(picture(2), 1, 2);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 2U);
    const auto focus = [&](const FrontmostApp& app) {
        h.applications.activate(app);
        for (int i = 0; i < 6; ++i) {
            h.tick(1);
            // A display that is asked shows what it showed.
            for (const std::string& asked : h.streams.takeLog())
                if (asked.starts_with("renew ")) {
                    const DisplayID display = asked.back() == '1' ? 1 : 2;
                    h.deliver(picture(display), 0, display);
                }
        }
    };
    for (int i = 0; i < 10; ++i) {
        focus(right);
        focus(left);
    }
    const auto frames = h.storedFrames();
    ASSERT_EQ(frames.size(), 3U) << "the window on the right, when it is first in front";
    EXPECT_EQ(frames[2].windowTitle, "Book");

    // What changed without the focus is read when it comes back.
    h.accessibility.setText(left.pid, words(300) + "\nwhile nobody looked");
    focus(right);
    h.deliver(picture(7), 1, 1);
    h.tick(3);
    ASSERT_EQ(h.storedFrames().size(), 4U);
    EXPECT_FALSE(h.storedFrames()[3].windowTitle);
    h.applications.activate(left);
    for (int i = 0; i < 4; ++i) {
        h.tick(1);
        if (!h.streams.takeLog().empty()) h.deliver(picture(7), 0, 1);
    }
    ASSERT_EQ(h.storedFrames().size(), 5U);
    EXPECT_EQ(h.storedTexts()[4], "while nobody looked");
}

} // namespace
} // namespace nomara
