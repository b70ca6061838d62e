#pragma once

#include "core/binary/ByteView.h"
#include "model/support/Calendar.h"

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A time zone in the Windows TIME_ZONE_INFORMATION shape, as recorders store it: 172 bytes,
// little-endian. Biases are minutes, UTC = local time + bias. The two dates are day-in-month rules
// (wYear 0; wDay the week 1 to 5, 5 being the last; wDayOfWeek the weekday; the clock time of the
// change in the local time that holds before it) or, with wMonth 0, no change at all.
struct TimeZoneInformation {
    int32_t Bias;
    char16_t StandardName[32];
    SystemTime StandardDate;
    int32_t StandardBias;
    char16_t DaylightName[32];
    SystemTime DaylightDate;
    int32_t DaylightBias;
};
static_assert(sizeof(TimeZoneInformation) == 172);

constexpr size_t TimeZoneInformationBytes = 172;

// False, with a zeroed record, when the 172 bytes do not lie inside the view.
bool ReadTimeZoneInformation(const ByteView& view, size_t at, TimeZoneInformation* zone);
void WriteTimeZoneInformation(const TimeZoneInformation& zone, uint8_t (&bytes)[TimeZoneInformationBytes]);

// The rule used where no zone is known: bias 0, one hour of daylight saving from 02:00 on the
// last Sunday of March to 02:00 on the last Sunday of October.
TimeZoneInformation FixedTimeZoneInformation();

// UTC to the zone's local time, with the zone's own daylight rule for the year in question. Fails
// for a rule that is not well formed (daylight date without standard date, week outside 1 to 5)
// and for times no calendar holds.
bool SystemTimeToTzSpecificLocalTime(const TimeZoneInformation& zone, const SystemTime& universal,
                                     SystemTime* local);

} // namespace Vorn::Vorncast::Decoders
