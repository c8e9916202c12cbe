#include "quillshadectl/TimePoint.h"

#include "core/base/Calendar.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace nomara::ctl::TimePoint {

namespace {

constexpr double secondsInMinute = 60, secondsInHour = 3600, secondsInDay = 86'400, secondsInWeek = 604'800;
// Longer than anyone's memory, and short enough that no sum with it loses its meaning.
constexpr int mostUnits = 1'000'000;

/// Reads a text from left to right.
class Reader {
public:
    explicit Reader(std::string_view text) : m_rest(text) {}

    bool atEnd() const { return m_rest.empty(); }

    bool take(char character) {
        if (m_rest.empty() || m_rest.front() != character) return false;
        m_rest.remove_prefix(1);
        return true;
    }

    /// A number of `fewest` to `most` digits.
    std::optional<int> number(std::size_t fewest, std::size_t most) {
        std::size_t digits = 0;
        while (digits < m_rest.size() && m_rest[digits] >= '0' && m_rest[digits] <= '9')
            ++digits;
        if (digits < fewest || digits > most) return std::nullopt;
        int value = 0;
        if (std::from_chars(m_rest.data(), m_rest.data() + digits, value).ec != std::errc()) return std::nullopt;
        m_rest.remove_prefix(digits);
        return value;
    }

    char last() {
        const char character = m_rest.size() == 1 ? m_rest.front() : '\0';
        m_rest.remove_prefix(m_rest.size());
        return character;
    }

private:
    std::string_view m_rest;
};

std::optional<Date> stretchBefore(std::string_view text, Date now) {
    Reader reader(text);
    const auto count = reader.number(1, 7);
    if (!count || *count > mostUnits) return std::nullopt;
    switch (reader.last()) {
    case 's':
        return now - *count;
    case 'm':
        return now - *count * secondsInMinute;
    case 'h':
        return now - *count * secondsInHour;
    case 'd':
        return now - *count * secondsInDay;
    case 'w':
        return now - *count * secondsInWeek;
    default:
        return std::nullopt;
    }
}

/// A clock time that a day skips (summer time) becomes the one that it has instead; any other date that the calendar
/// doesn't have is refused.
std::optional<Date> atLocal(const CalendarDate& date) {
    if (date.month < 1 || date.month > 12 || date.hour > 23 || date.minute > 59 || date.second > 59)
        return std::nullopt;
    std::tm fields{};
    fields.tm_year = date.year - 1900;
    fields.tm_mon = date.month - 1;
    fields.tm_mday = date.day;
    fields.tm_hour = date.hour;
    fields.tm_min = date.minute;
    fields.tm_sec = date.second;
    fields.tm_isdst = -1;
    const Date result{static_cast<double>(std::mktime(&fields))};
    const CalendarDate found = Calendar::components(result);
    if (found.year != date.year || found.month != date.month || found.day != date.day) return std::nullopt;
    return result;
}

std::optional<CalendarDate> day(Reader& reader) {
    const auto year = reader.number(4, 4);
    if (!year || !reader.take('-')) return std::nullopt;
    const auto month = reader.number(1, 2);
    if (!month || !reader.take('-')) return std::nullopt;
    const auto dayOfMonth = reader.number(1, 2);
    if (!dayOfMonth) return std::nullopt;
    return CalendarDate{*year, *month, *dayOfMonth};
}

/// "14:05" or "14:05:30" up to the end of the text. The bound includes what the text names: its last minute or second.
std::optional<Date> timeOfDay(Reader& reader, CalendarDate date, Bound bound) {
    const auto hour = reader.number(1, 2);
    if (!hour || !reader.take(':')) return std::nullopt;
    const auto minute = reader.number(2, 2);
    if (!minute) return std::nullopt;
    date.hour = *hour;
    date.minute = *minute;
    double named = secondsInMinute;
    if (reader.take(':')) {
        const auto second = reader.number(2, 2);
        if (!second) return std::nullopt;
        date.second = *second;
        named = 1;
    }
    if (!reader.atEnd()) return std::nullopt;
    const auto start = atLocal(date);
    if (!start) return std::nullopt;
    return bound == Bound::until ? *start + named : *start;
}

Date wholeDay(Date date, Bound bound) {
    const Date start = Calendar::startOfDay(date);
    return bound == Bound::until ? Calendar::addingDays(start, 1) : start;
}

std::string formatted(const char* format, const CalendarDate& date) {
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), format, date.year, date.month, date.day, date.hour, date.minute,
                  date.second);
    return text.data();
}

} // namespace

std::optional<Date> parse(std::string_view text, Bound bound, Date now) {
    if (text == "today") return wholeDay(now, bound);
    if (text == "yesterday") return wholeDay(Calendar::addingDays(Calendar::startOfDay(now), -1), bound);
    if (const auto date = stretchBefore(text, now)) return date;

    CalendarDate today = Calendar::components(now);
    today.hour = today.minute = today.second = 0;
    Reader clockTime(text);
    if (const auto date = timeOfDay(clockTime, today, bound)) return date;

    Reader reader(text);
    const auto date = day(reader);
    if (!date) return std::nullopt;
    if (reader.atEnd()) {
        const auto start = atLocal(*date);
        return start ? std::optional(wholeDay(*start, bound)) : std::nullopt;
    }
    if (!reader.take('T') && !reader.take(' ')) return std::nullopt;
    return timeOfDay(reader, *date, bound);
}

std::string label(Date date, Date now) {
    const CalendarDate components = Calendar::components(date);
    const Date today = Calendar::startOfDay(now);
    const Date day = Calendar::startOfDay(date);
    if (day == today) return formatted("Today %4$02d:%5$02d", components);
    if (day == Calendar::addingDays(today, -1)) return formatted("Yesterday %4$02d:%5$02d", components);
    return formatted("%04d-%02d-%02d %02d:%02d", components);
}

std::string exact(Date date) {
    return formatted("%04d-%02d-%02d %02d:%02d:%02d", Calendar::components(date));
}

} // namespace nomara::ctl::TimePoint
