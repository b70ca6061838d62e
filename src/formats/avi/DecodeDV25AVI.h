#pragma once

#include "formats/avi/BaseAVIDecoder.h"

namespace Vorn::Vorncast::Decoders {

// DV video in AVI files: PAL pictures of fixed size; each frame's time is the recording time its
// DIF subcode carries, where it has one.
class DecodeDV25AVI : public BaseAVIDecoder {
public:
    using BaseAVIDecoder::BaseAVIDecoder;

protected:
    void ForgetRecording() override;
    void SetupCamera(PerCameraDatum& camera) override;
    bool ValidateFourCC(uint32_t code) override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;

private:
    int32_t metaFrame = 0;
};

} // namespace Vorn::Vorncast::Decoders
