// Decoding a 704 x 576 MPEG-4 part 2 stream to blue-first pictures: through the adapter, and
// through libavcodec alone (with and without the conversion), so that the adapter's own cost
// shows as the difference.

#include "codecs/video/IppDecoderMPEG4.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {

using Vorn::Vorncast::Decoders::IppDecoderMPEG4;

constexpr int Width = 704;
constexpr int Height = 576;
constexpr int Frames = 25;

using Stream = std::vector<std::vector<uint8_t>>;

void PaintFrame(AVFrame* frame, int index) {
    for (int y = 0; y < Height; ++y) {
        for (int x = 0; x < Width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] = static_cast<uint8_t>((x + y + index * 4) & 0xFF);
        }
    }
    for (int y = 0; y < Height / 2; ++y) {
        for (int x = 0; x < Width / 2; ++x) {
            frame->data[1][y * frame->linesize[1] + x] = static_cast<uint8_t>(((x / 44) * 32 + index) & 0xFF);
            frame->data[2][y * frame->linesize[2] + x] = static_cast<uint8_t>(255 - ((x / 44) * 32));
        }
    }
}

void Collect(AVCodecContext* encoder, AVPacket* packet, Stream* out) {
    while (avcodec_receive_packet(encoder, packet) == 0) {
        out->emplace_back(packet->data, packet->data + packet->size);
        av_packet_unref(packet);
    }
}

const Stream& EncodedStream() {
    static const Stream stream = [] {
        av_log_set_level(AV_LOG_QUIET);
        Stream out;
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
        AVCodecContext* encoder = avcodec_alloc_context3(codec);
        encoder->width = Width;
        encoder->height = Height;
        encoder->pix_fmt = AV_PIX_FMT_YUV420P;
        encoder->time_base = {1, 25};
        encoder->gop_size = 25;
        encoder->bit_rate = 2000000;
        avcodec_open2(encoder, codec, nullptr);
        AVFrame* frame = av_frame_alloc();
        frame->format = AV_PIX_FMT_YUV420P;
        frame->width = Width;
        frame->height = Height;
        av_frame_get_buffer(frame, 0);
        AVPacket* packet = av_packet_alloc();
        for (int index = 0; index < Frames; ++index) {
            av_frame_make_writable(frame);
            PaintFrame(frame, index);
            frame->pts = index;
            avcodec_send_frame(encoder, frame);
            Collect(encoder, packet, &out);
        }
        avcodec_send_frame(encoder, nullptr);
        Collect(encoder, packet, &out);
        av_packet_free(&packet);
        av_frame_free(&frame);
        avcodec_free_context(&encoder);
        return out;
    }();
    return stream;
}

void AdapterToBgr(benchmark::State& state) {
    const Stream& stream = EncodedStream();
    IppDecoderMPEG4 adapter;
    adapter.Initialise(Width, Height, 3, false);
    std::vector<uint8_t> picture(static_cast<size_t>(Width) * Height * 3);
    for (auto _ : state) {
        adapter.Reset();
        for (const auto& frame : stream) {
            bool ok = adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), picture.data(),
                                     static_cast<int32_t>(picture.size()));
            benchmark::DoNotOptimize(ok);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
}
BENCHMARK(AdapterToBgr)->Unit(benchmark::kMillisecond);

// libavcodec's decode with the same single-threaded set-up as the adapter; with `convert`, the
// picture also goes through libswscale into a packed blue-first buffer.
void Libavcodec(benchmark::State& state, bool convert) {
    const Stream& stream = EncodedStream();
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MPEG4);
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    decoder->thread_count = 1;
    avcodec_open2(decoder, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    SwsContext* converter = nullptr;
    std::vector<uint8_t> picture(static_cast<size_t>(Width) * Height * 3);
    uint8_t* planes[4] = {picture.data(), nullptr, nullptr, nullptr};
    int strides[4] = {Width * 3, 0, 0, 0};
    for (auto _ : state) {
        avcodec_flush_buffers(decoder);
        for (const auto& data : stream) {
            av_new_packet(packet, static_cast<int>(data.size()));
            std::memcpy(packet->data, data.data(), data.size());
            avcodec_send_packet(decoder, packet);
            av_packet_unref(packet);
            while (avcodec_receive_frame(decoder, frame) == 0) {
                if (convert) {
                    converter = sws_getCachedContext(
                        converter, Width, Height, static_cast<AVPixelFormat>(frame->format), Width, Height,
                        AV_PIX_FMT_BGR24, SWS_BILINEAR, nullptr, nullptr, nullptr);
                    sws_scale(converter, frame->data, frame->linesize, 0, Height, planes, strides);
                }
                av_frame_unref(frame);
            }
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
    sws_freeContext(converter);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&decoder);
}
BENCHMARK_CAPTURE(Libavcodec, DecodeOnly, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Libavcodec, DecodeAndConvert, true)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
