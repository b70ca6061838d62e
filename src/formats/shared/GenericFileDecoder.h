#pragma once

#include "core/decoder/FormatDecoder.h"
#include "core/framelists/FrameInfoList.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// What the generic decoders share: one file open at a time and frames stepped by index.
class GenericFileDecoder : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    int32_t GetFrameAtOrBefore(int32_t frame, int32_t cameraFilter) override {
        return GetPreviousFrame(frame + 1, cameraFilter);
    }
    int32_t GetPreviousFrame(int32_t frame, int32_t cameraFilter) override;
    int32_t GetNextFrame(int32_t frame, int32_t cameraFilter) override;

protected:
    DecoderAction PositioningCore() override { return DDA_COMPLETE; }

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

    // Resets, reports no progress yet and opens the loaded path for `opened`.
    template <class Unit> DecoderAction OpenLoadedFile(OpenStep<Unit> opened, const char* failure) {
        Reset();
        ReportProgress(0.0);
        return Open(loadName, opened, failure);
    }
    // Reads the file range of `frame` for `step`; an empty read for a frame outside the list.
    template <class Unit> DecoderAction ReadFrame(int32_t frame, ReadStep<Unit> step, const char* failure) {
        const FrameInfo* record = frameList.RecordAt(frame);
        return Read(fileId, record != nullptr ? record->offset : 0, record != nullptr ? record->size : 0,
                    step, failure);
    }

    FrameInfoList frameList;
};

} // namespace Vorn::Vorncast::Decoders
