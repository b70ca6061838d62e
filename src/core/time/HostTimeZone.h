#pragma once

#include "core/time/TimeZoneInformation.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The host's zone (TZ, else the system's) in `year`, its two changes written as day-in-month
// rules. False when the zone has no daylight saving that year or cannot be read.
bool HostTimeZoneInformation(int32_t year, TimeZoneInformation* zone);

// The zone for decoders whose recordings carry none: the host's zone in the current year, or the
// fixed rule when the host has no daylight saving.
TimeZoneInformation SystemTimeZoneInformation();

} // namespace Vorn::Vorncast::Decoders
