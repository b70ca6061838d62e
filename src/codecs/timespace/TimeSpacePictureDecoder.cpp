#include "codecs/timespace/TimeSpacePictureDecoder.h"

#include <atomic>

namespace Vorn::Vorncast::Decoders {

namespace {

std::atomic<TimeSpacePictureDecoder> installed = nullptr;

} // namespace

void SetTimeSpacePictureDecoder(TimeSpacePictureDecoder decoder) {
    installed = decoder;
}

TimeSpacePictureDecoder GetTimeSpacePictureDecoder() {
    return installed;
}

} // namespace Vorn::Vorncast::Decoders
