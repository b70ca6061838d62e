#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "formats/shared/GenericFileDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// JPEG images anywhere inside any file, found by scanning it for start-of-image markers in blocks
// of 4096 bytes. The file holds no clock: frames are stepped by index and all their times are 0.
// The file stays open from load to unload.
class DecodeGenericJPEG : public ScannedFileDecoder {
public:
    static constexpr uint32_t ScanBlockSize = 4096;

    using ScannedFileDecoder::ScannedFileDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnBlock(ByteView bytes);
    DecoderAction FinishScan();
    DecoderAction OnFirstFrame(ByteView bytes);
    DecoderAction OnFrame(ByteView bytes);

    bool imageValid = false;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
