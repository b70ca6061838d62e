#pragma once

#include "formats/avi/BaseAVIDecoder.h"

namespace Vorn::Vorncast::Decoders {

// AverMedia USB recorder exports: Xvid AVI files under the form code "AVF0", one a camera and time,
// named "yyyy_mm_dd_hh_mm_ss_" with the camera's digit at place 22.
class DecodeAVerMediaUSBPlayback : public BaseAVIDecoder {
public:
    explicit DecodeAVerMediaUSBPlayback(const DecoderRow& row);

protected:
    void SetupCamera(PerCameraDatum& camera) override;
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t) override { return FourCCLE("lkz3"); }
    DecoderAction ListRecordingFiles() override;
    DecoderAction OnFilesListed(bool ok, FileList& listed) override;
    DecoderAction ProcessFileList(FileList& listed) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;
};

} // namespace Vorn::Vorncast::Decoders
