#include "codecs/video/VideoEngine.h"

#include "codecs/video/FfmpegSetup.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

AVCodecID CodecId(VideoCodec codec) {
    switch (codec) {
    case VideoCodec::Mpeg4:
        return AV_CODEC_ID_MPEG4;
    case VideoCodec::H263:
        return AV_CODEC_ID_H263;
    case VideoCodec::H264:
        return AV_CODEC_ID_H264;
    case VideoCodec::Mpeg2:
        return AV_CODEC_ID_MPEG2VIDEO;
    case VideoCodec::Dv:
        return AV_CODEC_ID_DVVIDEO;
    }
    return AV_CODEC_ID_NONE;
}

} // namespace

VideoEngine::VideoEngine() = default;

VideoEngine::~VideoEngine() {
    Close();
}

bool VideoEngine::Open(VideoCodec codec, int32_t width, int32_t height, ByteView extradata,
                       bool decodingOrderOutput) {
    QuietFfmpegLog();
    Close();
    const AVCodec* decoder = avcodec_find_decoder(CodecId(codec));
    if (decoder == nullptr) {
        return false;
    }
    context = avcodec_alloc_context3(decoder);
    packet = av_packet_alloc();
    received = av_frame_alloc();
    picture = av_frame_alloc();
    if (context == nullptr || packet == nullptr || received == nullptr || picture == nullptr) {
        Close();
        return false;
    }
    context->width = std::max(width, 0);
    context->height = std::max(height, 0);
    // One thread: frame threads would add a delay of their own to every access unit.
    context->thread_count = 1;
    context->err_recognition |= AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER;
    if (decodingOrderOutput) {
        context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    }
    if (!AttachExtradata(context, extradata) || avcodec_open2(context, decoder, nullptr) < 0) {
        Close();
        return false;
    }
    return true;
}

void VideoEngine::Close() {
    avcodec_free_context(&context);
    av_packet_free(&packet);
    av_frame_free(&received);
    av_frame_free(&picture);
    heldBack = 0;
    draining = false;
}

uint8_t* VideoEngine::InputBuffer(int32_t size) {
    if (packet == nullptr || size < 0) {
        return nullptr;
    }
    av_packet_unref(packet);
    return av_new_packet(packet, size) == 0 ? packet->data : nullptr;
}

EngineStep VideoEngine::Decode() {
    if (context == nullptr) {
        return {AVERROR(EINVAL), false};
    }
    if (draining) {
        Reset();
    }
    int status = avcodec_send_packet(context, packet);
    av_packet_unref(packet);
    int32_t pictures = ReceivePictures();
    // Pictures that come out of a failed step are the concealed remains of the damaged frame.
    if (status < 0) {
        return {status, false};
    }
    if (pictures > 0) {
        heldBack = std::max(0, heldBack - (pictures - 1));
        if (PictureIsDamaged()) {
            return {AVERROR_INVALIDDATA, false};
        }
        return {0, true};
    }
    if (heldBack < context->has_b_frames) {
        ++heldBack;
        return {0, false};
    }
    return {AVERROR_INVALIDDATA, false};
}

EngineStep VideoEngine::Drain() {
    if (context == nullptr) {
        return {AVERROR(EINVAL), false};
    }
    if (!draining) {
        avcodec_send_packet(context, nullptr);
        draining = true;
    }
    int status = avcodec_receive_frame(context, received);
    if (status == 0) {
        av_frame_unref(picture);
        av_frame_move_ref(picture, received);
        return {0, !PictureIsDamaged()};
    }
    Reset();
    return {status, false};
}

void VideoEngine::Reset() {
    if (context != nullptr) {
        avcodec_flush_buffers(context);
    }
    heldBack = 0;
    draining = false;
}

int32_t VideoEngine::ReceivePictures() {
    int32_t count = 0;
    while (avcodec_receive_frame(context, received) == 0) {
        av_frame_unref(picture);
        av_frame_move_ref(picture, received);
        ++count;
    }
    return count;
}

bool VideoEngine::PictureIsDamaged() const {
    return picture->decode_error_flags != 0 || (picture->flags & AV_FRAME_FLAG_CORRUPT) != 0;
}

int32_t VideoEngine::CodedWidth() const {
    return context != nullptr ? context->width : 0;
}

int32_t VideoEngine::CodedHeight() const {
    return context != nullptr ? context->height : 0;
}

bool ProbePictureSize(VideoCodec codec, ByteView firstUnit, int32_t* width, int32_t* height) {
    VideoEngine engine;
    uint8_t* input = nullptr;
    if (!engine.Open(codec, 0, 0, ByteView(), true) ||
        (input = engine.InputBuffer(static_cast<int32_t>(firstUnit.Size()))) == nullptr) {
        return false;
    }
    std::copy(firstUnit.begin(), firstUnit.end(), input);
    engine.Decode();
    *width = engine.CodedWidth();
    *height = engine.CodedHeight();
    return *width > 0 && *height > 0;
}

} // namespace Vorn::Vorncast::Decoders
