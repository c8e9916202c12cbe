#pragma once

#include <compare>

namespace nomara {

/// A point in time: seconds since 1970-01-01 00:00 UTC, with fractions. The database stores the same number.
struct Date {
    double seconds = 0;

    friend auto operator<=>(const Date&, const Date&) = default;
    friend Date operator+(Date date, double addedSeconds) { return {date.seconds + addedSeconds}; }
    friend Date operator-(Date date, double removedSeconds) { return {date.seconds - removedSeconds}; }
    friend double operator-(Date later, Date earlier) { return later.seconds - earlier.seconds; }
};

} // namespace nomara
