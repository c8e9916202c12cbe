#include "core/base/Calendar.h"
#include "core/base/Paths.h"
#include "core/store/SQLiteDatabase.h"
#include "tests/app/Harness.h"

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Strings = std::vector<std::string>;
using Kind = SkipReason::Kind;
using Secure = SecureInput;

const FrontmostApp editor{10, "org.editor", "Editor"};
const FrontmostApp browser{11, "org.browser", "Browser"};

TEST(Recorder, StoresTheTextOfTheFrontWindowOnce) {
    RecorderHarness h;
    h.record();
    h.windowServer.setDisplays(
        {{1, "LEFT", {0, 0, 1000, 800}, 1, true}, {2, "RIGHT", {1000, 0, 500.9, 400}, 1, false}});
    h.accessibility.setWindows(10,
                               {{"Notes", Rect{900, 100, 400, 200}, "first line\nsecond line", "https://a.example/x"}});
    h.applications.activate(editor);
    h.mainThread.run();
    h.tick();
    ASSERT_EQ(h.saved.size(), 1u);
    FrameRecord expected{.id = h.saved[0].id,
                         .timestamp = h.clock.now(),
                         .displayID = 2, // under the window's middle
                         .appBundleID = "org.editor",
                         .appName = "Editor",
                         .windowTitle = "Notes",
                         .url = "https://a.example/x",
                         .width = 500,
                         .height = 400,
                         .textSource = TextSource::accessibility(),
                         .textChars = 22};
    expected.imageState = ImageState::none;
    FrameRecord frame = h.storedFrames().at(0);
    expected.windowRect = RelativeRect{0, 0.25, 300 / 500.9, 0.5}; // only what lies on the display counts
    EXPECT_EQ(frame, expected);

    // A window that doesn't change stores nothing, however long one looks.
    h.input.setSecondsSinceLastInput(1e6);
    for (int i = 0; i < 150; ++i)
        h.tick(2);
    EXPECT_EQ(h.storedTexts(), (Strings{"first line\nsecond line"}));
    EXPECT_LE(h.accessibility.counts().text, 150 * 2 / 15 + 1) << "it is read at the heartbeat alone";

    h.accessibility.setText(10, "first line\nsecond line\nthird line");
    h.tick(16);
    EXPECT_EQ(h.storedTexts(), (Strings{"first line\nsecond line", "third line"}));
}

TEST(Recorder, PacesItsLooks) {
    // Seconds since the last look, seconds since the last input, whether the window is another one; does it look?
    const struct {
        const char* name;
        double sinceLast, inputIdle;
        bool newContext, looks;
    } rows[] = {
        {"a new window too soon", 1.4, 0, true, false},
        {"a new window", 1.5, 0, true, true},
        {"paused after typing", 5, 1.5, false, true},
        {"paused, but looked lately", 4.9, 1.5, false, false},
        {"still typing", 14.9, 0.2, false, false},
        {"still typing at the heartbeat", 15, 0.2, false, true},
        {"no input since the last look", 14.9, 14.9, false, false},
        {"no input since the last look, at the heartbeat", 15, 100, false, true},
    };
    for (const auto& row : rows) {
        RecorderHarness h;
        h.record();
        h.show(editor, "Notes", "some text");
        h.tick();
        ASSERT_EQ(h.accessibility.counts().text, 1) << row.name;
        if (row.newContext) h.show(editor, "Other", "other text");
        h.input.setSecondsSinceLastInput(row.inputIdle);
        h.tick(row.sinceLast);
        EXPECT_EQ(h.accessibility.counts().text, row.looks ? 2 : 1) << row.name;
        EXPECT_EQ(h.saved.size(), row.newContext && row.looks ? 2u : 1u) << row.name;
    }
}

TEST(Recorder, ANewContextIsStoredEvenWithoutNewLines) {
    RecorderHarness h;
    h.record();
    h.show(editor, "One", "text");
    h.tick();
    h.show(browser, "Two", "");
    h.tick(2);
    h.show(editor, "One", "text");
    h.tick(2);
    EXPECT_EQ(h.storedTexts(), (Strings{"text", "", ""}));
    EXPECT_EQ(h.hub.read([](MemoryStore& store) { return store.frame(2)->textSource; }), TextSource());
}

TEST(Recorder, SkipsWhatMustNotBeRecorded) {
    using enum SecureInput;
    const FrontmostApp self{1, "com.brindlewick.Quillshade", "Q"}, keepass{1, "org.keepassxc.keepassxc", "KeePassXC"},
        nameless{1, "com.bitwarden.desktop", {}}, tool{1, {}, "Tool"};
    const SkipReason nothing, typing{Kind::secureInput, ""};
    const SecureFocus plain = SecureFocus::no, field = SecureFocus::yes, untold = SecureFocus::unknown;
    const struct {
        const char* name;
        FrontmostApp app;
        SecureInput secureInput;
        SecureFocus focus;
        SkipReason reason;
        bool trusted = true;
    } rows[] = {
        {"itself", self, off, plain, {Kind::ownApp, ""}},
        {"an excluded application", keepass, off, plain, {Kind::excludedApp, "KeePassXC"}},
        {"one without a name", nameless, off, plain, {Kind::excludedApp, "com.bitwarden.desktop"}},
        {"a password field", editor, possible, field, typing},
        {"secure input that can't be confirmed", editor, possible, plain, typing, false},
        {"a password prompter", editor, certain, plain, typing},
        {"secure input, and a focus that isn't told", editor, possible, untold, typing},
        {"a password field where nothing else tells", editor, unknown, field, typing},
        {"secure input left on elsewhere", editor, possible, plain, nothing},
        {"an ordinary field where nothing else tells", editor, unknown, plain, nothing},
        {"an application without an identifier", tool, off, plain, nothing},
    };
    for (const auto& row : rows) {
        RecorderHarness h;
        h.record();
        h.show(row.app, "Title", "words");
        h.input.setSecureInput(row.secureInput);
        h.accessibility.setFocusSecure(row.focus);
        if (!row.trusted) h.accessibility.setUnavailable("no bus");
        h.tick();
        h.tick(2);
        const bool isSkipped = row.reason.kind != Kind::none;
        EXPECT_EQ(h.skips, isSkipped ? std::vector{row.reason} : std::vector<SkipReason>()) << row.name;
        EXPECT_EQ(h.saved.size(), isSkipped ? 0u : 1u) << row.name;
        EXPECT_EQ(h.accessibility.counts().text, isSkipped ? 0 : 1) << row.name;
        h.input.setSecureInput(off);
        h.show(editor, "Title", "words");
        h.tick(2);
        EXPECT_TRUE(!isSkipped || h.skips.back() == SkipReason()) << row.name;
    }
}

TEST(Recorder, KeepsTitlesAloneWhileTheFocusCannotBeTold) {
    RecorderHarness h;
    h.record();
    h.input.setSecureInput(Secure::unknown);
    h.accessibility.setFocusSecure(SecureFocus::unknown);
    h.show(editor, "Title", "words");
    h.tick();
    EXPECT_EQ(h.storedTexts(), Strings{""});
    EXPECT_EQ(h.saved.at(0).windowTitle, "Title");
    EXPECT_EQ(h.accessibility.counts().text, 0);
    EXPECT_EQ(h.skips, (std::vector{SkipReason{Kind::unknownFocus, ""}}));
    h.accessibility.setFocusSecure(SecureFocus::no);
    h.tick(2);
    EXPECT_EQ(h.storedTexts(), (Strings{"", "words"})) << "read as soon as it may be";
    EXPECT_EQ(h.skips.back(), SkipReason());
}

TEST(Recorder, WithoutAccessibilityTheTitleIsKept) {
    RecorderHarness h;
    h.record();
    h.accessibility.setUnavailable("The accessibility bus isn't there");
    h.windowServer.setWindows({{1, 10, "tip", Rect{0, 0, 300, 20}, 0, 1},
                               {2, 10, "panel", Rect{0, 0, 300, 300}, 3, 1},
                               {3, 99, "someone else's", Rect{0, 0, 300, 300}, 0, 1},
                               {4, 10, "the window", Rect{0, 0, 80, 60}, 0, 1},
                               {5, 10, "behind", Rect{0, 0, 300, 300}, 0, 1}});
    h.applications.activate(editor);
    h.mainThread.run();
    h.tick();
    ASSERT_EQ(h.saved.size(), 1u);
    EXPECT_EQ(h.saved[0].windowTitle, "the window");
    EXPECT_EQ(h.storedTexts(), Strings{""});

    // It comes back by itself.
    h.show(editor, "the window", "read again");
    h.accessibility.setUnavailable("");
    h.tick(16);
    EXPECT_EQ(h.storedTexts(), (Strings{"", "read again"}));
}

TEST(Recorder, FillsWhatAccessibilityLeavesOpen) {
    FakeAccessibility accessibility;
    FakeWindowServer windowServer;
    WindowInspector inspector(accessibility, windowServer);
    windowServer.setWindows({{1, 10, "X title", std::nullopt, 0, 1}, {2, 10, "other", Rect{0, 0, 300, 300}, 0, 1}});
    accessibility.setWindows(10, {{std::nullopt, Rect{1, 2, 3, 4}, "", "  \n"}});
    const WindowSnapshot snapshot = inspector.snapshot(10, inspector.onScreen());
    EXPECT_EQ(snapshot.title, "X title") << "bounds that can't be read don't disqualify a window";
    EXPECT_EQ(snapshot.frame, (Rect{1, 2, 3, 4}));
    ASSERT_TRUE(snapshot.element);
    EXPECT_FALSE(inspector.documentAddress(*snapshot.element));
    EXPECT_EQ(inspector.snapshot(12, inspector.onScreen()), WindowSnapshot());
}

TEST(Recorder, RunsExactlyWhileNothingBlocksIt) {
    using Block = Recorder::Block;
    using Status = RecorderStatus::Kind;
    RecorderHarness h;
    h.record();
    EXPECT_EQ(h.timers, (std::vector<RecorderHarness::Timer>{{0.5, 2, 0.3}}));
    EXPECT_EQ(h.statuses, (std::vector<RecorderStatus>{{Status::recording, true}}));

    const struct {
        Block block;
        bool on;
        RecorderStatus status;
    } steps[] = {
        {Block::displayAsleep, true, {Status::asleep}},
        {Block::asleep, true, {Status::asleep}},
        {Block::locked, true, {Status::locked}},
        {Block::paused, true, {Status::paused}},
        {Block::permission, true, {Status::needsPermission}},
        {Block::stopped, true, {Status::stopped}},
        {Block::stopped, false, {Status::needsPermission}},
        {Block::permission, false, {Status::paused}},
        {Block::paused, false, {Status::locked}},
        {Block::screensaver, true, {Status::locked}},
        {Block::locked, false, {Status::locked}},
        {Block::screensaver, false, {Status::asleep}},
        {Block::asleep, false, {Status::asleep}},
        {Block::displayAsleep, false, {Status::recording, true}},
    };
    int step = 0;
    for (const auto& [block, on, status] : steps) {
        h.recorder.setBlock(block, on);
        h.settle();
        EXPECT_EQ(h.statuses.back(), status) << "step " << step++;
    }
    EXPECT_EQ(h.timers.size(), 2u) << "one timer for each time that recording began";
    EXPECT_EQ(h.statuses.size(), 11u) << "told on change only";
}

TEST(Recorder, FollowsPolicyAndSettings) {
    RecorderHarness h;
    h.recorder.setBlock(Recorder::Block::stopped, false);
    h.settle();
    EXPECT_EQ(h.statuses.back(), (RecorderStatus{RecorderStatus::Kind::recording, false}));
    EXPECT_EQ(h.timers.back().interval, 1);
    h.show(editor, "Title", "words");
    h.tick();
    EXPECT_EQ(h.accessibility.counts().text, 0) << "text alone is read in text-only mode";

    h.recorder.setPower({true, 0.1, false, 0});
    h.settle();
    EXPECT_EQ(h.statuses.back(), (RecorderStatus{RecorderStatus::Kind::recording, true}));
    EXPECT_EQ(h.timers.back().interval, 2);
    EXPECT_EQ(h.policies.back().reason, CapturePolicy::Reason::lowBattery);
    h.recorder.setPower({true, 0.1, false, 0});
    h.settle();
    EXPECT_EQ(h.policies.size(), 1u);
    EXPECT_EQ(h.timers.size(), 2u);
    EXPECT_EQ(h.recorder.policy(), h.policies.back());
}

TEST(Recorder, AHoldOrARestartForgetsWhatWasSeen) {
    RecorderHarness h;
    h.record();
    h.show(editor, "Title", "words");
    h.tick();

    bool held = false;
    h.recorder.suspendCapture([&] { held = true; });
    h.settle();
    EXPECT_TRUE(held);
    h.show(editor, "Title", "words\nwritten while held");
    h.tick(60);
    EXPECT_EQ(h.storedTexts(), Strings{"words"});
    EXPECT_TRUE(h.hub.read([&](MemoryStore& store) { return store.stats("0000", "9999"); }).empty())
        << "not even a flush";

    // It goes on only once everybody who held it has let go.
    h.recorder.suspendCapture([] {});
    h.recorder.resumeCapture();
    h.tick(60);
    EXPECT_EQ(h.storedTexts(), Strings{"words"});
    h.recorder.resumeCapture();
    h.recorder.resumeCapture();
    h.tick(2);
    EXPECT_EQ(h.storedTexts(), (Strings{"words", "words\nwritten while held"}));
    h.recorder.suspendCapture([] {});
    h.show(editor, "Title", "words\nwritten under the next hold");
    h.tick(60);
    EXPECT_EQ(h.storedTexts().size(), 2u) << "one resume too many ends no later hold";
    h.recorder.resumeCapture();
    h.recorder.setBlock(Recorder::Block::paused, true);
    h.recorder.setBlock(Recorder::Block::paused, false);
    h.tick(2);
    EXPECT_EQ(h.storedTexts().size(), 3u);
}

TEST(Recorder, CountsAndFlushesItsFrames) {
    RecorderHarness h;
    h.record();
    const auto savedToday = [&] {
        const std::string day = Calendar::dayKey(h.clock.now());
        const auto days = h.hub.read([&](MemoryStore& store) { return store.stats(day, day); });
        return days.empty() ? 0 : days.front().framesSaved;
    };
    h.show(editor, "One", "one");
    h.tick();
    h.tick(59);
    EXPECT_EQ(savedToday(), 0);
    h.show(editor, "Two", "two");
    h.tick(2);
    EXPECT_EQ(savedToday(), 1) << "what a tick adds is flushed by a later one";
    h.recorder.shutdown();
    EXPECT_EQ(savedToday(), 2);
    h.tick(60);
    EXPECT_EQ(h.storedTexts().size(), 2u) << "it has ended";
}

TEST(Recorder, AFailedInsertLosesOneFrameAndNoMore) {
    RecorderHarness h;
    h.record();
    const auto database = NomaraPaths::databaseURL();
    SQLiteDatabase other(database.string(), false);
    other.execute("ALTER TABLE frame_text RENAME TO hidden");
    h.show(editor, "One", "lost");
    h.tick();
    EXPECT_TRUE(h.saved.empty());
    other.execute("ALTER TABLE hidden RENAME TO frame_text");
    EXPECT_TRUE(h.storedTexts().empty()) << "nothing of it stays";
    h.show(editor, "One", "lost\nkept");
    h.tick(16);
    EXPECT_EQ(h.storedTexts(), Strings{"kept"});
}

} // namespace
} // namespace nomara
