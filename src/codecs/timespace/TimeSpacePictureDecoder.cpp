#include "codecs/timespace/TimeSpacePictureDecoder.h"

#include <atomic>

namespace Vorn::Vorncast::Decoders {

namespace {

std::atomic<TimeSpacePictureDecoder> installed = nullptr;
std::atomic<TimeSpaceFrameDecoder> installedFrameDecoder = nullptr;

} // namespace

void SetTimeSpacePictureDecoder(TimeSpacePictureDecoder decoder) {
    installed = decoder;
}

TimeSpacePictureDecoder GetTimeSpacePictureDecoder() {
    return installed;
}

void SetTimeSpaceFrameDecoder(TimeSpaceFrameDecoder decoder) {
    installedFrameDecoder = decoder;
}

TimeSpaceFrameDecoder GetTimeSpaceFrameDecoder() {
    return installedFrameDecoder;
}

} // namespace Vorn::Vorncast::Decoders
