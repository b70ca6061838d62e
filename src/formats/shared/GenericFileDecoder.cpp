#include "formats/shared/GenericFileDecoder.h"

#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"

namespace Vorn::Vorncast::Decoders {

int32_t GenericFileDecoder::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, totalFrames);
}

int32_t GenericFileDecoder::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, totalFrames);
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
