#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Bytes of one PAL DIF frame, and how much of its start holds the recording date and time.
constexpr uint32_t DvPalFrameBytes = 144000;
constexpr uint32_t DvTimeCodeBytes = 12000;

// The recording date and time of a PAL DIF frame, from the BCD bytes of its subcode (day, month,
// year at 460, second, minute, hour at 465). False, with `ticks` untouched, for values out of
// range or a frame too short to hold them.
bool ReadDvRecordingTime(ByteView frame, int64_t* ticks);

} // namespace Vorn::Vorncast::Decoders
