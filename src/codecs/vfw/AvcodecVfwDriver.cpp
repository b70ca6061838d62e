#include "codecs/vfw/AvcodecVfwDriver.h"
#include "codecs/video/FfmpegSetup.h"

#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/StartCodeProbe.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int ScalerFlags = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT;

bool IsAmbiguous(AVCodecID id) {
    return id == AV_CODEC_ID_MPEG4 || id == AV_CODEC_ID_H264;
}

bool IsFullRange(const AVFrame& picture) {
    auto format = static_cast<AVPixelFormat>(picture.format);
    return picture.color_range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P ||
           format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
           format == AV_PIX_FMT_YUVJ411P;
}

} // namespace

AvcodecVfwDriver::AvcodecVfwDriver(uint32_t handler) : handler(handler), tableCodec(CodecForFourCC(handler)) {
    QuietFfmpegLog();
}

AvcodecVfwDriver::~AvcodecVfwDriver() {
    Release();
}

AVCodecID AvcodecVfwDriver::CodecForFourCC(uint32_t fourCC) {
    const AVCodecTag* const tables[] = {avformat_get_riff_video_tags(), nullptr};
    return av_codec_get_id(tables, fourCC);
}

bool AvcodecVfwDriver::CanDecode() const {
    if (tableCodec == AV_CODEC_ID_NONE || avcodec_find_decoder(tableCodec) == nullptr) {
        return false;
    }
    return !IsAmbiguous(tableCodec) || (avcodec_find_decoder(AV_CODEC_ID_MPEG4) != nullptr &&
                                        avcodec_find_decoder(AV_CODEC_ID_H264) != nullptr);
}

int32_t AvcodecVfwDriver::Prepare(ByteView input) {
    Release();
    uint32_t headerSize = input.U32LE(0);
    if (headerSize < BitmapInfoHeaderSize || headerSize > input.Size()) {
        headerSize = BitmapInfoHeaderSize;
    }
    ByteView codecBytes = input.From(headerSize);
    extradata.assign(codecBytes.begin(), codecBytes.end());
    packet = av_packet_alloc();
    frame = av_frame_alloc();
    latest = av_frame_alloc();
    if (packet == nullptr || frame == nullptr || latest == nullptr) {
        return ICERR_MEMORY;
    }
    if (IsAmbiguous(tableCodec)) {
        return ICERR_OK;
    }
    return OpenDecoder(tableCodec) ? ICERR_OK : ICERR_UNSUPPORTED;
}

int32_t AvcodecVfwDriver::End() {
    Release();
    return ICERR_OK;
}

AVCodecID AvcodecVfwDriver::ChooseDecoder(ByteView firstFrame) const {
    StartCodeFamily family = ProbeStartCodes(ByteView(extradata.data(), extradata.size()));
    if (family == StartCodeFamily::Unknown) {
        family = ProbeStartCodes(firstFrame);
    }
    switch (family) {
    case StartCodeFamily::Mpeg4Part2:
        return AV_CODEC_ID_MPEG4;
    case StartCodeFamily::H264:
        return AV_CODEC_ID_H264;
    default:
        return tableCodec;
    }
}

bool AvcodecVfwDriver::OpenDecoder(AVCodecID id) {
    const AVCodec* codec = avcodec_find_decoder(id);
    context = codec != nullptr ? avcodec_alloc_context3(codec) : nullptr;
    if (context == nullptr) {
        return false;
    }
    context->codec_tag = handler;
    context->width = width;
    context->height = height;
    context->thread_count = 1;
    return AttachExtradata(context, ByteView(extradata.data(), extradata.size())) &&
           avcodec_open2(context, codec, nullptr) == 0;
}

int32_t AvcodecVfwDriver::DecodeFrame(ByteView data, uint8_t* dib) {
    if (context == nullptr) {
        if (packet == nullptr || !OpenDecoder(ChooseDecoder(data))) {
            avcodec_free_context(&context);
            return ICERR_INTERNAL;
        }
    }
    int32_t result = Send(data);
    if (result == ICERR_OK) {
        result = Receive();
    }
    if (result != ICERR_OK) {
        return result;
    }
    // A picture the decoder had to patch up (a frame cut short, damaged slices) is no picture.
    return latest->decode_error_flags == 0 ? WriteDib(dib) : ICERR_ERROR;
}

int32_t AvcodecVfwDriver::Send(ByteView data) {
    // The decoders read ahead in blocks: the packet needs zeroed padding behind its bytes.
    packetBytes.resize(std::max(packetBytes.size(), data.Size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::memcpy(packetBytes.data(), data.Data(), data.Size());
    std::memset(packetBytes.data() + data.Size(), 0, AV_INPUT_BUFFER_PADDING_SIZE);
    packet->data = packetBytes.data();
    packet->size = static_cast<int>(data.Size());
    int sent = avcodec_send_packet(context, packet);
    if (sent == AVERROR(EAGAIN)) {
        // Pictures from earlier frames are still waiting: take them, then hand the frame over.
        Receive();
        sent = avcodec_send_packet(context, packet);
    }
    av_packet_unref(packet);
    return sent == 0 ? ICERR_OK : ICERR_ERROR;
}

int32_t AvcodecVfwDriver::Receive() {
    bool received = false;
    for (;;) {
        int result = avcodec_receive_frame(context, frame);
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
            break;
        }
        if (result < 0) {
            return ICERR_ERROR;
        }
        av_frame_unref(latest);
        av_frame_move_ref(latest, frame);
        received = true;
    }
    return received ? ICERR_OK : ICERR_DONTDRAW;
}

int32_t AvcodecVfwDriver::WriteDib(uint8_t* dib) {
    auto format = static_cast<AVPixelFormat>(latest->format);
    scaler = sws_getCachedContext(scaler, latest->width, latest->height, format, width, height,
                                  AV_PIX_FMT_BGR24, ScalerFlags, nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        return ICERR_BADFORMAT;
    }
    int colourSpace = latest->colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_DEFAULT;
    sws_setColorspaceDetails(scaler, sws_getCoefficients(colourSpace), IsFullRange(*latest) ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
    int stride = static_cast<int>(DibStride(width, 24));
    uint8_t* rows[4] = {dib + static_cast<size_t>(height - 1) * static_cast<size_t>(stride), nullptr, nullptr,
                        nullptr};
    const int strides[4] = {-stride, 0, 0, 0};
    int written = sws_scale(scaler, latest->data, latest->linesize, 0, latest->height, rows, strides);
    return written == height ? ICERR_OK : ICERR_ERROR;
}

void AvcodecVfwDriver::Release() {
    avcodec_free_context(&context);
    av_packet_free(&packet);
    av_frame_free(&frame);
    av_frame_free(&latest);
    sws_freeContext(scaler);
    scaler = nullptr;
}

} // namespace Vorn::Vorncast::Decoders
