#include "core/time/TimeZoneInformation.h"

#include "core/time/Ticks.h"

#include <iterator>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t NameCharacters = 32;

void ReadName(ByteReader& reader, char16_t (&name)[NameCharacters]) {
    for (char16_t& character : name) {
        character = reader.U16LE();
    }
}

void WriteSystemTime(uint8_t* bytes, const SystemTime& time) {
    const uint16_t words[] = {time.wYear, time.wMonth,  time.wDayOfWeek, time.wDay,
                              time.wHour, time.wMinute, time.wSecond,    time.wMilliseconds};
    for (size_t i = 0; i < std::size(words); ++i) {
        Store<uint16_t, ByteOrder::Little>(bytes + 2 * i, words[i]);
    }
}

void WriteName(uint8_t* bytes, const char16_t (&name)[NameCharacters]) {
    for (size_t i = 0; i < NameCharacters; ++i) {
        Store<uint16_t, ByteOrder::Little>(bytes + 2 * i, name[i]);
    }
}

SystemTime DayInMonthRule(uint16_t month, uint16_t hour) {
    constexpr uint16_t lastWeek = 5;
    constexpr uint16_t sunday = 0;
    return SystemTime{0, month, sunday, lastWeek, hour, 0, 0, 0};
}

bool IsWellFormedRule(const SystemTime& rule) {
    return rule.wMonth >= 1 && rule.wMonth <= 12 && (rule.wYear != 0 || (rule.wDay >= 1 && rule.wDay <= 5));
}

// The local time of a change in `year`. An absolute rule (wYear set) is taken as its month and day
// in every year.
bool ChangeTicks(int32_t year, const SystemTime& rule, int64_t* ticks) {
    SystemTime date = rule;
    date.wYear = static_cast<uint16_t>(year);
    if (rule.wYear == 0) {
        int32_t firstWeekday = DayOfWeek(year, rule.wMonth, 1);
        int32_t day = (rule.wDayOfWeek - firstWeekday + 7) % 7 + 1 + (rule.wDay - 1) * 7;
        if (day > DaysInMonth(year, rule.wMonth)) {
            day -= 7;
        }
        date.wDay = static_cast<uint16_t>(day);
    }
    uint64_t fileTime = 0;
    if (!SystemTimeToFileTime(date, &fileTime)) {
        return false;
    }
    *ticks = static_cast<int64_t>(fileTime) + FileTimeEpochTicks;
    return true;
}

// Each change is written in the clock that runs before it: the daylight date in winter time, the
// standard date in summer time. Both are taken in the year of the winter clock, so that a time
// near the new year is judged by one year's pair of changes.
bool IsDaylightAt(const TimeZoneInformation& zone, int64_t universalTicks, bool* daylight) {
    int64_t winterBias = int64_t{zone.Bias + zone.StandardBias} * TicksPerMinute;
    int64_t summerBias = int64_t{zone.Bias + zone.DaylightBias} * TicksPerMinute;
    SystemTime winterClock;
    int64_t daylightStart = 0;
    int64_t standardStart = 0;
    if (!SystemTimeFromTicks(universalTicks - winterBias, &winterClock) ||
        !ChangeTicks(winterClock.wYear, zone.DaylightDate, &daylightStart) ||
        !ChangeTicks(winterClock.wYear, zone.StandardDate, &standardStart)) {
        return false;
    }
    daylightStart += winterBias;
    standardStart += summerBias;
    if (daylightStart <= standardStart) {
        *daylight = universalTicks >= daylightStart && universalTicks < standardStart;
    } else {
        *daylight = universalTicks >= daylightStart || universalTicks < standardStart;
    }
    return true;
}

} // namespace

bool ReadTimeZoneInformation(const ByteView& view, size_t at, TimeZoneInformation* zone) {
    *zone = TimeZoneInformation{};
    ByteReader reader(view.Sub(at, TimeZoneInformationBytes));
    if (reader.Size() != TimeZoneInformationBytes) {
        return false;
    }
    zone->Bias = reader.I32LE();
    ReadName(reader, zone->StandardName);
    zone->StandardDate = reader.SystemTimeLE();
    zone->StandardBias = reader.I32LE();
    ReadName(reader, zone->DaylightName);
    zone->DaylightDate = reader.SystemTimeLE();
    zone->DaylightBias = reader.I32LE();
    return reader.Ok();
}

void WriteTimeZoneInformation(const TimeZoneInformation& zone, uint8_t (&bytes)[TimeZoneInformationBytes]) {
    Store<int32_t, ByteOrder::Little>(bytes + 0, zone.Bias);
    WriteName(bytes + 4, zone.StandardName);
    WriteSystemTime(bytes + 68, zone.StandardDate);
    Store<int32_t, ByteOrder::Little>(bytes + 84, zone.StandardBias);
    WriteName(bytes + 88, zone.DaylightName);
    WriteSystemTime(bytes + 152, zone.DaylightDate);
    Store<int32_t, ByteOrder::Little>(bytes + 168, zone.DaylightBias);
}

TimeZoneInformation FixedTimeZoneInformation() {
    TimeZoneInformation zone{};
    zone.Bias = 0;
    zone.StandardBias = 0;
    zone.DaylightBias = -60;
    zone.DaylightDate = DayInMonthRule(3, 2);
    zone.StandardDate = DayInMonthRule(10, 2);
    return zone;
}

bool SystemTimeToTzSpecificLocalTime(const TimeZoneInformation& zone, const SystemTime& universal,
                                     SystemTime* local) {
    uint64_t fileTime = 0;
    if (!SystemTimeToFileTime(universal, &fileTime)) {
        return false;
    }
    int64_t universalTicks = static_cast<int64_t>(fileTime) + FileTimeEpochTicks;
    int32_t bias = zone.Bias;
    if (zone.DaylightDate.wMonth != 0) {
        bool daylight = false;
        if (!IsWellFormedRule(zone.DaylightDate) || !IsWellFormedRule(zone.StandardDate) ||
            !IsDaylightAt(zone, universalTicks, &daylight)) {
            return false;
        }
        bias += daylight ? zone.DaylightBias : zone.StandardBias;
    }
    return SystemTimeFromTicks(universalTicks - int64_t{bias} * TicksPerMinute, local);
}

} // namespace Vorn::Vorncast::Decoders
