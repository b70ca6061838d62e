#include "codecs/audio/AudioEngine.h"

#include "codecs/video/FfmpegSetup.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

AVCodecID CodecId(AudioCodec codec) {
    switch (codec) {
    case AudioCodec::MpegLayer1:
        return AV_CODEC_ID_MP1;
    case AudioCodec::MpegLayer2:
        return AV_CODEC_ID_MP2;
    case AudioCodec::MpegLayer3:
        return AV_CODEC_ID_MP3;
    case AudioCodec::Aac:
        return AV_CODEC_ID_AAC;
    case AudioCodec::AmrNarrowBand:
        return AV_CODEC_ID_AMR_NB;
    case AudioCodec::Ac3:
        return AV_CODEC_ID_AC3;
    }
    return AV_CODEC_ID_NONE;
}

int16_t ClipToSample(double value) {
    return static_cast<int16_t>(std::clamp(std::lrint(value * 32768.0), -32768L, 32767L));
}

// Sample `index` of channel `channel`, whatever the frame's sample format, as 16 bits.
int16_t SampleAt(const AVFrame& frame, int32_t channel, int32_t index) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const int32_t frameChannels = frame.ch_layout.nb_channels;
    const uint8_t* plane = frame.extended_data[planar ? channel : 0];
    const int32_t at = planar ? index : index * frameChannels + channel;
    switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
        return static_cast<int16_t>((plane[at] - 128) * 256);
    case AV_SAMPLE_FMT_S16:
        return reinterpret_cast<const int16_t*>(plane)[at];
    case AV_SAMPLE_FMT_S32:
        return static_cast<int16_t>(reinterpret_cast<const int32_t*>(plane)[at] >> 16);
    case AV_SAMPLE_FMT_S64:
        return static_cast<int16_t>(reinterpret_cast<const int64_t*>(plane)[at] >> 48);
    case AV_SAMPLE_FMT_FLT:
        return ClipToSample(reinterpret_cast<const float*>(plane)[at]);
    case AV_SAMPLE_FMT_DBL:
        return ClipToSample(reinterpret_cast<const double*>(plane)[at]);
    default:
        return 0;
    }
}

// The caller's buffer need not be aligned for 16-bit stores.
void PutSample(uint8_t*& at, int16_t sample) {
    std::memcpy(at, &sample, sizeof sample);
    at += sizeof sample;
}

void WriteAnyFormat(const AVFrame& frame, int32_t outChannels, uint8_t* output) {
    const int32_t lastChannel = frame.ch_layout.nb_channels - 1;
    for (int32_t index = 0; index < frame.nb_samples; ++index) {
        for (int32_t channel = 0; channel < outChannels; ++channel) {
            PutSample(output, SampleAt(frame, std::min(channel, lastChannel), index));
        }
    }
}

// Planar float, what the MPEG audio, AAC and AC-3 decoders give, without the format dispatch of
// SampleAt for every sample.
void WritePlanarFloat(const AVFrame& frame, int32_t outChannels, uint8_t* output) {
    const int32_t lastChannel = frame.ch_layout.nb_channels - 1;
    const float* planes[8] = {};
    const int32_t channels = std::min(outChannels, 8);
    for (int32_t channel = 0; channel < channels; ++channel) {
        planes[channel] = reinterpret_cast<const float*>(frame.extended_data[std::min(channel, lastChannel)]);
    }
    if (channels != outChannels) {
        WriteAnyFormat(frame, outChannels, output);
        return;
    }
    for (int32_t index = 0; index < frame.nb_samples; ++index) {
        for (int32_t channel = 0; channel < channels; ++channel) {
            PutSample(output, ClipToSample(planes[channel][index]));
        }
    }
}

} // namespace

AudioEngine::AudioEngine() = default;

AudioEngine::~AudioEngine() {
    Close();
}

bool AudioEngine::Open(AudioCodec codec, ByteView config, int32_t outputChannels) {
    QuietFfmpegLog();
    Close();
    const AVCodec* decoder = avcodec_find_decoder(CodecId(codec));
    if (decoder == nullptr) {
        return false;
    }
    context = avcodec_alloc_context3(decoder);
    packet = av_packet_alloc();
    frame = av_frame_alloc();
    if (context == nullptr || packet == nullptr || frame == nullptr) {
        Close();
        return false;
    }
    if (outputChannels == 2) {
        av_opt_set(context, "downmix", "stereo", AV_OPT_SEARCH_CHILDREN);
    }
    if (!AttachExtradata(context, config) || avcodec_open2(context, decoder, nullptr) < 0) {
        Close();
        return false;
    }
    this->codec = codec;
    this->outputChannels = outputChannels;
    return true;
}

void AudioEngine::Close() {
    avcodec_free_context(&context);
    av_packet_free(&packet);
    av_frame_free(&frame);
    sampleRate = 0;
    channels = 0;
}

int32_t AudioEngine::Decode(ByteView input, uint8_t* output, int32_t outputSize) {
    if (context == nullptr || input.Empty() || output == nullptr) {
        return -1;
    }
    av_packet_unref(packet);
    if (av_new_packet(packet, static_cast<int>(input.Size())) != 0) {
        return -1;
    }
    std::memcpy(packet->data, input.Data(), input.Size());
    int status = avcodec_send_packet(context, packet);
    av_packet_unref(packet);
    int32_t written = 0;
    bool fits = true;
    while (avcodec_receive_frame(context, frame) == 0) {
        int32_t bytes = fits ? WriteFrame(*frame, output + written, outputSize - written) : -1;
        fits = bytes >= 0;
        written += fits ? bytes : 0;
        av_frame_unref(frame);
    }
    if (status < 0 || !fits || written == 0) {
        return -1;
    }
    return written;
}

int32_t AudioEngine::WriteFrame(const AVFrame& decoded, uint8_t* output, int32_t outputSize) {
    const int32_t frameChannels = decoded.ch_layout.nb_channels;
    if (frameChannels <= 0) {
        return -1;
    }
    const int32_t outChannels = outputChannels > 0 ? outputChannels : frameChannels;
    const int64_t bytes = static_cast<int64_t>(decoded.nb_samples) * outChannels * 2;
    if (bytes > outputSize) {
        return -1;
    }
    if (decoded.format == AV_SAMPLE_FMT_FLTP) {
        WritePlanarFloat(decoded, outChannels, output);
    } else {
        WriteAnyFormat(decoded, outChannels, output);
    }
    sampleRate = decoded.sample_rate;
    channels = outChannels;
    return static_cast<int32_t>(bytes);
}

} // namespace Vorn::Vorncast::Decoders
