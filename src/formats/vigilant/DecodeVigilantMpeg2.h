#pragma once

#include "codecs/video/IppDecoderMPEG2.h"
#include "core/decoder/FormatDecoder.h"
#include "formats/shared/ReferencePictures.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A picture of the stream in coded order: the time of its group, where its bytes lie and its kind.
struct Mpeg2FrameInfo {
    int64_t recordedTime;
    int64_t streamTime;
    uint64_t offset;
    uint32_t size;
    PictureKind type;
};

// An MPEG-2 video elementary stream exported by a Vigilant recorder: a camera name and a time zone
// in the user data behind the sequence header, and the time of each group of pictures in the user
// data behind its group start code. There is no index: the load scans the whole file for start
// codes with a small machine of expected codes. Frames are numbered in display order; fetching
// decodes forward from the nearest references.
class DecodeVigilantMpeg2 : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    uint64_t GetFramePeriod() override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;
    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

private:
    enum ScanState {
        MS_SEQUENCE_HEADER_EXPECTED,
        MS_FIRST_USER_DATA_EXPECTED,
        MS_FIRST_GROUP_EXPECTED,
        MS_USER_DATA_EXPECTED,
        MS_PICTURE_START_EXPECTED,
        MS_SLICE_START_EXPECTED,
        MS_GROUP_OR_PICTURE_START_EXPECTED,
    };

    DecoderAction OnOpened(int32_t newFileId, uint64_t newFileSize);
    DecoderAction ReadNextChunk();
    DecoderAction OnChunk(ByteView bytes);
    // Scans start codes up to `limit` in the scan buffer; false after logging why the stream is refused.
    bool ScanTo(size_t limit);
    bool OnStartCode(uint8_t code, size_t codeAt);
    bool OnSequenceHeader(size_t codeAt);
    void ReadFirstUserData(ByteView data);
    void StartPicture(size_t codeAt);
    void ClosePicture(uint64_t end);
    DecoderAction Finish();
    void AssignGroupStreamTimes();
    FrameTimes TimesOf(const Mpeg2FrameInfo& frame) const;

    DecoderAction FetchFrom(int32_t frame);
    DecoderAction OnPicture(ByteView bytes);
    DecoderAction Delivered(uint8_t* picture, bool good);
    PictureKind KindOf(int32_t frame) const { return frames[static_cast<size_t>(frame)].type; }

    std::vector<Mpeg2FrameInfo> frames;
    std::vector<int32_t> displayMap;
    std::vector<uint8_t> scan;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t readPosition = 0;
    uint64_t bufferStart = 0; // file position of the scan buffer's first byte
    size_t filled = 0;
    size_t scanPos = 0;
    ScanState state = MS_SEQUENCE_HEADER_EXPECTED;
    int64_t groupTime = 0;
    int64_t pictureOffset = -1;
    PictureKind pictureType = PictureKind::Other;
    int32_t anchorsSeen = 0;
    uint32_t largestPicture = 0;
    CameraTag camera{};
    int32_t biasMinutes = 0;

    IppDecoderMPEG2 decompressor;
    ReferencePictures references;
    int32_t decodedFrame = -1; // the coded frame whose picture `picture` is
    int32_t targetFrame = -1;
    int32_t fetchFrame = -1;
    uint8_t* picture = nullptr;
    bool imageGood = false;
};

} // namespace Vorn::Vorncast::Decoders
