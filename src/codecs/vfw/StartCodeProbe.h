#pragma once

#include "core/binary/ByteView.h"

namespace Vorn::Vorncast::Decoders {

enum class StartCodeFamily { Unknown, Mpeg4Part2, H264 };

// Tells MPEG-4 part 2 from H.264 (Annex B) by the first start code that only one of them uses:
// 00 00 01 B0 to B6 (visual object sequence, group, object, plane) for MPEG-4, and a reference
// NAL unit header (SPS, PPS, IDR or other slice with nal_ref_idc 2 or 3) for H.264. Codes that
// both could mean (MPEG-4 object and layer starts, H.264 units of low priority) decide nothing.
StartCodeFamily ProbeStartCodes(ByteView data);

} // namespace Vorn::Vorncast::Decoders
