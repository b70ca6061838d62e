#pragma once

#include "formats/iso/DecodeISOMedia.h"

namespace Vorn::Vorncast::Decoders {

// 3GP and MP4 files from phones with MPEG-4 part 2 or H.263 video and AMR audio. It cannot be
// told apart from DecodeISOMediaMp4 by a query; it knows no H.264, and a file with AAC audio does
// not load.
class Decode3gp : public DecodeISOMedia {
public:
    explicit Decode3gp(const DecoderRow& row);

protected:
    DecoderAction SetCodec() override;
};

} // namespace Vorn::Vorncast::Decoders
