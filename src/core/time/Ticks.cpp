#include "core/time/Ticks.h"

#include <initializer_list>

namespace Vorn::Vorncast::Decoders {

namespace {

bool FitsWord(int32_t value) {
    return value >= 0 && value <= 0xFFFF;
}

} // namespace

int64_t TicksFromSystemTime(const SystemTime& time) {
    uint64_t fileTime = 0;
    if (!SystemTimeToFileTime(time, &fileTime)) {
        return FileTimeEpochTicks;
    }
    return static_cast<int64_t>(fileTime) + FileTimeEpochTicks;
}

int64_t TicksFromSystemTime(int32_t year, int32_t month, int32_t day, int32_t hour, int32_t minute,
                            int32_t second, int32_t milliseconds) {
    for (int32_t field : {year, month, day, hour, minute, second, milliseconds}) {
        if (!FitsWord(field)) {
            return FileTimeEpochTicks;
        }
    }
    auto word = [](int32_t value) { return static_cast<uint16_t>(value); };
    SystemTime time{word(year),   word(month),       0, word(day), word(hour), word(minute),
                    word(second), word(milliseconds)};
    return TicksFromSystemTime(time);
}

int64_t TicksFromUnixSeconds(int32_t seconds) {
    return (seconds + UnixEpochSeconds) * TicksPerSecond;
}

int64_t TicksFromUnixMilliseconds(uint64_t milliseconds) {
    // Unsigned arithmetic: a value far out of range wraps instead of overflowing.
    return static_cast<int64_t>((milliseconds + UnixEpochMilliseconds) * TicksPerMillisecond);
}

bool SystemTimeFromTicks(int64_t ticks, SystemTime* time) {
    if (ticks < FileTimeEpochTicks) {
        return false;
    }
    return FileTimeToSystemTime(static_cast<uint64_t>(ticks - FileTimeEpochTicks), time);
}

double ComputeFrameTime(int32_t index, int32_t count, double fraction) {
    if (count <= 0) {
        return 0.0;
    }
    return (index - 1) / static_cast<double>(count) + fraction / count;
}

} // namespace Vorn::Vorncast::Decoders
