#include "codecs/jpeg/JpegMarkers.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t MaxSamplingFactor = 4;

bool IsStartOfFrame(uint8_t marker) {
    return marker >= JpegSof0 && marker <= JpegSof15 && marker != JpegDht && marker != 0xC8 && marker != 0xCC;
}

bool IsSupportedFrame(uint8_t marker) {
    return marker >= JpegSof0 && marker <= JpegSof3;
}

// Markers that stand alone, without a length field.
bool HasNoLength(uint8_t marker) {
    return marker == JpegSoi || marker == JpegEoi || marker == JpegTem ||
           (marker >= JpegRst0 && marker <= JpegRst7);
}

JpegProcess ProcessOf(uint8_t marker) {
    switch (marker) {
    case JpegSof1:
        return JpegProcess::Extended;
    case JpegSof2:
        return JpegProcess::Progressive;
    case JpegSof3:
        return JpegProcess::Lossless;
    default:
        return JpegProcess::Baseline;
    }
}

class MarkerParser {
public:
    MarkerParser(ByteView source, JpegFrameHeader* header) : source(source), header(header) {}

    JpegParseResult Run() {
        *header = JpegFrameHeader{};
        header->soiOffset = -1;
        header->scanOffset = -1;
        bool sawSoi = false;
        bool sawFrame = false;
        for (;;) {
            size_t markerAt = 0;
            uint8_t marker = 0;
            if (!NextMarker(&markerAt, &marker)) {
                return JpegParsePastEnd;
            }
            if (!sawSoi && marker != JpegSoi) {
                return JpegParseBadSegment;
            }
            if (marker == JpegSoi) {
                if (!sawSoi) {
                    header->soiOffset = static_cast<int32_t>(markerAt);
                }
                sawSoi = true;
                continue;
            }
            if (marker == JpegEoi) {
                return JpegParseBadSegment;
            }
            if (HasNoLength(marker)) {
                continue;
            }
            ByteView segment;
            if (!TakeSegment(&segment)) {
                return segmentResult;
            }
            if (IsStartOfFrame(marker)) {
                if (!IsSupportedFrame(marker)) {
                    return JpegParseUnsupported;
                }
                JpegParseResult result = ReadFrame(marker, segment);
                if (result != JpegParseOk) {
                    return result;
                }
                sawFrame = true;
            } else if (marker == JpegSos) {
                if (!sawFrame) {
                    return JpegParseBadSegment;
                }
                header->scanOffset = static_cast<int32_t>(markerAt);
                ComputeMcuGeometry();
                return JpegParseOk;
            } else if (marker == JpegDri) {
                header->restartInterval = segment.U16BE(0);
            } else if (marker == JpegApp0) {
                header->jfif = header->jfif || segment.Matches(0, std::string_view("JFIF\0", 5));
            } else if (marker == JpegApp14 && segment.Matches(0, "Adobe") && segment.Has(11, 1)) {
                header->adobe = true;
                header->adobeTransform = segment.U8(11);
            }
        }
    }

private:
    // Finds the next 0xFF that is followed by a marker code (neither 0x00 nor fill 0xFF).
    bool NextMarker(size_t* markerAt, uint8_t* marker) {
        while (position < source.Size()) {
            if (source.U8(position) != 0xFF) {
                ++position;
                continue;
            }
            size_t code = position + 1;
            while (code < source.Size() && source.U8(code) == 0xFF) {
                ++code;
            }
            if (code >= source.Size()) {
                return false;
            }
            position = code + 1;
            if (source.U8(code) != 0x00) {
                *markerAt = code - 1;
                *marker = source.U8(code);
                return true;
            }
        }
        return false;
    }

    // The segment behind the marker just read, without its length field.
    bool TakeSegment(ByteView* segment) {
        uint16_t length = 0;
        if (!source.U16BE(position, &length)) {
            segmentResult = JpegParsePastEnd;
            return false;
        }
        if (length < 2) {
            segmentResult = JpegParseBadSegment;
            return false;
        }
        if (!source.Sub(position + 2, length - 2u, segment)) {
            segmentResult = JpegParsePastEnd;
            return false;
        }
        position += length;
        return true;
    }

    JpegParseResult ReadFrame(uint8_t marker, ByteView segment) {
        ByteReader reader(segment);
        header->process = ProcessOf(marker);
        header->precision = reader.U8();
        header->height = reader.U16BE();
        header->width = reader.U16BE();
        header->componentCount = reader.U8();
        if (!reader.Ok() || header->width == 0 || header->height == 0 || header->componentCount == 0) {
            return JpegParseBadSegment;
        }
        for (int32_t i = 0; i < header->componentCount; ++i) {
            JpegComponent component{};
            component.id = reader.U8();
            uint8_t sampling = reader.U8();
            component.quantTable = reader.U8();
            component.horizontal = sampling >> 4;
            component.vertical = sampling & 0x0F;
            if (!reader.Ok()) {
                return JpegParseBadSegment;
            }
            if (!IsValidFactor(component.horizontal) || !IsValidFactor(component.vertical)) {
                return JpegParseBadSampling;
            }
            if (i < JpegMaxComponents) {
                header->components[i] = component;
            }
        }
        return JpegParseOk;
    }

    static bool IsValidFactor(uint8_t factor) { return factor >= 1 && factor <= MaxSamplingFactor; }

    void ComputeMcuGeometry() {
        int32_t maxHorizontal = 1;
        int32_t maxVertical = 1;
        for (int32_t i = 0; i < std::min(header->componentCount, JpegMaxComponents); ++i) {
            maxHorizontal = std::max<int32_t>(maxHorizontal, header->components[i].horizontal);
            maxVertical = std::max<int32_t>(maxVertical, header->components[i].vertical);
        }
        int32_t unit = header->process == JpegProcess::Lossless ? 1 : 8;
        header->mcuWidth = unit * maxHorizontal;
        header->mcuHeight = unit * maxVertical;
        header->mcusPerRow = (header->width + header->mcuWidth - 1) / header->mcuWidth;
        header->mcuRows = (header->height + header->mcuHeight - 1) / header->mcuHeight;
        header->paddingRight = header->mcusPerRow * header->mcuWidth - header->width;
        header->paddingBottom = header->mcuRows * header->mcuHeight - header->height;
    }

    ByteView source;
    JpegFrameHeader* header;
    size_t position = 0;
    JpegParseResult segmentResult = JpegParseOk;
};

} // namespace

JpegParseResult ParseJpegBitStream(ByteView source, JpegFrameHeader* header) {
    return MarkerParser(source, header).Run();
}

} // namespace Vorn::Vorncast::Decoders
