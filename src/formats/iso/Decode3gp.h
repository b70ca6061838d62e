#pragma once

#include "core/client/DecoderRows.h"
#include "formats/iso/DecodeISOMedia.h"

namespace Vorn::Vorncast::Decoders {

// 3GP and MP4 files from phones with MPEG-4 part 2 or H.263 video and AMR audio. It cannot be
// told apart from DecodeISOMediaMp4 by a query; it knows no H.264, and a file with AAC audio does
// not load.
class Decode3gp : public DecodeISOMedia {
public:
    Decode3gp();

    const char* GetDecoderName() override { return "Mobile phone 3GP"; }
    void GetDecoderGuid(const char** guid) override { *guid = "CEABCACD-5446-41f9-94A2-3391B2C9F578"; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;

protected:
    DecoderAction SetCodec() override;
};

BaseDecoder* CreateDecode3gp(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
