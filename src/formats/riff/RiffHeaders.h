#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

constexpr uint32_t BitmapInfoHeaderSize = 40;
constexpr uint32_t BI_RGB = 0;

// The 40-byte BITMAPINFOHEADER that describes a video stream's pictures.
struct BitmapInfoHeader {
    uint32_t size = 0;
    int32_t width = 0;
    int32_t height = 0; // positive: rows stored bottom-up
    uint16_t planes = 0;
    uint16_t bitCount = 0;
    uint32_t compression = 0;
    uint32_t sizeImage = 0;
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    uint32_t clrUsed = 0;
    uint32_t clrImportant = 0;

    // Fields beyond the view read as 0.
    static BitmapInfoHeader Read(ByteView bytes);
    // Writes all 40 bytes.
    void Write(uint8_t* bytes) const;
};

// The WAVEFORMATEX that describes an audio stream: 16 bytes, and 2 more with the size of the
// codec bytes that follow.
struct WaveFormatEx {
    uint16_t formatTag = 0;
    uint16_t channels = 0;
    uint32_t samplesPerSecond = 0;
    uint32_t averageBytesPerSecond = 0;
    uint16_t blockAlign = 0;
    uint16_t bitsPerSample = 0;
    uint16_t extraSize = 0; // 0 in the 16-byte form
    ByteView extra;         // the codec bytes, within the view read

    // False when the view holds less than the 16-byte form.
    static bool Read(ByteView bytes, WaveFormatEx* format);
};

} // namespace Vorn::Vorncast::Decoders
