#include "core/policy/ContextTitle.h"
#include "core/policy/FrameGate.h"
#include "core/policy/PolicyEngine.h"

#include <gtest/gtest.h>

namespace nomara {
namespace {

using Reason = CapturePolicy::Reason;

TEST(PolicyEngine, PacesCaptureByModeAndPower) {
    const PowerSnapshot mains, battery{true, 0.5}, low{true, 0.1}, saving{false, {}, true},
        batterySaving{true, 0.5, true}, hot{false, {}, false, 2};
    const struct {
        const char* name;
        PowerSnapshot power;
        double saver[3], balanced[3], quality[3]; // stream interval, shortest gap, heartbeat
        bool images, ocr, heavy;
        Reason reason;
    } rows[] = {
        {"mains", mains, {2, 4, 45}, {1, 2, 15}, {1, 1.5, 8}, true, true, true, Reason::normal},
        {"battery", battery, {2, 6, 90}, {2, 3, 30}, {1, 3, 30}, true, false, false, Reason::battery},
        {"low battery", low, {2, 6, 90}, {2, 3, 60}, {1, 3, 60}, false, false, false, Reason::lowBattery},
        {"saving on mains", saving, {3, 4, 60}, {3, 2, 60}, {3, 1.5, 60}, false, false, false, Reason::lowPower},
        {"saving on battery", batterySaving, {3, 6, 90}, {3, 3, 60}, {3, 3, 60}, false, false, false, Reason::lowPower},
        {"hot", hot, {3, 4, 60}, {3, 2, 60}, {3, 1.5, 60}, false, false, false, Reason::thermal},
    };
    for (const auto& row : rows) {
        const std::pair<CaptureMode, const double*> modes[] = {{CaptureMode::saver, row.saver},
                                                               {CaptureMode::balanced, row.balanced},
                                                               {CaptureMode::quality, row.quality}};
        for (const auto& [mode, times] : modes)
            EXPECT_EQ(PolicyEngine::evaluate(mode, row.power, false, false),
                      (CapturePolicy{times[0], times[1], times[2], row.images, row.ocr, row.heavy, row.reason}))
                << row.name << ", " << name(mode);
    }
}

TEST(PolicyEngine, TheLastRuleHasTheLastWord) {
    const auto reason = [](PowerSnapshot power, bool textOnly) {
        return PolicyEngine::evaluate(CaptureMode::balanced, power, textOnly, true).reason;
    };
    EXPECT_EQ(reason({true, 0.15}, false), Reason::battery) << "the limit itself is not low";
    EXPECT_EQ(reason({true, 0.1499}, false), Reason::lowBattery);
    EXPECT_EQ(reason({false, 0.1}, false), Reason::normal);
    EXPECT_EQ(reason({true, {}}, false), Reason::battery);
    EXPECT_EQ(reason({false, {}, true, 3}, false), Reason::thermal);
    EXPECT_EQ(reason({false, {}, true, 3}, true), Reason::textOnly);
    EXPECT_EQ(reason({false, {}, false, 1}, false), Reason::normal);
    EXPECT_EQ(reason({false, {}, false, -5}, false), Reason::normal);

    EXPECT_TRUE(PolicyEngine::evaluate(CaptureMode::balanced, {true, 0.5}, false, true).ocrNow);
    EXPECT_FALSE(PolicyEngine::evaluate(CaptureMode::balanced, {true, 0.1}, false, true).ocrNow);
    const CapturePolicy textOnly = PolicyEngine::evaluate(CaptureMode::balanced, {}, true, false);
    EXPECT_TRUE(textOnly.allowHeavyWork);
    EXPECT_FALSE(textOnly.ocrNow || textOnly.captureImages);
    EXPECT_FALSE(PolicyEngine::evaluate(CaptureMode::balanced, {false, {}, false, 2}, true, false).allowHeavyWork);
}

TEST(ContextTitle, OneThatKeepsChangingMeansNothing) {
    struct Seen {
        const char* window;
        const char* title;
        int seconds;         ///< since the one before
        const char* context; ///< that it stands for
    };
    const struct {
        const char* name;
        std::vector<Seen> looks;
    } rows[] = {
        {"documents", {{"a", "one", 0, "one"}, {"a", "two", 1, "two"}, {"a", "two", 9, "two"}, {"a", "one", 1, "one"}}},
        {"a progress",
         {{"a", "1 %", 0, "1 %"},
          {"a", "2 %", 1, "2 %"},
          {"a", "3 %", 1, "3 %"},
          {"a", "4 %", 1, "4 %"},
          {"a", "5 %", 1, "4 %"},
          {"a", "6 %", 1, "4 %"},
          {"a", "6 %", 2, "4 %"},
          {"a", "done", 2, "4 %"},
          {"a", "done", 10, "done"}}},
        {"another window",
         {{"a", "1", 0, "1"},
          {"a", "2", 1, "2"},
          {"a", "3", 1, "3"},
          {"a", "4", 1, "4"},
          {"a", "5", 1, "4"},
          {"b", "6", 1, "6"},
          {"a", "7", 1, "7"}}},
    };
    for (const auto& row : rows) {
        ContextTitle titles;
        double now = 100;
        for (const Seen& look : row.looks)
            EXPECT_EQ(titles.of(look.window, look.title, now += look.seconds), look.context)
                << row.name << ": " << look.title;
    }
}

TEST(FrameGate, AnswersWhetherAFrameIsWorthIt) {
    CapturePolicy policy; // a gap of 2, a heartbeat of 15
    const auto gate = [&](std::optional<double> elapsed, bool changed, double dirty, double idle,
                          std::optional<double> sinceContext = {}, bool media = false, double heartbeat = 15) {
        policy.heartbeat = heartbeat;
        constexpr double now = 1'000;
        GateInput input{now, {}, changed, dirty, idle, {}, media};
        if (elapsed) input.lastCapture = now - *elapsed;
        if (sinceContext) input.contextChangedAt = now - *sinceContext;
        return FrameGate::shouldCapture(input, policy);
    };
    const auto scrolling = [&](double elapsed, double dirty) {
        policy.heartbeat = 15;
        return FrameGate::shouldCapture({1'000, 1'000 - elapsed, true, dirty, 100, {}, true, dirty, true, true},
                                        policy);
    };
    const auto line = [&](double painted, double idle, bool isReadFromPicture) {
        return FrameGate::shouldCapture({1'000, 997, true, painted, idle, {}, false, painted, isReadFromPicture},
                                        policy);
    };
    const struct {
        const char* name;
        bool expected, actual;
    } rows[] = {
        {"nothing captured, nothing changed", false, gate({}, false, 0, 0)},
        {"nothing captured, something changed", true, gate({}, true, 0, 0)},
        {"a context that hasn't settled", false, gate({}, true, 1, 10, 0.5)},
        {"a settled context, changed or not", true, gate(100, false, 0, 0, 0.75)},
        {"a settled context inside the gap", false, gate(1.5, true, 1, 10, 0.75)},
        {"unchanged", false, gate(100, false, 1, 100)},
        {"a film before its time", false, gate(179.5, true, 1, 100, {}, true, 8)},
        {"a film in its time", true, gate(180, true, 0.003, 0, {}, true, 8)},
        {"a film that stands still", false, gate(180, true, 0.0029, 0, {}, true, 8)},
        {"a log that scrolls", true, scrolling(5, 0.3)},
        {"a log that scrolls, too soon", false, scrolling(4.5, 0.3)},
        {"a log that stands", false, scrolling(100, 0.0029)},
        {"a film under a slower heartbeat", false, gate(190, true, 1, 100, {}, true, 200)},
        {"a small change after a pause", true, gate(2, true, 0.01, 1.2)},
        {"a small change while typing", false, gate(14, true, 0.01, 1.19)},
        {"a small change at the heartbeat", true, gate(15, true, 0.01, 0)},
        {"hardly a change, long ago", false, gate(1'000, true, 0.002, 100)},
        {"a short line of a terminal", true, line(0.0005, 1.2, true)},
        {"a short line while typing", false, line(0.0005, 1.19, true)},
        {"a caret in a terminal", false, line(0.0004, 100, true)},
        {"a short line whose program tells it", false, line(0.0005, 100, false)},
        {"a large change after a short pause", true, gate(4, true, 0.3, 0.7)},
        {"a large change too soon", false, gate(3.5, true, 0.3, 0.7)},
        {"a large change without a pause", false, gate(4, true, 0.3, 0.5)},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.actual, row.expected) << row.name;

    EXPECT_TRUE(FrameGate::isUnchanged(1, 0.0099, 0));
    EXPECT_FALSE(FrameGate::isUnchanged(2, 0, 0));
    EXPECT_FALSE(FrameGate::isUnchanged(0, 0.01, 0));
    EXPECT_FALSE(FrameGate::isUnchanged(0, 0, 1));
    EXPECT_FALSE(FrameGate::isUnchanged(std::nullopt, 0, 0));
}

} // namespace
} // namespace nomara
