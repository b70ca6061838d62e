#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Second bytes of the JPEG markers this codec deals with.
enum JpegMarker : uint8_t {
    JpegSof0 = 0xC0,
    JpegSof1 = 0xC1,
    JpegSof2 = 0xC2,
    JpegSof3 = 0xC3,
    JpegDht = 0xC4,
    JpegSof15 = 0xCF,
    JpegRst0 = 0xD0,
    JpegRst7 = 0xD7,
    JpegSoi = 0xD8,
    JpegEoi = 0xD9,
    JpegSos = 0xDA,
    JpegDqt = 0xDB,
    JpegDri = 0xDD,
    JpegApp0 = 0xE0,
    JpegApp14 = 0xEE,
    JpegTem = 0x01,
};

// Results of ParseJpegBitStream.
enum JpegParseResult : int32_t {
    JpegParseOk = 0,
    // A frame type this codec does not decode: hierarchical or arithmetic-coded.
    JpegParseUnsupported = -1,
    // A sampling factor of zero (or above the four the standard allows).
    JpegParseBadSampling = -2,
    // A marker segment, or the search for the scan, ran past the end of the bytes.
    JpegParsePastEnd = -3,
    // A segment whose content cannot be right: no SOI first, a scan before its frame header, an
    // empty picture, an end of image before any scan.
    JpegParseBadSegment = -4,
};

enum class JpegProcess { Baseline, Extended, Progressive, Lossless };

constexpr int32_t JpegMaxComponents = 4;

struct JpegComponent {
    uint8_t id;
    uint8_t horizontal;
    uint8_t vertical;
    uint8_t quantTable;
};

// What the markers before the first scan say about a picture.
struct JpegFrameHeader {
    int32_t soiOffset;
    // Offset of the first SOS marker.
    int32_t scanOffset;
    JpegProcess process;
    int32_t precision;
    int32_t width;
    int32_t height;
    // All components the frame declares; details are kept for the first four.
    int32_t componentCount;
    JpegComponent components[JpegMaxComponents];
    int32_t restartInterval;
    bool jfif;
    bool adobe;
    uint8_t adobeTransform;
    // Minimum coded unit: 8 times the largest sampling factor (1 for the lossless process).
    int32_t mcuWidth;
    int32_t mcuHeight;
    int32_t mcusPerRow;
    int32_t mcuRows;
    // Pixels the MCU grid adds to the right of and below the picture.
    int32_t paddingRight;
    int32_t paddingBottom;
};

// Reads markers from the start of `source` up to the first SOS and fills `header`. Bytes before the
// first marker are passed over. RST and TEM carry no length; DHT, DQT, APPn, COM and the rest are
// skipped by their length, after APP0 (JFIF) and APP14 (Adobe) have been noted.
JpegParseResult ParseJpegBitStream(ByteView source, JpegFrameHeader* header);

} // namespace Vorn::Vorncast::Decoders
