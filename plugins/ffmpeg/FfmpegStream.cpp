#include "FfmpegStream.h"

#include "Pcm16.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::FfmpegPlugin {

namespace {

// An audio frame of a codec that does not say its length is taken to hold at most this many samples.
constexpr int32_t LongestAudioFrame = 8192;

AVCodecContext* OpenDecoder(const AVCodecParameters* parameters) {
    const AVCodec* decoder = avcodec_find_decoder(parameters->codec_id);
    AVCodecContext* context = decoder != nullptr ? avcodec_alloc_context3(decoder) : nullptr;
    if (context == nullptr) {
        return nullptr;
    }
    // One thread: the library runs on its caller's thread, and frames come out as soon as they can.
    context->thread_count = 1;
    if (avcodec_parameters_to_context(context, parameters) < 0 ||
        avcodec_open2(context, decoder, nullptr) < 0) {
        avcodec_free_context(&context);
    }
    return context;
}

// Whether a packet read back is the one the index holds: by file position where the container gives
// one, else by its stamps.
bool SamePacket(const AVPacket* packet, const PacketEntry& entry) {
    if (entry.pos >= 0 && packet->pos >= 0) {
        return packet->pos == entry.pos;
    }
    return packet->pts == entry.pts && packet->dts == entry.dts;
}

// Whether a packet read back lies past the one the index holds, so that a seek overshot it.
bool PastPacket(const AVPacket* packet, const PacketEntry& entry) {
    if (entry.pos >= 0 && packet->pos >= 0) {
        return packet->pos > entry.pos;
    }
    return entry.dts != AV_NOPTS_VALUE && packet->dts != AV_NOPTS_VALUE && packet->dts > entry.dts;
}

} // namespace

FfmpegStream::FfmpegStream(const std::string& path, const AVStream* stream, StreamIndex index,
                           int64_t recorderClock)
    : path(path), streamIndex(stream->index), index(std::move(index)), recorderClock(recorderClock) {
    const AVCodecParameters* parameters = stream->codecpar;
    type = parameters->codec_type == AVMEDIA_TYPE_AUDIO ? StreamAudio : StreamVideo;
    streamNumber = stream->index;
    SetName(Buffer(avcodec_get_name(parameters->codec_id)));
    video.width = parameters->width;
    video.height = parameters->height;
    audio.sampleRate = parameters->sample_rate;
    audio.bitsPerSample = 16;
    audio.channels = parameters->ch_layout.nb_channels;
    audio.maxSampleBytes =
        (parameters->frame_size > 0 ? parameters->frame_size : LongestAudioFrame) * audio.channels * 2;
    codec = OpenDecoder(parameters);
    packet = av_packet_alloc();
    decoded = av_frame_alloc();
    if (packet == nullptr || decoded == nullptr) {
        avcodec_free_context(&codec);
    }
}

FfmpegStream::~FfmpegStream() {
    sws_freeContext(scaler);
    av_frame_free(&decoded);
    av_packet_free(&packet);
    avcodec_free_context(&codec);
}

FrameTimes FfmpegStream::TimesOf(int32_t frame) const {
    FrameTimes times{};
    times.streamTime = index.frameTimes[frame];
    times.recordedTime = recorderClock + times.streamTime;
    return times;
}

SampleDescription* FfmpegStream::GetSampleDescription(int descriptionHandle) {
    SampleDescription* description = type == StreamAudio ? static_cast<SampleDescription*>(&audio) : &video;
    return descriptionHandle == description->Handle() ? description : nullptr;
}

// ---- seeking and stepping: the frame at or before a time, the ends remembered ----

int FfmpegStream::GoToTime(SeekRequest request, Sample* sample) {
    if (Aborted(request.abort)) {
        return VC_UserAborted;
    }
    const int32_t frame = index.FrameAtOrBefore(request.targetTime);
    if (frame < 0) {
        position = Position::BeforeStart;
        return VC_EndOfStreamBeforeStart;
    }
    if (frame == index.FrameCount() - 1 && request.targetTime >= index.frameTimes[frame] + index.frameTicks) {
        position = Position::PastEnd;
        return VC_EndOfStreamAfterEnd;
    }
    return Deliver(frame, request.wantData, sample);
}

int FfmpegStream::GetNextSample(SampleRequest request, Sample* sample) {
    if (Aborted(request.abort)) {
        return VC_UserAborted;
    }
    if (position == Position::PastEnd ||
        (position == Position::OnSample && current + 1 >= index.FrameCount())) {
        position = Position::PastEnd;
        return VC_EndOfStreamAfterEnd;
    }
    return Deliver(position == Position::BeforeStart ? 0 : current + 1, request.wantData, sample);
}

int FfmpegStream::GetPreviousSample(SampleRequest request, Sample* sample) {
    if (Aborted(request.abort)) {
        return VC_UserAborted;
    }
    if (position == Position::BeforeStart || (position == Position::OnSample && current == 0)) {
        position = Position::BeforeStart;
        return VC_EndOfStreamBeforeStart;
    }
    return Deliver(position == Position::PastEnd ? index.FrameCount() - 1 : current - 1, request.wantData,
                   sample);
}

// A frame the file does not give whole comes black (or silent) at its own time, so that playback goes
// on past damage.
int FfmpegStream::Deliver(int32_t frame, int32_t wantData, Sample* sample) {
    current = frame;
    position = Position::OnSample;
    sample->time = TimesOf(frame);
    sample->descriptionHandle = type == StreamAudio ? audio.Handle() : video.Handle();
    sample->uncompressedSize = SampleBytes();
    if (wantData != 1) {
        return VC_Success;
    }
    const bool whole = DecodeFrame(frame);
    sample->uncompressedData = new uint8_t[sample->uncompressedSize]();
    if (whole && type == StreamAudio) {
        WriteAudio(sample->uncompressedData, sample->uncompressedSize, &sample->uncompressedSize);
    } else if (whole) {
        WritePicture(sample->uncompressedData);
    }
    return VC_Success;
}

uint32_t FfmpegStream::SampleBytes() const {
    return static_cast<uint32_t>(type == StreamAudio ? audio.maxSampleBytes : video.ImageBytes());
}

// ---- decoding to a frame ----

bool FfmpegStream::DecodeFrame(int32_t frame) {
    if (decoderStarted && decodedFrame == frame) {
        return true;
    }
    int32_t start = index.StartPacketFor(frame);
    if (type == StreamAudio && start > 0) {
        --start; // one packet before, so that the overlap of the first frame is decoded too
    }
    // Decoding on reaches the frame when the decoder has not passed it and no key lies beyond the
    // packet it reads next.
    const bool onTheWay = decoderStarted && decodedFrame < frame && start <= nextPacket;
    if (!onTheWay && !RestartAt(start)) {
        return false;
    }
    return DecodeUntil(frame) && decodedFrame == frame;
}

bool FfmpegStream::RestartAt(int32_t start) {
    avcodec_flush_buffers(codec);
    decodedFrame = -1;
    draining = false;
    decoderStarted = true;
    nextOutput = start;
    if (index.Timed() && SeekToPacket(start)) {
        return true;
    }
    // Without stamps, or when a seek misses the packet: from the start of the file, counting packets.
    if (!input.Open(path, true)) {
        return false;
    }
    nextPacket = 0;
    return SkipToPacket(start);
}

bool FfmpegStream::SeekToPacket(int32_t start) {
    // Containers without a header make their streams as their packets come: a stream not yet made
    // cannot be sought in, only read to.
    if ((input.Format() == nullptr && !input.Open(path, true)) ||
        streamIndex >= static_cast<int32_t>(input.Format()->nb_streams)) {
        return false;
    }
    const PacketEntry& entry = index.packets[start];
    const bool byPresentation =
        (input.Format()->iformat->flags & AVFMT_SEEK_TO_PTS) != 0 || entry.dts == AV_NOPTS_VALUE;
    if (av_seek_frame(input.Format(), streamIndex, byPresentation ? entry.pts : entry.dts,
                      AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    while (input.ReadPacketOf(streamIndex, packet)) {
        if (SamePacket(packet, entry)) {
            nextPacket = start;
            SendNextPacket();
            return true;
        }
        const bool past = PastPacket(packet, entry);
        av_packet_unref(packet);
        if (past) {
            return false;
        }
    }
    return false;
}

// Reads on to packet `start` without decoding what lies before it.
bool FfmpegStream::SkipToPacket(int32_t start) {
    while (nextPacket < start) {
        if (!input.ReadPacketOf(streamIndex, packet)) {
            return false;
        }
        av_packet_unref(packet);
        ++nextPacket;
    }
    return true;
}

bool FfmpegStream::DecodeUntil(int32_t frame) {
    while (decodedFrame < frame) {
        const int received = avcodec_receive_frame(codec, decoded);
        if (received >= 0) {
            const int32_t frameOut = FrameOfDecoded();
            decodedFrame = frameOut >= 0 ? frameOut : decodedFrame;
            continue;
        }
        if (received != AVERROR(EAGAIN) || !FeedNextPacket()) {
            return false;
        }
    }
    return true;
}

// Sends the next packet, or at the end of the file the flush that lets the decoder give its last
// frames.
bool FfmpegStream::FeedNextPacket() {
    if (draining) {
        return false;
    }
    if (!input.ReadPacketOf(streamIndex, packet)) {
        draining = true;
        return avcodec_send_packet(codec, nullptr) >= 0;
    }
    SendNextPacket();
    return true;
}

// Sends the packet just read with the stamps the index holds for it: a demuxer may stamp the packets
// after a seek otherwise than on the first reading (DHAV counts again from the whole second), and
// decoded frames are known by their stamps. A packet the decoder refuses is passed over.
void FfmpegStream::SendNextPacket() {
    if (index.Timed() && nextPacket < static_cast<int32_t>(index.packets.size())) {
        packet->pts = index.packets[nextPacket].pts;
        packet->dts = index.packets[nextPacket].dts;
    }
    ++nextPacket;
    avcodec_send_packet(codec, packet);
    av_packet_unref(packet);
}

// The index of the frame just decoded: by its stamp, or counted where the stream has none; -1 for a
// frame whose stamp the index does not hold, which is passed over.
int32_t FfmpegStream::FrameOfDecoded() {
    if (!index.Timed()) {
        return nextOutput++;
    }
    const int64_t stamp = decoded->pts != AV_NOPTS_VALUE ? decoded->pts : decoded->best_effort_timestamp;
    return stamp == AV_NOPTS_VALUE ? -1 : index.FrameOfStamp(stamp);
}

// ---- output ----

// A picture larger than the stream says is cut to it, a smaller one leaves the rest black; pictures
// are not scaled, as a recorder's are not.
void FfmpegStream::WritePicture(uint8_t* picture) {
    const auto format = static_cast<AVPixelFormat>(decoded->format);
    const int width = std::min(decoded->width, video.width);
    const int height = std::min(decoded->height, video.height);
    if (width <= 0 || height <= 0 || sws_isSupportedInput(format) == 0) {
        return;
    }
    scaler = sws_getCachedContext(scaler, width, height, format, width, height, AV_PIX_FMT_BGR24,
                                  SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (scaler == nullptr) {
        return;
    }
    uint8_t* planes[4] = {picture, nullptr, nullptr, nullptr};
    int strides[4] = {video.width * 3, 0, 0, 0};
    sws_scale(scaler, decoded->data, decoded->linesize, 0, height, planes, strides);
}

void FfmpegStream::WriteAudio(uint8_t* pcm, uint32_t capacity, uint32_t* size) {
    *size = WritePcm16(decoded, pcm, capacity);
}

} // namespace Vorn::Vorncast::FfmpegPlugin
