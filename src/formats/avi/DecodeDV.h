#pragma once

#include "codecs/video/IppDecoderDV25.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FrameListDecoder.h"

namespace Vorn::Vorncast::Decoders {

// A raw DV file: PAL DIF frames of 144000 bytes one behind the other, each dated by its subcode.
class DecodeDV : public FrameListDecoder<FrameInfoList, false> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;
    DecoderAction FailingCloseComplete(int32_t fileId) override;

private:
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadNextFrame();
    DecoderAction OnFrame(bool ok, ByteView bytes);
    DecoderAction Finish();
    DecoderAction OnFrameRead(ByteView bytes);

    int32_t fileId = -1;
    uint64_t frameCount = 0;
    IppDecoderDV25 dvDecoder;
    uint32_t imageBytes = 0;
};

} // namespace Vorn::Vorncast::Decoders
