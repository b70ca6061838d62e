// Decoding 720 x 576 streams of each video codec to blue-first pictures: through the adapter, and
// through libavcodec alone (with and without the conversion), so that the adapter's own cost shows as
// the ratio of AdapterToBgr to Libavcodec/DecodeAndConvert for the same codec.
//
// Audio likewise: each audio adapter's frames to interleaved 16-bit samples against libavcodec
// alone, with and without a direct conversion of its samples; the adapter's cost is the ratio of
// AudioAdapter to AudioLibavcodec/DecodeAndConvert.
//
// Compare the CPU column (processor time of the benchmark thread), not the wall time: on a shared
// machine the wall time of the same work varies by a factor of two or more between runs, which is
// enough to make an adapter that costs as much as libavcodec look 40% slower.

#include "codecs/audio/IppDecoderAACAudio.h"
#include "codecs/audio/IppDecoderAC3Audio.h"
#include "codecs/audio/IppDecoderAMRAudio.h"
#include "codecs/audio/IppDecoderMP3Audio.h"
#include "codecs/video/FfmpegSetup.h"
#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/IppDecoderMPEG4.h"

#include "fixtures/codecs/CodecTestSupport.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
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
    // H.263 has no 720 x 576 picture without the H.263+ extensions; 704 x 576 (4CIF) is its PAL size.
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

// ---- audio ----

constexpr int AudioFrames = 200;
// Room for the samples of any one frame of these codecs.
constexpr int32_t AudioOutputBytes = 0x10000;

// One audio codec under test: how its frames are made, its engine and its adapter. The output is
// interleaved 16-bit samples in the stream's channels, except for AC-3, which the adapter always
// downmixes to stereo.
struct AudioCase {
    const char* name;
    const char* encoderName; // null: AMR, whose frames are built without an encoder
    int32_t sampleRate;
    int32_t channels;
    AVCodecID id;
    bool stereoDownmix;
    std::unique_ptr<IppAudioDecoder> (*makeAdapter)();
};

template <class Adapter> std::unique_ptr<IppAudioDecoder> MakeAudioAdapter() {
    return std::make_unique<Adapter>();
}

const AudioCase AudioCases[] = {
    {"mp3", "libmp3lame", 44100, 2, AV_CODEC_ID_MP3, false, MakeAudioAdapter<IppDecoderMP3Audio>},
    {"aac", "aac", 44100, 2, AV_CODEC_ID_AAC, false, MakeAudioAdapter<IppDecoderAACAudio>},
    {"amr", nullptr, 8000, 1, AV_CODEC_ID_AMR_NB, false, MakeAudioAdapter<IppDecoderAMRAudio>},
    {"ac3", "ac3", 48000, 6, AV_CODEC_ID_AC3, true, MakeAudioAdapter<IppDecoderAC3Audio>},
};

// The frames of a case, made once: encoded by the fixtures' encoders, or for AMR built as 12.2 kbit/s
// storage-format frames (mode 7) of varying payload.
const CodecTest::EncodedAudio& AudioFramesOf(const AudioCase& audioCase) {
    static std::map<AVCodecID, CodecTest::EncodedAudio> made;
    auto known = made.find(audioCase.id);
    if (known != made.end()) {
        return known->second;
    }
    CodecTest::EncodedAudio& audio = made[audioCase.id];
    if (audioCase.encoderName == nullptr) {
        for (int index = 0; index < AudioFrames; ++index) {
            audio.frames.push_back({CodecTest::AmrFrame(7, static_cast<uint8_t>(index)), true, index});
        }
        audio.sampleRate = audioCase.sampleRate;
        audio.channels = audioCase.channels;
    } else if (!CodecTest::EncodeAudio(audioCase.encoderName, audioCase.sampleRate, audioCase.channels,
                                       AudioFrames, &audio)) {
        audio.frames.clear();
    }
    return audio;
}

void AudioAdapter(benchmark::State& state, const AudioCase& audioCase) {
    const CodecTest::EncodedAudio& audio = AudioFramesOf(audioCase);
    if (audio.frames.empty()) {
        state.SkipWithError("no encoder for this codec");
        return;
    }
    std::unique_ptr<IppAudioDecoder> adapter = audioCase.makeAdapter();
    std::vector<uint8_t> output(AudioOutputBytes);
    int64_t failures = 0;
    for (auto _ : state) {
        adapter->Initialise(audio.extradata.data(), static_cast<int32_t>(audio.extradata.size()));
        for (const auto& frame : audio.frames) {
            bool ok = adapter->Decode(frame.data.data(), static_cast<int32_t>(frame.data.size()),
                                      output.data(), AudioOutputBytes);
            benchmark::DoNotOptimize(ok);
            failures += ok ? 0 : 1;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(audio.frames.size()));
    state.counters["failed_per_pass"] =
        static_cast<double>(failures) / static_cast<double>(state.iterations());
}

int16_t ToSample(float value) {
    return static_cast<int16_t>(std::clamp(std::lrint(value * 32768.0f), -32768L, 32767L));
}

// Interleaves a decoded frame as 16-bit samples, written for the sample formats these decoders give.
void ConvertToS16(const AVFrame& frame, int16_t* output) {
    const int channels = frame.ch_layout.nb_channels;
    const auto format = static_cast<AVSampleFormat>(frame.format);
    for (int index = 0; index < frame.nb_samples; ++index) {
        for (int channel = 0; channel < channels; ++channel) {
            const int at = index * channels + channel;
            switch (format) {
            case AV_SAMPLE_FMT_FLTP:
                output[at] = ToSample(reinterpret_cast<const float*>(frame.extended_data[channel])[index]);
                break;
            case AV_SAMPLE_FMT_FLT:
                output[at] = ToSample(reinterpret_cast<const float*>(frame.data[0])[at]);
                break;
            case AV_SAMPLE_FMT_S16P:
                output[at] = reinterpret_cast<const int16_t*>(frame.extended_data[channel])[index];
                break;
            case AV_SAMPLE_FMT_S16:
                output[at] = reinterpret_cast<const int16_t*>(frame.data[0])[at];
                break;
            default:
                output[at] = 0;
                break;
            }
        }
    }
}

// libavcodec's decode with the adapter's set-up (configuration bytes, the stereo downmix of AC-3);
// with `convert`, each frame's samples are also interleaved as 16 bits.
void AudioLibavcodec(benchmark::State& state, const AudioCase& audioCase, bool convert) {
    const CodecTest::EncodedAudio& audio = AudioFramesOf(audioCase);
    if (audio.frames.empty()) {
        state.SkipWithError("no encoder for this codec");
        return;
    }
    const AVCodec* engine = avcodec_find_decoder(audioCase.id);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    std::vector<int16_t> output(AudioOutputBytes / 2);
    for (auto _ : state) {
        // The adapter's Initialise opens a fresh engine each pass; so does the reference.
        AVCodecContext* decoder = avcodec_alloc_context3(engine);
        AttachExtradata(decoder, ByteView(audio.extradata.data(), audio.extradata.size()));
        if (audioCase.stereoDownmix) {
            av_opt_set(decoder, "downmix", "stereo", AV_OPT_SEARCH_CHILDREN);
        }
        avcodec_open2(decoder, engine, nullptr);
        for (const auto& data : audio.frames) {
            av_new_packet(packet, static_cast<int>(data.data.size()));
            std::memcpy(packet->data, data.data.data(), data.data.size());
            avcodec_send_packet(decoder, packet);
            av_packet_unref(packet);
            while (avcodec_receive_frame(decoder, frame) == 0) {
                if (convert) {
                    ConvertToS16(*frame, output.data());
                }
                av_frame_unref(frame);
            }
        }
        avcodec_free_context(&decoder);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(audio.frames.size()));
    av_frame_free(&frame);
    av_packet_free(&packet);
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
    for (const AudioCase& audioCase : AudioCases) {
        std::string name = audioCase.name;
        benchmark::RegisterBenchmark(("AudioAdapter/" + name).c_str(), AudioAdapter, audioCase)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("AudioLibavcodec/DecodeOnly/" + name).c_str(), AudioLibavcodec,
                                     audioCase, false)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("AudioLibavcodec/DecodeAndConvert/" + name).c_str(), AudioLibavcodec,
                                     audioCase, true)
            ->Unit(benchmark::kMicrosecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
