#include "codecs/support/CodecTestSupport.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace CodecTest {

namespace {

std::vector<std::string> captured;

void Capture(const char*, int, int, const char* message) {
    captured.emplace_back(message);
}

struct Bgr {
    uint8_t b, g, r;
};

constexpr Bgr Bars[8] = {{235, 235, 235}, {16, 235, 235}, {235, 235, 16}, {16, 235, 16},
                         {235, 16, 235},  {16, 16, 235},  {235, 16, 16},  {16, 16, 16}};

// Converts a blue-first picture into an encoder's frame.
void FillFrame(const Picture& picture, AVFrame* frame) {
    SwsContext* converter =
        sws_getContext(picture.width, picture.height, AV_PIX_FMT_BGR24, frame->width, frame->height,
                       static_cast<AVPixelFormat>(frame->format), SWS_BILINEAR, nullptr, nullptr, nullptr);
    const uint8_t* planes[4] = {picture.bgr.data(), nullptr, nullptr, nullptr};
    int strides[4] = {picture.width * 3, 0, 0, 0};
    sws_scale(converter, planes, strides, 0, picture.height, frame->data, frame->linesize);
    sws_freeContext(converter);
}

Picture ToPicture(const AVFrame& frame) {
    Picture picture;
    picture.width = frame.width;
    picture.height = frame.height;
    picture.bgr.resize(static_cast<size_t>(frame.width) * frame.height * 3);
    SwsContext* converter =
        sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width,
                       frame.height, AV_PIX_FMT_BGR24, SWS_BILINEAR, nullptr, nullptr, nullptr);
    uint8_t* planes[4] = {picture.bgr.data(), nullptr, nullptr, nullptr};
    int strides[4] = {frame.width * 3, 0, 0, 0};
    sws_scale(converter, frame.data, frame.linesize, 0, frame.height, planes, strides);
    sws_freeContext(converter);
    return picture;
}

void CollectPackets(AVCodecContext* encoder, AVPacket* packet, std::vector<EncodedFrame>* out) {
    while (avcodec_receive_packet(encoder, packet) == 0) {
        out->push_back({std::vector<uint8_t>(packet->data, packet->data + packet->size),
                        (packet->flags & AV_PKT_FLAG_KEY) != 0, packet->pts});
        av_packet_unref(packet);
    }
}

void CopyExtradata(const AVCodecContext* context, std::vector<uint8_t>* out) {
    if (context->extradata != nullptr) {
        out->assign(context->extradata, context->extradata + context->extradata_size);
    }
}

void AppendInterleaved(const AVFrame& frame, std::vector<int16_t>* out) {
    const int channels = frame.ch_layout.nb_channels;
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    for (int index = 0; index < frame.nb_samples; ++index) {
        for (int channel = 0; channel < channels; ++channel) {
            const uint8_t* plane = frame.extended_data[planar ? channel : 0];
            const int at = planar ? index : index * channels + channel;
            switch (av_get_packed_sample_fmt(format)) {
            case AV_SAMPLE_FMT_S16:
                out->push_back(reinterpret_cast<const int16_t*>(plane)[at]);
                break;
            case AV_SAMPLE_FMT_FLT: {
                long value = std::lrint(reinterpret_cast<const float*>(plane)[at] * 32768.0);
                out->push_back(static_cast<int16_t>(std::clamp(value, -32768L, 32767L)));
                break;
            }
            default:
                out->push_back(0);
            }
        }
    }
}

} // namespace

Picture MakeTestPicture(int32_t width, int32_t height, int32_t frame) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bgr.resize(static_cast<size_t>(width) * height * 3);
    const int32_t barWidth = std::max(1, width / 8);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            uint8_t* pixel = &picture.bgr[(static_cast<size_t>(y) * width + x) * 3];
            if (y < height / 2) {
                const Bgr bar = Bars[((x + frame * 2) / barWidth) % 8];
                pixel[0] = bar.b;
                pixel[1] = bar.g;
                pixel[2] = bar.r;
            } else {
                const int32_t ramp = (x + y + frame * 3) % 256;
                pixel[0] = static_cast<uint8_t>(40 + ramp * 3 / 4);
                pixel[1] = static_cast<uint8_t>(60 + (y * 128) / height);
                pixel[2] = static_cast<uint8_t>(230 - ramp * 3 / 4);
            }
        }
    }
    return picture;
}

bool HasEncoder(const char* name) {
    return avcodec_find_encoder_by_name(name) != nullptr;
}

bool EncodeVideo(const VideoSettings& settings, EncodedVideo* out) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* codec = avcodec_find_encoder_by_name(settings.encoder.c_str());
    if (codec == nullptr) {
        return false;
    }
    AVCodecContext* encoder = avcodec_alloc_context3(codec);
    encoder->width = settings.width;
    encoder->height = settings.height;
    encoder->pix_fmt = settings.pixelFormat;
    encoder->time_base = av_inv_q(settings.frameRate);
    encoder->framerate = settings.frameRate;
    encoder->gop_size = settings.gop;
    encoder->max_b_frames = settings.bFrames;
    encoder->thread_count = 1;
    if (settings.encoder != "libx264" && settings.encoder != "dvvideo") {
        encoder->flags |= AV_CODEC_FLAG_QSCALE;
        encoder->global_quality = FF_QP2LAMBDA * 2;
    }
    if (settings.globalHeader) {
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    for (const auto& [key, value] : settings.options) {
        av_opt_set(encoder->priv_data, key.c_str(), value.c_str(), 0);
    }
    if (avcodec_open2(encoder, codec, nullptr) < 0) {
        avcodec_free_context(&encoder);
        return false;
    }
    CopyExtradata(encoder, &out->extradata);
    AVFrame* frame = av_frame_alloc();
    frame->format = encoder->pix_fmt;
    frame->width = settings.width;
    frame->height = settings.height;
    av_frame_get_buffer(frame, 0);
    AVPacket* packet = av_packet_alloc();
    for (int32_t index = 0; index < settings.frames; ++index) {
        out->sources.push_back(MakeTestPicture(settings.width, settings.height, index));
        av_frame_make_writable(frame);
        FillFrame(out->sources.back(), frame);
        frame->pts = index;
        avcodec_send_frame(encoder, frame);
        CollectPackets(encoder, packet, &out->frames);
    }
    avcodec_send_frame(encoder, nullptr);
    CollectPackets(encoder, packet, &out->frames);
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&encoder);
    return !out->frames.empty();
}

std::vector<Picture> ReferenceDecode(AVCodecID codecId, const EncodedVideo& video, bool decodingOrderOutput) {
    const AVCodec* codec = avcodec_find_decoder(codecId);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    decoder->thread_count = 1;
    if (decodingOrderOutput) {
        decoder->flags |= AV_CODEC_FLAG_LOW_DELAY;
    }
    if (!video.extradata.empty()) {
        decoder->extradata =
            static_cast<uint8_t*>(av_mallocz(video.extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(decoder->extradata, video.extradata.data(), video.extradata.size());
        decoder->extradata_size = static_cast<int>(video.extradata.size());
    }
    std::vector<Picture> pictures;
    if (avcodec_open2(decoder, codec, nullptr) < 0) {
        avcodec_free_context(&decoder);
        return pictures;
    }
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    for (size_t index = 0; index <= video.frames.size(); ++index) {
        if (index < video.frames.size()) {
            const auto& data = video.frames[index].data;
            av_new_packet(packet, static_cast<int>(data.size()));
            std::memcpy(packet->data, data.data(), data.size());
            avcodec_send_packet(decoder, packet);
            av_packet_unref(packet);
        } else {
            avcodec_send_packet(decoder, nullptr);
        }
        while (avcodec_receive_frame(decoder, frame) == 0) {
            pictures.push_back(ToPicture(*frame));
            av_frame_unref(frame);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    return pictures;
}

double Psnr(const uint8_t* a, const uint8_t* b, size_t count) {
    double sum = 0;
    for (size_t index = 0; index < count; ++index) {
        const double difference = static_cast<double>(a[index]) - b[index];
        sum += difference * difference;
    }
    if (sum == 0) {
        return 99.0;
    }
    return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(count)));
}

double Psnr(const Picture& a, const uint8_t* b) {
    return Psnr(a.bgr.data(), b, a.Bytes());
}

bool EncodeAudio(const char* encoderName, int32_t sampleRate, int32_t channels, int32_t frames,
                 EncodedAudio* out) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* codec = avcodec_find_encoder_by_name(encoderName);
    if (codec == nullptr) {
        return false;
    }
    AVCodecContext* encoder = avcodec_alloc_context3(codec);
    encoder->sample_rate = sampleRate;
    av_channel_layout_default(&encoder->ch_layout, channels);
    encoder->sample_fmt = codec->sample_fmts[0];
    encoder->bit_rate = 64000 * channels;
    if (avcodec_open2(encoder, codec, nullptr) < 0) {
        avcodec_free_context(&encoder);
        return false;
    }
    CopyExtradata(encoder, &out->extradata);
    out->sampleRate = sampleRate;
    out->channels = channels;
    out->frameSamples = encoder->frame_size;
    AVFrame* frame = av_frame_alloc();
    frame->nb_samples = encoder->frame_size;
    frame->format = encoder->sample_fmt;
    frame->sample_rate = sampleRate;
    av_channel_layout_copy(&frame->ch_layout, &encoder->ch_layout);
    av_frame_get_buffer(frame, 0);
    AVPacket* packet = av_packet_alloc();
    int64_t sample = 0;
    for (int32_t index = 0; index < frames; ++index) {
        av_frame_make_writable(frame);
        const bool planar = av_sample_fmt_is_planar(encoder->sample_fmt) != 0;
        for (int32_t at = 0; at < frame->nb_samples; ++at, ++sample) {
            for (int32_t channel = 0; channel < channels; ++channel) {
                const double value =
                    0.4 * std::sin(2 * M_PI * (440.0 + 220.0 * channel) * sample / sampleRate);
                const int position = planar ? at : at * channels + channel;
                uint8_t* plane = frame->extended_data[planar ? channel : 0];
                switch (av_get_packed_sample_fmt(encoder->sample_fmt)) {
                case AV_SAMPLE_FMT_S16:
                    reinterpret_cast<int16_t*>(plane)[position] = static_cast<int16_t>(value * 32767);
                    break;
                case AV_SAMPLE_FMT_S32:
                    reinterpret_cast<int32_t*>(plane)[position] = static_cast<int32_t>(value * 2147483647.0);
                    break;
                case AV_SAMPLE_FMT_FLT:
                    reinterpret_cast<float*>(plane)[position] = static_cast<float>(value);
                    break;
                default:
                    break;
                }
            }
        }
        frame->pts = sample - frame->nb_samples;
        avcodec_send_frame(encoder, frame);
        CollectPackets(encoder, packet, &out->frames);
    }
    avcodec_send_frame(encoder, nullptr);
    CollectPackets(encoder, packet, &out->frames);
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&encoder);
    return !out->frames.empty();
}

std::vector<std::vector<int16_t>> ReferenceDecodeAudio(AVCodecID codecId, const EncodedAudio& audio) {
    const AVCodec* codec = avcodec_find_decoder(codecId);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    if (!audio.extradata.empty()) {
        decoder->extradata =
            static_cast<uint8_t*>(av_mallocz(audio.extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(decoder->extradata, audio.extradata.data(), audio.extradata.size());
        decoder->extradata_size = static_cast<int>(audio.extradata.size());
    }
    std::vector<std::vector<int16_t>> decoded;
    avcodec_open2(decoder, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    for (const EncodedFrame& encoded : audio.frames) {
        av_new_packet(packet, static_cast<int>(encoded.data.size()));
        std::memcpy(packet->data, encoded.data.data(), encoded.data.size());
        avcodec_send_packet(decoder, packet);
        av_packet_unref(packet);
        decoded.emplace_back();
        while (avcodec_receive_frame(decoder, frame) == 0) {
            AppendInterleaved(*frame, &decoded.back());
            av_frame_unref(frame);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
    return decoded;
}

LogCapture::LogCapture() : previous(Vorn::Vorncast::Library().logCallback) {
    captured.clear();
    Vorn::Vorncast::Library().logCallback = Capture;
}

LogCapture::~LogCapture() {
    Vorn::Vorncast::Library().logCallback = previous;
    captured.clear();
}

const std::vector<std::string>& LogCapture::Messages() const {
    return captured;
}

bool LogCapture::Contains(const std::string& message) const {
    return std::find(captured.begin(), captured.end(), message) != captured.end();
}

bool LogCapture::ContainsPrefix(const std::string& prefix) const {
    return std::any_of(captured.begin(), captured.end(),
                       [&](const std::string& message) { return message.rfind(prefix, 0) == 0; });
}

void LogCapture::Clear() {
    captured.clear();
}

} // namespace CodecTest
