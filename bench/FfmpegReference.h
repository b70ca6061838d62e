#pragma once

// The reference the stepping benchmarks set themselves against: what
// `ffmpeg -threads 1 -i FILE -pix_fmt bgr24 -f null -` does with a file's first video stream, done in
// this process: demultiplex, decode on one thread and convert every picture to blue-first bytes.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <string>
#include <vector>

// Converts every picture a decoder has ready to blue-first bytes, one picture kept at a time.
class BgrPictureSink {
public:
    explicit BgrPictureSink(int scaleFlags) : scaleFlags(scaleFlags) {}
    BgrPictureSink(const BgrPictureSink&) = delete;
    BgrPictureSink& operator=(const BgrPictureSink&) = delete;
    ~BgrPictureSink() { sws_freeContext(scaler); }

    void Drain(AVCodecContext* context, AVFrame* frame) {
        while (avcodec_receive_frame(context, frame) == 0) {
            scaler = sws_getCachedContext(
                scaler, frame->width, frame->height, static_cast<AVPixelFormat>(frame->format), frame->width,
                frame->height, AV_PIX_FMT_BGR24, scaleFlags, nullptr, nullptr, nullptr);
            picture.resize(static_cast<size_t>(frame->width) * frame->height * 3);
            uint8_t* planes[4] = {picture.data()};
            int strides[4] = {frame->width * 3};
            sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, planes, strides);
        }
    }

private:
    int scaleFlags;
    SwsContext* scaler = nullptr;
    std::vector<uint8_t> picture;
};

inline void FfmpegDecodeFileToBgr(const std::string& path, int scaleFlags = SWS_BICUBIC) {
    AVFormatContext* format = nullptr;
    avformat_open_input(&format, path.c_str(), nullptr, nullptr);
    avformat_find_stream_info(format, nullptr);
    const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVCodec* codec = avcodec_find_decoder(format->streams[index]->codecpar->codec_id);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(context, format->streams[index]->codecpar);
    context->thread_count = 1;
    avcodec_open2(context, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    BgrPictureSink sink(scaleFlags);
    while (av_read_frame(format, packet) >= 0) {
        if (packet->stream_index == index) {
            avcodec_send_packet(context, packet);
            sink.Drain(context, frame);
        }
        av_packet_unref(packet);
    }
    avcodec_send_packet(context, nullptr);
    sink.Drain(context, frame);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
    avformat_close_input(&format);
}
