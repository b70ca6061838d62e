#pragma once

#include "codecs/jpeg/JpegTables.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Builds the header that recorders leave out of their frames, to be put in front of bare scan
// data. Writes into a caller's buffer and stops writing (Ok() false) at the first segment that
// doesn't fit.
class JpegHeaderWriter {
public:
    JpegHeaderWriter(uint8_t* out, int32_t capacity) : out(out), capacity(capacity) {}

    void StartOfImage();
    // APP0 "JFIF" version 1.01, aspect 1:1, no thumbnail: 18 bytes.
    void Jfif();
    // A DQT segment with one table (69 bytes); `table` in zig-zag order.
    void QuantTable(uint8_t id, const uint8_t* table);
    // One DQT segment with tables 0 and 1 (134 bytes).
    void QuantTables(const uint8_t* luminance, const uint8_t* chrominance);
    // SOF0, 8-bit. Component 1 has `lumaSampling` (0x21 for 4:2:2, 0x22 for 4:2:0) and table 0;
    // components 2 and 3 sample 1 x 1 with table 1.
    void FrameHeader(int32_t width, int32_t height, int32_t components, uint8_t lumaSampling);
    void HuffmanTable(uint8_t classAndId, const JpegHuffmanTableData& table);
    // The Annex K.3 tables as DC 0, AC 0, DC 1, AC 1: four DHT segments of length 31, 181, 31 and 181,
    // or one of length 418.
    void StandardHuffmanTables(bool oneSegment);
    void RestartInterval(uint16_t interval);
    // SOS: component 1 with tables 0, the others with tables 1; full spectral range.
    void ScanHeader(int32_t components);
    void EndOfImage();

    int32_t Length() const { return length; }
    bool Ok() const { return ok; }

private:
    void Marker(uint8_t code);
    void Byte(uint8_t value);
    void Word(uint16_t value);
    void Bytes(const uint8_t* bytes, int32_t count);
    bool Reserve(int32_t count);

    uint8_t* out;
    int32_t capacity;
    int32_t length = 0;
    bool ok = true;
};

// The common 623-byte header: SOI, JFIF, a DQT segment for each of the two Annex K.1 tables, SOF0
// with three components, the four Annex K.3 DHT segments and SOS.
struct StandardJpegHeader {
    static constexpr int32_t Size = 623;
    static constexpr int32_t LuminanceTableOffset = 25;
    static constexpr int32_t ChrominanceTableOffset = 94;
    static constexpr int32_t HeightOffset = 163;
    static constexpr int32_t WidthOffset = 165;
    static constexpr int32_t LumaSamplingOffset = 169;

    // Writes the header into `out`, which holds at least Size bytes.
    static void Write(uint8_t* out, int32_t width, int32_t height, uint8_t lumaSampling);
    static void SetSize(uint8_t* header, int32_t width, int32_t height);
    static void SetLumaSampling(uint8_t* header, uint8_t lumaSampling);
    // Rebuilds both quantisation tables from the Annex K.1 tables scaled by `quality` (see
    // ScaleQuantTable). A quality outside 1 to 255 leaves them and gives false.
    static bool SetQuality(uint8_t* header, int32_t quality);
};

// Finds the baseline frame header (SOF0 or SOF1) among the first `length` bytes of a header and
// writes height and width into it. False when there is none.
bool PatchJpegFrameSize(uint8_t* header, int32_t length, int32_t width, int32_t height);

} // namespace Vorn::Vorncast::Decoders
