#include "formats/avi/DecodeOmniVisionOVR2200.h"

#include "core/time/Ticks.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t DateForm = 19;  // "yyyy-mm-dd hh:mm:ss"
constexpr size_t NamedForm = 55; // "CAMERA=name ... RECORDTYPE=... TIME=yyyymmddhhmmss"

// `count` digits at `at`; -1 when one is no digit.
int32_t Number(std::string_view text, size_t at, size_t count) {
    int32_t value = 0;
    for (size_t index = at; index < at + count; ++index) {
        if (index >= text.size() || text[index] < '0' || text[index] > '9') {
            return -1;
        }
        value = value * 10 + (text[index] - '0');
    }
    return value;
}

// Year, month, day, hour, minute, second from the digits at the six places given.
bool ReadDate(std::string_view text, const size_t (&places)[6], int64_t* ticks) {
    const int32_t year = Number(text, places[0], 4);
    int32_t field[5];
    for (size_t index = 0; index < 5; ++index) {
        field[index] = Number(text, places[index + 1], 2);
        if (field[index] < 0) {
            return false;
        }
    }
    if (year < 0 || field[0] < 1 || field[0] >= 13 || field[1] < 1 || field[1] >= 32 || field[2] > 23 ||
        field[3] > 59 || field[4] > 59) {
        return false;
    }
    *ticks = TicksFromSystemTime(year, field[0], field[1], field[2], field[3], field[4], 0);
    return true;
}

} // namespace

bool DecodeOmniVisionOVR2200::ValidateFourCC(uint32_t code) {
    return code == FourCCLE("mp43") || code == FourCCLE("MP43");
}

// Each text frame without its closing zero.
void DecodeOmniVisionOVR2200::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    if (!TextFrameAt(FindTextStream(), offset, size, 1)) {
        *offset = 0;
        *size = 1;
    }
}

DecoderAction DecodeOmniVisionOVR2200::ProcessMetaData(ByteView bytes) {
    StreamInfo* stream = FindTextStream();
    if (stream == nullptr || metaIndex >= stream->frames.Count()) {
        return DDA_NO_ACTION;
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes.Data()), bytes.Size());
    int64_t ticks = 0;
    bool read = false;
    if (text.size() == DateForm) {
        read = ReadDate(text, {0, 5, 8, 11, 14, 17}, &ticks);
    } else if (text.size() == NamedForm) {
        const size_t name = text.find("CAMERA=");
        const size_t type = text.find("RECORDTYPE=");
        const size_t time = text.find("TIME=");
        if (name != std::string_view::npos && type != std::string_view::npos &&
            time != std::string_view::npos && type > name + 8) {
            const std::string camera(text.substr(name + 7, std::min<size_t>(type - name - 8, 63)));
            read = camera.size() > 1 &&
                   ReadDate(text, {time + 5, time + 9, time + 11, time + 13, time + 15, time + 17}, &ticks);
            AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
            if (read && frames != nullptr && metaIndex < frames->Count()) {
                AVIMultiFileFrameInfo frame = frames->GetAt(metaIndex);
                std::snprintf(frame.camera.name, sizeof(frame.camera.name), "%s", camera.c_str());
                frames->ReplaceAt(metaIndex, frame);
            }
        }
    }
    if (!read) {
        return Fail("DecodeOmniVisionOVR2200: Decode Failure (bad time stamp in text frame %d)\n", metaIndex);
    }
    SetCurrentFileFrameTime(metaIndex, ticks);
    return ++metaIndex < stream->frames.Count() ? DDA_READ : DDA_NO_ACTION;
}

} // namespace Vorn::Vorncast::Decoders
