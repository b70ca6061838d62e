#pragma once

#include "codecs/jpeg/JpegCodec.h"
#include "core/client/DecoderRows.h"
#include "core/decoder/BaseDecoder.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/ReadBuffer.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// JPEG images anywhere inside any file, found by scanning it for start-of-image markers in blocks
// of 4096 bytes. The file holds no clock: frames are stepped by index and all their times are 0.
// The file stays open from load to unload.
class DecodeGenericJPEG : public BaseDecoder {
public:
    static constexpr uint32_t ScanBlockSize = 4096;

    DecodeGenericJPEG();

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override;
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;
    void GetCameras(uint8_t* mask) override;
    void Reset() override;
    const char* GetDecoderName() override { return "Generic JPEG"; }
    void GetDecoderGuid(const char** guid) override { *guid = "8923E98A-F163-4ae9-815A-FFB2D3FFF934"; }
    const char* GetExtensions(int32_t* count) override;
    // Any file may hold JPEG images.
    bool IsExtension(const char*) override { return true; }

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

    DecoderAction LoadingCore() override;
    void LoadingGetOpenName(char* name) override;
    DecoderAction LoadingOpenComplete(int32_t fileId, uint64_t fileSize) override;
    void LoadingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                  uint8_t** buffer) override;
    DecoderAction LoadingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction PositioningCore() override { return DDA_COMPLETE; }

    DecoderAction DecompressingCore() override { return DDA_READ; }
    void DecompressingGetReadParameters(int32_t* fileId, uint64_t* offset, uint32_t* size,
                                        uint8_t** buffer) override;
    DecoderAction DecompressingReadComplete(int32_t fileId, bool ok) override;

    DecoderAction UnloadingCore() override;
    void UnloadingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;

    DecoderAction FailingCore() override;
    void FailingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction FailingCloseComplete(int32_t fileId) override;

private:
    enum LoadingState : int32_t {
        LS_SCANNING = 0,
        LS_READING_FIRST_FRAME = 1,
    };

    DecoderAction ScanBlock();
    DecoderAction FinishScan();
    DecoderAction ReadFirstFrameHeader();
    // Hands the frame's range to the client, with the buffer grown to hold it.
    void ReadFrame(int32_t frame, int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer);

    int32_t fileId = -1;
    int64_t fileSize = 0;
    ReadBuffer readBuffer;
    FrameInfoList frameList;
    int32_t loadingState = LS_SCANNING;
    int64_t readOffset = 0;
    bool imageValid = false;
    JpegDecoderScratch jpegScratch;
};

BaseDecoder* CreateDecodeGenericJPEG(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
