#include "core/time/Ticks.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>

using namespace Vorn::Vorncast::Decoders;
using Vorn::SystemTime;

namespace {

// Ticks of a civil date by the standard library's calendar, independent of the code under test.
int64_t ReferenceTicks(int year, unsigned month, unsigned day, int64_t secondsOfDay = 0) {
    using namespace std::chrono;
    sys_days date{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}};
    return (date.time_since_epoch().count() * 86400 + secondsOfDay + UnixEpochSeconds) * TicksPerSecond;
}

} // namespace

TEST(Ticks, ConstantsAgreeWithTheCalendar) {
    EXPECT_EQ(TicksFromSystemTime(1601, 1, 1, 0, 0, 0, 0), FileTimeEpochTicks);
    EXPECT_EQ(TicksFromSystemTime(1970, 1, 1, 0, 0, 0, 0), UnixEpochSeconds * TicksPerSecond);
    EXPECT_EQ(FileTimeEpochTicks, ReferenceTicks(1601, 1, 1));
    // The last tick of 9999 lies one millisecond less one tick after its last millisecond.
    EXPECT_EQ(MaxTicks, TicksFromSystemTime(9999, 12, 31, 23, 59, 59, 999) + TicksPerMillisecond - 1);
}

TEST(Ticks, FromSystemTimeFieldsAndRecord) {
    EXPECT_EQ(TicksFromSystemTime(2004, 10, 31, 2, 3, 4, 5),
              ReferenceTicks(2004, 10, 31, 2 * 3600 + 3 * 60 + 4) + 5 * TicksPerMillisecond);
    SystemTime record{2024, 2, 6, 29, 23, 59, 59, 999};
    EXPECT_EQ(TicksFromSystemTime(record), TicksFromSystemTime(2024, 2, 29, 23, 59, 59, 999));
    // A time no calendar holds gives the tick value of file time 0.
    for (auto fields : {std::array{2004, 13, 1, 0, 0, 0, 0}, std::array{1600, 1, 1, 0, 0, 0, 0},
                        std::array{2003, 2, 29, 0, 0, 0, 0}, std::array{2004, 1, 1, -1, 0, 0, 0},
                        std::array{2004 + 65536, 1, 1, 0, 0, 0, 0}, std::array{2004, 1, 1, 0, 0, 0, 1000}}) {
        EXPECT_EQ(
            TicksFromSystemTime(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6]),
            FileTimeEpochTicks);
    }
}

TEST(Ticks, FromUnixTimes) {
    EXPECT_EQ(TicksFromUnixSeconds(0), ReferenceTicks(1970, 1, 1));
    EXPECT_EQ(TicksFromUnixSeconds(-1), ReferenceTicks(1969, 12, 31, 86399));
    EXPECT_EQ(TicksFromUnixSeconds(INT32_MAX), ReferenceTicks(2038, 1, 19, 3 * 3600 + 14 * 60 + 7));
    EXPECT_EQ(TicksFromUnixMilliseconds(1234567890123),
              ReferenceTicks(2009, 2, 13, 23 * 3600 + 31 * 60 + 30) + 123 * TicksPerMillisecond);
    EXPECT_EQ(TicksFromUnixMilliseconds(0), ReferenceTicks(1970, 1, 1));
}

TEST(Ticks, ToSystemTime) {
    SystemTime time{};
    ASSERT_TRUE(SystemTimeFromTicks(TicksFromSystemTime(2004, 10, 31, 2, 3, 4, 5) + 9999, &time));
    const SystemTime expected{2004, 10, 0, 31, 2, 3, 4, 5};
    EXPECT_EQ(std::memcmp(&time, &expected, sizeof time), 0);

    ASSERT_TRUE(SystemTimeFromTicks(INT64_MAX, &time));
    EXPECT_EQ(time.wYear, 29228);

    const SystemTime marker{1, 2, 3, 4, 5, 6, 7, 8};
    for (int64_t before : {FileTimeEpochTicks - 1, int64_t{0}, int64_t{-1}, INT64_MIN}) {
        time = marker;
        EXPECT_FALSE(SystemTimeFromTicks(before, &time)) << before;
        EXPECT_EQ(time.wYear, marker.wYear);
    }
}

TEST(Ticks, ComputeFrameTime) {
    EXPECT_DOUBLE_EQ(ComputeFrameTime(1, 4, 0.0), 0.0);
    EXPECT_DOUBLE_EQ(ComputeFrameTime(1, 4, 0.5), 0.125);
    EXPECT_DOUBLE_EQ(ComputeFrameTime(3, 4, 0.5), 0.625);
    EXPECT_DOUBLE_EQ(ComputeFrameTime(4, 4, 1.0), 1.0);
    EXPECT_DOUBLE_EQ(ComputeFrameTime(2, 0, 0.5), 0.0);
}
