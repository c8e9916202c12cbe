#pragma once

#include "core/base/Date.h"

#include <string>

namespace nomara {

/// Gregorian date components in the current time zone of the process.
struct CalendarDate {
    int year = 0;
    int month = 0; ///< 1…12
    int day = 0;   ///< 1…31
    int hour = 0;
    int minute = 0;
    int second = 0;
    friend bool operator==(const CalendarDate&, const CalendarDate&) = default;
};

namespace Calendar {

/// All components are 0 for a date outside the calendar's range.
CalendarDate components(Date date);
/// Midnight of the day that holds `date`.
Date startOfDay(Date date);
/// The same clock time `days` calendar days later.
Date addingDays(Date date, int days);
/// The key of a local day, "%04d-%02d-%02d".
std::string dayKey(Date date);
/// Seconds, UTC, ending in Z: "2026-11-22T20:37:53Z".
std::string iso8601(Date date);

} // namespace Calendar

} // namespace nomara
