#pragma once

#include "core/framelists/TimeList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a TimeSpace X100 file: the standard head with its size in 512-byte sectors and its
// camera counted from 1, and the position of its camera's key frame (-1 before the first).
struct TimeSpaceX100FrameInfo : FrameInfo {
    int32_t keyFrame;
};
class TimeSpaceX100FrameList : public BaseFrameInfoList<TimeSpaceX100FrameInfo> {};

// The "oba" file of the TimeSpace X100 recorder: a directory of key frames (with their DOS times)
// and, in 512-byte sectors, the frames of up to 15 cameras, each a header and a picture update. The
// load walks every frame header and gives each frame a time between the key frames around it; a
// camera's picture is built from its key frame with the camera's later frames applied on top, and
// the key and the latest picture of each camera are kept between fetches.
class DecodeTimeSpaceX100 : public FrameListDecoder<TimeSpaceX100FrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override;
    DecoderAction DecompressingCore() override;

private:
    struct KeyFrame {
        int64_t time;
        uint32_t offset;
        uint32_t size;
        uint32_t sequence;
        int32_t framePosition;
        int64_t step; // ticks from one frame to the next up to the next key frame
    };
    // A picture of a camera and the frame it shows, -1 when none.
    struct Picture {
        int32_t frame = -1;
        std::vector<uint8_t> pixels;
    };
    static constexpr int32_t Width = 624;
    static constexpr int32_t Height = 468;
    static constexpr int32_t MaxCamera = 15;
    static constexpr uint32_t SectorSize = 512;
    static constexpr uint32_t FrameHeaderSize = 24;

    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnDirectoryHeader(ByteView header);
    DecoderAction OnDirectory(bool ok, ByteView directory);
    DecoderAction ReadFrameHeader();
    DecoderAction OnFrameHeader(ByteView header);
    DecoderAction TimeFrames();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);

    DecoderAction ReadFrame(int32_t frame, bool intoKey);
    DecoderAction ApplyNextFrame(int32_t after);
    DecoderAction OnFrame(ByteView frame);

    std::vector<KeyFrame> keyFrames;
    int32_t latestKey[MaxCamera + 1] = {};
    Picture keyPictures[MaxCamera + 1];
    Picture currentPictures[MaxCamera + 1];
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t framesEnd = 0;
    uint64_t position = 0;
    // The frame being applied and whether it goes to the key picture.
    int32_t decoding = -1;
    bool decodingKey = false;
};

} // namespace Vorn::Vorncast::Decoders
