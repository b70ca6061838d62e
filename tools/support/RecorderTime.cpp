#include "support/RecorderTime.h"

#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <limits>

namespace VorncastTool {

namespace {

constexpr int64_t MinTime = std::numeric_limits<int64_t>::min();
constexpr int64_t MaxTime = std::numeric_limits<int64_t>::max();

struct Calendar {
    int64_t year = 1;
    int month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
};

// Days from 0001-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2 ? 1 : 0;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    constexpr int64_t DaysFrom0000To0001 = 306; // 0000-03-01 to 0001-01-01
    return era * 146097 + dayOfEra - DaysFrom0000To0001;
}

Calendar CivilFromTicks(int64_t ticks) {
    Calendar calendar;
    int64_t days = ticks / TicksPerDay;
    int64_t rest = ticks % TicksPerDay;
    const int64_t z = days + 306;
    const int64_t era = z / 146097;
    const int64_t dayOfEra = z - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    calendar.day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    calendar.month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    calendar.year = yearOfEra + era * 400 + (calendar.month <= 2 ? 1 : 0);
    const int64_t milliseconds = rest / TicksPerMillisecond;
    calendar.millisecond = static_cast<int>(milliseconds % 1000);
    calendar.second = static_cast<int>(milliseconds / 1000 % 60);
    calendar.minute = static_cast<int>(milliseconds / 60000 % 60);
    calendar.hour = static_cast<int>(milliseconds / 3600000);
    return calendar;
}

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
    static constexpr int Days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : Days[month - 1];
}

// Reads exactly `digits` decimal digits at `position`.
bool ReadNumber(std::string_view text, size_t& position, size_t digits, int& value) {
    if (position + digits > text.size()) {
        return false;
    }
    value = 0;
    for (size_t index = 0; index < digits; ++index) {
        const char c = text[position + index];
        if (!std::isdigit(static_cast<unsigned char>(c))) {
            return false;
        }
        value = value * 10 + (c - '0');
    }
    position += digits;
    return true;
}

bool ReadSeparator(std::string_view text, size_t& position, std::string_view allowed) {
    if (position >= text.size() || allowed.find(text[position]) == std::string_view::npos) {
        return false;
    }
    ++position;
    return true;
}

// One to seven digits after the decimal point, as ticks.
bool ReadFraction(std::string_view text, size_t& position, int64_t& ticks) {
    int64_t scale = TicksPerSecond;
    ticks = 0;
    size_t digits = 0;
    while (position < text.size() && std::isdigit(static_cast<unsigned char>(text[position]))) {
        if (++digits > 7) {
            return false;
        }
        scale /= 10;
        ticks += (text[position] - '0') * scale;
        ++position;
    }
    return digits > 0;
}

bool IsSpecial(int64_t ticks) {
    return ticks == MinTime || ticks == MaxTime || ticks < 0;
}

std::string SpecialText(int64_t ticks) {
    if (ticks == MaxTime) {
        return "++++/++/++ ++:++:++.MAX";
    }
    return "----/--/-- --:--:--.MIN";
}

} // namespace

std::optional<int64_t> TicksFromCalendar(int year, int month, int day, int hour, int minute, int second,
                                         int64_t fractionTicks) {
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month) ||
        hour > 23 || minute > 59 || second > 59 || hour < 0 || minute < 0 || second < 0 ||
        fractionTicks < 0 || fractionTicks >= TicksPerSecond) {
        return std::nullopt;
    }
    const int64_t seconds = DaysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
    return seconds * TicksPerSecond + fractionTicks;
}

std::string FormatRecorderTime(int64_t ticks) {
    if (IsSpecial(ticks)) {
        return SpecialText(ticks);
    }
    const Calendar c = CivilFromTicks(ticks);
    char text[48];
    std::snprintf(text, sizeof(text), "%04" PRId64 "/%02d/%02d %02d:%02d:%02d.%03d", c.year, c.month, c.day,
                  c.hour, c.minute, c.second, c.millisecond);
    return text;
}

std::string FormatTimeForFileName(int64_t ticks) {
    if (IsSpecial(ticks)) {
        return ticks == MaxTime ? "after-end" : "before-start";
    }
    const Calendar c = CivilFromTicks(ticks);
    char text[48];
    std::snprintf(text, sizeof(text), "%04" PRId64 "%02d%02d-%02d%02d%02d.%03d", c.year, c.month, c.day,
                  c.hour, c.minute, c.second, c.millisecond);
    return text;
}

std::string FormatIsoTime(int64_t ticks) {
    if (IsSpecial(ticks)) {
        return SpecialText(ticks);
    }
    const Calendar c = CivilFromTicks(ticks);
    char text[48];
    std::snprintf(text, sizeof(text), "%04" PRId64 "-%02d-%02dT%02d:%02d:%02d.%03d", c.year, c.month, c.day,
                  c.hour, c.minute, c.second, c.millisecond);
    return text;
}

std::string FormatSeconds(int64_t ticks) {
    const bool negative = ticks < 0;
    const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(ticks) : static_cast<uint64_t>(ticks);
    const uint64_t milliseconds = (magnitude + TicksPerMillisecond / 2) / TicksPerMillisecond;
    char text[48];
    std::snprintf(text, sizeof(text), "%s%" PRIu64 ".%03" PRIu64, negative ? "-" : "", milliseconds / 1000,
                  milliseconds % 1000);
    return text;
}

std::optional<int64_t> ParseRecorderTime(std::string_view text) {
    size_t position = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    int64_t fraction = 0;
    if (!ReadNumber(text, position, 4, year) || !ReadSeparator(text, position, "/-") ||
        !ReadNumber(text, position, 2, month) || !ReadSeparator(text, position, "/-") ||
        !ReadNumber(text, position, 2, day)) {
        return std::nullopt;
    }
    if (position < text.size()) {
        if (!ReadSeparator(text, position, " T") || !ReadNumber(text, position, 2, hour) ||
            !ReadSeparator(text, position, ":") || !ReadNumber(text, position, 2, minute)) {
            return std::nullopt;
        }
        if (position < text.size() &&
            (!ReadSeparator(text, position, ":") || !ReadNumber(text, position, 2, second))) {
            return std::nullopt;
        }
        if (position < text.size() &&
            (!ReadSeparator(text, position, ".") || !ReadFraction(text, position, fraction))) {
            return std::nullopt;
        }
    }
    if (position != text.size()) {
        return std::nullopt;
    }
    return TicksFromCalendar(year, month, day, hour, minute, second, fraction);
}

} // namespace VorncastTool
