#pragma once

#include "formats/avi/BaseAVIDecoder.h"

namespace Vorn::Vorncast::Decoders {

// Cieffe Linearis: MS-MPEG-4 AVI files whose camera is named by a trailer behind the RIFF data,
// found by searching back from the end of the file for "/INSIGNIS".
class DecodeCieffeLinearis : public BaseAVIDecoder {
public:
    explicit DecodeCieffeLinearis(const DecoderRow& row) : BaseAVIDecoder(row) { nameWithFourCC = false; }

protected:
    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t) override { return FourCCLE("lkz1"); }
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;
    FrameTimes GetFrameTimes() override;

private:
    uint64_t searchPosition = 0;
    uint64_t searchLimit = 0;
};

// The camera number of a Cieffe file name: its digits from the last one back, each counting ten
// more than the one behind it (1, 11, 21, ...), as the recorder numbers its files.
int32_t CieffeCameraNumber(const char* name);

} // namespace Vorn::Vorncast::Decoders
