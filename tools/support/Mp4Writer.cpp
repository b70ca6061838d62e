#include "support/Mp4Writer.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace VorncastTool {

namespace {

constexpr AVRational VideoTimeBase = {1, 1000};
constexpr int64_t TicksPerVideoUnit = 10000; // 100 ns ticks in a millisecond

std::string AvError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}

void CheckAv(int code, const std::string& what) {
    if (code < 0) {
        throw std::runtime_error(what + ": " + AvError(code));
    }
}

const AVCodec* FindVideoEncoder(bool mpeg4PartTwo) {
    const AVCodec* codec = mpeg4PartTwo ? nullptr : avcodec_find_encoder(AV_CODEC_ID_H264);
    return codec != nullptr ? codec : avcodec_find_encoder(AV_CODEC_ID_MPEG4);
}

int32_t Even(int32_t value) {
    return value + (value & 1);
}

} // namespace

struct Mp4Writer::State {
    std::string path;
    AVFormatContext* format = nullptr;
    AVCodecContext* video = nullptr;
    AVStream* videoStream = nullptr;
    AVCodecContext* audio = nullptr;
    AVStream* audioStream = nullptr;
    SwsContext* scaler = nullptr;
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    int32_t width = 0, height = 0; // the pictures' size; the encoder's is rounded up to even
    int64_t lastVideoPts = -1;
    int64_t frameDuration = 40; // in the video time base, for packets whose encoder gives none
    std::optional<AudioFormat> audioFormat;
    std::vector<std::vector<float>> pendingAudio; // per channel, not yet encoded
    int64_t audioSamplesQueued = 0; // samples given to the queue since the start, silence included
    int64_t audioPts = 0;           // of the first pending sample

    ~State() {
        sws_freeContext(scaler);
        av_frame_free(&frame);
        av_packet_free(&packet);
        avcodec_free_context(&video);
        avcodec_free_context(&audio);
        if (format != nullptr) {
            if (format->pb != nullptr) {
                avio_closep(&format->pb);
            }
            avformat_free_context(format);
        }
    }

    void OpenVideo(const Mp4Settings& settings) {
        const AVCodec* codec = FindVideoEncoder(settings.mpeg4PartTwo);
        if (codec == nullptr) {
            throw std::runtime_error("libavcodec has neither an H.264 nor an MPEG-4 encoder");
        }
        video = avcodec_alloc_context3(codec);
        video->width = Even(settings.width);
        video->height = Even(settings.height);
        video->pix_fmt = AV_PIX_FMT_YUV420P;
        video->time_base = VideoTimeBase;
        video->framerate = {25, 1};
        video->gop_size = 50;
        video->max_b_frames = 0;
        if (codec->id == AV_CODEC_ID_H264) {
            av_opt_set(video->priv_data, "preset", "veryfast", 0);
            av_opt_set(video->priv_data, "crf", "18", 0);
        } else {
            video->flags |= AV_CODEC_FLAG_QSCALE;
            video->global_quality = FF_QP2LAMBDA * 3;
        }
        if (format->oformat->flags & AVFMT_GLOBALHEADER) {
            video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        CheckAv(avcodec_open2(video, codec, nullptr), "opening the " + std::string(codec->name) + " encoder");
        videoStream = avformat_new_stream(format, nullptr);
        videoStream->time_base = VideoTimeBase;
        CheckAv(avcodec_parameters_from_context(videoStream->codecpar, video), "setting up the video track");
    }

    void OpenAudio(const AudioFormat& wanted) {
        const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (codec == nullptr) {
            throw std::runtime_error("libavcodec has no AAC encoder");
        }
        audio = avcodec_alloc_context3(codec);
        audio->sample_fmt = AV_SAMPLE_FMT_FLTP;
        audio->sample_rate = wanted.sampleRate;
        av_channel_layout_default(&audio->ch_layout, wanted.channels);
        audio->bit_rate = 64000 * wanted.channels;
        audio->time_base = {1, wanted.sampleRate};
        if (format->oformat->flags & AVFMT_GLOBALHEADER) {
            audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        CheckAv(avcodec_open2(audio, codec, nullptr), "opening the AAC encoder");
        audioStream = avformat_new_stream(format, nullptr);
        audioStream->time_base = audio->time_base;
        CheckAv(avcodec_parameters_from_context(audioStream->codecpar, audio), "setting up the audio track");
        audioFormat = wanted;
        pendingAudio.assign(static_cast<size_t>(wanted.channels), {});
    }

    void Drain(AVCodecContext* codec, AVStream* stream) {
        for (;;) {
            const int result = avcodec_receive_packet(codec, packet);
            if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
                return;
            }
            CheckAv(result, "encoding");
            if (codec == video && packet->duration <= 0) {
                packet->duration = frameDuration;
            }
            av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            CheckAv(av_interleaved_write_frame(format, packet), "writing " + path);
        }
    }

    void Encode(AVCodecContext* codec, AVStream* stream, AVFrame* input) {
        CheckAv(avcodec_send_frame(codec, input), "encoding");
        Drain(codec, stream);
    }

    // Fills the frame with the picture converted to the encoder's format, padded to even size.
    void ConvertPicture(const Picture& picture) {
        Picture source = picture;
        if (picture.width != width || picture.height != height) {
            source = Scale(picture, width, height);
        }
        const AVPixelFormat sourceFormat = source.bytesPerPixel == 1 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_BGR24;
        scaler = sws_getCachedContext(scaler, width, height, sourceFormat, width, height, AV_PIX_FMT_YUV420P,
                                      SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr,
                                      nullptr);
        if (scaler == nullptr) {
            throw std::runtime_error("libswscale could not convert the pictures");
        }
        CheckAv(av_frame_make_writable(frame), "preparing a picture");
        ClearFrame();
        const uint8_t* lines[1] = {source.bytes.data()};
        const int strides[1] = {static_cast<int>(source.LineBytes())};
        sws_scale(scaler, lines, strides, 0, height, frame->data, frame->linesize);
    }

    void ClearFrame() {
        for (int plane = 0; plane < 3; ++plane) {
            const int rows = plane == 0 ? frame->height : frame->height / 2;
            std::fill_n(frame->data[plane], static_cast<size_t>(frame->linesize[plane]) * rows,
                        plane == 0 ? 16 : 128);
        }
    }

    void QueueSilence(int64_t samples) {
        for (std::vector<float>& channel : pendingAudio) {
            channel.insert(channel.end(), static_cast<size_t>(samples), 0.0f);
        }
        audioSamplesQueued += samples;
    }

    void QueuePcm(const uint8_t* pcm, size_t bytes) {
        const size_t channels = pendingAudio.size();
        const size_t sampleBytes = audioFormat->bitsPerSample == 8 ? 1 : 2;
        const size_t count = bytes / (sampleBytes * channels);
        for (size_t index = 0; index < count; ++index) {
            for (size_t channel = 0; channel < channels; ++channel) {
                const uint8_t* at = pcm + (index * channels + channel) * sampleBytes;
                const float value =
                    sampleBytes == 1
                        ? (static_cast<float>(at[0]) - 128.0f) / 128.0f
                        : static_cast<float>(static_cast<int16_t>(at[0] | at[1] << 8)) / 32768.0f;
                pendingAudio[channel].push_back(value);
            }
        }
        audioSamplesQueued += static_cast<int64_t>(count);
    }

    // Encodes whole encoder frames from the queue; with `flush` the rest too, as a short last frame.
    void EncodeQueuedAudio(bool flush) {
        const size_t frameSize = audio->frame_size > 0 ? static_cast<size_t>(audio->frame_size) : 1024;
        while (pendingAudio[0].size() >= frameSize || (flush && !pendingAudio[0].empty())) {
            const size_t count = std::min(frameSize, pendingAudio[0].size());
            AVFrame* chunk = av_frame_alloc();
            chunk->format = audio->sample_fmt;
            chunk->sample_rate = audio->sample_rate;
            av_channel_layout_copy(&chunk->ch_layout, &audio->ch_layout);
            chunk->nb_samples = static_cast<int>(
                (audio->codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME) ? count : frameSize);
            CheckAv(av_frame_get_buffer(chunk, 0), "preparing audio");
            for (size_t channel = 0; channel < pendingAudio.size(); ++channel) {
                float* target = reinterpret_cast<float*>(chunk->data[channel]);
                std::fill_n(target, chunk->nb_samples, 0.0f);
                std::copy_n(pendingAudio[channel].begin(), count, target);
                pendingAudio[channel].erase(pendingAudio[channel].begin(),
                                            pendingAudio[channel].begin() +
                                                static_cast<std::ptrdiff_t>(count));
            }
            chunk->pts = audioPts;
            audioPts += static_cast<int64_t>(count);
            try {
                Encode(audio, audioStream, chunk);
            } catch (...) {
                av_frame_free(&chunk);
                throw;
            }
            av_frame_free(&chunk);
        }
    }
};

Mp4Writer::Mp4Writer(const std::string& path, const Mp4Settings& settings)
    : state(std::make_unique<State>()) {
    if (settings.width <= 0 || settings.height <= 0) {
        throw std::runtime_error("no picture size for " + path);
    }
    if (std::filesystem::exists(path)) {
        throw std::runtime_error("cannot create " + path + ": File exists");
    }
    av_log_set_level(AV_LOG_ERROR);
    State& s = *state;
    s.path = path;
    s.width = settings.width;
    s.frameDuration = std::max<int64_t>(1, settings.frameTicks / TicksPerVideoUnit);
    s.height = settings.height;
    CheckAv(avformat_alloc_output_context2(&s.format, nullptr, "mp4", path.c_str()), "setting up " + path);
    s.OpenVideo(settings);
    if (settings.audio) {
        s.OpenAudio(*settings.audio);
    }
    for (const auto& [key, value] : settings.metadata) {
        av_dict_set(&s.format->metadata, key.c_str(), value.c_str(), 0);
    }
    s.frame = av_frame_alloc();
    s.frame->format = s.video->pix_fmt;
    s.frame->width = s.video->width;
    s.frame->height = s.video->height;
    CheckAv(av_frame_get_buffer(s.frame, 0), "preparing pictures");
    s.packet = av_packet_alloc();
    CheckAv(avio_open(&s.format->pb, path.c_str(), AVIO_FLAG_WRITE), "cannot create " + path);
    CheckAv(avformat_write_header(s.format, nullptr), "writing " + path);
}

Mp4Writer::~Mp4Writer() = default;

std::string Mp4Writer::VideoCodecName() const {
    return state->video->codec->name;
}

void Mp4Writer::WriteVideo(const Picture& picture, int64_t ticks) {
    State& s = *state;
    const int64_t pts = ticks / TicksPerVideoUnit;
    if (pts <= s.lastVideoPts) {
        throw std::runtime_error("picture times must increase in " + s.path);
    }
    s.ConvertPicture(picture);
    s.frame->pts = pts;
    s.lastVideoPts = pts;
    s.Encode(s.video, s.videoStream, s.frame);
}

void Mp4Writer::WriteAudio(const uint8_t* pcm, size_t bytes, int64_t ticks) {
    State& s = *state;
    if (s.audio == nullptr) {
        throw std::runtime_error(s.path + " has no audio track");
    }
    const int64_t start = ticks * s.audioFormat->sampleRate / 10000000;
    if (start > s.audioSamplesQueued) {
        s.QueueSilence(start - s.audioSamplesQueued);
    }
    s.QueuePcm(pcm, bytes);
    s.EncodeQueuedAudio(false);
}

void Mp4Writer::Finish(int64_t lastFrameTicks) {
    State& s = *state;
    if (s.audio != nullptr) {
        s.EncodeQueuedAudio(true);
        s.Encode(s.audio, s.audioStream, nullptr);
    }
    s.frameDuration = std::max<int64_t>(1, lastFrameTicks / TicksPerVideoUnit);
    s.Encode(s.video, s.videoStream, nullptr);
    CheckAv(av_write_trailer(s.format), "finishing " + s.path);
    CheckAv(avio_closep(&s.format->pb), "closing " + s.path);
}

} // namespace VorncastTool
