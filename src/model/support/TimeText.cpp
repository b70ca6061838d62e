#include "model/support/TimeText.h"

#include "model/support/Calendar.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace Vorn {

namespace {

constexpr int64_t BeforeEverything = std::numeric_limits<int64_t>::min();
constexpr int64_t AfterEverything = std::numeric_limits<int64_t>::max();

int PrintableYear(int year) {
    if (year < 1900) {
        return 0;
    }
    return std::min(year, 9999);
}

TimeText FixedText(const char* text) {
    TimeText result{};
    std::strncpy(result.text, text, sizeof(result.text) - 1);
    return result;
}

} // namespace

TimeText TimeToText(int64_t ticks) {
    if (ticks == BeforeEverything) {
        return FixedText("----/--/-- --:--:--.MIN");
    }
    if (ticks == AfterEverything) {
        return FixedText("++++/++/++ ++:++:++.MAX");
    }
    if (ticks < FileTimeEpochTicks) {
        ticks += FileTimeEpochTicks;
    }
    // A value that no calendar holds prints as zeros.
    SystemTime time{};
    FileTimeToSystemTime(static_cast<uint64_t>(ticks - FileTimeEpochTicks), &time);
    TimeText result{};
    std::snprintf(result.text, sizeof(result.text), "%04d/%02d/%02d %02d:%02d:%02d.%03d",
                  PrintableYear(time.wYear), std::min<int>(time.wMonth, 99), std::min<int>(time.wDay, 99),
                  std::min<int>(time.wHour, 99), std::min<int>(time.wMinute, 99),
                  std::min<int>(time.wSecond, 99), std::min<int>(time.wMilliseconds, 999));
    return result;
}

} // namespace Vorn
