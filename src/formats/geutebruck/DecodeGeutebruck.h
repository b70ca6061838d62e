#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a Geutebruck file: the standard head and the mode byte that scales its tables.
struct GeutebruckFrameInfo : FrameInfo {
    uint8_t mode;
};
class GeutebruckFrameInfoList : public BaseFrameInfoList<GeutebruckFrameInfo> {};

// A Geutebruck .mbf file: a directory of run-length packed entries (frames and camera names)
// behind a cluster head, and JPEG scans without their header, to which the decoder puts a fixed
// 704 x 288 header whose tables the frame's mode byte scales.
class DecodeGeutebruck : public FrameListDecoder<GeutebruckFrameInfoList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFileHeader(ByteView bytes);
    DecoderAction OnDirectoryHead(ByteView bytes);
    DecoderAction OnClusterHead(ByteView bytes);
    DecoderAction ReadDirectory();
    DecoderAction OnDirectoryWindow(ByteView bytes);
    void AddEntry(uint8_t entryType, ByteView packed);
    DecoderAction Finish();
    DecoderAction OnFrame(ByteView bytes);

    struct CameraName {
        uint32_t number;
        char name[CameraNameLength];
    };

    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint32_t clusterOffset = 0;
    uint64_t directoryBytes = 0;
    uint64_t directoryDone = 0;
    uint64_t position = 0;
    uint32_t window = 0;
    std::vector<uint8_t> unpacked;
    std::vector<CameraName> cameraNames;
    // Fetching: the fixed header and the frame's scan behind it.
    std::vector<uint8_t> jpeg;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
