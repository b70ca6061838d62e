#include "codecs/vfw/VfwTypes.h"

#include "core/binary/ByteOrder.h"

#include <cctype>

namespace Vorn::Vorncast::Decoders {

namespace {

struct ResultRow {
    int32_t value;
    const char* name;
};

constexpr ResultRow ResultNames[] = {
    {ICERR_OK, "ICERR_OK"},
    {ICERR_DONTDRAW, "ICERR_DONTDRAW"},
    {ICERR_NEWPALETTE, "ICERR_NEWPALETTE"},
    {ICERR_GOTOKEYFRAME, "ICERR_GOTOKEYFRAME"},
    {ICERR_STOPDRAWING, "ICERR_STOPDRAWING"},
    {ICERR_UNSUPPORTED, "ICERR_UNSUPPORTED"},
    {ICERR_BADFORMAT, "ICERR_BADFORMAT"},
    {ICERR_MEMORY, "ICERR_MEMORY"},
    {ICERR_INTERNAL, "ICERR_INTERNAL"},
    {ICERR_BADFLAGS, "ICERR_BADFLAGS"},
    {ICERR_BADPARAM, "ICERR_BADPARAM"},
    {ICERR_BADSIZE, "ICERR_BADSIZE"},
    {ICERR_BADHANDLE, "ICERR_BADHANDLE"},
    {ICERR_CANTUPDATE, "ICERR_CANTUPDATE"},
    {ICERR_ABORT, "ICERR_ABORT"},
    {ICERR_ERROR, "ICERR_ERROR"},
    {ICERR_BADBITDEPTH, "ICERR_BADBITDEPTH"},
    {ICERR_BADIMAGESIZE, "ICERR_BADIMAGESIZE"},
};

} // namespace

FourCCText::FourCCText(uint32_t fourCC) {
    for (int i = 0; i < 4; ++i) {
        text[i] = static_cast<char>((fourCC >> (8 * i)) & 0xFF);
    }
    text[4] = '\0';
}

bool FourCCEqualIgnoringCase(uint32_t a, uint32_t b) {
    for (int i = 0; i < 4; ++i) {
        int left = static_cast<int>((a >> (8 * i)) & 0xFF);
        int right = static_cast<int>((b >> (8 * i)) & 0xFF);
        if (std::toupper(left) != std::toupper(right)) {
            return false;
        }
    }
    return true;
}

const char* VfwResultName(int32_t result) {
    for (const ResultRow& row : ResultNames) {
        if (row.value == result) {
            return row.name;
        }
    }
    return nullptr;
}

bool VfwResultIsGood(int32_t result, VfwMessage message) {
    return result == ICERR_OK || (result == ICERR_DONTDRAW && message == ICM_DECOMPRESS);
}

BitmapInfoHeader BitmapInfoHeader::Read(ByteView bytes) {
    BitmapInfoHeader header;
    header.size = bytes.U32LE(0);
    header.width = bytes.I32LE(4);
    header.height = bytes.I32LE(8);
    header.planes = bytes.U16LE(12);
    header.bitCount = bytes.U16LE(14);
    header.compression = bytes.U32LE(16);
    header.sizeImage = bytes.U32LE(20);
    header.xPelsPerMeter = bytes.I32LE(24);
    header.yPelsPerMeter = bytes.I32LE(28);
    header.clrUsed = bytes.U32LE(32);
    header.clrImportant = bytes.U32LE(36);
    return header;
}

void BitmapInfoHeader::Write(uint8_t* bytes) const {
    Store<uint32_t, ByteOrder::Little>(bytes, size);
    Store<int32_t, ByteOrder::Little>(bytes + 4, width);
    Store<int32_t, ByteOrder::Little>(bytes + 8, height);
    Store<uint16_t, ByteOrder::Little>(bytes + 12, planes);
    Store<uint16_t, ByteOrder::Little>(bytes + 14, bitCount);
    Store<uint32_t, ByteOrder::Little>(bytes + 16, compression);
    Store<uint32_t, ByteOrder::Little>(bytes + 20, sizeImage);
    Store<int32_t, ByteOrder::Little>(bytes + 24, xPelsPerMeter);
    Store<int32_t, ByteOrder::Little>(bytes + 28, yPelsPerMeter);
    Store<uint32_t, ByteOrder::Little>(bytes + 32, clrUsed);
    Store<uint32_t, ByteOrder::Little>(bytes + 36, clrImportant);
}

} // namespace Vorn::Vorncast::Decoders
