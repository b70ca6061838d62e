#include "formats/avi/DecodeCieffeLinearis.h"

#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr char TrailerMark[] = "/INSIGNIS";
constexpr uint32_t TrailerMarkBytes = sizeof(TrailerMark) - 1;

} // namespace

int32_t CieffeCameraNumber(const char* name) {
    int32_t number = 0;
    int32_t weight = 1;
    for (size_t at = std::strlen(name); at-- > 0;) {
        if (name[at] >= '0' && name[at] <= '9') {
            number += (name[at] - '0') * weight;
            weight += 10;
        }
    }
    return number;
}

void DecodeCieffeLinearis::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    searchPosition = 0;
    searchLimit = 0;
}

bool DecodeCieffeLinearis::ValidateFourCC(uint32_t code) {
    return code == FourCCLE("mp43") || code == FourCCLE("MP43");
}

// The search starts 9 bytes before the end and may not pass the end of the last frame.
void DecodeCieffeLinearis::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    if (metaIndex == 0) {
        AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
        const AVIMultiFileFrameInfo last = frames != nullptr && frames->Count() > 0
                                               ? frames->GetAt(frames->Count() - 1)
                                               : AVIMultiFileFrameInfo{};
        searchLimit = last.offset + last.size;
        searchPosition = currentFileSize >= TrailerMarkBytes ? currentFileSize - TrailerMarkBytes : 0;
        metaIndex = 1;
    }
    *offset = searchPosition;
    *size = TrailerMarkBytes;
}

DecoderAction DecodeCieffeLinearis::ProcessMetaData(ByteView bytes) {
    if (bytes.Matches(0, TrailerMark)) {
        std::string name = CurrentFileName();
        name = name.substr(0, name.find('.'));
        SetCurrentFileCamera(CieffeCameraNumber(CurrentFileName()), name.c_str());
        return DDA_NO_ACTION;
    }
    if (searchPosition == 0 || --searchPosition < searchLimit) {
        return Fail("DecodeCieffeLinearis: Decode Failure (couldn't find)\n");
    }
    return DDA_READ;
}

// The recorder's clock is not kept: only the stream time is given.
FrameTimes DecodeCieffeLinearis::GetFrameTimes() {
    FrameTimes times = BaseAVIDecoder::GetFrameTimes();
    times.recordedTime = 0;
    return times;
}

} // namespace Vorn::Vorncast::Decoders
