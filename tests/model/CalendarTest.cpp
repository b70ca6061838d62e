#include "model/support/Calendar.h"
#include "model/support/TimeText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

using namespace Vorn;

namespace {

constexpr uint64_t FileTimePerDay = 864000000000;

SystemTime Date(uint16_t year, uint16_t month, uint16_t day, uint16_t hour = 0, uint16_t minute = 0,
                uint16_t second = 0, uint16_t milliseconds = 0) {
    return SystemTime{year, month, 0, day, hour, minute, second, milliseconds};
}

uint64_t FileTimeOf(const SystemTime& time) {
    uint64_t fileTime = 0;
    EXPECT_TRUE(SystemTimeToFileTime(time, &fileTime));
    return fileTime;
}

} // namespace

// Walks the days from 1601-01-01 to 30827-12-31 with a counter of its own and checks both
// conversions and the weekday: every day of the first thousand and the last ten years, and every
// thirteenth in between (so that all weekdays and month ends come round).
TEST(Calendar, EveryDayOfTheRangeConvertsBothWays) {
    const int monthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int year = 1601, month = 1, day = 1, weekday = 1; // 1601-01-01 was a Monday
    for (uint64_t days = 0; year <= LastCalendarYear; ++days) {
        if (year < 2601 || year > LastCalendarYear - 10 || days % 13 == 0) {
            uint64_t fileTime = days * FileTimePerDay;
            SystemTime time{};
            ASSERT_TRUE(FileTimeToSystemTime(fileTime, &time));
            ASSERT_EQ(time.wYear, year);
            ASSERT_EQ(time.wMonth, month);
            ASSERT_EQ(time.wDay, day);
            ASSERT_EQ(time.wDayOfWeek, weekday);
            ASSERT_EQ(FileTimeOf(time), fileTime);
        }
        weekday = (weekday + 1) % 7;
        bool leap = year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
        int length = month == 2 && leap ? 29 : monthDays[month - 1];
        if (++day > length) {
            day = 1;
            if (++month > 12) {
                month = 1;
                ++year;
            }
        }
    }
}

TEST(Calendar, KnownDatesAndLimits) {
    EXPECT_EQ(FileTimeOf(Date(2004, 10, 31, 2, 0, 0)), 127436616000000000u);
    EXPECT_LT(FileTimeOf(Date(30827, 12, 31, 23, 59, 59, 999)), 0x8000000000000000u);

    SystemTime last{};
    ASSERT_TRUE(FileTimeToSystemTime(0x7FFFFFFFFFFFFFFFu, &last));
    const SystemTime expected{30828, 9, 4, 14, 2, 48, 5, 477};
    EXPECT_EQ(std::memcmp(&last, &expected, sizeof last), 0);

    SystemTime untouched{};
    EXPECT_FALSE(FileTimeToSystemTime(0x8000000000000000u, &untouched));
    EXPECT_FALSE(FileTimeToSystemTime(UINT64_MAX, &untouched));
}

TEST(Calendar, FieldsOutOfRangeFailAndWeekdayIsIgnored) {
    const SystemTime invalid[] = {
        Date(1600, 12, 31),         Date(30828, 1, 1),
        Date(2004, 0, 1),           Date(2004, 13, 1),
        Date(2004, 1, 0),           Date(2004, 1, 32),
        Date(2004, 4, 31),          Date(2003, 2, 29),
        Date(1900, 2, 29),          Date(2100, 2, 29),
        Date(2004, 1, 1, 24),       Date(2004, 1, 1, 0, 60),
        Date(2004, 1, 1, 0, 0, 60), Date(2004, 1, 1, 0, 0, 0, 1000),
    };
    for (const SystemTime& time : invalid) {
        uint64_t fileTime = 42;
        EXPECT_FALSE(SystemTimeToFileTime(time, &fileTime))
            << time.wYear << "-" << time.wMonth << "-" << time.wDay;
        EXPECT_EQ(fileTime, 42u);
    }
    EXPECT_EQ(FileTimeOf(Date(2000, 2, 29)), FileTimeOf(Date(2000, 2, 28)) + FileTimePerDay);
    EXPECT_EQ(FileTimeOf(Date(2400, 2, 29)), FileTimeOf(Date(2400, 3, 1)) - FileTimePerDay);

    SystemTime withWeekday = Date(2004, 10, 31);
    withWeekday.wDayOfWeek = 6;
    EXPECT_EQ(FileTimeOf(withWeekday), FileTimeOf(Date(2004, 10, 31)));
    EXPECT_EQ(DayOfWeek(2004, 10, 31), 0);
    EXPECT_EQ(DaysInMonth(2004, 13), 0);
}

TEST(TimeToText, SpecialTimesAndPlainTicks) {
    const int64_t epoch = FileTimeEpochTicks;
    auto ticks = [&](const SystemTime& time) { return static_cast<int64_t>(FileTimeOf(time)) + epoch; };
    EXPECT_STREQ(TimeToText(INT64_MIN).text, "----/--/-- --:--:--.MIN");
    EXPECT_STREQ(TimeToText(INT64_MAX).text, "++++/++/++ ++:++:++.MAX");
    EXPECT_STREQ(TimeToText(ticks(Date(2004, 10, 31, 12, 34, 56, 789))).text, "2004/10/31 12:34:56.789");
    EXPECT_STREQ(TimeToText(ticks(Date(1900, 1, 1))).text, "1900/01/01 00:00:00.000");
    EXPECT_STREQ(TimeToText(ticks(Date(1899, 12, 31, 23, 59, 59, 999))).text, "0000/12/31 23:59:59.999");
    EXPECT_STREQ(TimeToText(3155378975999999999).text, "9999/12/31 23:59:59.999");
    EXPECT_STREQ(TimeToText(3155378976000000000).text, "9999/01/01 00:00:00.000");
    EXPECT_STREQ(TimeToText(INT64_MAX - 1).text, "9999/09/14 02:48:05.477");
    // No calendar holds a negative file time: all fields print as zero.
    EXPECT_STREQ(TimeToText(-1).text, "0000/00/00 00:00:00.000");
    // A time below the ticks' epoch is a plain file time and prints as the same moment.
    EXPECT_STREQ(TimeToText(static_cast<int64_t>(FileTimeOf(Date(2004, 2, 29, 23, 59, 59, 5)))).text,
                 "2004/02/29 23:59:59.005");
}
