#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/decoder/FormatDecoder.h"
#include "core/framelists/TimeList.h"
#include "formats/shared/FolderFiles.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A folder of Cathexis recorder files: each holds JPEG images of several cameras in blocks on a
// 1024-byte grid, with no index. The load walks every file's blocks and sorts all frames by time;
// fetching keeps one file open for each camera.
class DecodeCathexis : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t camera) override;
    int32_t GetNextFrame(int32_t frame, int32_t camera) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override {
        return frames.IndexAtStreamTime(streamTime);
    }
    void GetCameras(uint8_t* mask) override;

    struct CathexisFrameInfo : FrameInfo {
        int32_t fileIndex;
        int8_t zoneHalfHours;
    };

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override { *camera = frames.GetAt(currentFrame).camera; }
    void ForgetRecording() override;
    DecoderAction LoadingCore() override;
    DecoderAction DecompressingCore() override;

private:
    class CathexisFrameInfoList : public BaseFrameInfoList<CathexisFrameInfo> {};
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
    CathexisFrameInfoList frames;
    OpenFile cameraFiles[MaxCameras];
    bool camerasSeen[MaxCameras] = {};
    int32_t fileCounter = 0;
    int32_t fileId = -1;
    uint64_t fileSize = 0;
    uint64_t position = 0;
    uint16_t fetchCamera = 0;
    uint32_t imageSize = 0;
    JpegDecoderScratch jpegScratch;
};

} // namespace Vorn::Vorncast::Decoders
