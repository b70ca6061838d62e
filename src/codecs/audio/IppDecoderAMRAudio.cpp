#include "codecs/audio/IppDecoderAMRAudio.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t ModeCount = 8;
constexpr int32_t SpeechBits[ModeCount] = {95, 103, 118, 134, 148, 159, 204, 244};
constexpr int32_t BitRates[ModeCount] = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};
constexpr uint8_t QualityBit = 0x04;

size_t FrameBytes(const AmrFrameHeader& header) {
    return 1 + static_cast<size_t>(header.payloadBytes);
}

// The frames that fill `frames` exactly; -1 when one has an undecodable mode or is cut short, so
// that nothing is decoded from a call that cannot decode whole.
int32_t CountFrames(ByteView frames) {
    int32_t count = 0;
    size_t at = 0;
    while (at < frames.Size()) {
        const AmrFrameHeader header = ParseAmrFrameHeader(frames.U8(at));
        if (header.speechBits < 0 || !frames.Has(at, FrameBytes(header))) {
            return -1;
        }
        at += FrameBytes(header);
        ++count;
    }
    return count;
}

} // namespace

AmrFrameHeader ParseAmrFrameHeader(uint8_t headerByte) {
    AmrFrameHeader header;
    header.mode = (headerByte >> 3) & 15;
    header.quality = (headerByte & QualityBit) != 0;
    if (header.mode < ModeCount) {
        header.speechBits = SpeechBits[header.mode];
        header.payloadBytes = header.speechBits / 8 + 1;
        header.bitRate = BitRates[header.mode];
    }
    return header;
}

bool IppDecoderAMRAudio::Initialise(const uint8_t*, int32_t) {
    decodedBytes = 0;
    return engine.Open(AudioCodec::AmrNarrowBand, ByteView(), 0);
}

bool IppDecoderAMRAudio::Decode(const uint8_t* input, int32_t size, uint8_t* output, int32_t outputSize) {
    decodedBytes = 0;
    ByteView frames(input, size > 0 ? static_cast<size_t>(size) : 0);
    const int32_t frameCount = CountFrames(frames);
    if (!engine.IsOpen() || frameCount <= 0 || output == nullptr ||
        static_cast<int64_t>(frameCount) * FrameOutputBytes > outputSize) {
        return false;
    }
    size_t at = 0;
    for (int32_t index = 0; index < frameCount; ++index) {
        const size_t frameBytes = FrameBytes(ParseAmrFrameHeader(frames.U8(at)));
        if (engine.Decode(frames.Sub(at, frameBytes), output + index * FrameOutputBytes, FrameOutputBytes) !=
            FrameOutputBytes) {
            return false;
        }
        at += frameBytes;
    }
    decodedBytes = frameCount * FrameOutputBytes;
    return true;
}

} // namespace Vorn::Vorncast::Decoders
