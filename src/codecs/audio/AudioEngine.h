#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace Vorn::Vorncast::Decoders {

enum class AudioCodec { MpegLayer1, MpegLayer2, MpegLayer3, Aac, AmrNarrowBand, Ac3 };

// A libavcodec audio decoder that turns compressed frames into interleaved 16-bit samples.
class AudioEngine {
public:
    AudioEngine();
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    // `outputChannels` 0 keeps the stream's channels; 2 asks the decoder for a stereo downmix and
    // spreads a mono stream over both.
    bool Open(AudioCodec codec, ByteView config, int32_t outputChannels);
    void Close();
    bool IsOpen() const { return context != nullptr; }
    AudioCodec Codec() const { return codec; }

    // Decodes every frame in `input` into `output`: the bytes written, or -1 when the decoder
    // fails, gives nothing, or the samples would not fit.
    int32_t Decode(ByteView input, uint8_t* output, int32_t outputSize);

    int32_t SampleRate() const { return sampleRate; }
    int32_t Channels() const { return channels; }

private:
    // Writes one decoded frame; -1 when it does not fit.
    int32_t WriteFrame(const AVFrame& frame, uint8_t* output, int32_t outputSize);

    AVCodecContext* context = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    AudioCodec codec = AudioCodec::MpegLayer3;
    int32_t outputChannels = 0;
    int32_t sampleRate = 0;
    int32_t channels = 0;
};

} // namespace Vorn::Vorncast::Decoders
