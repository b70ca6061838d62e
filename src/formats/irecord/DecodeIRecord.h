#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListQueries.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A folder of iRecord files, each named after the minute its recording began (yyyyMMddhhmm.mjp),
// in which every JPEG picture follows a text line with its time and size.
class DecodeIRecord : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t) override;
    int32_t GetNextFrame(int32_t frame, int32_t) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }

protected:
    FrameTimes GetFrameTimes() override { return TimesOfFrame(frames.GetAt(currentFrame)); }
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    static constexpr uint32_t BlockSize = 64;

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OpenFile(int32_t index);
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadBlock();
    DecoderAction OnBlock(ByteView block);
    DecoderAction OnFileDone(int32_t fileId);
    DecoderAction OnFirstFileOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFirstFrame(ByteView jpeg);

    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenFetchFile();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadCurrentFrame();
    DecoderAction OnFrame(ByteView jpeg);

    FolderFiles folderFiles;
    MultiFileFrameInfoList frames;
    int32_t fileIndex = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t readOffset = 0;
    std::vector<uint8_t> picture;
    bool imageValid = false;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
