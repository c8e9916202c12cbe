#include "platform/linux/atspi/TextRules.h"

#include <initializer_list>

#include <gtest/gtest.h>

namespace nomara::atspi {
namespace {

constexpr const char* mark = "\xEF\xBF\xBC"; // stands for a child in its parent's text

struct NodeSpec {
    int depth;
    Role role;
    std::optional<std::string> text = {};
    std::optional<std::string> name = {};
    std::optional<Rect> rect = {};
};

/// Nodes written one below the other, indented by depth.
TextTree treeOf(const std::vector<NodeSpec>& specs, bool inlineText = false) {
    TextTree tree{.nodes = {}, .inlineText = inlineText, .complete = true};
    std::vector<int> path;
    for (const NodeSpec& spec : specs) {
        path.resize(static_cast<std::size_t>(spec.depth));
        TextNode node;
        node.parent = path.empty() ? -1 : path.back();
        node.role = spec.role;
        node.rect = spec.rect;
        node.text = spec.text;
        node.name = spec.name;
        path.push_back(static_cast<int>(tree.nodes.size()));
        tree.nodes.push_back(std::move(node));
    }
    return tree;
}

std::string textOf(const TextTree& tree, const std::optional<Rect>& frame = {}) {
    const WindowText text = TextRules::compose(tree, frame, {});
    EXPECT_TRUE(text.finished);
    return text.text;
}

TEST(AtspiTextRules, TakeEachVisibleTextOnceInDocumentOrder) {
    struct Case {
        const char* what;
        std::vector<NodeSpec> nodes;
        const char* text;
        bool inlineText = false;
    };
    const std::string marked = std::string("Para with ") + mark + " inside";
    const Case cases[] = {
        {"labels and buttons by name",
         {{0, Role::frame, {}, "Title"},
          {1, Role::panel, {}, "Group"},
          {2, Role::label, "Name", "Name"},
          {2, Role::text, "typed", "Name"},
          {1, Role::pushButton, {}, "Ask everybody about it now"}},
         "Name\ntyped\nAsk everybody about it now"},
        {"a paragraph that repeats its text objects",
         {{0, Role::frame},
          {1, Role(73), marked, ""},
          {2, Role::staticText, {}, "Para with "},
          {2, Role::link, "a link", "a link"},
          {3, Role::staticText, {}, "a link"},
          {2, Role::staticText, {}, " inside"}},
         "Para with \na link\n inside"},
        {"a paragraph that holds its text itself",
         {{0, Role::frame}, {1, Role(73), marked, ""}, {2, Role::link, "a link", "a link"}},
         "Para with \na link\n inside",
         true},
        {"the text in place of a picture beside a paragraph's own",
         {{0, Role::frame}, {1, Role(73), marked, ""}, {2, Role::staticText, {}, "a cat"}},
         "Para with \na cat\n inside",
         true},
        {"children that don't show leave the rest of the text at the end",
         {{0, Role::frame}, {1, Role(73), marked + mark + " more", ""}, {2, Role::link, "a link", "a link"}},
         "Para with \na link\n inside\n more",
         true},
        {"a check box and the label beside it",
         {{0, Role::frame}, {1, Role::checkBox, {}, "Agree"}, {1, Role::label, "Agree", "Agree"}},
         "Agree"},
        {"a button around its own label",
         {{0, Role::frame}, {1, Role::pushButton, {}, "Go now"}, {2, Role::label, "Go now", "Go now"}},
         ""},
        {"a question without its answers, a field without its name",
         {{0, Role::dialog},
          {1, Role::label, "Discard it?", {}},
          {1, Role::label, "Name:", {}},
          {1, Role::text, "typed", {}},
          {1, Role::label, "Remember: it rains in the mountains", {}},
          {1, Role::pushButton, {}, "Discard"},
          {1, Role::toggleButton, {}, "More"},
          {1, Role::list},
          {2, Role::listItem, {}, "one:"}},
         "Discard it?\ntyped\nRemember: it rains in the mountains\none:"},
        {"the same label twice is on the screen twice",
         {{0, Role::frame}, {1, Role::label, "x", "x"}, {1, Role::label, "x", "x"}},
         "x\nx"},
        {"a tab's page without its name",
         {{0, Role::frame}, {1, Role::pageTab, {}, "General"}, {2, Role::label, "Inside", "Inside"}},
         "Inside"},
        {"bars, but for what was typed there",
         {{0, Role::frame},
          {1, Role::toolBar, {}, "Main"},
          {2, Role::pushButton, {}, "Save"},
          {2, Role::comboBox, "100%", {}},
          {3, Role::text, "100%", {}},
          {2, Role::spinButton, "12", {}},
          {2, Role::label, "Find", "Find"},
          {2, Role::text, "=SUM(A1)", {}},
          {1, Role::statusBar},
          {2, Role::label, "Line 1", "Line 1"},
          {1, Role::label, "rest", {}}},
         "=SUM(A1)\nrest"},
        {"a row of buttons is a bar as well",
         {{0, Role::frame},
          {1, Role::filler},
          {2, Role::pushButton, {}, "INSERT", Rect{0, 300, 60, 20}},
          {2, Role::checkBox, {}, "UTF-8", Rect{60, 302, 60, 20}},
          {2, Role::pushButton, {}, "Normal", Rect{120, 300, 60, 20}}},
         ""},
        {"boxes below each other",
         {{0, Role::frame},
          {1, Role::filler},
          {2, Role::checkBox, {}, "one", Rect{0, 100, 60, 20}},
          {2, Role::checkBox, {}, "two", Rect{0, 120, 60, 20}},
          {2, Role::checkBox, {}, "three", Rect{0, 140, 60, 20}}},
         "one\ntwo\nthree"},
        {"a button with a picture on it shows no name",
         {{0, Role::frame},
          {1, Role::radioButton, {}, "Maximize", Rect{0, 0, 24, 24}},
          {1, Role::radioButton, {}, "Apply", Rect{30, 0, 50, 24}}},
         "Apply"},
        {"what a closed list could show",
         {{0, Role::frame},
          {1, Role::comboBox, {}, "Disc", Rect{0, 0, 50, 20}},
          {2, Role::list, {}, {}, Rect{0, 0, 0, 0}},
          {3, Role::listItem, {}, "Star", Rect{0, 100, 700, 25}}},
         "Disc"},
        {"a tab whose name tells more than it shows",
         {{0, Role::frame}, {1, Role::pageTab, mark, "Page - 23 MB"}, {2, Role::label, "Close", "Close"}},
         "Close"},
        {"an editable list with its field",
         {{0, Role::frame}, {1, Role::comboBox, "red", "Colour"}, {2, Role::entry, "red", "Colour"}},
         "red"},
        {"a list that shows what is chosen by its name",
         {{0, Role::frame}, {1, Role::comboBox, {}, "red"}, {2, Role::menu, {}, "red"}},
         "red"},
        {"nothing below a field",
         {{0, Role::frame}, {1, Role::entry, "typed", ""}, {2, Role::staticText, {}, "typed"}},
         "typed"},
        {"kept untrimmed, left out when blank",
         {{0, Role::frame}, {1, Role::label, "  a \n", {}}, {1, Role::label, " \n\t", {}}, {1, Role::text, "b", {}}},
         "  a \n\nb"},
        {"menus, pictures and bars",
         {{0, Role::frame},
          {1, Role::menuBar, {}, "m"},
          {2, Role::label, "below a menu bar", {}},
          {1, Role::menu, {}, "m"},
          {2, Role::menuItem, {}, "Open"},
          {1, Role::scrollBar, {}, "s"},
          {2, Role::pushButton, {}, "Up"},
          {1, Role::image, {}, "i"},
          {1, Role::progressBar, "50 %", "p"},
          {1, Role::label, "rest", {}}},
         "rest"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(textOf(treeOf(each.nodes, each.inlineText)), each.text) << each.what;
}

TEST(AtspiTextRules, LeaveOutWhatStandsAroundTheWorkInALargeWindow) {
    const std::vector<NodeSpec> specs = {
        {0, Role::frame, {}, {}, Rect{0, 0, 900, 700}},
        {1, Role::label, "Chapter", {}, Rect{400, 10, 90, 20}},
        {1, Role::label, "Your parcel comes on Tuesday", {}, Rect{10, 10, 300, 20}},
        {1, Role::list, {}, {}, Rect{0, 80, 900, 20}},
        {2, Role::listItem, {}, "home", Rect{0, 80, 60, 20}},
        {1, Role::table, {}, {}, Rect{0, 100, 200, 560}},
        {2, Role::tableCell, "Anna", {}, Rect{0, 670, 100, 20}},
        {1, Role::label, "Nobody is here", {}, Rect{300, 300, 200, 20}},
        {1, Role::checkBox, {}, "Whole words", Rect{300, 340, 200, 20}},
        {1, Role::checkBox, {}, "Tell me before the meeting begins", Rect{300, 370, 300, 20}},
        {1, Role::label, "1 of 12", {}, Rect{10, 670, 100, 20}},
        {1, Role::spinButton, "81 %", {}, Rect{200, 670, 100, 20}},
        {1, Role::entry, "typed", {}, Rect{400, 670, 300, 20}}};
    EXPECT_EQ(textOf(treeOf(specs), Rect{0, 0, 900, 700}),
              "Your parcel comes on Tuesday\nAnna\nNobody is here\nTell me before the meeting begins\ntyped");
    // A small one asks or answers.
    EXPECT_EQ(textOf(treeOf(specs), Rect{0, 0, 900, 390}),
              "Chapter\nYour parcel comes on Tuesday\nhome\nNobody is here\nWhole words\n"
              "Tell me before the meeting begins");

    const std::vector<NodeSpec> office = {{0, Role::frame, {}, {}, Rect{0, 0, 900, 700}},
                                          {1, Role::panel, {}, {}, Rect{0, 45, 900, 655}},
                                          // As LibreOffice tells it, by the height of its menus too high.
                                          {2, Role::rootPane, {}, {}, Rect{0, 20, 900, 655}},
                                          {3, Role::panel, {}, {}, Rect{0, 100, 300, 500}},
                                          {4, Role::label, "Slides", {}, Rect{0, 100, 100, 20}},
                                          {4, Role::entry, "12pt", {}, Rect{0, 130, 100, 20}},
                                          {3, Role::documentPresentation, {}, {}, Rect{300, 100, 600, 500}},
                                          {4, Role(73), "A slide", {}, Rect{350, 200, 300, 30}}};
    const WindowText text = TextRules::compose(treeOf(office), Rect{0, 0, 900, 700}, {});
    EXPECT_EQ(text.text, "12pt\nA slide");
    const TextCoverage coverage(Rect{0, 0, 900, 700}, text.places);
    EXPECT_TRUE(coverage.covers({360, 227, 200, 20})) << "where it is painted";
    EXPECT_FALSE(coverage.covers({360, 200, 200, 12}));
}

TEST(AtspiTextRules, TellWhichPartOfAWindowIsKnown) {
    const Rect frame{0, 0, 800, 600};
    const NodeSpec window{0, Role::frame, {}, {}, frame}, body{1, Role::filler, {}, {}, Rect{0, 20, 800, 580}},
        bar{2, Role::toolBar, {}, {}, Rect{0, 20, 800, 40}}, page{1, Role::documentWeb, {}, {}, Rect{0, 100, 800, 500}};
    const Rect whole{0, 60, 800, 540};
    struct Case {
        const char* what;
        std::vector<NodeSpec> nodes;
        Rect box;
        bool isKnown;
        bool inlineText = false; ///< and a browser's
    };
    const Case cases[] = {
        {"a painted body", {window, body, bar, {2, Role::panel, {}, {}, whole}}, whole, false},
        {"a bar", {window, body, bar, {2, Role::panel, {}, {}, whole}}, {10, 30, 100, 20}, true},
        {"the title above it", {window, body, bar, {2, Role::panel, {}, {}, whole}}, {10, 2, 100, 14}, true},
        {"a body that isn't in the tree", {window, {1, Role::toolBar, {}, {}, Rect{0, 20, 800, 40}}}, whole, false},
        {"an editor with little in it", {window, body, bar, {2, Role::text, "a", {}, whole}}, whole, true},
        {"an editor that can't be read", {window, body, bar, {2, Role::text, {}, {}, whole}}, whole, false},
        {"a list", {window, body, {2, Role::list, {}, {}, whole}, {3, Role::listItem, {}, "one"}}, whole, true},
        {"a picture in a list",
         {window,
          body,
          {2, Role::list, {}, {}, whole},
          {3, Role::listItem, {}, "one"},
          {3, Role::image, {}, {}, Rect{0, 400, 200, 200}}},
         {10, 450, 100, 20},
         false},
        {"a page's text",
         {window, page, {2, Role(73), "said", {}, Rect{0, 100, 800, 50}}},
         {10, 110, 100, 20},
         true,
         true},
        {"a page's painted part",
         {window, page, {2, Role(73), "said", {}, Rect{0, 100, 800, 50}}},
         {10, 300, 100, 20},
         false,
         true},
        {"a row that was asked instead of its cells",
         {window, page, {2, Role::tableRow, {}, {}, Rect{0, 200, 800, 20}}, {3, Role::tableCell, "cell", {}}},
         {300, 200, 100, 20},
         true,
         true},
    };
    for (const Case& each : cases) {
        TextTree tree = treeOf(each.nodes, each.inlineText);
        tree.mayHoldPages = each.inlineText;
        const WindowText text = TextRules::compose(tree, frame, {});
        EXPECT_EQ(TextCoverage(frame, text.places).covers(each.box), each.isKnown) << each.what;
        EXPECT_EQ(text.isPage, each.inlineText) << each.what;
    }
}

TEST(AtspiTextRules, NeverTakeAnythingOfAPasswordField) {
    const TextTree tree = treeOf({{0, Role::dialog},
                                  {1, Role::label, "Password", {}},
                                  {1, Role::passwordText, "s3cret", "s3cret"},
                                  {2, Role::staticText, "s3cret", "s3cret"},
                                  {1, Role::pushButton, {}, "OK"}});
    const WindowText text = TextRules::compose(tree, {}, {});
    EXPECT_EQ(text.text, "Password");
    EXPECT_EQ(text.visited, 4) << "what is below the field is not even visited";
    for (const bool inlineText : {false, true})
        EXPECT_EQ(TextRules::readingOf(Role::passwordText, inlineText, false), TextRules::Reading{});
}

TEST(AtspiTextRules, NeverTakeTheDotsOfAFieldThatDoesNotTellWhatItIs) {
    const struct {
        const char* text;
        Role role;
        bool isTaken;
    } rows[] = {
        {"\u2022\u2022\u2022", Role::entry, false},
        {"\u25CF\u25CF\u25CF\u25CF\n", Role::text, false},
        {"********", Role::comboBox, false},
        {"\u2731", Role::text, false}, // the first character typed
        {"*", Role::entry, false},
        {"##", Role::entry, false},
        {"\u25CF\u25CFa", Role::text, false}, // the last one still shows
        {"\u25CFa", Role::text, false},
        {"\u25CFab", Role::text, true},
        {"*a", Role::entry, true},
        {"1111", Role::spinButton, true},
        {"***", Role::label, true},
    };
    for (const auto& [text, role, isTaken] : rows)
        EXPECT_EQ(textOf(treeOf({{0, Role::dialog}, {1, role, text}})), isTaken ? text : "") << text;
}

TEST(AtspiTextRules, KeepApartWhatALineMayHide) {
    const Rect place{10, 10, 100, 20};
    TextTree tree = treeOf({{0, Role::dialog},
                            {1, Role::label, "Account", {}},
                            {1, Role::text, "s3cret", {}, place},
                            {1, Role::text, "nowhere", {}},
                            {1, Role::entry, " ", {}, place},
                            {1, Role::entry, "***", {}, place},
                            {1, Role::text, "outside", {}, Rect{900, 900, 10, 10}}});
    for (std::size_t i = 2; i < tree.nodes.size(); ++i)
        tree.nodes[i].unproven = true;
    const WindowText text = TextRules::compose(tree, Rect{0, 0, 200, 200}, {});
    EXPECT_EQ(text.text, "Account");
    EXPECT_EQ(text.unproven, (std::vector<UnprovenLine>{{"s3cret", place}}));
}

TEST(AtspiTextRules, TakeAPageWithoutTheBrowserAroundIt) {
    const std::vector<NodeSpec> controls = {{0, Role::frame, {}, "Front - Browser"},
                                            {1, Role::pushButton, {}, "Back"},
                                            {1, Role::pageTabList},
                                            {2, Role::pageTab, {}, "Front"},
                                            {2, Role::pageTab, {}, "Another page"},
                                            {3, Role::label, "Another page", {}},
                                            {1, Role::toolTip, {}, "A third page"},
                                            {1, Role::documentWeb, {}, "All pages"},
                                            {2, Role::listItem, "Another page", {}}};
    std::vector<NodeSpec> window = controls;
    for (const NodeSpec& spec : std::initializer_list<NodeSpec>{{1, Role::documentWeb, {}, "Front"},
                                                                {2, Role::pageTabList},
                                                                {3, Role::pageTab, {}, "Tab of the page"},
                                                                {2, Role::label, "words", {}},
                                                                {2, Role::documentWeb},
                                                                {3, Role::label, "framed words", {}},
                                                                {1, Role::label, "status", {}}})
        window.push_back(spec);
    constexpr std::size_t panel = 7;
    TextTree tree = treeOf(window);
    tree.mayHoldPages = true;
    tree.nodes[panel].isPanel = true;
    EXPECT_EQ(textOf(tree), "Tab of the page\nwords\nframed words");
    tree = treeOf(controls);
    tree.mayHoldPages = true;
    tree.nodes[panel].isPanel = true;
    EXPECT_EQ(textOf(tree), "") << "nor are other pages named where there is none";

    for (const char* address : {"chrome://tab-search.top-chrome/", "chrome-untrusted://x.top-chrome/y",
                                "chrome://browser/content/places/historySidebar.xhtml"})
        EXPECT_TRUE(TextRules::isPanelAddress(address)) << address;
    for (const char* address : {"", "chrome://settings/", "https://a/x.top-chrome/", "about:srcdoc"})
        EXPECT_FALSE(TextRules::isPanelAddress(address)) << address;
}

TEST(AtspiTextRules, SkipWhatLiesOutsideTheFrame) {
    const Rect frame{100, 100, 200, 200}, inside{110, 110, 20, 20}, outside{100, 400, 20, 20};
    struct Case {
        const char* what;
        std::optional<Rect> rect;
        std::optional<Rect> frame;
        const char* text;
    };
    const Case cases[] = {
        {"inside", inside, frame, "own\nbelow"},
        {"outside, with all below it", outside, frame, ""},
        {"outside without a size", Rect{100, 400, 0, 0}, frame, "own\nbelow"},
        {"place unknown", std::nullopt, frame, "own\nbelow"},
        {"frame unknown", outside, std::nullopt, "own\nbelow"},
    };
    for (const Case& each : cases) {
        const TextTree tree =
            treeOf({{0, Role::frame}, {1, Role(73), "own", {}, each.rect}, {2, Role::label, "below", {}, inside}});
        EXPECT_EQ(textOf(tree, each.frame), each.text) << each.what;
    }
}

TEST(AtspiTextRules, StopBeforeTheNextNodeOnceALimitIsPassed) {
    // The root, then labels of ten characters each.
    std::vector<NodeSpec> specs{{0, Role::frame}};
    for (int i = 0; i < 20; ++i)
        specs.push_back({1, Role::label, "0123456789"});
    const TextTree tree = treeOf(specs);
    struct Case {
        const char* what;
        std::int64_t maxNodes, maxCharacters;
        std::int64_t visited;
        std::size_t labels;
        bool finished;
    };
    const Case cases[] = {
        {"as many nodes as there are", 21, 30'000, 21, 20, true},
        {"one node fewer", 20, 30'000, 21, 19, false},
        {"the piece that passes the limit is kept", 1500, 95, 12, 10, false},
        {"at the limit, not above it", 1500, 100, 13, 11, false},
    };
    for (const Case& each : cases) {
        const WindowText text = TextRules::compose(tree, {}, {0.07, each.maxNodes, each.maxCharacters});
        EXPECT_EQ(text.visited, each.visited) << each.what;
        EXPECT_EQ((text.text.size() + 1) / 11, each.labels) << each.what;
        EXPECT_EQ(text.finished, each.finished) << each.what;
    }
}

TEST(AtspiTextRules, CountCharactersAsPeopleDo) {
    // A flag is one character of eight bytes.
    std::vector<NodeSpec> specs{{0, Role::frame}};
    for (int i = 0; i < 5; ++i)
        specs.push_back({1, Role::label, "\U0001F1F9\U0001F1F7\U0001F1F9\U0001F1F7"});
    EXPECT_TRUE(TextRules::compose(treeOf(specs), {}, {0.07, 1500, 9}).finished);
    EXPECT_FALSE(TextRules::compose(treeOf(specs), {}, {0.07, 1500, 7}).finished);
}

TEST(AtspiTextRules, WalkToADepthOfFortyEight) {
    std::vector<NodeSpec> specs;
    specs.reserve(60);
    for (int depth = 0; depth < 60; ++depth)
        specs.push_back({depth, Role(73), std::to_string(depth)});
    const WindowText text = TextRules::compose(treeOf(specs), {}, {});
    EXPECT_TRUE(text.text.ends_with("\n47\n48")) << text.text;
    EXPECT_EQ(text.visited, 49);
    EXPECT_TRUE(text.finished);
}

TEST(AtspiTextRules, GoOnPastWhatFailedAndTellWhatWasMissed) {
    TextTree tree = treeOf({{0, Role::frame},
                            {1, Role(73), "failed", {}},
                            {2, Role::label, "below", {}},
                            {1, Role::label, "late", {}},
                            {1, Role::label, "there", {}}});
    tree.nodes[1].failed = true;
    EXPECT_EQ(textOf(tree), "late\nthere");

    tree.nodes[3].unread = true;
    tree.nodes[3].text.reset();
    WindowText text = TextRules::compose(tree, {}, {});
    EXPECT_EQ(text.text, "there");
    EXPECT_FALSE(text.finished) << "time ran out";

    tree.nodes[3].unread = false;
    tree.complete = false;
    EXPECT_FALSE(TextRules::compose(tree, {}, {}).finished) << "there were more nodes";
    EXPECT_TRUE(TextRules::compose(TextTree{}, {}, {}).text.empty());
}

} // namespace
} // namespace nomara::atspi
