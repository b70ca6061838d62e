#include "formats/avi/DvTimeCode.h"

#include "core/time/Ticks.h"

namespace Vorn::Vorncast::Decoders {

namespace {

// A day or month: its units, and ten when bit 4 is set.
int32_t DayOrMonth(uint8_t value) {
    return (value & 0x0F) + ((value & 0x10) != 0 ? 10 : 0);
}

// An hour, minute or second: its units and tens from bits 4 and 5.
int32_t ClockField(uint8_t value) {
    return (value & 0x0F) + 10 * (value >> 4 & 0x03);
}

} // namespace

bool ReadDvRecordingTime(ByteView frame, int64_t* ticks) {
    ByteReader r(frame, 460);
    const uint8_t day = r.U8();
    const uint8_t month = r.U8();
    const uint8_t year = r.U8();
    r.Skip(2); // week day and time zone bits, unread
    const uint8_t second = r.U8();
    const uint8_t minute = r.U8();
    const uint8_t hour = r.U8();
    if (!r.Ok()) {
        return false;
    }
    const int32_t twoDigitYear = (year & 0x0F) + 10 * (year >> 4);
    const int32_t fullYear = twoDigitYear < 75 ? 2000 + twoDigitYear : 1900 + twoDigitYear;
    if (twoDigitYear >= 100 || DayOrMonth(month) >= 13 || DayOrMonth(day) >= 32 || ClockField(hour) >= 24) {
        return false;
    }
    *ticks = TicksFromSystemTime(fullYear, DayOrMonth(month), DayOrMonth(day), ClockField(hour),
                                 ClockField(minute), ClockField(second), 0);
    return true;
}

} // namespace Vorn::Vorncast::Decoders
