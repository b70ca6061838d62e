#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders {

struct FaiveleyFrameInfo : FrameInfo {};
class FaiveleyFrameInfoList : public BaseFrameInfoList<FaiveleyFrameInfo> {};

// A Faiveley X Track disk image (.arc): 512-byte sectors, a parameter header, a camera table and
// a site record whose texts are stored with each pair of bytes swapped, and frames that each start
// on a sector with a 128-byte head in front of a JPEG scan, itself swapped in some recordings. The
// scans are decoded behind the common 623-byte header, its tables scaled by the recording's
// compression.
class DecodeFaiveley : public FrameListDecoder<FaiveleyFrameInfoList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnParameters(ByteView bytes);
    DecoderAction OnCameraTable(ByteView bytes);
    DecoderAction OnSiteRecord(ByteView bytes);
    DecoderAction ReadSector();
    DecoderAction OnSector(ByteView bytes);
    DecoderAction Finish();
    DecoderAction OnFrame(ByteView bytes);

    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint32_t parameters[6] = {};
    uint64_t position = 0;
    std::string siteName;
    std::vector<std::string> cameraTexts;
    bool swapped = false;
    bool hasSubSeconds = false;
    uint8_t compression = 0;
    uint8_t imageType = 0;
    int32_t quality = 0;
    // Fetching: the header and the frame's scan behind it.
    std::vector<uint8_t> jpeg;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
