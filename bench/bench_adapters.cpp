// Decoding 720 x 576 streams of each video codec to blue-first pictures: through the adapter, and
// through libavcodec alone (with and without the conversion), so that the adapter's own cost shows as
// the ratio of AdapterToBgr to Libavcodec/DecodeAndConvert for the same codec.

#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/IppDecoderMPEG4.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Vorn::Vorncast::Decoders;

constexpr int Frames = 25;

using Stream = std::vector<std::vector<uint8_t>>;

// One codec under test: its engine, picture size and the adapter that decodes it.
struct Codec {
    AVCodecID id;
    const char* encoderName;
    int width;
    int height;
    AVPixelFormat format;
    std::unique_ptr<IppDecoder> (*makeAdapter)();
};

template <class Adapter> std::unique_ptr<IppDecoder> MakeAdapter() {
    return std::make_unique<Adapter>();
}

const Codec Codecs[] = {
    {AV_CODEC_ID_MPEG4, "mpeg4", 720, 576, AV_PIX_FMT_YUV420P, MakeAdapter<IppDecoderMPEG4>},
    {AV_CODEC_ID_H263, "h263", 704, 576, AV_PIX_FMT_YUV420P, MakeAdapter<IppDecoderH263>},
    {AV_CODEC_ID_H264, "libx264", 720, 576, AV_PIX_FMT_YUV420P, MakeAdapter<IppDecoderH264>},
    {AV_CODEC_ID_MPEG2VIDEO, "mpeg2video", 720, 576, AV_PIX_FMT_YUV420P, MakeAdapter<IppDecoderMPEG2>},
    {AV_CODEC_ID_DVVIDEO, "dvvideo", 720, 576, AV_PIX_FMT_YUV420P, MakeAdapter<IppDecoderDV25>},
};

void PaintFrame(AVFrame* frame, int index) {
    for (int y = 0; y < frame->height; ++y) {
        for (int x = 0; x < frame->width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] = static_cast<uint8_t>((x + y + index * 4) & 0xFF);
        }
    }
    for (int y = 0; y < frame->height / 2; ++y) {
        for (int x = 0; x < frame->width / 2; ++x) {
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

const Stream& EncodedStream(const Codec& codec) {
    static std::map<AVCodecID, Stream> streams;
    auto known = streams.find(codec.id);
    if (known != streams.end()) {
        return known->second;
    }
    av_log_set_level(AV_LOG_QUIET);
    Stream& out = streams[codec.id];
    const AVCodec* engine = avcodec_find_encoder_by_name(codec.encoderName);
    if (engine == nullptr) {
        return out;
    }
    AVCodecContext* encoder = avcodec_alloc_context3(engine);
    encoder->width = codec.width;
    encoder->height = codec.height;
    encoder->pix_fmt = codec.format;
    encoder->time_base = {1, 25};
    encoder->gop_size = 25;
    encoder->max_b_frames = 0;
    encoder->bit_rate = 2000000;
    if (avcodec_open2(encoder, engine, nullptr) == 0) {
        AVFrame* frame = av_frame_alloc();
        frame->format = codec.format;
        frame->width = codec.width;
        frame->height = codec.height;
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
    }
    avcodec_free_context(&encoder);
    return out;
}

void AdapterToBgr(benchmark::State& state, const Codec& codec) {
    const Stream& stream = EncodedStream(codec);
    if (stream.empty()) {
        state.SkipWithError("no encoder for this codec");
        return;
    }
    std::unique_ptr<IppDecoder> adapter = codec.makeAdapter();
    adapter->Initialise(codec.width, codec.height, 3, false);
    std::vector<uint8_t> picture(static_cast<size_t>(codec.width) * codec.height * 3);
    int64_t failures = 0;
    for (auto _ : state) {
        adapter->Reset();
        for (const auto& frame : stream) {
            bool ok = adapter->Decode(frame.data(), static_cast<int32_t>(frame.size()), picture.data(),
                                      static_cast<int32_t>(picture.size()));
            benchmark::DoNotOptimize(ok);
            failures += ok ? 0 : 1;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
    state.counters["failed_per_pass"] =
        static_cast<double>(failures) / static_cast<double>(state.iterations());
}

// libavcodec's decode with the same single-threaded set-up as the adapter; with `convert`, the
// picture also goes through libswscale into a packed blue-first buffer.
void Libavcodec(benchmark::State& state, const Codec& codec, bool convert) {
    const Stream& stream = EncodedStream(codec);
    if (stream.empty()) {
        state.SkipWithError("no encoder for this codec");
        return;
    }
    const int Width = codec.width;
    const int Height = codec.height;
    const AVCodec* engine = avcodec_find_decoder(codec.id);
    AVCodecContext* decoder = avcodec_alloc_context3(engine);
    decoder->thread_count = 1;
    avcodec_open2(decoder, engine, nullptr);
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
} // namespace

int main(int argc, char** argv) {
    for (const Codec& codec : Codecs) {
        std::string name = codec.encoderName;
        benchmark::RegisterBenchmark(("AdapterToBgr/" + name).c_str(), AdapterToBgr, codec)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Libavcodec/DecodeOnly/" + name).c_str(), Libavcodec, codec, false)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Libavcodec/DecodeAndConvert/" + name).c_str(), Libavcodec, codec, true)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
