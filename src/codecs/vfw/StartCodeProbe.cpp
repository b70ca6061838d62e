#include "codecs/vfw/StartCodeProbe.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint8_t FirstMpeg4SystemCode = 0xB0; // visual object sequence start
constexpr uint8_t LastMpeg4SystemCode = 0xB6;  // video object plane start

StartCodeFamily Classify(uint8_t code) {
    if (code >= FirstMpeg4SystemCode && code <= LastMpeg4SystemCode) {
        return StartCodeFamily::Mpeg4Part2;
    }
    int forbidden = code >> 7;
    int referenceIdc = (code >> 5) & 3;
    int unitType = code & 0x1F;
    bool decisiveUnit = unitType == 1 || unitType == 5 || unitType == 7 || unitType == 8;
    if (forbidden == 0 && referenceIdc >= 2 && decisiveUnit) {
        return StartCodeFamily::H264;
    }
    return StartCodeFamily::Unknown;
}

} // namespace

StartCodeFamily ProbeStartCodes(ByteView data) {
    const uint8_t* bytes = data.Data();
    for (size_t i = 0; i + 3 < data.Size(); ++i) {
        if (bytes[i] != 0 || bytes[i + 1] != 0 || bytes[i + 2] != 1) {
            continue;
        }
        StartCodeFamily family = Classify(bytes[i + 3]);
        if (family != StartCodeFamily::Unknown) {
            return family;
        }
    }
    return StartCodeFamily::Unknown;
}

} // namespace Vorn::Vorncast::Decoders
