#include "codecs/video/H264Framing.h"

#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr auto StartCode = "\x00\x00\x00\x01"sv;
constexpr uint8_t ForbiddenZeroBit = 0x80;

bool ReadLength(ByteView bytes, size_t at, int32_t lengthSize, uint32_t* length) {
    switch (lengthSize) {
    case 1: {
        uint8_t value = 0;
        bool ok = bytes.U8(at, &value);
        *length = value;
        return ok;
    }
    case 2: {
        uint16_t value = 0;
        bool ok = bytes.U16BE(at, &value);
        *length = value;
        return ok;
    }
    case 4:
        return bytes.U32BE(at, length);
    default:
        return false;
    }
}

// Calls `visit(nal)` for each NAL unit of a length-prefixed access unit; false when the lengths
// do not fill it exactly.
template <class Visit> bool WalkLengthPrefixed(ByteView accessUnit, int32_t lengthSize, Visit visit) {
    size_t at = 0;
    while (at < accessUnit.Size()) {
        uint32_t length = 0;
        if (!ReadLength(accessUnit, at, lengthSize, &length) || length == 0) {
            return false;
        }
        at += static_cast<size_t>(lengthSize);
        ByteView nal;
        if (!accessUnit.Sub(at, length, &nal) || (nal.U8(0) & ForbiddenZeroBit) != 0) {
            return false;
        }
        visit(nal);
        at += length;
    }
    return !accessUnit.Empty();
}

void AppendStartCodeNal(ByteView nal, std::vector<uint8_t>* out) {
    out->insert(out->end(), StartCode.begin(), StartCode.end());
    out->insert(out->end(), nal.begin(), nal.end());
}

// Reads `count` parameter sets, each behind a 16-bit length, from `at` on.
bool ReadParameterSets(ByteView record, size_t* at, uint32_t count, std::vector<uint8_t>* out) {
    for (uint32_t index = 0; index < count; ++index) {
        uint16_t length = 0;
        ByteView nal;
        if (!record.U16BE(*at, &length) || !record.Sub(*at + 2, length, &nal)) {
            return false;
        }
        AppendStartCodeNal(nal, out);
        *at += 2 + static_cast<size_t>(length);
    }
    return true;
}

} // namespace

bool StartsWithStartCode(ByteView accessUnit) {
    return accessUnit.Matches(0, StartCode.substr(1)) || accessUnit.Matches(0, StartCode);
}

bool IsLengthPrefixed(ByteView accessUnit, int32_t lengthSize) {
    return WalkLengthPrefixed(accessUnit, lengthSize, [](ByteView) {});
}

size_t StartCodeFormSize(ByteView accessUnit, int32_t lengthSize) {
    size_t size = 0;
    WalkLengthPrefixed(accessUnit, lengthSize, [&](ByteView nal) { size += StartCode.size() + nal.Size(); });
    return size;
}

void WriteStartCodeForm(ByteView accessUnit, int32_t lengthSize, uint8_t* out) {
    WalkLengthPrefixed(accessUnit, lengthSize, [&](ByteView nal) {
        std::memcpy(out, StartCode.data(), StartCode.size());
        std::memcpy(out + StartCode.size(), nal.Data(), nal.Size());
        out += StartCode.size() + nal.Size();
    });
}

bool ParseAvcConfiguration(ByteView record, int32_t* lengthSize, std::vector<uint8_t>* parameterSets) {
    constexpr uint8_t ConfigurationVersion = 1;
    if (record.Size() < 7 || record.U8(0) != ConfigurationVersion) {
        return false;
    }
    const int32_t size = (record.U8(4) & 0x03) + 1;
    if (size == 3) {
        return false;
    }
    parameterSets->clear();
    size_t at = 6;
    if (!ReadParameterSets(record, &at, record.U8(5) & 0x1F, parameterSets)) {
        return false;
    }
    uint8_t pictureSets = 0;
    if (!record.U8(at, &pictureSets)) {
        return false;
    }
    ++at;
    if (!ReadParameterSets(record, &at, pictureSets, parameterSets)) {
        return false;
    }
    *lengthSize = size;
    return true;
}

} // namespace Vorn::Vorncast::Decoders
