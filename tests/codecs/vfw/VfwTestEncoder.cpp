#include "codecs/vfw/VfwTestEncoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstring>
#include <memory>

namespace VfwTesting {

namespace {

struct ContextRelease {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameRelease {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketRelease {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScalerRelease {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

using Context = std::unique_ptr<AVCodecContext, ContextRelease>;

Context OpenEncoder(const AVCodec* codec, int width, int height, const EncodeSettings& settings) {
    Context context(avcodec_alloc_context3(codec));
    context->width = width;
    context->height = height;
    context->time_base = AVRational{1, 25};
    context->framerate = AVRational{25, 1};
    context->gop_size = settings.keyInterval;
    context->max_b_frames = settings.bFrames;
    context->pix_fmt = codec->pix_fmts != nullptr ? codec->pix_fmts[0] : AV_PIX_FMT_YUV420P;
    context->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    context->thread_count = 1;
    if (settings.globalHeader) {
        context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (std::strcmp(codec->name, "libx264") == 0) {
        av_opt_set(context->priv_data, "preset", "ultrafast", 0);
        av_opt_set(context->priv_data, "crf", "16", 0);
        if (settings.bFrames == 0) {
            av_opt_set(context->priv_data, "tune", "zerolatency", 0);
        }
    } else {
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * 2;
    }
    if (avcodec_open2(context.get(), codec, nullptr) != 0) {
        context.reset();
    }
    return context;
}

void Collect(AVCodecContext* context, AVPacket* packet, EncodedStream* stream) {
    while (avcodec_receive_packet(context, packet) == 0) {
        stream->frames.emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet);
    }
}

} // namespace

std::vector<uint8_t> MakeBgrPicture(int width, int height, int index) {
    std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t* pixel = &picture[(static_cast<size_t>(y) * width + x) * 3];
            bool inBlock = x >= 10 + index * 3 && x < 40 + index * 3 && y >= 20 && y < 50;
            pixel[0] = static_cast<uint8_t>(30 + 180 * x / width);
            pixel[1] = static_cast<uint8_t>(inBlock ? 220 : 40 + 150 * y / height);
            pixel[2] = static_cast<uint8_t>(60 + 120 * ((x + y) % 64) / 64);
        }
    }
    return picture;
}

bool EncodeFrames(const std::string& encoder, int width, int height, int count,
                  const EncodeSettings& settings, EncodedStream* stream) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* codec = avcodec_find_encoder_by_name(encoder.c_str());
    if (codec == nullptr) {
        return false;
    }
    Context context = OpenEncoder(codec, width, height, settings);
    if (context == nullptr) {
        return false;
    }
    if (context->extradata_size > 0) {
        stream->extradata.assign(context->extradata, context->extradata + context->extradata_size);
    }
    std::unique_ptr<AVFrame, FrameRelease> frame(av_frame_alloc());
    std::unique_ptr<AVPacket, PacketRelease> packet(av_packet_alloc());
    frame->format = context->pix_fmt;
    frame->width = width;
    frame->height = height;
    av_frame_get_buffer(frame.get(), 0);
    std::unique_ptr<SwsContext, ScalerRelease> scaler(sws_getContext(width, height, AV_PIX_FMT_BGR24, width,
                                                                     height, context->pix_fmt, SWS_BICUBIC,
                                                                     nullptr, nullptr, nullptr));
    for (int i = 0; i < count; ++i) {
        std::vector<uint8_t> picture = MakeBgrPicture(width, height, i);
        const uint8_t* source[1] = {picture.data()};
        const int sourceStride[1] = {width * 3};
        av_frame_make_writable(frame.get());
        sws_scale(scaler.get(), source, sourceStride, 0, height, frame->data, frame->linesize);
        frame->pts = i;
        if (avcodec_send_frame(context.get(), frame.get()) != 0) {
            return false;
        }
        Collect(context.get(), packet.get(), stream);
    }
    avcodec_send_frame(context.get(), nullptr);
    Collect(context.get(), packet.get(), stream);
    return static_cast<int>(stream->frames.size()) == count;
}

std::vector<uint8_t> BitmapFormat(int32_t width, int32_t height, uint32_t compression, uint16_t bitCount,
                                  const std::vector<uint8_t>& extradata) {
    std::vector<uint8_t> format(40, 0);
    auto put32 = [&](size_t at, uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            format[at + i] = static_cast<uint8_t>(value >> (8 * i));
        }
    };
    put32(0, 40);
    put32(4, static_cast<uint32_t>(width));
    put32(8, static_cast<uint32_t>(height));
    format[12] = 1;
    format[14] = static_cast<uint8_t>(bitCount);
    put32(16, compression);
    put32(20, static_cast<uint32_t>(std::abs(width * height) * (bitCount > 0 ? bitCount / 8 : 3)));
    format.insert(format.end(), extradata.begin(), extradata.end());
    return format;
}

uint32_t FourCC(const char* text) {
    uint32_t value = 0;
    for (int i = 0; i < 4 && text[i] != '\0'; ++i) {
        value |= static_cast<uint32_t>(static_cast<uint8_t>(text[i])) << (8 * i);
    }
    return value;
}

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
    if (a.size() != b.size() || a.empty()) {
        return 0.0;
    }
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) {
        double d = static_cast<double>(a[i]) - b[i];
        sum += d * d;
    }
    return sum == 0.0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(a.size())));
}

} // namespace VfwTesting
