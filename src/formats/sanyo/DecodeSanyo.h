#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <string>

namespace Vorn::Vorncast::Decoders {

// A frame of a Sanyo recording: the standard head, the second value of its record and the number
// of the image file that holds it.
struct SanyoFrameInfo : FrameInfo {
    uint32_t extra;
    uint32_t imageNumber;
};
class SanyoFrameInfoList : public BaseFrameInfoList<SanyoFrameInfo> {};

// A Sanyo recorder's tree: an index (INFO/<name>.inf) of 16-byte records with time, camera and
// image number, and the images, one JPEG or JPEG 2000 file each, 200 to a numbered folder.
class DecodeSanyo : public FrameListDecoder<SanyoFrameInfoList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    DecoderAction OnImagesListed(bool ok, FileList& listed);
    DecoderAction OnIndexOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnIndex(ByteView bytes);
    DecoderAction OnIndexClosed(int32_t fileId);
    DecoderAction OnFirstImageOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstImage(ByteView bytes);
    DecoderAction Finish(int32_t fileId);
    const char* ImagePath(uint32_t imageNumber);

    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenFetchImage();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFetchImage(ByteView bytes);

    std::string root;
    std::string indexPath;
    bool jpeg2000 = false;
    char path[MaxPathLength] = {};
    int32_t fileId = -1;
    // Fetching: the image held in the read buffer, and its size.
    int64_t heldImage = -1;
    uint32_t heldSize = 0;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
