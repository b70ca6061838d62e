#include "formats/shared/GenericFileDecoder.h"

#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

int32_t GenericFileDecoder::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, totalFrames);
}

int32_t GenericFileDecoder::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, totalFrames);
}

DecoderAction ScannedFileDecoder::OnScanOpened(int32_t newFileId, uint64_t newFileSize) {
    TakeFile(newFileId, newFileSize);
    scanOffset = 0;
    return ReadNextBlock();
}

DecoderAction ScannedFileDecoder::ReadNextBlock() {
    ReportProgress(static_cast<double>(scanOffset) / static_cast<double>(fileSize));
    auto size = static_cast<uint32_t>(std::min<int64_t>(scan.blockSize, fileSize - scanOffset));
    return Read(fileId, static_cast<uint64_t>(scanOffset), size, scan.onBlock, scan.readFailure);
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
