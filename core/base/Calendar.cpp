#include "core/base/Calendar.h"

#include <cmath>
#include <cstdio>
#include <ctime>

namespace nomara::Calendar {

namespace {

std::tm local(Date date) {
    const auto time = static_cast<std::time_t>(std::floor(date.seconds));
    std::tm fields{};
    tzset(); // localtime_r alone would never notice that the user has moved to another time zone
    if (localtime_r(&time, &fields) == nullptr) {
        fields = {};
        fields.tm_mon = -1;
        fields.tm_year = -1900;
    }
    return fields;
}

Date fromLocal(std::tm fields) {
    fields.tm_isdst = -1;
    return {static_cast<double>(std::mktime(&fields))};
}

} // namespace

CalendarDate components(Date date) {
    const std::tm fields = local(date);
    return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec};
}

Date startOfDay(Date date) {
    std::tm fields = local(date);
    fields.tm_hour = fields.tm_min = fields.tm_sec = 0;
    return fromLocal(fields);
}

Date addingDays(Date date, int days) {
    std::tm fields = local(date);
    fields.tm_mday += days;
    return fromLocal(fields) + (date.seconds - std::floor(date.seconds));
}

std::string dayKey(Date date) {
    const CalendarDate day = components(date);
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", day.year, day.month, day.day);
    return text;
}

std::string iso8601(Date date) {
    const auto time = static_cast<std::time_t>(std::floor(date.seconds));
    std::tm fields{};
    gmtime_r(&time, &fields);
    char text[40];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

} // namespace nomara::Calendar
