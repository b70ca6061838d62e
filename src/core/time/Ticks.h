#pragma once

#include "model/support/Calendar.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Times are ticks of 100 ns since 0001-01-01 00:00:00.
using Vorn::FileTimeEpochTicks;
constexpr int64_t UnixEpochSeconds = 62135596800;
constexpr int64_t UnixEpochMilliseconds = 62135596800000;
// The last tick of the year 9999.
constexpr int64_t MaxTicks = 3155378975999999999;

constexpr int64_t TicksPerMillisecond = 10000;
constexpr int64_t TicksPerSecond = 10000000;
constexpr int64_t TicksPerMinute = 60 * TicksPerSecond;
constexpr int64_t TicksPerHour = 60 * TicksPerMinute;
constexpr int64_t TicksPerDay = 24 * TicksPerHour;

// Adds without leaving the 64-bit range: the result stops at either end.
constexpr int64_t SaturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        return b > 0 ? INT64_MAX : INT64_MIN;
    }
    return sum;
}

constexpr int64_t SaturatingSubtract(int64_t a, int64_t b) {
    int64_t difference = 0;
    if (__builtin_sub_overflow(a, b, &difference)) {
        return b < 0 ? INT64_MAX : INT64_MIN;
    }
    return difference;
}

// A calendar time in ticks. A time no calendar holds (see SystemTimeToFileTime) gives
// FileTimeEpochTicks, the tick value of file time 0.
int64_t TicksFromSystemTime(const SystemTime& time);
int64_t TicksFromSystemTime(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                            int32_t second, int32_t milliseconds);

int64_t TicksFromUnixSeconds(int32_t seconds);
int64_t TicksFromUnixMilliseconds(uint64_t milliseconds);

// False, with `time` untouched, for ticks before 1601.
bool SystemTimeFromTicks(int64_t ticks, SystemTime* time);

// Position of a frame within a load, 0.0 to 1.0: frame `index` (counted from 1) of `count`, with
// `fraction` done of it. An empty count gives 0.
double ComputeFrameTime(int32_t index, int32_t count, double fraction);

} // namespace Vorn::Vorncast::Decoders
