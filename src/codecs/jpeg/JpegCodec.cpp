#include "codecs/jpeg/JpegCodec.h"

#include "codecs/jpeg/JpegMarkers.h"
#include "codecs/jpeg/LibjpegDecoder.h"
#include "codecs/jpeg/LosslessJpegEngine.h"

namespace Vorn::Vorncast::Decoders {

namespace {

struct DecodeOutcome {
    bool complete;
    // Bytes from the SOI marker on that the picture used.
    size_t consumed;
};

bool ReadFrameHeader(const uint8_t* bytes, int32_t size, JpegFrameHeader* header) {
    if (bytes == nullptr || size <= 0) {
        return false;
    }
    return ParseJpegBitStream(ByteView(bytes, static_cast<size_t>(size)), header) == JpegParseOk;
}

bool FitsBuffer(const JpegFrameHeader& header, int32_t bufferSize) {
    int64_t pixels = static_cast<int64_t>(header.width) * header.height;
    return header.componentCount * pixels <= bufferSize;
}

bool IsOutputChannelCount(int32_t channels) {
    return channels == 1 || channels == 3 || channels == 4;
}

// Offset just past the first end-of-image marker at or after `from`, or `size` without one.
// Entropy-coded data stuffs every 0xFF it holds, so a 0xFF 0xD9 pair is always the marker.
size_t EndOfImage(const uint8_t* bytes, size_t size, size_t from) {
    for (size_t i = from; i + 1 < size; ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == JpegEoi) {
            return i + 2;
        }
    }
    return size;
}

DecodeOutcome DecodeLossless(const JpegFrameHeader& header, const uint8_t* bytes, size_t size,
                             uint8_t* buffer, size_t bufferSize) {
    int32_t channels = header.componentCount;
    JpegOutputLayout layout(buffer, bufferSize, JpegLineStep(header.width, channels),
                            static_cast<size_t>(channels) * static_cast<size_t>(header.width));
    LosslessJpegEngine engine;
    LosslessOutcome outcome = engine.Decode(bytes, size, header.width, header.height, channels, layout);
    size_t scan = static_cast<size_t>(header.scanOffset - header.soiOffset);
    return {outcome == LosslessOutcome::Written, EndOfImage(bytes, size, scan)};
}

DecodeOutcome DecodePicture(LibjpegDecoder& decoder, const JpegFrameHeader& header, const uint8_t* bytes,
                            int32_t size, uint8_t* buffer, int32_t bufferSize, bool readToEnd) {
    const uint8_t* start = bytes + header.soiOffset;
    size_t length = static_cast<size_t>(size - header.soiOffset);
    if (header.process == JpegProcess::Lossless) {
        return DecodeLossless(header, start, length, buffer, static_cast<size_t>(bufferSize));
    }
    LibjpegRequest request{start,
                           length,
                           header.width,
                           header.height,
                           header.componentCount,
                           buffer,
                           static_cast<size_t>(bufferSize),
                           readToEnd};
    LibjpegResult result = decoder.Decode(request);
    return {result.outcome == LibjpegOutcome::Complete, result.consumed};
}

} // namespace

JpegDecoderScratch::JpegDecoderScratch() : decoder(new LibjpegDecoder()) {}

JpegDecoderScratch::~JpegDecoderScratch() {
    delete decoder;
}

bool JpegReadHeader(const uint8_t* bytes, int32_t size, int32_t* width, int32_t* height, int32_t* channels) {
    JpegFrameHeader header;
    if (!ReadFrameHeader(bytes, size, &header)) {
        return false;
    }
    if (width != nullptr) {
        *width = header.width;
    }
    if (height != nullptr) {
        *height = header.height;
    }
    if (channels != nullptr) {
        *channels = header.componentCount;
    }
    return true;
}

bool JpegDecodeToBuffer(JpegDecoderScratch& scratch, const uint8_t* bytes, int32_t size, uint8_t* buffer,
                        int32_t bufferSize) {
    JpegFrameHeader header;
    if (buffer == nullptr || !ReadFrameHeader(bytes, size, &header)) {
        return false;
    }
    if (!FitsBuffer(header, bufferSize) || !IsOutputChannelCount(header.componentCount)) {
        return false;
    }
    return DecodePicture(scratch.Decoder(), header, bytes, size, buffer, bufferSize, false).complete;
}

bool JpegDecodeToBuffer(const uint8_t* bytes, int32_t size, uint8_t* buffer, int32_t bufferSize) {
    JpegDecoderScratch scratch;
    return JpegDecodeToBuffer(scratch, bytes, size, buffer, bufferSize);
}

bool JpegDecodeToBufferWithSize(const uint8_t* bytes, int32_t size, uint8_t* buffer, int32_t bufferSize,
                                int32_t* consumed) {
    JpegFrameHeader header;
    if (buffer == nullptr || !ReadFrameHeader(bytes, size, &header)) {
        return false;
    }
    if (!FitsBuffer(header, bufferSize) || (header.componentCount != 1 && header.componentCount != 3)) {
        return false;
    }
    LibjpegDecoder decoder;
    DecodeOutcome outcome = DecodePicture(decoder, header, bytes, size, buffer, bufferSize, true);
    if (outcome.complete && consumed != nullptr) {
        *consumed = header.soiOffset + static_cast<int32_t>(outcome.consumed);
    }
    return outcome.complete;
}

} // namespace Vorn::Vorncast::Decoders
