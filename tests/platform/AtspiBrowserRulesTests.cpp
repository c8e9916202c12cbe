#include "platform/linux/atspi/BrowserRules.h"

#include <gtest/gtest.h>

namespace nomara::atspi {
namespace {

using Element = BrowserFindings::Element;
using Kind = Toolkit::Kind;

Element element(int depth, Role role, std::string name, std::string id = {}) {
    return {depth, role, {std::move(name), {}, {}, 0}, {{"id", std::move(id)}}, false};
}

/// The controls of a Chromium window, with one element more.
BrowserFindings chromium(const Element& more, const std::string& title = "A page - Chromium") {
    BrowserFindings findings(Kind::chromium);
    findings.take(element(0, Role::frame, title));
    Element field = element(7, Role::entry, "Address and search bar");
    field.inToolBar = true;
    findings.take(field);
    findings.take(more);
    return findings;
}

TEST(BrowserRules, MarksAreWholeLabelsOrStandAtTheirEnds) {
    const struct {
        const char* label;
        int depth;
        bool isMark;
    } rows[] = {
        {"Private", 3, true},
        {"Private mode of a kind", 3, false},
        {"Gizli", 8, true},
        {"Incognito mode", 2, true},
        {"You're Incognito", 6, true},
        {"Notincognito", 6, false},
        {"About incognito windows", 6, false},
        {"G\u0130ZL\u0130 PENCERE", 6, true},
        {"Inkognito", 6, true},
        {"Navigation priv\u00E9e", 6, true},
    };
    for (const auto& [label, depth, isMark] : rows) {
        const BrowserFacts facts = chromium(element(depth, Role::pushButton, label)).facts(true);
        EXPECT_EQ(facts.privateMarker, isMark) << label << " at " << depth;
        EXPECT_TRUE(facts.markerKnown) << label;
    }
    Element described = element(6, Role::pushButton, "You");
    described.words.help = "InPrivate";
    EXPECT_TRUE(chromium(described).facts(true).privateMarker) << "a help text ends the label";
}

TEST(BrowserRules, OnlyANormalWindowsNameVouchesInALanguageThatNobodyKnows) {
    const struct {
        const char* name;
        Kind kind;
        bool isNormal;
    } rows[] = {
        {"A page - Chromium", Kind::chromium, true},
        {"A page - Google Chrome - Work", Kind::chromium, true},
        {"Chromium", Kind::chromium, true},
        {"Page (x)", Kind::chromium, true}, // a window without tabs: its page's own title
        {"Page (x) (sekretna)", Kind::chromium, false},
        {"A page - Chromium (sekretna)", Kind::chromium, false},
        {"A page - Chromium\uFF08sekretna\uFF09", Kind::chromium, false},
        {"\u201EA page - Chromium\u201C (sekretna)", Kind::chromium, false},
        {"A page - Other Browser", Kind::chromium, false},
        {"", Kind::chromium, false},
        {"A page \u2014 Mozilla Firefox", Kind::gecko, true},
        {"Mozilla Firefox", Kind::gecko, true},
        {"A page \u2014 Mozilla Firefox Sekretna", Kind::gecko, false},
        {"A page - Chromium", Kind::other, false},
    };
    for (const auto& [name, kind, isNormal] : rows)
        EXPECT_EQ(BrowserRules::isNormalName(name, kind, {"Page (x)"}), isNormal) << name;
    const Element button = element(6, Role::pushButton, "Sekretna");
    EXPECT_TRUE(chromium(button).facts(true).markerKnown);
    EXPECT_FALSE(chromium(button, "A page - Chromium (Sekretna)").facts(true).markerKnown);
}

TEST(BrowserRules, NothingIsKnownWithoutTheControls) {
    const Element nothing = element(3, Role::panel, "");
    EXPECT_FALSE(chromium(nothing).facts(false).markerKnown) << "cut short";
    BrowserFindings failed = chromium(nothing);
    failed.fail(9);
    EXPECT_TRUE(failed.facts(true).markerKnown) << "deeper than a mark counts";
    failed.fail(8);
    EXPECT_FALSE(failed.facts(true).markerKnown);
    failed.take(element(2, Role::pushButton, "Incognito"));
    EXPECT_TRUE(failed.facts(false).markerKnown) << "a mark is one however the rest went";

    BrowserFindings empty(Kind::chromium);
    empty.take(element(0, Role::frame, "A page - Chromium"));
    EXPECT_FALSE(empty.facts(true).markerKnown) << "no address field";

    BrowserFindings gecko(Kind::gecko);
    gecko.take(element(0, Role::frame, "A page \u2014 Mozilla Firefox"));
    gecko.take(element(4, Role::comboBox, "Suche", "searchbar"));
    EXPECT_FALSE(gecko.facts(true).markerKnown) << "another field is none";
    gecko.take(element(4, Role::comboBox, "Suche", "urlbar-input"));
    EXPECT_TRUE(gecko.facts(true).markerKnown);
    BrowserFindings always = gecko;
    gecko.take({2, Role::image, {"Tajna", {}, {}, 0}, {{"class", "private-browsing-indicator-icon"}}, false});
    EXPECT_TRUE(gecko.facts(true).privateMarker) << "its class is the same in every language";
    always.take(element(2, Role::pushButton, "Tajna", "reset-pbm-toolbar-button"));
    EXPECT_TRUE(always.facts(true).privateMarker);
}

TEST(BrowserRules, AddressIsThatOfTheOnePageOnShow) {
    using Pages = std::vector<std::optional<std::string>>;
    const struct {
        const char* what;
        Pages pages;
        const char* typed;
        std::optional<std::string> url;
    } rows[] = {
        {"one page", {"https://a/"}, "b", "https://a/"},
        {"beside the browser's own", {"devtools://x", "https://a/", "chrome://side/"}, "", "https://a/"},
        {"the browser's own alone", {"chrome://newtab/"}, "", "chrome://newtab/"},
        {"beside one that doesn't tell", {"https://a/", std::nullopt}, "", std::nullopt},
        {"two pages side by side", {"https://a/", "https://b/"}, "a", std::nullopt},
        {"the same twice", {"https://a/", "https://a/"}, "", "https://a/"},
        {"no page, an address without a scheme", {}, "intranet/page", "https://intranet/page"},
        {"no page, a file, which Chromium shows by its path", {}, "/tmp/page.html", "file:///tmp/page.html"},
        {"no page, an address with one", {std::nullopt}, "ftp://intranet/", "ftp://intranet/"},
        {"nothing", {}, " ", std::nullopt},
    };
    for (const auto& [what, pages, typed, url] : rows) {
        BrowserFindings findings(Kind::chromium);
        for (const auto& page : pages)
            findings.takePage("A page", page);
        findings.takeTyped(typed);
        EXPECT_EQ(findings.facts(true).url, url) << what;
        EXPECT_EQ(findings.facts(false).url, std::nullopt) << what << ": another page may not have been seen";
    }
}

} // namespace
} // namespace nomara::atspi
