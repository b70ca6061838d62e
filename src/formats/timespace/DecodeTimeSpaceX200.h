#pragma once

#include "core/framelists/TimeList.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A frame of a TimeSpace X200 file set: the standard head (offset of its XBAFRAME header, size of
// what follows the header), its kind and second word, its camera's key frame and its file.
struct TimeSpaceX200FrameInfo : FrameInfo {
    int32_t kind;
    uint32_t secondWord;
    int32_t keyFrame;
    int32_t fileIndex;
};
class TimeSpaceX200FrameList : public BaseFrameInfoList<TimeSpaceX200FrameInfo> {};

// The "xba" files of the TimeSpace X200 recorder: runs of 64-byte XBAFRAME headers, each followed by
// a frame (camera, second word, compressed data), a block to pass over or something else. A
// camera's frames are decoded one after the other against the camera's reference picture.
class DecodeTimeSpaceX200 : public FrameListDecoder<TimeSpaceX200FrameList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    static constexpr int32_t Width = 720;
    static constexpr int32_t Height = 288;
    static constexpr int32_t MaxCamera = 16;
    static constexpr uint32_t ReferenceSize = 640000;
    static constexpr uint32_t HeaderSize = 64;

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OpenNextFile();
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadRecordHeader();
    DecoderAction OnRecordHeader(bool ok, ByteView header);
    DecoderAction OnFrameWords(bool ok, ByteView words);
    DecoderAction OnPassedBlock(bool ok, ByteView block);
    DecoderAction EndFile();
    DecoderAction OnFileClosed(int32_t fileId);
    DecoderAction Finish();

    int32_t StartFrame(int32_t frame);
    DecoderAction FetchStep();
    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFrame(ByteView data);

    FolderFiles folderFiles;
    bool listedNothing = false;
    int32_t fileCounter = 0;
    int32_t fileId = -1;
    int32_t fileIndex = -1; // of the open file
    uint64_t fileSize = 0;
    uint64_t searchOffset = 0;
    uint64_t passSize = 0;
    int32_t latestKey[MaxCamera] = {};
    int32_t firstKey[MaxCamera] = {};
    int32_t lastDecoded[MaxCamera] = {};
    std::vector<uint8_t> references[MaxCamera];
    std::vector<uint8_t> picture;
    int32_t decoding = -1;
    bool goodPicture = false;
};

} // namespace Vorn::Vorncast::Decoders
