#include "Pcm16.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace Vorn::Vorncast::FfmpegPlugin {

namespace {

int16_t FromFloat(double value) {
    return static_cast<int16_t>(std::lrint(std::clamp(value, -1.0, 1.0) * 32767.0));
}

// Sample `index` of plane `plane` (the channel's plane, or the one interleaved plane) as 16 bits.
int16_t SampleAt(const AVFrame* frame, AVSampleFormat format, int plane, int index) {
    const uint8_t* data = frame->extended_data[plane];
    switch (format) {
    case AV_SAMPLE_FMT_U8:
        return static_cast<int16_t>((data[index] - 128) * 256);
    case AV_SAMPLE_FMT_S16: {
        int16_t value;
        std::memcpy(&value, data + index * 2, 2);
        return value;
    }
    case AV_SAMPLE_FMT_S32: {
        int32_t value;
        std::memcpy(&value, data + index * 4, 4);
        return static_cast<int16_t>(value >> 16);
    }
    case AV_SAMPLE_FMT_FLT: {
        float value;
        std::memcpy(&value, data + index * 4, 4);
        return FromFloat(value);
    }
    case AV_SAMPLE_FMT_DBL: {
        double value;
        std::memcpy(&value, data + index * 8, 8);
        return FromFloat(value);
    }
    default:
        return 0;
    }
}

} // namespace

uint32_t WritePcm16(const AVFrame* frame, uint8_t* out, uint32_t capacity) {
    const auto format = static_cast<AVSampleFormat>(frame->format);
    const int channels = frame->ch_layout.nb_channels;
    if (channels <= 0) {
        return 0;
    }
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    const AVSampleFormat packed = av_get_packed_sample_fmt(format);
    const int samples = std::min<int>(frame->nb_samples, static_cast<int>(capacity / (2u * channels)));
    auto* pcm = reinterpret_cast<int16_t*>(out);
    for (int sample = 0; sample < samples; ++sample) {
        for (int channel = 0; channel < channels; ++channel) {
            const int16_t value = planar ? SampleAt(frame, packed, channel, sample)
                                         : SampleAt(frame, packed, 0, sample * channels + channel);
            std::memcpy(pcm + sample * channels + channel, &value, 2);
        }
    }
    return static_cast<uint32_t>(samples * channels * 2);
}

} // namespace Vorn::Vorncast::FfmpegPlugin
