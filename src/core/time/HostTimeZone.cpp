#include "core/time/HostTimeZone.h"

#include "core/time/Ticks.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int64_t SecondsPerDay = 86400;

struct Clock {
    long utcOffset; // seconds east of UTC
    std::string name;
};

bool ClockAt(int64_t unixSeconds, Clock* clock) {
    time_t moment = static_cast<time_t>(unixSeconds);
    tm local{};
    if (localtime_r(&moment, &local) == nullptr) {
        return false;
    }
    clock->utcOffset = local.tm_gmtoff;
    clock->name = local.tm_zone != nullptr ? local.tm_zone : "";
    return true;
}

// A change of the zone's offset: the first second of the new one.
struct Change {
    int64_t at;
    Clock before;
    Clock after;
};

// The first second in (earlier, later] whose offset differs from the one at `earlier`.
bool FindChange(int64_t earlier, const Clock& before, int64_t later, Change* change) {
    Clock clock;
    while (later - earlier > 1) {
        int64_t middle = earlier + (later - earlier) / 2;
        if (!ClockAt(middle, &clock)) {
            return false;
        }
        (clock.utcOffset == before.utcOffset ? earlier : later) = middle;
    }
    change->at = later;
    change->before = before;
    return ClockAt(later, &change->after);
}

int64_t UnixSecondsOfYearStart(int32_t year) {
    return TicksFromSystemTime(year, 1, 1, 0, 0, 0, 0) / TicksPerSecond - UnixEpochSeconds;
}

// Walks the year a day at a time and looks closer where the offset moved. A daylight-saving year
// has exactly two changes, there and back.
bool FindDaylightChanges(int32_t year, Change (&changes)[2]) {
    int64_t start = UnixSecondsOfYearStart(year);
    int64_t end = UnixSecondsOfYearStart(year + 1);
    Clock current;
    if (!ClockAt(start, &current)) {
        return false;
    }
    int found = 0;
    for (int64_t earlier = start; earlier < end; earlier += SecondsPerDay) {
        int64_t later = std::min(earlier + SecondsPerDay, end);
        Clock next;
        if (!ClockAt(later, &next)) {
            return false;
        }
        if (next.utcOffset == current.utcOffset) {
            continue;
        }
        if (found == 2 || !FindChange(earlier, current, later, &changes[found])) {
            return false;
        }
        current = changes[found++].after;
    }
    return found == 2 && changes[0].before.utcOffset == changes[1].after.utcOffset &&
           changes[0].after.utcOffset == changes[1].before.utcOffset;
}

// The change as the wall clock read it just before: month, the weekday's week in the month (5 for
// the last one, so that the rule holds in every year) and the time of day.
SystemTime DayInMonthRule(const Change& change) {
    int64_t wallSeconds = change.at + change.before.utcOffset;
    SystemTime wall{};
    SystemTimeFromTicks((wallSeconds + UnixEpochSeconds) * TicksPerSecond, &wall);
    bool lastOfMonth = wall.wDay + 7 > DaysInMonth(wall.wYear, wall.wMonth);
    uint16_t week = lastOfMonth ? 5 : static_cast<uint16_t>((wall.wDay - 1) / 7 + 1);
    return SystemTime{0, wall.wMonth, wall.wDayOfWeek, week, wall.wHour, wall.wMinute, wall.wSecond, 0};
}

void CopyName(const std::string& name, char16_t (&out)[32]) {
    size_t length = std::min(name.size(), std::size(out) - 1);
    for (size_t i = 0; i < length; ++i) {
        out[i] = static_cast<unsigned char>(name[i]);
    }
    out[length] = u'\0';
}

int32_t CurrentYear() {
    time_t now = time(nullptr);
    tm local{};
    return localtime_r(&now, &local) != nullptr ? local.tm_year + 1900 : 1970;
}

} // namespace

bool HostTimeZoneInformation(int32_t year, TimeZoneInformation* zone) {
    tzset();
    Change changes[2];
    if (!FindDaylightChanges(year, changes)) {
        return false;
    }
    // The larger offset is the summer one, whatever the zone database calls daylight saving.
    bool firstIsDaylightStart = changes[0].after.utcOffset > changes[0].before.utcOffset;
    const Change& daylightStart = firstIsDaylightStart ? changes[0] : changes[1];
    const Change& standardStart = firstIsDaylightStart ? changes[1] : changes[0];
    long standardOffset = daylightStart.before.utcOffset;
    long daylightOffset = daylightStart.after.utcOffset;

    *zone = TimeZoneInformation{};
    zone->Bias = static_cast<int32_t>(-standardOffset / 60);
    zone->StandardBias = 0;
    zone->DaylightBias = static_cast<int32_t>(-(daylightOffset - standardOffset) / 60);
    zone->DaylightDate = DayInMonthRule(daylightStart);
    zone->StandardDate = DayInMonthRule(standardStart);
    CopyName(daylightStart.before.name, zone->StandardName);
    CopyName(daylightStart.after.name, zone->DaylightName);
    return true;
}

TimeZoneInformation SystemTimeZoneInformation() {
    TimeZoneInformation zone;
    if (!HostTimeZoneInformation(CurrentYear(), &zone)) {
        zone = FixedTimeZoneInformation();
    }
    return zone;
}

} // namespace Vorn::Vorncast::Decoders
