#include "Quillshade/windows/BrowserPrivacy.h"
#include "platform/fake/ManualClock.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11WindowServer.h"
#include "tests/desktop/backends/AtspiTest.h"
#include "tests/desktop/backends/Browsers.h"

namespace nomara {
namespace {

using WindowPrivacy::Verdict;

constexpr double padding = 2;

/// Grades the real window list, asking the real accessibility bus.
class BrowserDecision : public testing::Test {
protected:
    AtspiAccessibility accessibility;
    X11WindowServer server;
    ApplicationIdentifier identifier;
    WindowInspector inspector{accessibility, server};
    RecorderConfig config;
    ManualClock clock;

    std::uint32_t numberOf(const std::string& title) {
        for (const WindowInfo& window : server.onScreenWindows())
            if (window.title.value_or("").starts_with(title)) return window.number;
        return 0;
    }

    void place(const std::string& title, const std::string& geometry) {
        const std::string number = std::to_string(numberOf(title));
        runCommand({"wmctrl", "-i", "-r", number, "-b", "remove,maximized_vert,maximized_horz"});
        runCommand({"wmctrl", "-i", "-r", number, "-e", "0," + geometry});
    }
    void raise(const std::string& title) {
        const std::uint32_t number = numberOf(title);
        runCommand({"wmctrl", "-i", "-a", std::to_string(number)});
        EXPECT_TRUE(waitUntil([&] {
            for (const WindowInfo& window : server.onScreenWindows())
                if (window.number == number) return window.isActive;
            return false;
        })) << title;
    }

    /// Looks as one who has never seen these windows, until both are known. Whenever it looks, the private one must be
    /// blocked, and it alone is masked in the end.
    void expectExactlyThePrivateWindowBlocked(const std::string& what) {
        BrowserPrivacy privacy(
            inspector, server, [this](const WindowOwner& owner) { return identifier.identify(owner); }, clock);
        const std::uint32_t ordinary = numberOf("Open"), secret = numberOf("Secret");
        ASSERT_NE(ordinary, 0U) << what;
        ASSERT_NE(secret, 0U) << what;
        const Display display = mainDisplay(server.displays());
        std::vector<ScreenWindow> previous = privacy.visibleWindows(), latest;
        WindowPrivacy::Verdicts verdicts;
        EXPECT_TRUE(waitUntil([&] {
            clock.advance(31); // what isn't known is asked again
            latest = privacy.visibleWindows();
            verdicts = privacy.verdicts(latest, previous, clock.uptime(), config);
            EXPECT_NE(verdicts[secret], Verdict::allow) << what;
            const bool isSettled = verdicts[ordinary] == Verdict::allow && verdicts[secret] == Verdict::privateWindow &&
                                   latest == previous;
            if (!isSettled) previous = latest;
            return isSettled;
        })) << what;

        const auto decision = WindowPrivacy::decide(previous, latest, verdicts, display.bounds, padding);
        EXPECT_TRUE(decision.capture) << what;
        for (const ScreenWindow& window : latest) {
            if (window.id != secret) continue;
            const Rect grown{window.frame.x - padding, window.frame.y - padding, window.frame.width + 2 * padding,
                             window.frame.height + 2 * padding};
            const Rect hidden = grown.intersection(display.bounds);
            ASSERT_EQ(decision.masks.size(), 1U) << what;
            EXPECT_NEAR(decision.masks[0].x * display.bounds.width, hidden.x - display.bounds.x, 1e-6) << what;
            EXPECT_NEAR(decision.masks[0].y * display.bounds.height, hidden.y - display.bounds.y, 1e-6) << what;
            EXPECT_NEAR(decision.masks[0].width * display.bounds.width, hidden.width, 1e-6) << what;
            EXPECT_NEAR(decision.masks[0].height * display.bounds.height, hidden.height, 1e-6) << what;
            return;
        }
        ADD_FAILURE() << what << ": the private window is in no list";
    }

    void expectEveryArrangement() {
        place("Open", "20,20,800,600");
        place("Secret", "900,40,700,500");
        expectExactlyThePrivateWindowBlocked("beside");
        place("Secret", "300,200,700,500");
        raise("Secret");
        expectExactlyThePrivateWindowBlocked("in front");
        raise("Open");
        expectExactlyThePrivateWindowBlocked("behind");
        for (const char* title : {"Open", "Secret"})
            runCommand(
                {"wmctrl", "-i", "-r", std::to_string(numberOf(title)), "-b", "add,maximized_vert,maximized_horz"});
        for (const char* title : {"Secret", "Open"}) {
            raise(title);
            expectExactlyThePrivateWindowBlocked(std::string("at the same place, in front: ") + title);
        }

        // One that has moved since the image before costs the whole image.
        BrowserPrivacy privacy(
            inspector, server, [this](const WindowOwner& owner) { return identifier.identify(owner); }, clock);
        const auto before = privacy.visibleWindows();
        place("Secret", "310,210,700,500");
        EXPECT_TRUE(waitUntil([&] { return privacy.visibleWindows() != before; }));
        const auto after = privacy.visibleWindows();
        const auto verdicts = privacy.verdicts(after, before, clock.uptime(), config);
        EXPECT_FALSE(
            WindowPrivacy::decide(before, after, verdicts, mainDisplay(server.displays()).bounds, padding).capture);
    }
};

TEST_F(BrowserDecision, ChromiumsPrivateWindowIsBlockedWhereverItLies) {
    const std::string open = writePage("<!doctype html><title>Open</title><p>Open words");
    const std::string secret = writePage("<!doctype html><title>Secret</title><p>Secret words");
    auto command = chromium({open});
    const DesktopProgram browser(command);
    ASSERT_TRUE(waitUntil([&] { return numberOf("Open") != 0; }, std::chrono::seconds(60)));
    command.back() = "--incognito";
    command.push_back(secret);
    const DesktopProgram other(command);
    ASSERT_TRUE(waitUntil([&] { return numberOf("Secret") != 0; }, std::chrono::seconds(60)));
    expectEveryArrangement();
}

TEST_F(BrowserDecision, FirefoxesPrivateWindowIsBlockedWhereverItLies) {
    const std::string open = writePage("<!doctype html><title>Open</title><p>Open words");
    const std::string secret = writePage("<!doctype html><title>Secret</title><p>Secret words");
    auto command = firefox({open});
    std::erase(command, "--no-remote");
    const DesktopProgram browser(command);
    ASSERT_TRUE(waitUntil([&] { return numberOf("Open") != 0; }, std::chrono::seconds(60)));
    command.back() = "--private-window";
    command.push_back(secret);
    const DesktopProgram other(command);
    ASSERT_TRUE(waitUntil([&] { return numberOf("Secret") != 0; }, std::chrono::seconds(60)));
    expectEveryArrangement();
}

} // namespace
} // namespace nomara
