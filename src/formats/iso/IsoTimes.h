#pragma once

#include "core/time/Ticks.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Seconds from 0001-01-01 to 1904-01-01, the epoch of the times in the movie's boxes.
constexpr uint64_t IsoEpochSeconds = 60052752000;

// A box time (seconds since 1904) as ticks; 0 stays 0, as a file that never set its clock
// stores it. The arithmetic wraps in 64 bits as stored values demand.
constexpr int64_t TicksFromBoxTime(uint64_t seconds) {
    if (seconds == 0) {
        return 0;
    }
    return static_cast<int64_t>((seconds + IsoEpochSeconds) * static_cast<uint64_t>(TicksPerSecond));
}

// A count of media timescale units as ticks: the multiplication first, then a truncating signed
// division. A timescale of 0 gives 0.
constexpr int64_t TicksFromMediaUnits(int64_t units, uint32_t timescale) {
    if (timescale == 0) {
        return 0;
    }
    const uint64_t scaled = static_cast<uint64_t>(units) * static_cast<uint64_t>(TicksPerSecond);
    return static_cast<int64_t>(scaled) / static_cast<int64_t>(timescale);
}

} // namespace Vorn::Vorncast::Decoders
