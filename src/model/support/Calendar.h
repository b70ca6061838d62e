#pragma once

#include <cstdint>

namespace Vorn {

// A calendar date and clock time in the Windows SYSTEMTIME layout: eight little-endian u16
// words, 16 bytes. wDayOfWeek counts from Sunday = 0.
struct SystemTime {
    uint16_t wYear;
    uint16_t wMonth;
    uint16_t wDayOfWeek;
    uint16_t wDay;
    uint16_t wHour;
    uint16_t wMinute;
    uint16_t wSecond;
    uint16_t wMilliseconds;
};
static_assert(sizeof(SystemTime) == 16);

// A file time counts 100 ns since 1601-01-01 00:00:00; adding this gives ticks since 0001-01-01.
constexpr int64_t FileTimeEpochTicks = 504911232000000000;

constexpr int32_t FirstCalendarYear = 1601;
constexpr int32_t LastCalendarYear = 30827;

bool IsLeapYear(int32_t year);
// 0 for a month outside 1 to 12.
int32_t DaysInMonth(int32_t year, int32_t month);
// Sunday = 0 ... Saturday = 6, for any valid date of the proleptic Gregorian calendar.
int32_t DayOfWeek(int32_t year, int32_t month, int32_t day);

// Fails when a field is out of range: year 1601 to 30827, month 1 to 12, day within the month,
// hour below 24, minute and second below 60, milliseconds below 1000. wDayOfWeek is not read.
bool SystemTimeToFileTime(const SystemTime& time, uint64_t* fileTime);
// Fails for values at or above 2^63. Fills in the day of the week.
bool FileTimeToSystemTime(uint64_t fileTime, SystemTime* time);

} // namespace Vorn
