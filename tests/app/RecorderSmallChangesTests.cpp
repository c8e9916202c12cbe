#include "tests/app/ImageHarness.h"

namespace nomara {
namespace {

TextObservation line(const std::string& text, int number) {
    return FakeTextRecognizer::piece(text, {0.05, 0.95 - 0.03 * number, 0.3, 0.02});
}

struct SmallChanges : ImageHarness {
    SmallChanges() { input.setSecondsSinceLastInput(1e6); }
    /// A window that tells nothing, stored once.
    void startTerminal(const FrontmostApp& app = editor) {
        show(app, "Terminal", "");
        recognizer.setText({line("make all", 0)});
        recordImages(config);
        ASSERT_TRUE(awaitStreams({1}));
        tick();
        deliver(picture(1), 1);
        tick(1);
        ASSERT_EQ(storedFrames().size(), 1U);
    }
    /// An image of which little was painted, seen after a pause.
    void change(const Image& image, double painted = 0.002) {
        deliver(image, painted);
        tick(4);
    }
};

TEST(RecorderSmallChanges, AddUpUntilTheyAreWorthAPicture) {
    SmallChanges h;
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 1U);
    for (int places = 1; places <= 3; ++places) {
        h.change(dotted(picture(1), places), 0.003);
        EXPECT_EQ(h.lastLook(), LookResult::unchanged) << places;
    }
    h.change(dotted(picture(1), 4), 0.0001);
    EXPECT_EQ(h.storedFrames().size(), 2U) << "more than a hundredth looks otherwise than in the last stored image";
    h.change(dotted(picture(1), 5), 0.006);
    EXPECT_EQ(h.storedFrames().size(), 2U);
    h.change(dotted(picture(1), 4), 0.006);
    EXPECT_EQ(h.lastLook(), LookResult::unchanged) << "painted often, and as it was";
    h.change(dotted(picture(1), 5), 0.003);
    EXPECT_EQ(h.storedFrames().size(), 3U) << "more than a hundredth was painted since then, and looks otherwise";
}

TEST(RecorderSmallChanges, ALineOfATerminalIsRead) {
    SmallChanges h;
    h.startTerminal();
    std::vector<TextObservation> screen{line("make all", 0)};
    for (int i = 1; i <= 10; ++i) {
        screen.push_back(line("step " + std::to_string(i), i));
        h.recognizer.setText(screen);
        h.change(dotted(picture(1), i % 3 + 1));
    }
    const auto texts = h.storedTexts();
    ASSERT_EQ(texts.size(), 11U);
    for (std::size_t i = 1; i <= 10; ++i)
        EXPECT_EQ(texts[i], "step " + std::to_string(i)) << "what is known isn't stored again";
    EXPECT_EQ(h.storedFrames().back().imageState, ImageState::segment);
    EXPECT_EQ(h.storedFrames().back().ocrState, OCRState::done);
    EXPECT_EQ(h.recognizer.requests().size(), 11U) << "each is read once";
}

TEST(RecorderSmallChanges, ACaretThatBlinksStoresNothing) {
    for (const bool isTerminal : {true, false}) {
        SmallChanges h;
        if (isTerminal)
            h.startTerminal();
        else
            h.start();
        const Image screen = picture(2, 960, 540); // of which the caret is less than a letter
        h.change(screen, 1);
        const std::size_t stored = h.storedFrames().size(), requests = h.recognizer.requests().size();
        // Its program paints the whole line each time.
        for (int i = 0; i < 100; ++i)
            h.change(dotted(screen, i % 2), 0.05);
        EXPECT_EQ(h.storedFrames().size(), stored) << isTerminal;
        EXPECT_LE(h.recognizer.requests().size(), requests + 1) << "what the caret covers has been read";
    }
}

TEST(RecorderSmallChanges, ALineThatCannotBeReadYetGetsItsPictureAtTheHeartbeat) {
    SmallChanges h;
    h.recorder.setPower({true, 0.9, false, 0});
    h.startTerminal();
    h.change(dotted(picture(1), 1));
    EXPECT_EQ(h.lastLook(), LookResult::unchanged);
    for (int i = 0; i < 24; ++i)
        h.tick(1);
    EXPECT_EQ(h.storedFrames().size(), 1U);
    for (int i = 0; i < 60; ++i)
        h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 2U) << "once, though nothing was painted since";
    EXPECT_EQ(h.storedFrames()[1].ocrState, OCRState::queued);
}

TEST(RecorderSmallChanges, WhatCouldNotBeReadInTimeIsStoredToBeReadLater) {
    SmallChanges h;
    h.startTerminal();
    h.recognizer.setReading([&](const TextRequest&) { return TextResult{{}, false}; });
    h.change(dotted(picture(1), 1));
    ASSERT_EQ(h.storedFrames().size(), 2U);
    EXPECT_EQ(h.storedFrames()[1].ocrState, OCRState::queued);
    EXPECT_EQ(h.readSoon.size(), 1U);
}

TEST(RecorderSmallChanges, TextThatScrollsByItselfIsNoFilm) {
    const FrontmostApp player{10, "mpv", "mpv"};
    for (const auto& [app, isText] : {std::pair(editor, true), {editor, false}, {player, true}}) {
        SmallChanges h;
        h.startTerminal(app);
        for (int second = 0; second < 120; ++second) {
            std::vector<TextObservation> screen;
            for (int i = 0; i < 20; ++i)
                screen.push_back(line("building object number " + std::to_string(second + i) + " of many", i));
            if (!isText) screen = {line("0:" + std::to_string(second), 0)};
            h.recognizer.setText(screen);
            h.deliver(picture(static_cast<unsigned>(second)), 0.3);
            h.tick(1);
        }
        const auto texts = h.storedTexts();
        if (!isText || app == player) {
            EXPECT_LE(texts.size(), 10U) << "a film is sampled";
            continue;
        }
        std::string all;
        for (const std::string& text : texts)
            all += text + '\n';
        for (int i = 3; i < 130; ++i) // those before are gone within three seconds
            EXPECT_NE(all.find("number " + std::to_string(i) + " of"), std::string::npos) << i;
        EXPECT_LE(texts.size(), 45U);
    }
}

TEST(RecorderLines, WhatWasReadAfterTheTickIsKnownToTheNextOne) {
    SmallChanges h;
    h.startTerminal();
    std::vector<TextObservation> screen;
    std::vector<std::string> texts;
    for (int i = 0; i < 6; ++i) {
        texts.push_back("line " + std::to_string(i));
        screen.push_back(line(texts.back(), i));
    }
    h.recognizer.setReading([&](const TextRequest&) {
        return TextResult{{screen.begin(), screen.begin() + 2}, false};
    });
    h.change(picture(2), 1);
    ASSERT_EQ(h.storedTexts().back(), "line 0\nline 1");
    ASSERT_EQ(h.readSoon.size(), 1U);
    EXPECT_EQ(h.readSoon[0].id, h.storedFrames().back().id);
    EXPECT_EQ(h.lines->newLines(texts, h.readSoon[0].lines.context, h.clock.uptime()),
              (std::vector<std::string>{texts.begin() + 2, texts.end()}));
    h.recognizer.setReading(nullptr);
    screen.push_back(line("new", 6));
    h.recognizer.setText(screen);
    h.change(picture(3), 1);
    EXPECT_EQ(h.storedTexts().back(), "new");
}

TEST(RecorderLines, AClockThatIsSetBackChangesNothing) {
    for (const bool isTextOnly : {true, false}) {
        SmallChanges h;
        h.config.textOnly = isTextOnly;
        h.show(editor, "Notes", words(300));
        h.recordImages(h.config);
        ASSERT_TRUE(isTextOnly || h.awaitStreams({1}));
        h.tick();
        unsigned seed = 0;
        const auto store = [&](const std::string& text) {
            h.accessibility.setText(10, text);
            if (!isTextOnly) h.deliver(picture(++seed), 1);
            h.tick(20);
            return h.storedTexts().empty() ? "(none)" : h.storedTexts().back();
        };
        store(words(300));
        h.clock.setNow(h.clock.now() - 5 * 3'600.0);
        const std::size_t before = h.storedFrames().size();
        for (int i = 0; i < 100; ++i)
            store(words(300) + "\nline " + std::to_string(i));
        const auto texts = h.storedTexts();
        EXPECT_EQ(texts.size(), before + 100) << isTextOnly;
        EXPECT_EQ(std::ranges::count_if(texts, [](const auto& text) { return text.starts_with("xx"); }), 1)
            << "a line that stays is stored once";
    }
}

TEST(RecorderTitles, OneThatChangesEachSecondHoldsNothingUp) {
    for (const bool isRead : {false, true}) {
        SmallChanges h;
        if (isRead) h.recognizer.setText({line("forty lines that stay", 0)});
        h.start();
        for (unsigned second = 1; second <= 45; ++second) {
            const std::string text = isRead ? "" : words(300) + "\nline " + std::to_string(second);
            h.show(editor, std::to_string(second) + " %", text);
            h.deliver(picture(second), 0.03);
            h.tick(1);
        }
        const auto frames = h.storedFrames();
        EXPECT_GE(frames.size(), 10U) << isRead;
        std::string all;
        for (const std::string& text : h.storedTexts())
            all += text + '\n';
        const std::string known = isRead ? "forty lines that stay" : words(300);
        int times = 0;
        for (auto at = all.find(known); at != std::string::npos; at = all.find(known, at + 1))
            ++times;
        EXPECT_LE(times, 4) << "the title is no reason to store what is known once more";
        EXPECT_EQ(frames.back().windowTitle.value_or("").find(" %"), 2U) << "each frame has the title of its moment";
    }
}

TEST(RecorderTitles, ANewTitleIsKeptWithItsOwnPicture) {
    SmallChanges h;
    h.start();
    h.deliver(picture(1), 1);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 1U);
    h.show(editor, "Second", words(300));
    h.tick(3);
    h.deliver(picture(2), 1);
    h.show(editor, "Third", words(300));
    h.tick(0.5);
    h.show(editor, "Fourth", words(300));
    h.tick(0.2);
    ASSERT_EQ(h.storedFrames().size(), 1U) << "the picture may show the second";
    EXPECT_EQ(h.lastLook(), LookResult::staleImage);
    h.deliver(picture(4), 1);
    h.tick(1);
    ASSERT_EQ(h.storedFrames().size(), 2U);
    EXPECT_EQ(h.storedFrames()[1].windowTitle, "Fourth");
    EXPECT_EQ(h.video(h.storedFrames()[1]).frames.back()->bytes, picture(4)->bytes);
}

} // namespace
} // namespace nomara
