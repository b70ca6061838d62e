#pragma once

#include "core/time/TimeZoneInformation.h"
#include "model/support/Calendar.h"

#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// The tick of a daylight change in `year` by a day-in-month rule; 0 for a rule with wMonth 0.
// The last week of December is looked up in January of the same year, so it lands a year early;
// recorders' zone offsets were computed that way and are reproduced with it.
int64_t TransitionTicks(int32_t year, const SystemTime& rule);

// The ticks of one calendar year and its two daylight changes.
struct YearRules {
    int64_t yearStart;
    int64_t daylightStart;
    int64_t standardStart;
};

// The daylight part of a recorder's zone offset over the span of one recording. Offsets are
// minutes; while not built no offset applies.
class TimeZoneRules {
public:
    TimeZoneRules() = default;
    TimeZoneRules(const TimeZoneRules& other);
    TimeZoneRules& operator=(const TimeZoneRules& other);
    TimeZoneRules(TimeZoneRules&&) = default;
    TimeZoneRules& operator=(TimeZoneRules&&) = default;

    // Computes the changes of every year from the first to the last time. False, and left
    // disabled, when either time has no calendar year or the span runs backwards.
    bool Build(int64_t firstTicks, int64_t lastTicks, const TimeZoneInformation& timeZone);

    // Minutes to add to UTC for the daylight state at `ticks`; 0 with `enabled` false when the
    // rules are not built.
    int32_t GetOffset(int64_t ticks, bool* enabled) const;

    // Decided with the changes of the recording's first year, whatever year `ticks` lies in.
    bool IsDaylight(int64_t ticks) const;

    bool IsEnabled() const { return enabled; }
    bool IsFixed() const { return fixed; }
    int32_t FixedOffset() const { return fixedOffset; }
    int64_t BaseBiasTicks() const { return baseBiasTicks; }
    int32_t StandardOffset() const { return standardOffset; }
    int32_t DaylightOffset() const { return daylightOffset; }
    int32_t FirstYear() const { return firstYear; }
    int32_t YearCount() const { return yearCount; }
    // Null outside 0 to YearCount() - 1.
    const YearRules* Year(int32_t index) const;

private:
    void Reset();
    bool HasChangeWithin(int64_t firstTicks, int64_t lastTicks) const;

    bool enabled = false;
    int64_t baseBiasTicks = 0;
    int32_t standardOffset = 0;
    int32_t daylightOffset = 0;
    int32_t firstYear = 0;
    int32_t yearCount = 0;
    std::unique_ptr<YearRules[]> years;
    bool fixed = false;
    int32_t fixedOffset = 0;
};

} // namespace Vorn::Vorncast::Decoders
