#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FolderFiles.h"
#include "formats/shared/FrameListDecoder.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A frame of a Cathexis folder: the standard head, the file that holds it and its zone.
struct CathexisFrameInfo : FrameInfo {
    int32_t fileIndex;
    int8_t zoneHalfHours;
};
class CathexisFrameInfoList : public BaseFrameInfoList<CathexisFrameInfo> {};

// A folder of Cathexis recorder files: each holds JPEG images of several cameras in blocks on a
// 1024-byte grid, with no index. The load walks every file's blocks and sorts all frames by time;
// fetching keeps one file open for each camera.
class DecodeCathexis : public FrameListDecoder<CathexisFrameInfoList> {
public:
    using FrameListDecoder::FrameListDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;

protected:
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    // The file a camera's frames were last fetched from.
    struct OpenFile {
        int32_t fileId = -1;
        int32_t fileIndex = -1;
    };
    static constexpr uint32_t HeaderSize = 1024;
    static constexpr uint32_t BlockHeaderSize = 128;

    DecoderAction OnListed(bool ok, FileList& listed);
    DecoderAction OpenNextFile();
    DecoderAction OnOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction OnFileHeader(ByteView header);
    DecoderAction ReadBlockHeader();
    DecoderAction OnBlockHeader(ByteView block);
    DecoderAction OnFileDone(int32_t fileId);
    DecoderAction Finish();

    DecoderAction OnFetchClosed(int32_t fileId);
    DecoderAction OpenFetchFile();
    DecoderAction OnFetchOpened(int32_t fileId, uint64_t fileSize);
    DecoderAction ReadCurrentFrame();
    DecoderAction OnFrame(ByteView jpeg);

    FolderFiles folderFiles;
    OpenFile cameraFiles[MaxCameras];
    int32_t fileCounter = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t position = 0;
    uint16_t fetchCamera = 0;
    uint32_t imageSize = 0;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
