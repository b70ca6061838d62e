#include "formats/shared/GenericFileDecoder.h"

#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"

#include <cstdio>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t LogFailure = 0;

} // namespace

int32_t GenericFileDecoder::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, totalFrames);
}

int32_t GenericFileDecoder::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, totalFrames);
}

DecoderAction GenericFileDecoder::TakeOpenedFile(int32_t newFileId, uint64_t newFileSize,
                                                 const char* failure) {
    fileId = newFileId;
    if (newFileId == -1 || newFileSize == 0) {
        Log(LogFailure, "%s", failure);
        return DecoderFailure();
    }
    fileSize = static_cast<int64_t>(newFileSize);
    return DDA_READ;
}

void GenericFileDecoder::ForgetFile() {
    fileId = -1;
    fileSize = 0;
}

void GenericFileDecoder::ReadWholeFile(int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                       uint8_t** buffer) {
    *outFileId = fileId;
    *offset = 0;
    *size = static_cast<uint32_t>(fileSize);
    readBuffer.Resize(*size);
    *buffer = readBuffer.Data();
}

DecoderAction GenericFileDecoder::UnloadingCore() {
    if (fileId != -1) {
        return DDA_CLOSE;
    }
    Reset();
    return DDA_COMPLETE;
}

DecoderAction GenericFileDecoder::UnloadingCloseComplete(int32_t) {
    Reset();
    return DDA_COMPLETE;
}

DecoderAction GenericFileDecoder::FailingCore() {
    if (fileId != -1) {
        return DDA_CLOSE;
    }
    Reset();
    return DDA_NO_ACTION;
}

DecoderAction GenericFileDecoder::FailingCloseComplete(int32_t) {
    ForgetFile();
    return DecoderFailure();
}

ScannedFileDecoder::ScannedFileDecoder() {
    // Every file passes the query, so the decoder is only used when chosen by hand.
    infoFlagD = 1;
}

const char* ScannedFileDecoder::GetExtensions(int32_t* count) {
    *count = 0;
    return "";
}

DecoderAction ScannedFileDecoder::LoadingCore() {
    Reset();
    ReportProgress(0.0);
    return DDA_OPEN;
}

void ScannedFileDecoder::LoadingGetOpenName(char* name) {
    std::snprintf(name, MaxPathLength, "%s", loadName);
}

void ScannedFileDecoder::ReadFrame(int32_t frame, int32_t* outFileId, uint64_t* offset, uint32_t* size,
                                   uint8_t** buffer) {
    const FrameInfo* record = frameList.RecordAt(frame);
    *outFileId = fileId;
    *offset = record != nullptr ? record->offset : 0;
    *size = record != nullptr ? record->size : 0;
    readBuffer.Resize(*size);
    *buffer = readBuffer.Data();
}

FrameTimes ScannedFileDecoder::GetFrameTimes() {
    return TimesOfFrame(frameList.GetAt(currentFrame));
}

void ScannedFileDecoder::GetFrameCamera(CameraTag* camera) {
    *camera = frameList.GetAt(currentFrame).camera;
}

int32_t ScannedFileDecoder::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return frameList.IndexAtStreamTime(streamTime);
}

void ScannedFileDecoder::GetCameras(uint8_t* mask) {
    MarkFrameCameras(frameList, mask);
}

} // namespace Vorn::Vorncast::Decoders
