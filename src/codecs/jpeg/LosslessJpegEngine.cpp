#include "codecs/jpeg/LosslessJpegEngine.h"
#include "codecs/video/FfmpegSetup.h"

#include "codecs/jpeg/JpegMarkers.h"

#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace Vorn::Vorncast::Decoders {

namespace {

AVPixelFormat OutputFormatFor(int32_t channels) {
    return channels == 1 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_BGR24;
}

} // namespace

LosslessJpegEngine::LosslessJpegEngine() {
    packet = av_packet_alloc();
    frame = av_frame_alloc();
    Open();
}

LosslessJpegEngine::~LosslessJpegEngine() {
    Close();
    sws_freeContext(scaler);
    av_frame_free(&frame);
    av_packet_free(&packet);
}

bool LosslessJpegEngine::Open() {
    QuietFfmpegLog();
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MJPEG);
    if (codec == nullptr || packet == nullptr || frame == nullptr) {
        return false;
    }
    context = avcodec_alloc_context3(codec);
    if (context == nullptr) {
        return false;
    }
    // One thread: a picture comes out of the call that put it in.
    context->thread_count = 1;
    if (avcodec_open2(context, codec, nullptr) < 0) {
        Close();
        return false;
    }
    return true;
}

void LosslessJpegEngine::Close() {
    avcodec_free_context(&context);
    lastWidth = lastHeight = lastChannels = 0;
}

bool LosslessJpegEngine::PrepareFor(int32_t width, int32_t height, int32_t channels) {
    bool changed =
        lastChannels != 0 && (width != lastWidth || height != lastHeight || channels != lastChannels);
    if (changed || context == nullptr) {
        Close();
        if (!Open()) {
            return false;
        }
    }
    lastWidth = width;
    lastHeight = height;
    lastChannels = channels;
    return true;
}

LosslessOutcome LosslessJpegEngine::Decode(const uint8_t* bytes, size_t size, int32_t width, int32_t height,
                                           int32_t channels, const JpegOutputLayout& layout) {
    if (bytes == nullptr || size == 0 || (channels != 1 && channels != 3)) {
        return LosslessOutcome::Failed;
    }
    JpegFrameHeader header;
    if (ParseJpegBitStream(ByteView(bytes, size), &header) != JpegParseOk) {
        return LosslessOutcome::Failed;
    }
    if (!PrepareFor(header.width, header.height, header.componentCount) || !DecodePacket(bytes, size)) {
        return LosslessOutcome::Failed;
    }
    LosslessOutcome outcome = LosslessOutcome::WrongSize;
    if (frame->width == width && frame->height == height) {
        outcome = WriteLines(channels, layout) ? LosslessOutcome::Written : LosslessOutcome::Failed;
    }
    av_frame_unref(frame);
    return outcome;
}

bool LosslessJpegEngine::DecodePacket(const uint8_t* bytes, size_t size) {
    if (size > static_cast<size_t>(INT32_MAX) - AV_INPUT_BUFFER_PADDING_SIZE) {
        return false;
    }
    input.assign(bytes, bytes + size);
    input.resize(size + AV_INPUT_BUFFER_PADDING_SIZE, 0);
    packet->data = input.data();
    packet->size = static_cast<int>(size);
    int sent = avcodec_send_packet(context, packet);
    av_packet_unref(packet);
    if (sent < 0 || avcodec_receive_frame(context, frame) < 0) {
        // Leave nothing half-decoded behind for the next picture.
        avcodec_flush_buffers(context);
        return false;
    }
    return true;
}

bool LosslessJpegEngine::WriteLines(int32_t channels, const JpegOutputLayout& layout) {
    const uint8_t* lines = nullptr;
    int lineStep = 0;
    if (!Convert(OutputFormatFor(channels), &lines, &lineStep)) {
        return false;
    }
    size_t fit = layout.RowsThatFit();
    for (size_t line = 0; line < static_cast<size_t>(frame->height); ++line) {
        const uint8_t* source = lines + line * static_cast<size_t>(lineStep);
        if (line < fit) {
            std::memcpy(layout.Row(line), source, layout.RowBytes());
        } else {
            layout.WritePartialRow(line, source);
        }
    }
    return true;
}

// The decoded picture in the output's pixel format: the frame itself when libavcodec already gave
// that format (the usual case), a converted copy otherwise.
bool LosslessJpegEngine::Convert(int32_t outputFormat, const uint8_t** lines, int* lineStep) {
    if (frame->format == outputFormat) {
        *lines = frame->data[0];
        *lineStep = frame->linesize[0];
        return true;
    }
    auto format = static_cast<AVPixelFormat>(outputFormat);
    scaler =
        sws_getCachedContext(scaler, frame->width, frame->height, static_cast<AVPixelFormat>(frame->format),
                             frame->width, frame->height, format, SWS_POINT, nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        return false;
    }
    int bytesPerPixel = format == AV_PIX_FMT_GRAY8 ? 1 : 3;
    int step = frame->width * bytesPerPixel;
    converted.resize(static_cast<size_t>(step) * static_cast<size_t>(frame->height));
    uint8_t* destination[4] = {converted.data(), nullptr, nullptr, nullptr};
    int destinationSteps[4] = {step, 0, 0, 0};
    sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, destination, destinationSteps);
    *lines = converted.data();
    *lineStep = step;
    return true;
}

} // namespace Vorn::Vorncast::Decoders
