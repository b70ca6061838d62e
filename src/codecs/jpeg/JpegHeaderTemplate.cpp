#include "codecs/jpeg/JpegHeaderTemplate.h"

#include "codecs/jpeg/JpegMarkers.h"
#include "core/binary/ByteOrder.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t ThreeComponents = 3;
constexpr uint8_t DcClass = 0x00;
constexpr uint8_t AcClass = 0x10;

int32_t HuffmanTableBytes(const JpegHuffmanTableData& table) {
    return 1 + 16 + table.symbolCount;
}

const JpegHuffmanTableData* const StandardHuffmanOrder[4] = {
    &StandardLuminanceDcTable, &StandardLuminanceAcTable, &StandardChrominanceDcTable,
    &StandardChrominanceAcTable};
const uint8_t StandardHuffmanIds[4] = {DcClass | 0, AcClass | 0, DcClass | 1, AcClass | 1};

} // namespace

void JpegHeaderWriter::StartOfImage() {
    Marker(JpegSoi);
}

void JpegHeaderWriter::Jfif() {
    static const uint8_t Body[14] = {'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0};
    Marker(JpegApp0);
    Word(2 + sizeof(Body));
    Bytes(Body, sizeof(Body));
}

void JpegHeaderWriter::QuantTable(uint8_t id, const uint8_t* table) {
    Marker(JpegDqt);
    Word(2 + 1 + JpegBlockSize);
    Byte(id);
    Bytes(table, JpegBlockSize);
}

void JpegHeaderWriter::QuantTables(const uint8_t* luminance, const uint8_t* chrominance) {
    Marker(JpegDqt);
    Word(2 + 2 * (1 + JpegBlockSize));
    Byte(0);
    Bytes(luminance, JpegBlockSize);
    Byte(1);
    Bytes(chrominance, JpegBlockSize);
}

void JpegHeaderWriter::FrameHeader(int32_t width, int32_t height, int32_t components, uint8_t lumaSampling) {
    Marker(JpegSof0);
    Word(static_cast<uint16_t>(8 + 3 * components));
    Byte(8);
    Word(static_cast<uint16_t>(height));
    Word(static_cast<uint16_t>(width));
    Byte(static_cast<uint8_t>(components));
    for (int32_t c = 0; c < components; ++c) {
        Byte(static_cast<uint8_t>(c + 1));
        Byte(c == 0 ? lumaSampling : 0x11);
        Byte(c == 0 ? 0 : 1);
    }
}

void JpegHeaderWriter::HuffmanTable(uint8_t classAndId, const JpegHuffmanTableData& table) {
    Marker(JpegDht);
    Word(static_cast<uint16_t>(2 + HuffmanTableBytes(table)));
    Byte(classAndId);
    Bytes(table.counts, 16);
    Bytes(table.symbols, table.symbolCount);
}

void JpegHeaderWriter::StandardHuffmanTables(bool oneSegment) {
    if (!oneSegment) {
        for (int32_t i = 0; i < 4; ++i) {
            HuffmanTable(StandardHuffmanIds[i], *StandardHuffmanOrder[i]);
        }
        return;
    }
    int32_t segmentLength = 2;
    for (const JpegHuffmanTableData* table : StandardHuffmanOrder) {
        segmentLength += HuffmanTableBytes(*table);
    }
    Marker(JpegDht);
    Word(static_cast<uint16_t>(segmentLength));
    for (int32_t i = 0; i < 4; ++i) {
        Byte(StandardHuffmanIds[i]);
        Bytes(StandardHuffmanOrder[i]->counts, 16);
        Bytes(StandardHuffmanOrder[i]->symbols, StandardHuffmanOrder[i]->symbolCount);
    }
}

void JpegHeaderWriter::RestartInterval(uint16_t interval) {
    Marker(JpegDri);
    Word(4);
    Word(interval);
}

void JpegHeaderWriter::ScanHeader(int32_t components) {
    Marker(JpegSos);
    Word(static_cast<uint16_t>(6 + 2 * components));
    Byte(static_cast<uint8_t>(components));
    for (int32_t c = 0; c < components; ++c) {
        Byte(static_cast<uint8_t>(c + 1));
        Byte(c == 0 ? 0x00 : 0x11);
    }
    Byte(0);
    Byte(JpegBlockSize - 1);
    Byte(0);
}

void JpegHeaderWriter::EndOfImage() {
    Marker(JpegEoi);
}

void JpegHeaderWriter::Marker(uint8_t code) {
    Byte(0xFF);
    Byte(code);
}

void JpegHeaderWriter::Byte(uint8_t value) {
    Bytes(&value, 1);
}

void JpegHeaderWriter::Word(uint16_t value) {
    uint8_t bytes[2];
    Store<uint16_t, ByteOrder::Big>(bytes, value);
    Bytes(bytes, 2);
}

void JpegHeaderWriter::Bytes(const uint8_t* bytes, int32_t count) {
    if (Reserve(count)) {
        std::memcpy(out + length, bytes, static_cast<size_t>(count));
        length += count;
    }
}

bool JpegHeaderWriter::Reserve(int32_t count) {
    ok = ok && out != nullptr && count <= capacity - length;
    return ok;
}

void StandardJpegHeader::Write(uint8_t* out, int32_t width, int32_t height, uint8_t lumaSampling) {
    JpegHeaderWriter writer(out, Size);
    writer.StartOfImage();
    writer.Jfif();
    writer.QuantTable(0, StandardLuminanceQuantTable);
    writer.QuantTable(1, StandardChrominanceQuantTable);
    writer.FrameHeader(width, height, ThreeComponents, lumaSampling);
    writer.StandardHuffmanTables(false);
    writer.ScanHeader(ThreeComponents);
}

void StandardJpegHeader::SetSize(uint8_t* header, int32_t width, int32_t height) {
    Store<uint16_t, ByteOrder::Big>(header + HeightOffset, static_cast<uint16_t>(height));
    Store<uint16_t, ByteOrder::Big>(header + WidthOffset, static_cast<uint16_t>(width));
}

void StandardJpegHeader::SetLumaSampling(uint8_t* header, uint8_t lumaSampling) {
    header[LumaSamplingOffset] = lumaSampling;
}

bool StandardJpegHeader::SetQuality(uint8_t* header, int32_t quality) {
    return ScaleQuantTable(StandardLuminanceQuantTable, quality, header + LuminanceTableOffset) &&
           ScaleQuantTable(StandardChrominanceQuantTable, quality, header + ChrominanceTableOffset);
}

bool PatchJpegFrameSize(uint8_t* header, int32_t length, int32_t width, int32_t height) {
    if (header == nullptr || length <= 0) {
        return false;
    }
    ByteView view(header, static_cast<size_t>(length));
    size_t position = 0;
    // Walk the segments: each is 0xFF, a code and (but for SOI) a big-endian length.
    while (view.U8(position) == 0xFF && view.Has(position, 2)) {
        uint8_t code = view.U8(position + 1);
        if (code == JpegSoi) {
            position += 2;
            continue;
        }
        uint16_t segment = 0;
        if (!view.U16BE(position + 2, &segment) || segment < 2) {
            return false;
        }
        if ((code == JpegSof0 || code == JpegSof1) && view.Has(position + 5, 4)) {
            Store<uint16_t, ByteOrder::Big>(header + position + 5, static_cast<uint16_t>(height));
            Store<uint16_t, ByteOrder::Big>(header + position + 7, static_cast<uint16_t>(width));
            return true;
        }
        if (code == JpegSos) {
            return false;
        }
        position += 2u + segment;
    }
    return false;
}

} // namespace Vorn::Vorncast::Decoders
