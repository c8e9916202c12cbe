#include "core/base/Calendar.h"
#include "quillshadectl/TimePoint.h"
#include "tests/support/Environment.h"

#include <gtest/gtest.h>

namespace nomara::testing {

namespace {

using ctl::TimePoint::Bound;

struct TimePoints : ::testing::Test {
    const Environment zone{{"TZ", "UTC"}};
};

TEST_F(TimePoints, ReadsStretchesDaysAndTimes) {
    const Date now{1'700'000'000}; // Tuesday 2023-11-14T22:13:20Z
    const struct {
        std::string text;
        double from, until; // 0: refused
    } rows[]{
        {"90m", 1'699'994'600, 1'699'994'600},
        {"7d", 1'699'395'200, 1'699'395'200},
        {"0h", 1'700'000'000, 1'700'000'000},
        {"today", 1'699'920'000, 1'700'006'400},
        {"yesterday", 1'699'833'600, 1'699'920'000},
        {"2023-11-01", 1'698'796'800, 1'698'883'200},
        {"2023-1-5", 1'672'876'800, 1'672'963'200},
        {"2024-02-29", 1'709'164'800, 1'709'251'200},
        {"14:05", 1'699'970'700, 1'699'970'760},
        {"2023-11-01 14:05", 1'698'847'500, 1'698'847'560},
        {"2023-11-01T14:05:30", 1'698'847'530, 1'698'847'531},
        {"", 0, 0},
        {"7x", 0, 0},
        {"-7d", 0, 0},
        {"99999999d", 0, 0},
        {"9999999d", 0, 0},
        {"2023-02-29", 0, 0},
        {"2023-11-00", 0, 0},
        {"2023-11-01x", 0, 0},
        {"2023-11-01 24:00", 0, 0},
        {"14:5", 0, 0},
        {"14:05:61", 0, 0},
    };
    for (const auto& row : rows) {
        const auto from = ctl::TimePoint::parse(row.text, Bound::from, now);
        const auto until = ctl::TimePoint::parse(row.text, Bound::until, now);
        EXPECT_EQ(from.value_or(Date{}).seconds, row.from) << "from \"" << row.text << '"';
        EXPECT_EQ(until.value_or(Date{}).seconds, row.until) << "until \"" << row.text << '"';
    }
}

TEST_F(TimePoints, TakesDaysAsTheClockChanges) {
    const Environment berlin{{"TZ", "Europe/Berlin"}};
    // 25 hours, from two hours before midnight UTC to one hour before it.
    EXPECT_EQ(ctl::TimePoint::parse("2023-10-29", Bound::from, {})->seconds, 1'698'530'400);
    EXPECT_EQ(ctl::TimePoint::parse("2023-10-29", Bound::until, {})->seconds, 1'698'620'400);
    // A time that the night in spring leaves out is no fault.
    EXPECT_TRUE(ctl::TimePoint::parse("2023-03-26 02:30", Bound::from, {}));
    const Date afterTheChange = *ctl::TimePoint::parse("2023-10-30 08:00", Bound::from, {});
    EXPECT_EQ(ctl::TimePoint::label(*ctl::TimePoint::parse("2023-10-29 00:30", Bound::from, {}), afterTheChange),
              "Yesterday 00:30");
}

TEST_F(TimePoints, NamesTheDayAsPeopleDo) {
    const Date now{1'700'000'000};
    const struct {
        double secondsAgo;
        const char* label;
    } rows[]{
        {0, "Today 22:13"},          {80'000, "Today 00:00"},
        {80'001, "Yesterday 23:59"}, {166'401, "2023-11-12 23:59"},
        {-7000, "2023-11-15 00:10"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ctl::TimePoint::label(now - row.secondsAgo, now), row.label);
}

} // namespace

} // namespace nomara::testing
