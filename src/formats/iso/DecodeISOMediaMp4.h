#pragma once

#include "core/client/DecoderRows.h"
#include "formats/iso/DecodeISOMedia.h"

namespace Vorn::Vorncast::Decoders {

// MP4 and 3GP files from phones: MPEG-4 part 2, H.263 or H.264 video, with AMR audio. H.264
// samples must carry their parameter sets in-band, since only an "esds" gives an "avc1" entry a
// configuration. A file whose audio is AAC does not load.
class DecodeISOMediaMp4 : public DecodeISOMedia {
public:
    DecodeISOMediaMp4();

    const char* GetDecoderName() override { return "Mobile phone MP4"; }
    void GetDecoderGuid(const char** guid) override { *guid = "4A53EA3D-0A11-4dec-B9BD-E0EAF808EB31"; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;

protected:
    DecoderAction SetCodec() override;
};

BaseDecoder* CreateDecodeISOMediaMp4(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
