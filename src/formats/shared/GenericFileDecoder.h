#pragma once

#include "core/decoder/BaseDecoder.h"
#include "core/framelists/FrameInfoList.h"
#include "formats/shared/ReadBuffer.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// What the generic decoders share: one file open at a time, a grow-only read buffer, frames
// stepped by index, and the file closed when the decoder unloads or fails. Each subclass's Reset
// forgets the file along with its own state.
class GenericFileDecoder : public BaseDecoder {
public:
    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override {
        return GetPreviousFrame(frame + 1, cameraFilter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;

protected:
    DecoderAction PositioningCore() override { return DDA_COMPLETE; }

    DecoderAction UnloadingCore() override;
    void UnloadingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction UnloadingCloseComplete(int32_t fileId) override;

    DecoderAction FailingCore() override;
    void FailingGetFileToClose(int32_t* fileId) override { *fileId = this->fileId; }
    DecoderAction FailingCloseComplete(int32_t fileId) override;

    // Keeps the file the client opened, also when its size is refused, so that failing closes
    // it. An open that failed (identifier -1) or an empty file logs `failure` and fails.
    DecoderAction TakeOpenedFile(int32_t newFileId, uint64_t newFileSize, const char* failure);
    void ForgetFile();
    // The whole open file as one read into the buffer.
    void ReadWholeFile(int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer);

    int32_t fileId = -1;
    int64_t fileSize = 0;
    ReadBuffer readBuffer;
};

// A generic decoder of any file, whose frames it finds by scanning the file and keeps in a frame
// list. The file stays open from load to unload. Chosen by hand only: with no extension of its
// own, every file passes its query.
class ScannedFileDecoder : public GenericFileDecoder {
public:
    ScannedFileDecoder();

    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    void GetCameras(uint8_t* mask) override;
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char*) override { return true; }

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

    // Resets, reports no progress yet and opens the loaded path.
    DecoderAction LoadingCore() override;
    void LoadingGetOpenName(char* name) override;

    DecoderAction DecompressingCore() override { return DDA_READ; }

    // The file range of `frame` as the next read, with the buffer grown to hold it; an empty read
    // for a frame outside the list.
    void ReadFrame(int32_t frame, int32_t* fileId, uint64_t* offset, uint32_t* size, uint8_t** buffer);

    FrameInfoList frameList;
};

} // namespace Vorn::Vorncast::Decoders
