#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/CameraInfoList.h"
#include "core/framelists/FrameInfoList.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Viseum Evidence Locker files: after "VIS1", a walk of chunks (tag, size) with camera lists in
// "LIST"/"CAMI" chunks, JPEG pictures in chunks of their own, and an index list ("LIST"/"INDX" of
// "IDX1" entries) that a "HINT" chunk in the last 12 bytes points at.
class DecodeViseum : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    void GetCameras(uint8_t* mask) override;

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction QueryingCore() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    static constexpr uint32_t ChunkHeadSize = 12;
    static constexpr uint32_t EntrySize = 28;

    DecoderAction OnQueryOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnQueryMagic(ByteView magic);
    DecoderAction OnQueryClosed(int32_t) { return DDA_COMPLETE; }

    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnMagic(ByteView magic);
    DecoderAction WalkChunks();
    DecoderAction OnChunkHead(ByteView head);
    DecoderAction OnCameraList(ByteView body);
    DecoderAction ReadHint();
    DecoderAction OnHint(ByteView hint);
    DecoderAction OnIndexHead(ByteView head);
    DecoderAction OnIndex(ByteView body);
    DecoderAction OnFirstFrame(ByteView chunk);
    DecoderAction OnFrame(ByteView jpeg);

    FrameInfoList frames;
    CameraInfoList cameras;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t position = 0;
    uint64_t indexOffset = 0;
    uint32_t indexSize = 0;
    uint32_t imageSize = 0;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
