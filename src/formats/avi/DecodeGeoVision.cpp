#include "formats/avi/DecodeGeoVision.h"

#include "core/time/Ticks.h"

#include <algorithm>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t ShortFormLimit = 24;
constexpr size_t LongFormKept = 29;

// A run of `fewest` to `most` digits at `at`, which moves behind it.
bool ReadDigits(std::string_view text, size_t* at, size_t fewest, size_t most, int32_t* value) {
    size_t count = 0;
    *value = 0;
    while (*at < text.size() && count < most && text[*at] >= '0' && text[*at] <= '9') {
        *value = *value * 10 + (text[*at] - '0');
        ++*at;
        ++count;
    }
    return count >= fewest;
}

bool Expect(std::string_view text, size_t* at, char c) {
    if (*at < text.size() && text[*at] == c) {
        ++*at;
        return true;
    }
    return false;
}

} // namespace

void DecodeGeoVision::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    date = {};
}

bool DecodeGeoVision::ValidateFourCC(uint32_t code) {
    return CodecFourCC(code) != 0;
}

uint32_t DecodeGeoVision::CodecFourCC(uint32_t code) {
    switch (code) {
    case FourCCLE("GEOV"):
    case FourCCLE("GEOX"):
    case FourCCLE("geoX"):
    case FourCCLE("geov"):
        return FourCCLE("lkz3");
    case FourCCLE("G264"):
    case FourCCLE("g264"):
        return FourCCLE("lkz4");
    case FourCCLE("GMP4"):
    case FourCCLE("gmp4"):
        return FourCCLE("lkz5");
    default:
        return 0;
    }
}

void DecodeGeoVision::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    if (!TextFrameAt(FindTextStream(), offset, size)) {
        *offset = 0;
        *size = 1;
    }
}

// Every FourCC that names a private codec is one of the recorder's.
DecoderAction DecodeGeoVision::ProcessMetaData(ByteView bytes) {
    StreamInfo* text = FindTextStream();
    if (text == nullptr) {
        return Fail("DecodeGeoVision: Decode Failure (StreamInfo* is null)\n");
    }
    if (metaIndex >= text->frames.Count()) {
        return DDA_NO_ACTION;
    }
    const DecoderAction action = bytes.Size() < ShortFormLimit ? ReadShortForm(bytes) : ReadLongForm(bytes);
    if (action != DDA_READ) {
        return action;
    }
    return ++metaIndex < text->frames.Count() ? DDA_READ : DDA_NO_ACTION;
}

// The short form holds a time alone; the date stays that of the last long form.
DecoderAction DecodeGeoVision::ReadShortForm(ByteView bytes) {
    if (bytes.Size() <= 9) {
        return Fail("DecodeGeoVision: Decode Failure (meta data chunk found is wrong size)\n");
    }
    const std::string_view text(reinterpret_cast<const char*>(bytes.Data()) + 3, bytes.Size() - 4);
    if (const char* failure = ParseTime(text); failure != nullptr) {
        Log(0, "%s", failure);
        return Fail("DecodeGeoVision: Decode Failure (error parsing time string (2))\n");
    }
    return TakeFrameTime();
}

// The long form: a time two characters before its first ':', up to '(', and the date in brackets.
DecoderAction DecodeGeoVision::ReadLongForm(ByteView bytes) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.Data()),
                                std::min(bytes.Size(), LongFormKept));
    const size_t colon = text.find(':');
    if (colon == std::string_view::npos || colon < 2) {
        return Fail(
            "DecodeGeoVision: Decode Failure (read past end of buffer when processing time string(1))\n");
    }
    const size_t open = text.find('(', colon);
    if (open == std::string_view::npos) {
        return Fail(
            "DecodeGeoVision: Decode Failure (read past end of buffer when processing time string(2))\n");
    }
    const size_t close = text.find(')', open);
    if (close == std::string_view::npos) {
        return Fail(
            "DecodeGeoVision: Decode Failure (read past end of buffer when processing date string(1))\n");
    }
    if (const char* failure = ParseTime(text.substr(colon - 2, open - colon + 2)); failure != nullptr) {
        Log(0, "%s", failure);
        return Fail("DecodeGeoVision: Decode Failure (error parsing time string(1))\n");
    }
    if (const char* failure = ParseDate(text.substr(open + 1, close - open - 1)); failure != nullptr) {
        Log(0, "%s", failure);
        return Fail("DecodeGeoVision: Decode Failure (error parsing date string)\n");
    }
    return TakeFrameTime();
}

// The fraction is taken as the digits say, not scaled to milliseconds.
const char* DecodeGeoVision::ParseTime(std::string_view text) {
    size_t at = !text.empty() && text[0] == '-' ? 1 : 0;
    int32_t hour = 0, minute = 0, second = 0, fraction = 0;
    if (!ReadDigits(text, &at, 1, 2, &hour) || !Expect(text, &at, ':')) {
        return "DecodeGeoVision: Decode Failure (error when parsing the hour in the metadata)\n";
    }
    if (!ReadDigits(text, &at, 1, 2, &minute) || !Expect(text, &at, ':')) {
        return "DecodeGeoVision: Decode Failure (error when parsing the minutes in the metadata)\n";
    }
    if (!ReadDigits(text, &at, 1, 2, &second)) {
        return "DecodeGeoVision: Decode Failure (error when parsing the seconds in the metadata)\n";
    }
    if (Expect(text, &at, '.') && !ReadDigits(text, &at, 1, 3, &fraction)) {
        return "DecodeGeoVision: Decode Failure (error when parsing the milliseconds in the metadata)\n";
    }
    date.wHour = static_cast<uint16_t>(hour);
    date.wMinute = static_cast<uint16_t>(minute);
    date.wSecond = static_cast<uint16_t>(second);
    date.wMilliseconds = static_cast<uint16_t>(fraction);
    return nullptr;
}

const char* DecodeGeoVision::ParseDate(std::string_view text) {
    size_t at = 0;
    int32_t year = 0, month = 0, day = 0;
    if (!ReadDigits(text, &at, 4, 4, &year) || !Expect(text, &at, '/')) {
        return "DecodeGeoVision: Decode Failure (error when parsing the year in the metadata)\n";
    }
    if (!ReadDigits(text, &at, 1, 2, &month) || !Expect(text, &at, '/')) {
        return "DecodeGeoVision: Decode Failure (error when parsing the month in the metadata)\n";
    }
    if (!ReadDigits(text, &at, 1, 2, &day)) {
        return "DecodeGeoVision: Decode Failure (error when parsing the day in the metadata)\n";
    }
    date.wYear = static_cast<uint16_t>(year);
    date.wMonth = static_cast<uint16_t>(month);
    date.wDay = static_cast<uint16_t>(day);
    return nullptr;
}

DecoderAction DecodeGeoVision::TakeFrameTime() {
    SetCurrentFileFrameTime(metaIndex, TicksFromSystemTime(date));
    if (metaIndex == 0) {
        SetCurrentFileCamera(-1, CurrentFileName());
    }
    return DDA_READ;
}

} // namespace Vorn::Vorncast::Decoders
