#include "tests/desktop/backends/AtspiTest.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace nomara {
namespace {

using AtspiPrograms = AtspiTest;

DesktopProgram::Environment freshConfiguration() {
    return {{"XDG_CONFIG_HOME", newFolder()}};
}

std::string numberedLines(int count) {
    std::string lines;
    for (int i = 0; i < count; ++i)
        lines += "numbered line " + std::to_string(i) + "\n";
    return lines;
}

TEST_F(AtspiPrograms, FormIsReadWithoutItsPasswordField) {
    const DesktopProgram zenity(
        {"zenity", "--forms", "--title=A form", "--text=Form text", "--add-password=Secret", "--add-entry=Plain"});
    const auto window = windowShowing(zenity, "Plain");
    ASSERT_TRUE(window);
    EXPECT_EQ(window->title, "A form");
    ASSERT_TRUE(window->frame);
    EXPECT_GT(window->frame->width, 80);

    // The first field has the focus; where its role tells nothing, it takes a letter to know it.
    ASSERT_EQ(runCommand({"xdotool", "type", "hunter2x"}), 0);
    ASSERT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; }));
    ASSERT_EQ(runCommand({"xdotool", "key", "Tab"}), 0);
    EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::no; }));
    ASSERT_EQ(runCommand({"xdotool", "type", "plainword"}), 0);
    ASSERT_TRUE(windowShowing(zenity, "plainword"));

    const std::string text = textOf(*window);
    for (const char* wanted : {"Form text", "Secret", "Plain", "plainword"})
        EXPECT_EQ(timesIn(text, wanted), 1U) << wanted << " in:\n" << text;
    for (const char* button : {"OK", "Cancel"})
        EXPECT_EQ(timesIn(text, button), 0U) << button << " in:\n" << text;
    EXPECT_EQ(timesIn(text, "hunter2x"), 0U);
    EXPECT_EQ(timesIn(text, "\u25CF"), 0U) << "not even its dots";

    ASSERT_EQ(runCommand({"xdotool", "key", "shift+Tab"}), 0);
    EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; })) << "focus came back";
    EXPECT_EQ(AtspiAccessibility().focusIsSecure(0), SecureFocus::yes) << "asked by one who saw no focus change";
    EXPECT_TRUE(AtspiAccessibility().documentAddress(window->element) == std::nullopt);
}

TEST_F(AtspiPrograms, ARichBarIsNoText) {
    const std::string file = newFolder() + "/rock.csv";
    writeFile(file, "Fruit,Price\nBasalt,12\n");
    const DesktopProgram gnumeric({"gnumeric", file}, freshConfiguration());
    ASSERT_TRUE(windowShowing(gnumeric, "Fruit")); // in the field that shows the chosen cell
    WindowText text;
    Rect frame;
    // Until it has laid itself out.
    EXPECT_TRUE(waitUntil([&] {
        const auto window = accessibility.frontWindow(gnumeric.pid());
        if (!window || !window->frame) return false;
        frame = *window->frame;
        text = accessibility.text(window->element, frame, patientLimits);
        return TextCoverage(frame, text.places).covers({frame.x + 20, frame.y + 60, 100, 14});
    })) << "a bar";
    for (const char* unwanted : {"Print Preview", "Increase Indentation", "Sans", "Scrollbar", "100%"})
        EXPECT_EQ(timesIn(text.text, unwanted), 0U) << unwanted << " in:\n" << text.text;
    EXPECT_LT(std::count(text.text.begin(), text.text.end(), '\n'), 5) << text.text;
    const TextCoverage coverage(frame, text.places);
    EXPECT_TRUE(coverage.leavesMuchOpen());
    EXPECT_FALSE(coverage.covers({frame.x + frame.width / 2, frame.y + frame.height / 2, 100, 14})) << "the sheet";
}

TEST_F(AtspiPrograms, WindowsAreThoseOfTheProcessAlone) {
    const DesktopProgram one({"zenity", "--info", "--title=First", "--text=first text"});
    const DesktopProgram two({"zenity", "--info", "--title=Second", "--text=second text"});
    ASSERT_TRUE(windowShowing(one, "first text"));
    ASSERT_TRUE(windowShowing(two, "second text"));
    const auto windows = accessibility.windows(one.pid());
    ASSERT_EQ(windows.size(), 1U);
    EXPECT_EQ(windows[0], accessibility.frontWindow(one.pid()));
    EXPECT_EQ(windows[0].title, "First");
    EXPECT_TRUE(accessibility.windows(1).empty());
    EXPECT_FALSE(accessibility.frontWindow(1));
}

TEST_F(AtspiPrograms, LongTextIsReadAsFarAsItIsVisible) {
    const std::string file = newFolder() + "/long.txt";
    writeFile(file, numberedLines(5000));
    const DesktopProgram mousepad({"mousepad", file}, freshConfiguration());
    const auto window = windowShowing(mousepad, "numbered line 0\nnumbered line 1\nnumbered line 2\n");
    ASSERT_TRUE(window);
    const std::string top = textOf(*window);
    EXPECT_LT(timesIn(top, "numbered line "), 200U);
    EXPECT_GT(timesIn(top, "numbered line "), 10U);

    EXPECT_TRUE(waitUntil([&] {
        clickInto(*window); // it may not have had the keyboard yet
        runCommand({"xdotool", "key", "ctrl+End"});
        return timesIn(textOf(*window), "numbered line 4999") == 1;
    })) << textOf(*window);
    EXPECT_EQ(timesIn(textOf(*window), "numbered line 0\n"), 0U);
}

TEST_F(AtspiPrograms, RowsOfATableAreReadOnce) {
    std::vector<std::string> command{"zenity", "--list", "--title=Rows", "--column=Fruit", "--column=Colour"};
    for (int i = 0; i < 6; ++i) {
        command.push_back("fruit" + std::to_string(i));
        command.push_back("colour" + std::to_string(i));
    }
    const DesktopProgram zenity(command);
    const auto window = windowShowing(zenity, "colour0");
    ASSERT_TRUE(window);
    const std::string text = textOf(*window);
    for (const char* wanted : {"Fruit", "Colour", "fruit0", "colour0", "fruit1", "colour1"})
        EXPECT_EQ(timesIn(text, wanted), 1U) << wanted << " in:\n" << text;
}

TEST_F(AtspiPrograms, QtWindowIsReadByWalkingIt) {
    ASSERT_TRUE(accessibility.isTrusted());
    const DesktopProgram program({QT_WINDOW});
    const auto window = windowShowing(program, "A label of Qt");
    ASSERT_TRUE(window);
    EXPECT_EQ(window->title, "Qt window");
    const std::string text = textOf(*window);
    for (const char* wanted : {"A label of Qt", "a line of Qt", "A button of Qt", "chosen by Qt", "row 2500\n",
                               "row 2501\n", "line number 0\n", "line number 1\n"})
        EXPECT_EQ(timesIn(text, wanted), 1U) << wanted << " in:\n" << text;
    for (const char* unwanted : {"hiddenbyqt", "not chosen", "row 100\n", "row 4999", "line number 1999"})
        EXPECT_EQ(timesIn(text, unwanted), 0U) << unwanted;
    EXPECT_EQ(accessibility.focusIsSecure(0), SecureFocus::no);
    EXPECT_FALSE(accessibility.documentAddress(window->element));
    EXPECT_EQ(accessibility.browserFacts(window->element, true), BrowserFacts()) << "of no browser there is nothing";
    EXPECT_FALSE(textOf(*window).empty()) << "and it survives the question";

    ASSERT_EQ(runCommand({"xdotool", "key", "Tab"}), 0);
    EXPECT_TRUE(waitUntil([&] { return accessibility.focusIsSecure(0) == SecureFocus::yes; }));
    EXPECT_EQ(AtspiAccessibility().focusIsSecure(0), SecureFocus::yes) << "asked by one who saw no focus change";
}

} // namespace
} // namespace nomara
