#include "model/support/Calendar.h"

namespace Vorn {

namespace {

constexpr int64_t FileTimePerMillisecond = 10000;
constexpr int64_t MillisecondsPerDay = 86400000;
constexpr int64_t FileTimePerDay = FileTimePerMillisecond * MillisecondsPerDay;
constexpr uint64_t FirstInvalidFileTime = 0x8000000000000000ull;
// Days from 0000-03-01 (the start of the shifted year below) to 1601-01-01.
constexpr int64_t DaysToFileTimeEpoch = 584694;
// 1601-01-01 was a Monday.
constexpr int64_t FileTimeEpochDayOfWeek = 1;

// Counting years from March puts the leap day at the end of the year, so that a month's first day
// follows from the month alone: (153 * shiftedMonth + 2) / 5.
int64_t DaysSinceFileTimeEpoch(int64_t year, int64_t month, int64_t day) {
    int64_t shiftedYear = month <= 2 ? year - 1 : year;
    int64_t shiftedMonth = month <= 2 ? month + 9 : month - 3;
    int64_t era = shiftedYear / 400;
    int64_t yearOfEra = shiftedYear - era * 400;
    int64_t dayOfYear = (153 * shiftedMonth + 2) / 5 + day - 1;
    int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - DaysToFileTimeEpoch;
}

void CivilFromDays(int64_t daysSinceEpoch, SystemTime* time) {
    int64_t days = daysSinceEpoch + DaysToFileTimeEpoch;
    int64_t era = days / 146097;
    int64_t dayOfEra = days - era * 146097;
    int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    time->wYear = static_cast<uint16_t>(year);
    time->wMonth = static_cast<uint16_t>(month);
    time->wDay = static_cast<uint16_t>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    time->wDayOfWeek = static_cast<uint16_t>((daysSinceEpoch + FileTimeEpochDayOfWeek) % 7);
}

bool IsValid(const SystemTime& time) {
    return time.wYear >= FirstCalendarYear && time.wYear <= LastCalendarYear && time.wMonth >= 1 &&
           time.wMonth <= 12 && time.wDay >= 1 && time.wDay <= DaysInMonth(time.wYear, time.wMonth) &&
           time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60 && time.wMilliseconds < 1000;
}

} // namespace

bool IsLeapYear(int32_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int32_t DaysInMonth(int32_t year, int32_t month) {
    static constexpr int32_t days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) {
        return 0;
    }
    return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

int32_t DayOfWeek(int32_t year, int32_t month, int32_t day) {
    int64_t weekday = (DaysSinceFileTimeEpoch(year, month, day) + FileTimeEpochDayOfWeek) % 7;
    return static_cast<int32_t>(weekday < 0 ? weekday + 7 : weekday);
}

bool SystemTimeToFileTime(const SystemTime& time, uint64_t* fileTime) {
    if (!IsValid(time)) {
        return false;
    }
    int64_t days = DaysSinceFileTimeEpoch(time.wYear, time.wMonth, time.wDay);
    int64_t milliseconds = ((time.wHour * 60 + time.wMinute) * 60 + time.wSecond) * 1000 + time.wMilliseconds;
    *fileTime = static_cast<uint64_t>((days * MillisecondsPerDay + milliseconds) * FileTimePerMillisecond);
    return true;
}

bool FileTimeToSystemTime(uint64_t fileTime, SystemTime* time) {
    if (fileTime >= FirstInvalidFileTime) {
        return false;
    }
    int64_t value = static_cast<int64_t>(fileTime);
    CivilFromDays(value / FileTimePerDay, time);
    int64_t milliseconds = value % FileTimePerDay / FileTimePerMillisecond;
    time->wMilliseconds = static_cast<uint16_t>(milliseconds % 1000);
    time->wSecond = static_cast<uint16_t>(milliseconds / 1000 % 60);
    time->wMinute = static_cast<uint16_t>(milliseconds / 60000 % 60);
    time->wHour = static_cast<uint16_t>(milliseconds / 3600000);
    return true;
}

} // namespace Vorn
