#pragma once

#include "codecs/video/IppDecoderMPEG4.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/QuickFrameItemList.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace Vorn::Vorncast::Decoders {

// One camera's MPEG-4 export of a Pelco Endura recorder: a chain of tagged sections, one "vdat" a
// frame, then the metadata sections "mnhd" (camera name), "vtok", "vdcl" (codec and picture size),
// "ifof" (key frames) and "siof". There is no frame index: each frame's time is read from the
// recorder's user data block at the tail of its section. A frame is decoded by walking from its
// key frame, and the walk goes on from the last decoded frame when that lies on the way, so that
// stepping forward decodes one frame.
class DecodePelcoEndura : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    uint64_t GetFramePeriod() override;

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override { *camera = cameraTag; }
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct EnduraFrame {
        int64_t recordedTime;
        int64_t streamTime;
        uint32_t offset;
        uint32_t size;
        int32_t keyFrame; // the frame this one decodes from, -1 for none
        int32_t timeOffset;
    };
    using EnduraFrameList = QuickFrameItemList<EnduraFrame>;
    // A metadata section that the load expects, what it reads of it, and what must follow it.
    struct MetadataStep {
        // The failure of the section, or nothing when the load goes on.
        std::optional<DecoderAction> (DecodePelcoEndura::*parse)(ByteView payload);
        uint32_t nextTag;
        const char* unexpectedNext;
    };
    static const MetadataStep MetadataSteps[];

    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadForLoad(uint64_t offset, uint32_t size, ReadStep<DecodePelcoEndura> step);
    DecoderAction OnFirstHeader(ByteView header);
    DecoderAction ReadFrameTail();
    DecoderAction OnFrameTail(ByteView tail);
    std::optional<DecoderAction> AddFrame(ByteView tail, size_t userData);
    DecoderAction ReadMetadata();
    DecoderAction OnMetadata(ByteView section);
    std::optional<DecoderAction> ParseCameraName(ByteView payload);
    std::optional<DecoderAction> ParseNothing(ByteView) { return std::nullopt; }
    std::optional<DecoderAction> ParseCodec(ByteView payload);
    std::optional<DecoderAction> ParseKeyFrames(ByteView payload);
    DecoderAction FinishIndex();
    DecoderAction OnFirstFrame(ByteView frame);
    // Takes the section header at the end of `bytes` as the next one; false when it would not fit
    // in the file with a header behind it.
    bool TakeNextSection(ByteView bytes);

    DecoderAction ReadWalkFrame();
    DecoderAction OnWalkFrame(ByteView frame);

    EnduraFrameList frames;
    CameraTag cameraTag = {};
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t sectionPosition = 0;
    uint32_t sectionSize = 0;
    uint32_t sectionTag = 0;
    uint32_t tailSize = 0;
    size_t metadataStep = 0;
    int32_t decodedFrame = -1;
    int32_t walkFrame = -1;
    std::unique_ptr<uint8_t[]> picture;
    int32_t pictureSize = 0;
    IppDecoderMPEG4 mpeg4;
};

} // namespace Vorn::Vorncast::Decoders
