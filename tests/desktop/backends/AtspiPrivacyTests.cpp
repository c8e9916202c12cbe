#include "tests/desktop/backends/AtspiTest.h"
#include "tests/desktop/backends/Browsers.h"

#include <chrono>
#include <csignal>

namespace nomara {
namespace {

using Environment = DesktopProgram::Environment;

class AtspiPrivacy : public AtspiTest {
protected:
    /// The window whose name begins so, as soon as there is one.
    std::optional<AccessibleWindow> windowNamed(const DesktopProgram& program, const std::string& start) {
        std::optional<AccessibleWindow> found;
        EXPECT_TRUE(waitUntil([&] {
            for (const AccessibleWindow& window : accessibility.windows(program.pid()))
                if (window.title.value_or("").starts_with(start)) found = window;
            return found.has_value();
        })) << start;
        return found;
    }

    /// Looks from the program's first moment on: what isn't known yet may be unknown, but never wrong.
    void expectFacts(const DesktopProgram& program, bool isPrivate, const std::string& url, const std::string& what) {
        std::optional<AccessibleWindow> window;
        BrowserFacts facts;
        bool wrong = false;
        EXPECT_TRUE(waitUntil([&] {
            for (const AccessibleWindow& each : accessibility.windows(program.pid())) {
                facts = accessibility.browserFacts(each.element, true);
                wrong = wrong || (facts.markerKnown && facts.privateMarker != isPrivate);
                if (each.title.value_or("").starts_with("Front page")) window = each;
                if (wrong || (window && facts.markerKnown && facts.url == url)) return true;
            }
            return false;
        })) << what
            << ": known " << facts.markerKnown << ", private " << facts.privateMarker << ", "
            << facts.url.value_or("no address");
        ASSERT_TRUE(window) << what;
        EXPECT_FALSE(wrong) << what;
        EXPECT_FALSE(accessibility.browserFacts(window->element, false).markerKnown) << what;
    }
};

/// A page that calls itself private wherever it can but in its title.
std::string boastingPage() {
    return writePage("<!doctype html><title>Front page</title><h1>Incognito</h1><button>Incognito</button>"
                     "<button aria-label='Private browsing'>x</button><label>Private window</label>"
                     "<div role=toolbar aria-label=InPrivate><input aria-label='Address private'></div>");
}

TEST_F(AtspiPrivacy, ChromiumsWindowsAreToldApartInEveryMode) {
    const std::string page = boastingPage();
    const std::string app = "--app=" + page;
    const struct {
        const char* what;
        bool isPrivate;
        std::vector<std::string> arguments;
        const char* language;
    } rows[] = {
        {"ordinary", false, {page}, "en"},
        {"private", true, {"--incognito", page}, "en"},
        {"full screen", false, {"--start-fullscreen", page}, "en"},
        {"private, full screen", true, {"--kiosk", "--incognito", page}, "en"},
        {"without tabs", false, {app}, "en"},
        {"private, without tabs", true, {"--incognito", app}, "en"},
        {"ordinary, German", false, {page}, "de"},
        {"private, German", true, {"--incognito", page}, "de"},
        {"private, French", true, {"--incognito", page}, "fr"},
        {"private, Turkish", true, {"--incognito", page}, "tr"},
        {"private, Japanese", true, {"--incognito", page}, "ja"},
    };
    for (const auto& row : rows) {
        const DesktopProgram browser(chromium(row.arguments), {{"LANGUAGE", row.language}});
        expectFacts(browser, row.isPrivate, page, row.what);
    }
}

TEST_F(AtspiPrivacy, ChromiumThatWasNotToldToBeReadableIsNeverTakenForAnother) {
    const std::string page = boastingPage();
    for (const bool isPrivate : {false, true}) {
        const std::vector<std::string> arguments =
            isPrivate ? std::vector<std::string>{"--incognito", page} : std::vector<std::string>{page};
        const DesktopProgram browser(bareChromium(newFolder(), arguments));
        expectFacts(browser, isPrivate, page, isPrivate ? "private" : "ordinary");
    }
}

TEST_F(AtspiPrivacy, FirefoxsWindowsAreToldApartInEveryMode) {
    const std::string page = boastingPage();
    const std::string german = "user_pref(\"intl.locale.requested\", \"de\");\n";
    const struct {
        const char* what;
        bool isPrivate;
        std::vector<std::string> arguments;
        std::string settings;
    } rows[] = {
        {"ordinary", false, {page}, {}},
        {"private", true, {"--private-window", page}, {}},
        {"private, full screen", true, {"--kiosk", "--private-window", page}, {}},
        {"private, German", true, {"--private-window", page}, german},
        {"every window private", true, {page}, "user_pref(\"browser.privatebrowsing.autostart\", true);\n"},
    };
    for (const auto& row : rows) {
        const DesktopProgram browser(firefox(row.arguments, row.settings));
        expectFacts(browser, row.isPrivate, page, row.what);
    }
}

TEST_F(AtspiPrivacy, WindowsOfOneChromiumAreKeptApart) {
    const auto pageOf = [](const std::string& title, const std::string& words) {
        return writePage("<!doctype html><title>" + title + "</title><p>" + words);
    };
    const std::string first = pageOf("Front page", "front words"), behind = pageOf("Hidden tab", "hidden words"),
                      secret = pageOf("Secret page", "secret words"), popup = pageOf("Small page", "small words");
    const std::string profile = newFolder();
    const DesktopProgram browser(chromium({first, behind}, profile));
    ASSERT_TRUE(windowShowing(browser, "front words"));
    const DesktopProgram second(chromium({"--incognito", secret}, profile));
    const auto hidden = windowNamed(browser, "Secret page");
    const auto window = windowNamed(browser, "Front page");
    ASSERT_TRUE(window && hidden);
    ASSERT_TRUE(waitUntil([&] { return textOf(*hidden).find("secret words") != std::string::npos; }));

    BrowserFacts facts;
    EXPECT_TRUE(waitUntil([&] {
        facts = accessibility.browserFacts(hidden->element, true);
        return facts.url == secret;
    }));
    EXPECT_TRUE(facts.privateMarker);
    facts = accessibility.browserFacts(window->element, true);
    EXPECT_EQ(facts, (BrowserFacts{first, false, true}));

    for (const bool secretInFront : {true, false}) {
        const std::string name = secretInFront ? "Secret page" : "Front page";
        const std::string other = secretInFront ? "Front page" : "Secret page";
        runCommand({"wmctrl", "-a", name});
        std::optional<AccessibleWindow> front;
        EXPECT_TRUE(waitUntil([&] {
            front = accessibility.frontWindow(browser.pid());
            return front && front->title.value_or("").starts_with(name);
        })) << name;
        EXPECT_TRUE(front && front->isActive) << name;
        for (const AccessibleWindow& each : accessibility.windows(browser.pid()))
            EXPECT_FALSE(each.isActive && each.title.value_or("").starts_with(other)) << other;
    }
    for (const auto reading : {AtspiAccessibility::Reading::automatic, AtspiAccessibility::Reading::walk}) {
        AtspiAccessibility reader(reading);
        const std::string text = textOf(*window, reader);
        EXPECT_EQ(timesIn(text, "front words"), 1U) << text;
        for (const char* unwanted : {"secret", "Secret", "hidden", "Hidden"})
            EXPECT_EQ(timesIn(text, unwanted), 0U) << unwanted << " in:\n" << text;
    }

    // The other tab comes to the front, and the list of all tabs comes up over it.
    runCommand({"xdotool", "key", "ctrl+Tab"});
    EXPECT_TRUE(waitUntil([&] { return accessibility.browserFacts(window->element, true).url == behind; }));
    EXPECT_EQ(accessibility.documentAddress(window->element), behind);
    runCommand({"xdotool", "key", "ctrl+shift+a"});
    std::string text;
    EXPECT_TRUE(waitUntil([&] {
        text = textOf(*window);
        return timesIn(text, "hidden words") == 1;
    })) << text;
    EXPECT_EQ(timesIn(text, "Front page"), 0U) << text;
}

TEST_F(AtspiPrivacy, TabsOfFirefoxThatAreNotOnShowAreNotRead) {
    const std::string first = writePage("<!doctype html><title>Front page</title><p>front words"
                                        "<div role=tablist><button role=tab>A tab of the page</button></div>");
    const std::string behind = writePage("<!doctype html><title>Hidden tab</title><p>hidden words");
    const DesktopProgram browser(firefox({first, behind}));
    const auto window = windowShowing(browser, "A tab of the page");
    ASSERT_TRUE(window);
    const auto expectFrontOnly = [&] {
        const std::string text = textOf(*window);
        EXPECT_EQ(timesIn(text, "front words"), 1U) << text;
        for (const char* unwanted : {"Hidden tab", "hidden words"})
            EXPECT_EQ(timesIn(text, unwanted), 0U) << text;
    };
    expectFrontOnly();
    expectBothWaysAgree(*window);
    runCommand({"xdotool", "key", "ctrl+l", "type", "hid"});
    expectFrontOnly();
    std::optional<std::string> address; // a busy machine may take longer than one look
    EXPECT_TRUE(waitUntil([&] {
        address = accessibility.browserFacts(window->element, true).url;
        return address.has_value();
    }));
    EXPECT_EQ(address, first) << "not what is being typed";
}

TEST_F(AtspiPrivacy, BrowserThatHangsOrDiesIsNotKnown) {
    const DesktopProgram browser(chromium({boastingPage()}));
    const auto window = windowNamed(browser, "Front page");
    ASSERT_TRUE(window);
    const auto known = [&] { return accessibility.browserFacts(window->element, true).markerKnown; };
    ASSERT_TRUE(waitUntil(known));
    browser.signal(SIGSTOP);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(accessibility.browserFacts(window->element, true), BrowserFacts());
    EXPECT_FALSE(accessibility.frontWindow(browser.pid()));
    EXPECT_LE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2))
        << "one timeout each, not one for every element";
    browser.signal(SIGCONT);
    EXPECT_TRUE(waitUntil(known));
    browser.signal(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return accessibility.browserFacts(window->element, true) == BrowserFacts(); }));
}

} // namespace
} // namespace nomara
