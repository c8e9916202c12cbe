#include "platform/linux/atspi/ChildAccess.h"
#include "platform/linux/atspi/DocumentOrder.h"
#include "platform/linux/atspi/ProgramAnswers.h"

#include <limits>

#include <gtest/gtest.h>

namespace nomara::atspi {
namespace {

using namespace std::chrono_literals;
using Standing = ProgramAnswers::Standing;

/// One program, and a clock that the test advances.
struct OneProgram {
    ProgramAnswers answers;
    ProgramAnswers::Time now{1h};

    Standing standing() { return answers.standing("program", now); }
    /// It lets its callers wait for so long, and then answers everything.
    void isSilentFor(std::chrono::milliseconds silence) {
        EXPECT_TRUE(answers.leaveOpen("program", now));
        now += silence;
        answers.noteAnswer("program", now);
    }
};

TEST(ProgramAnswers, AProgramThatOwesAnAnswerIsPingedOnceAndAskedNothing) {
    OneProgram one;
    EXPECT_EQ(one.standing(), Standing::free);
    EXPECT_TRUE(one.answers.leaveOpen("program", one.now));
    EXPECT_EQ(one.standing(), Standing::catchingUp) << "worth a moment";
    one.now += ProgramAnswers::lateAfter;
    EXPECT_EQ(one.standing(), Standing::pinged);
    EXPECT_FALSE(one.answers.leaveOpen("program", one.now)) << "one ping at a time";
    one.now += 1h;
    EXPECT_EQ(one.standing(), Standing::pinged) << "however long it takes";
    EXPECT_TRUE(one.answers.mayAsk("another", one.now));
    one.answers.forget("program");
    EXPECT_EQ(one.standing(), Standing::free);
}

TEST(ProgramAnswers, WhatAProgramTookItIsLeftAloneForFiveTimes) {
    const struct {
        std::chrono::milliseconds silence, rest;
    } rows[] = {{20ms, 0ms}, {299ms, 0ms}, {400ms, 2s}, {1900ms, 9500ms}};
    for (const auto& row : rows) {
        OneProgram one;
        one.isSilentFor(row.silence);
        if (row.rest > 0ms) {
            one.now += row.rest - 1ms;
            EXPECT_EQ(one.standing(), Standing::resting) << row.silence.count();
            one.now += 1ms;
        }
        EXPECT_EQ(one.standing(), Standing::free) << row.silence.count();
    }
}

TEST(ProgramAnswers, AfterTheSecondFailureItIsAskedNothingMore) {
    OneProgram one;
    for (int busy = 0; busy < 10; ++busy) {
        one.isSilentFor(1500ms);
        one.now += 1h;
        EXPECT_EQ(one.standing(), Standing::free) << "it was only busy";
    }
    one.isSilentFor(2s);
    one.now += 1h;
    EXPECT_EQ(one.standing(), Standing::free) << "once";
    EXPECT_TRUE(one.answers.leaveOpen("program", one.now));
    one.now += 2s;
    EXPECT_EQ(one.standing(), Standing::dropped) << "without waiting for the end of it";
    one.answers.noteAnswer("program", one.now + 1s);
    one.now += 100h;
    EXPECT_EQ(one.standing(), Standing::dropped);
    EXPECT_FALSE(one.answers.leaveOpen("program", one.now)) << "nor pinged";
}

TEST(ChildAccess, AsksNothingThatGrowsWithoutBound) {
    constexpr auto endless = std::numeric_limits<std::int32_t>::max();
    const Toolkit browser = Toolkit::named("Gecko"), qt = Toolkit::named("Qt"), other = Toolkit::named("gtk");
    const struct {
        const char* what;
        std::int32_t count;
        bool manages;
        Toolkit toolkit;
        ChildAccess access;
    } rows[] = {
        {"a sheet", endless, true, other, ChildAccess::atPoint},
        {"a count that overflowed", -1, true, other, ChildAccess::tooMany},
        {"a box", 256, false, other, ChildAccess::all},
        {"a long box of some toolkit", 1000, false, other, ChildAccess::all},
        {"a longer one", 1001, false, other, ChildAccess::tooMany},
        {"a list that draws its rows", 257, true, other, ChildAccess::atPoint},
        {"a list of Qt", 100'000, false, qt, ChildAccess::atPoint},
        {"a short one", 20, false, qt, ChildAccess::all},
        {"a leaf", 0, true, browser, ChildAccess::none},
        {"a page", 5000, false, browser, ChildAccess::shown},
        {"a long page", 5001, false, browser, ChildAccess::atPoint},
    };
    for (const auto& row : rows)
        EXPECT_EQ(childAccess(row.count, row.manages, row.toolkit), row.access) << row.what;
}

TEST(DocumentOrder, PutsAnswersInTheOrderOfTheDocument) {
    const auto node = [](int parent, const char* name) {
        TextNode made;
        made.parent = parent;
        made.name = name;
        return made;
    };
    const auto ordered = inDocumentOrder({node(-1, "window"), node(0, "second"), node(0, "first"), node(1, "inside"),
                                          node(-1, "hidden"), node(4, "below hidden")},
                                         {0, 1, 0, 0, 0, 0});
    std::vector<std::pair<std::string, int>> found;
    found.reserve(ordered.size());
    for (const TextNode& each : ordered)
        found.emplace_back(*each.name, each.parent);
    const std::vector<std::pair<std::string, int>> expected{{"window", -1}, {"first", 0}, {"second", 0}, {"inside", 2}};
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(inDocumentOrder({}, {}).empty());
}

} // namespace
} // namespace nomara::atspi
