#pragma once

#include "formats/avi/BaseAVIDecoder.h"

#include <vector>

namespace Vorn::Vorncast::Decoders {

// Southeastern MPEG-4 recorders: DivX AVI files of one recording share eight characters of their
// names; a "txts" stream of 420-byte records gives the camera's name and the time of the video
// frames behind each record. Key frames are found from the pictures themselves.
class DecodeBTPDivX : public BaseAVIDecoder {
public:
    explicit DecodeBTPDivX(const DecoderRow& row);

protected:
    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t) override { return FourCCLE("lkz3"); }
    bool ValidateAVIStreams() override;
    DecoderAction ListRecordingFiles() override;
    DecoderAction ProcessFileList(FileList& listed) override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;

private:
    // A metadata record: where it lies, and the time and name it gives.
    struct Record {
        uint64_t offset;
        int64_t time;
        char name[9];
    };
    int32_t VideoFrameCount();
    DecoderAction MarkKeyFrame(ByteView bytes);
    DecoderAction ReadRecord(ByteView bytes);
    void TagVideoFrames();

    std::vector<Record> records;
};

} // namespace Vorn::Vorncast::Decoders
