#pragma once

#include "core/decoder/FormatDecoder.h"
#include "core/framelists/FrameInfoList.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// What the generic decoders share: one file open at a time and frames stepped by index.
class GenericFileDecoder : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;

protected:
    // The file the last open gave, which the steps read.
    void TakeFile(int32_t newFileId, uint64_t newFileSize) {
        fileId = newFileId;
        fileSize = static_cast<int64_t>(newFileSize);
    }
    void ForgetFile() { TakeFile(-1, 0); }

    int32_t fileId = -1;
    int64_t fileSize = 0;
};

// A generic decoder of any file, whose frames it finds by scanning the file and keeps in a frame
// list. The file stays open from load to unload. Chosen by hand only: with no extension of its
// own, every file passes its query.
class ScannedFileDecoder : public GenericFileDecoder {
public:
    using GenericFileDecoder::GenericFileDecoder;

    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    void GetCameras(uint8_t* mask) override;
    bool IsExtension(const char*) override { return true; }

protected:
    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

    // Resets, reports no progress yet, opens the loaded path and reads it from the start in blocks
    // of `blockSize` bytes (the last one shorter), each for `onBlock`, which asks for the next
    // with ReadNextBlock once it has advanced `scanOffset`.
    template <class Unit>
    DecoderAction ScanLoadedFile(uint32_t blockSize, ReadStep<Unit> onBlock, const char* openFailure,
                                 const char* readFailure) {
        Reset();
        ReportProgress(0.0);
        scan = {blockSize, static_cast<ReadStep<FormatDecoder>>(onBlock), readFailure};
        return Open(loadName, &ScannedFileDecoder::OnScanOpened, openFailure);
    }
    DecoderAction ReadNextBlock();
    // Reads the file range of `frame` for `step`; an empty read for a frame outside the list.
    template <class Unit> DecoderAction ReadFrame(int32_t frame, ReadStep<Unit> step, const char* failure) {
        const FrameInfo* record = frameList.RecordAt(frame);
        return Read(fileId, record != nullptr ? record->offset : 0, record != nullptr ? record->size : 0,
                    step, failure);
    }

    FrameInfoList frameList;
    int64_t scanOffset = 0;

private:
    struct Scan {
        uint32_t blockSize = 0;
        ReadStep<FormatDecoder> onBlock = nullptr;
        const char* readFailure = nullptr;
    };

    DecoderAction OnScanOpened(int32_t fileId, uint64_t fileSize);

    Scan scan;
};

} // namespace Vorn::Vorncast::Decoders
