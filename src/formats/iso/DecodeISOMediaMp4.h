#pragma once

#include "formats/iso/DecodeISOMedia.h"

namespace Vorn::Vorncast::Decoders {

// MP4 and 3GP files from phones: MPEG-4 part 2, H.263 or H.264 video, with AMR audio. H.264
// samples must carry their parameter sets in-band, since only an "esds" gives an "avc1" entry a
// configuration. A file whose audio is AAC does not load.
class DecodeISOMediaMp4 : public DecodeISOMedia {
public:
    explicit DecodeISOMediaMp4(const DecoderRow& row);

protected:
    DecoderAction SetCodec() override;
};

} // namespace Vorn::Vorncast::Decoders
