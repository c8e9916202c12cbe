#include "tests/desktop/backends/AtspiTest.h"
#include "tests/desktop/backends/Browsers.h"

#include <algorithm>

#include <unistd.h>

namespace nomara {
namespace {

class AtspiBrowser : public AtspiTest {
protected:
    /// The page gives its password field the focus, and the field after it is an ordinary one.
    /// Once the browser has laid out its bars and the page below them.
    WindowText textAtRest(const AccessibleWindow& window) {
        WindowText text;
        EXPECT_TRUE(waitUntil([&] {
            const auto before = text.places;
            usleep(200'000); // a layout takes a frame or two
            text = accessibility.text(window.element, window.frame, patientLimits);
            return text.finished && text.places == before;
        }));
        return text;
    }
    void expectFocusIsFollowed(const AccessibleWindow& window) {
        EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; }));
        EXPECT_EQ(AtspiAccessibility().focusIsSecure(0), SecureFocus::yes) << "asked by one who saw no focus change";
        EXPECT_EQ(timesIn(textOf(window), "pagesecret"), 0U);
        runCommand({"xdotool", "key", "Tab"});
        EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::no; }));
        EXPECT_EQ(AtspiAccessibility().focusIsSecure(0), SecureFocus::no) << "asked by one who saw no focus change";
        runCommand({"xdotool", "key", "shift+Tab"});
        EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; }));
    }
};

constexpr int rows = 60, columns = 9;

std::string cell(int row, int column) {
    return "r" + std::to_string(row) + "c" + std::to_string(column) + ".";
}

/// Every kind of text that a page holds, once each.
std::string page() {
    return R"(<!doctype html><title>A page</title><meta charset=utf-8>
<h1>Heading one</h1>
<p>Paragraph with <a href=x>linked words</a> inside and <b>bold words</b> after.</p>
<ul><li>listed first</li><li>listed <a href=y>second</a></li></ul>
<table><tr><th>Column head</th></tr><tr><td>Cell text</td></tr></table>
<form><label for=a>Name label</label><input id=a value="entry value">
<input id=p type=password value="pagesecret" autofocus><textarea>area text</textarea>
<input type=checkbox id=c><label for=c>Check this</label><button>Press this</button></form>
<a href=z><img alt="picture words" width=20 height=20 src="data:image/gif;base64,R0lGODlhAQABAAAAACw="></a>
<div contenteditable>edited <i>content</i></div>
<iframe srcdoc="<p>framed words</p>" width=200 height=60></iframe>
<blockquote>Quoted words</blockquote>
<p style="margin-top:4000px">far below</p>)";
}

/// More than a thousand nodes, all of them in view: rows, cells, and a text object in each cell.
std::string fullPage() {
    std::string html = "<!doctype html><title>Full</title><body style='font-size:9px;margin:0'><table>";
    for (int row = 0; row < rows; ++row) {
        html += "<tr>";
        for (int column = 0; column < columns; ++column)
            html += "<td>" + cell(row, column) + "</td>";
        html += "</tr>";
    }
    return html + "</table>";
}

void expectWholePage(const std::string& text) {
    for (const char* wanted :
         {"Heading one", "Paragraph with", "linked words", "inside and", "bold words", "listed first", "listed ",
          "second", "Column head", "Cell text", "Name label", "entry value", "area text", "Check this", "Press this",
          "edited", "content", "framed words", "Quoted words"})
        EXPECT_EQ(timesIn(text, wanted), std::string_view(wanted) == "listed " ? 2U : 1U) << wanted << " in:\n" << text;
    for (const char* unwanted : {"pagesecret", "far below", "\u2022\u2022", "\uFFFC"})
        EXPECT_EQ(timesIn(text, unwanted), 0U) << unwanted << " in:\n" << text;
}

/// Texts at known places, beside what no tree tells.
std::string partlyPaintedPage() {
    return R"(<!doctype html><title>Painted</title><meta charset=utf-8>
<style>body > * { position: absolute; margin: 0; left: 50px; width: 500px; height: 60px; font-size: 16px }</style>
<p style="top:50px">Some told words with <a href=x>a link</a> among them</p>
<ul style="top:150px; padding:0"><li>a listed line</li></ul>
<div style="top:250px" aria-hidden=true>hidden from the tree</div>
<canvas style="top:350px" width=500 height=60></canvas>
<p style="top:450px">The last paragraph</p>)";
}

void expectPlaces(const AccessibleWindow& window, const WindowText& text) {
    EXPECT_TRUE(text.isPage);
    const TextCoverage coverage(*window.frame, text.places);
    // The page is what is open before its texts are taken off.
    const auto page = std::find_if(text.places.begin(), text.places.end(),
                                   [](const TextPlace& place) { return place.kind == TextPlace::Kind::open; });
    ASSERT_NE(page, text.places.end());
    const auto covers = [&](double top) { return coverage.covers({page->box.x + 52, page->box.y + top + 2, 80, 14}); };
    EXPECT_TRUE(covers(50)) << "a paragraph";
    EXPECT_TRUE(covers(150)) << "a list";
    EXPECT_FALSE(covers(250)) << "what the tree leaves out";
    EXPECT_FALSE(covers(350)) << "a canvas";
    EXPECT_TRUE(covers(450)) << "a paragraph behind it";
    EXPECT_FALSE(covers(550)) << "nothing";
    EXPECT_TRUE(coverage.covers({page->box.x + 60, page->box.y - 20, 80, 12})) << "the browser's own bars";
    EXPECT_TRUE(coverage.leavesMuchOpen());
}

TEST_F(AtspiBrowser, ChromiumTellsWhereThePageHasText) {
    const DesktopProgram browser(chromium({writePage(partlyPaintedPage())}));
    const auto window = windowShowing(browser, "The last paragraph");
    ASSERT_TRUE(window);
    expectPlaces(*window, textAtRest(*window));
}

TEST_F(AtspiBrowser, FirefoxTellsWhereThePageHasText) {
    const DesktopProgram browser(firefox({writePage(partlyPaintedPage())}));
    const auto window = windowShowing(browser, "The last paragraph");
    ASSERT_TRUE(window);
    expectPlaces(*window, textAtRest(*window));
}

// A page may hold more than there is time for; that is no reason to leave its browser alone for seconds.
TEST_F(AtspiBrowser, APageThatTakesTooLongIsReadAgainAtTheNextLook) {
    const DesktopProgram browser(chromium({writePage(fullPage())}));
    const auto window = windowShowing(browser, cell(rows - 1, 0));
    ASSERT_TRUE(window);
    for (int look = 0; look < 3; ++look) {
        EXPECT_FALSE(accessibility.text(window->element, window->frame, {.budgetSeconds = 0.002}).finished);
        usleep(700'000); // as long as nobody listens between two looks
        EXPECT_TRUE(accessibility.frontWindow(browser.pid())) << look;
    }
}

TEST_F(AtspiBrowser, ChromiumPageIsReadOnce) {
    const std::string address = writePage(page());
    const DesktopProgram browser(chromium({address}));
    ASSERT_TRUE(windowShowing(browser, "framed words"));
    const auto window = windowShowing(browser, "Quoted words");
    ASSERT_TRUE(window);
    EXPECT_EQ(accessibility.documentAddress(window->element), address);
    EXPECT_EQ(accessibility.documentAddress(window->element), address) << "asked again";
    const std::string text = textOf(*window);
    expectWholePage(text);
    EXPECT_EQ(timesIn(text, "picture words"), 0U) << text;
    expectBothWaysAgree(*window);

    expectFocusIsFollowed(*window);
}

TEST_F(AtspiBrowser, ChromiumPageOfAThousandNodesIsReadWhole) {
    const DesktopProgram browser(chromium({writePage(fullPage())}));
    const auto window = windowShowing(browser, cell(rows - 1, columns - 1));
    ASSERT_TRUE(window);
    WindowText text;
    ASSERT_TRUE(waitUntil([&] {
        text = accessibility.text(window->element, window->frame, patientLimits);
        return text.finished && text.visited > std::int64_t{rows} * columns;
    })) << text.visited;
    for (int row = 0; row < rows; ++row)
        for (int column = 0; column < columns; ++column)
            ASSERT_EQ(timesIn("\n" + text.text + "\n", "\n" + cell(row, column) + "\n"), 1U) << cell(row, column);
    expectBothWaysAgree(*window);

    const WindowText some = accessibility.text(window->element, window->frame, {3, 500, 30'000});
    EXPECT_EQ(some.visited, 501);
    EXPECT_FALSE(some.finished);
    EXPECT_TRUE(text.text.starts_with(some.text)) << "a limit of nodes ends the same walk earlier";
    const WindowText few = accessibility.text(window->element, window->frame, {3, 5000, 500});
    EXPECT_FALSE(few.finished);
    EXPECT_TRUE(text.text.starts_with(few.text)) << "so does a limit of characters";
    const WindowText late = accessibility.text(window->element, window->frame, {0.002, 5000, 200'000});
    EXPECT_FALSE(late.finished);
}

TEST_F(AtspiBrowser, FirefoxPageIsReadOnce) {
    const std::string address = writePage(page());
    const DesktopProgram browser(firefox({address}));
    ASSERT_TRUE(windowShowing(browser, "framed words"));
    const auto window = windowShowing(browser, "Quoted words");
    ASSERT_TRUE(window);
    EXPECT_EQ(accessibility.documentAddress(window->element), address);
    expectWholePage(textOf(*window));
    expectBothWaysAgree(*window);

    expectFocusIsFollowed(*window);
}

} // namespace
} // namespace nomara
