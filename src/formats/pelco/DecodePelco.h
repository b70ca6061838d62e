#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/QuickFrameItemList.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// The Pelco PNS file of one camera: JPEG key frames and, between them, update frames whose JPEG
// picture is a strip of 16 x 16 tiles that a list in front of it places in the picture. The index
// lies at the end of the file; each image block carries an inner header. A frame is made by
// walking from the key frame before it, and stepping forward decodes one frame.
class DecodePelco : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    SharedPicture SharePicture() override { return pictureGood ? picture : nullptr; }
    int32_t GetPreviousFrame(int32_t frame, int32_t) override;
    int32_t GetNextFrame(int32_t frame, int32_t) override;
    void GetCameras(uint8_t* mask) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }

    struct PelcoFrame {
        int64_t recordedTime;
        int64_t streamTime;
        uint32_t offset; // the tile list, or the JPEG image of a key frame
        uint32_t size;   // the JPEG image
        uint32_t flags;
        uint32_t tileCount;
    };

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    static constexpr uint32_t HeaderSize = 272;
    static constexpr uint32_t EntrySize = 12;
    static constexpr uint32_t BatchEntries = 128;

    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnHeader(ByteView header);
    DecoderAction ReadIndexBatch();
    DecoderAction OnIndexBatch(ByteView entries);
    DecoderAction ReadBlock();
    DecoderAction OnBlock(ByteView block);
    DecoderAction Finish();

    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(ByteView frame);
    bool ApplyTiles(ByteView update, uint32_t tileCount);
    std::vector<uint8_t>& WritablePicture();
    bool IsKeyFrame(int32_t frame) const { return (frames.ItemAt(frame).flags & 1) != 0; }

    QuickFrameItemList<PelcoFrame> frames;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint32_t imageCount = 0;
    uint32_t loadedEntries = 0;
    uint64_t firstImagePosition = 0;
    uint64_t indexPosition = 0;
    int64_t timeBase = 0;
    int32_t walkFrame = -1;
    uint16_t camera = 0;
    SharedPicture picture; // the running picture, shared with the samples that show it
    std::vector<uint8_t> tiles;
    bool pictureGood = false;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
