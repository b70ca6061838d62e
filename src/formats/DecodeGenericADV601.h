#pragma once

#include "codecs/adv601/ADV601Decoder.h"
#include "formats/shared/GenericFileDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// ADV601 wavelet fields anywhere inside any file, found by scanning it in blocks of 1024 bytes
// for the start-of-field delimiter: an all-ones word followed by a field type word, in either
// word order, on a four-byte file position. Fields are 720 x 288; the file holds no clock, so the
// frames are spread 40 ms apart. The file stays open from load to unload.
class DecodeGenericADV601 : public ScannedFileDecoder {
public:
    static constexpr uint32_t ScanBlockSize = 1024;
    // Larger gaps between two delimiters are clamped to this and do not count as good frames.
    static constexpr uint32_t MaxFrameSize = 0x144000;
    // A stream must hold more good frames than this to load.
    static constexpr int32_t MinGoodFrames = 3;

    using ScannedFileDecoder::ScannedFileDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    // Steps through the frame list itself.
    int32_t GetPreviousFrame(int32_t frame, int32_t) override { return frameList.PreviousIndex(frame); }
    int32_t GetNextFrame(int32_t frame, int32_t) override { return frameList.NextIndex(frame); }

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnBlock(ByteView block);
    void ScanBlock(ByteView block);
    DecoderAction FinishScan();
    // Sizes every frame up to the next one, clamping oversized gaps; the number of good frames.
    int32_t SizeFrames();
    DecoderAction OnFrame(ByteView field);

    // The last word of the previous block was all ones: a delimiter may span two blocks.
    bool previousWordAllOnes = false;
    uint32_t fetchedSize = 0;
    bool imageValid = false;
    ADV601Decoder fieldDecoder;
};

} // namespace Vorn::Vorncast::Decoders
