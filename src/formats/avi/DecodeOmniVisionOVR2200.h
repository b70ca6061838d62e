#pragma once

#include "formats/avi/BaseAVIDecoder.h"

namespace Vorn::Vorncast::Decoders {

// OmniVision OVR2200: MS-MPEG-4 AVI files with a "txts" stream of one text frame a video frame,
// a date and time of 19 characters, or 55 with the camera's name.
class DecodeOmniVisionOVR2200 : public BaseAVIDecoder {
public:
    explicit DecodeOmniVisionOVR2200(const DecoderRow& row) : BaseAVIDecoder(row) { nameWithFourCC = false; }

protected:
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t) override { return FourCCLE("lkz1"); }
    bool ValidateAVIStreams() override { return parser.StreamCount() >= 2; }
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;
};

} // namespace Vorn::Vorncast::Decoders
