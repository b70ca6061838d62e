#include "formats/riff/RiffHeaders.h"

#include "core/binary/ByteOrder.h"

namespace Vorn::Vorncast::Decoders {

BitmapInfoHeader BitmapInfoHeader::Read(ByteView bytes) {
    ByteReader r(bytes);
    BitmapInfoHeader header;
    header.size = r.U32LE();
    header.width = r.I32LE();
    header.height = r.I32LE();
    header.planes = r.U16LE();
    header.bitCount = r.U16LE();
    header.compression = r.U32LE();
    header.sizeImage = r.U32LE();
    header.xPelsPerMeter = r.I32LE();
    header.yPelsPerMeter = r.I32LE();
    header.clrUsed = r.U32LE();
    header.clrImportant = r.U32LE();
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

bool WaveFormatEx::Read(ByteView bytes, WaveFormatEx* format) {
    ByteReader r(bytes);
    *format = {};
    format->formatTag = r.U16LE();
    format->channels = r.U16LE();
    format->samplesPerSecond = r.U32LE();
    format->averageBytesPerSecond = r.U32LE();
    format->blockAlign = r.U16LE();
    format->bitsPerSample = r.U16LE();
    if (!r.Ok()) {
        return false;
    }
    if (r.Remaining() >= 2) {
        format->extraSize = r.U16LE();
        format->extra = bytes.Sub(r.Position(), format->extraSize);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
