#include "core/time/TimeZoneRules.h"

#include "core/time/Ticks.h"

#include <algorithm>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

namespace {

int32_t NegatedMinutes(int32_t bias) {
    return bias == INT32_MIN ? INT32_MAX : -bias;
}

constexpr int32_t LastWeek = 5;

// Weekday of the first of the month (Sunday = 0, modulo 7) by the key-table method.
int32_t FirstWeekdayKey(int32_t year, int32_t month) {
    static constexpr int32_t monthKeys[12] = {1, 4, 4, 0, 2, 5, 0, 3, 6, 1, 4, 6};
    int32_t century = year / 100;
    int32_t yearOfCentury = year % 100;
    int32_t key = monthKeys[month - 1] + (3 - century % 4) * 2 + yearOfCentury + yearOfCentury / 4;
    if (month <= 2 && IsLeapYear(year)) {
        --key;
    }
    return key;
}

// A date that does not exist counts as file time 0.
int64_t TicksOrEpoch(const SystemTime& time) {
    uint64_t fileTime = 0;
    SystemTimeToFileTime(time, &fileTime);
    return static_cast<int64_t>(fileTime) + FileTimeEpochTicks;
}

} // namespace

int64_t TransitionTicks(int32_t year, const SystemTime& rule) {
    if (rule.wMonth == 0) {
        return 0;
    }
    int32_t month = rule.wMonth;
    int32_t week = rule.wDay;
    int64_t correction = 0;
    if (week == LastWeek) {
        // The last weekday of a month is the first of the next, a week earlier.
        month = month == 12 ? 1 : month + 1;
        week = 1;
        correction = -7 * TicksPerDay;
    }
    if (month > 12) {
        return FileTimeEpochTicks + correction;
    }
    int32_t key = FirstWeekdayKey(year, month);
    int32_t first = ((key / 7 + 1) * 7 - key + rule.wDayOfWeek) % 7;
    int32_t day = first + week * 7 - 6;
    SystemTime date{static_cast<uint16_t>(year),
                    static_cast<uint16_t>(month),
                    0,
                    static_cast<uint16_t>(day),
                    rule.wHour,
                    rule.wMinute,
                    rule.wSecond,
                    rule.wMilliseconds};
    return TicksOrEpoch(date) + correction;
}

TimeZoneRules::TimeZoneRules(const TimeZoneRules& other) {
    *this = other;
}

TimeZoneRules& TimeZoneRules::operator=(const TimeZoneRules& other) {
    if (this == &other) {
        return *this;
    }
    enabled = other.enabled;
    baseBiasTicks = other.baseBiasTicks;
    standardOffset = other.standardOffset;
    daylightOffset = other.daylightOffset;
    firstYear = other.firstYear;
    yearCount = other.yearCount;
    years.reset();
    if (other.years) {
        years = std::make_unique<YearRules[]>(yearCount);
        std::copy(other.years.get(), other.years.get() + yearCount, years.get());
    }
    fixed = other.fixed;
    fixedOffset = other.fixedOffset;
    return *this;
}

void TimeZoneRules::Reset() {
    enabled = false;
    years.reset();
    yearCount = 0;
    fixed = false;
    fixedOffset = 0;
}

bool TimeZoneRules::Build(int64_t firstTicks, int64_t lastTicks, const TimeZoneInformation& timeZone) {
    Reset();
    baseBiasTicks = -int64_t{timeZone.Bias} * TicksPerMinute;
    // Biases come from recordings: negating the most negative one would overflow, so it saturates.
    standardOffset = NegatedMinutes(timeZone.StandardBias);
    daylightOffset = NegatedMinutes(timeZone.DaylightBias);

    SystemTime first;
    SystemTime last;
    if (!SystemTimeFromTicks(firstTicks, &first) || !SystemTimeFromTicks(lastTicks, &last) ||
        last.wYear < first.wYear) {
        return false;
    }
    firstYear = first.wYear;
    yearCount = last.wYear - first.wYear + 1;
    years = std::make_unique<YearRules[]>(yearCount);
    for (int32_t i = 0; i < yearCount; ++i) {
        int32_t year = firstYear + i;
        years[i].yearStart = TicksFromSystemTime(year, 1, 1, 0, 0, 0, 0);
        years[i].daylightStart = TransitionTicks(year, timeZone.DaylightDate);
        years[i].standardStart = TransitionTicks(year, timeZone.StandardDate);
    }
    enabled = true;

    if (!HasChangeWithin(firstTicks, lastTicks)) {
        fixed = true;
        fixedOffset = IsDaylight(firstTicks / 2 + lastTicks / 2) ? daylightOffset : standardOffset;
    }
    return true;
}

bool TimeZoneRules::HasChangeWithin(int64_t firstTicks, int64_t lastTicks) const {
    auto within = [&](int64_t ticks) { return ticks > firstTicks && ticks < lastTicks; };
    return std::any_of(years.get(), years.get() + yearCount, [&](const YearRules& year) {
        return within(year.daylightStart) || within(year.standardStart);
    });
}

int32_t TimeZoneRules::GetOffset(int64_t ticks, bool* isEnabled) const {
    *isEnabled = enabled;
    if (!enabled) {
        return 0;
    }
    if (fixed) {
        return fixedOffset;
    }
    return IsDaylight(ticks) ? daylightOffset : standardOffset;
}

bool TimeZoneRules::IsDaylight(int64_t ticks) const {
    if (yearCount == 0) {
        return false;
    }
    // The first year that starts before `ticks` is nearly always the recording's first year.
    const YearRules* begin = years.get();
    const YearRules* end = begin + yearCount;
    const YearRules* year =
        std::find_if(begin, end, [ticks](const YearRules& entry) { return entry.yearStart < ticks; });
    if (year == end) {
        year = end - 1;
    }
    if (year->daylightStart <= year->standardStart) {
        return ticks >= year->daylightStart && ticks < year->standardStart;
    }
    return ticks < year->standardStart || ticks >= year->daylightStart;
}

const YearRules* TimeZoneRules::Year(int32_t index) const {
    return index >= 0 && index < yearCount ? &years[index] : nullptr;
}

} // namespace Vorn::Vorncast::Decoders
