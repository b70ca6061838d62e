#include "native/dvd/DVDStream.h"

#include "core/time/Ticks.h"
#include "interface/LibraryFrame.h"
#include "model/support/TimeText.h"
#include "native/dvd/DvdFiles.h"
#include "native/dvd/VOBUIndex.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\DVD\\DVDStream";
constexpr AVRational TickBase = {1, 10000000};
using Decoders::TicksPerSecond;
// How far before a target a seek starts looking for its VOBU, so that the pictures a target
// depends on come from the VOBU ahead when the target lies at the start of one.
constexpr int64_t SeekLead = TicksPerSecond * 3 / 25;
constexpr int32_t MaxAudioSampleBytes = 192000;
// Audio bits a sample by FFmpeg's packed sample formats: unsigned 8, signed 16, signed 32, float, double.
constexpr int32_t BitsOfSampleFormat[] = {8, 16, 32, 32, 64};

bool LiesBefore(int64_t time, int64_t target, bool strictly) {
    return strictly ? time < target : time <= target;
}

bool Aborted(AbortOperation abort) {
    return abort != nullptr && abort() != 0;
}

int AbortedStep(int line) {
    return SetLastError(UserAborted, SourceFile, line, "DVDStream > User abort");
}

} // namespace

void DVDStream::FrameDeleter::operator()(AVFrame* frame) const {
    av_frame_free(&frame);
}

DVDStream::DVDStream() = default;

DVDStream::~DVDStream() {
    Close();
}

void DVDStream::Close() {
    pending = Decoded{};
    sws_freeContext(scaler);
    scaler = nullptr;
    avcodec_free_context(&codecContext);
    av_packet_free(&packet);
    file.Close();
    stream = nullptr;
}

SampleDescription* DVDStream::GetSampleDescription(int descriptionHandle) {
    return description != nullptr && description->Handle() == descriptionHandle ? description.get() : nullptr;
}

// ---- opening ----

int DVDStream::Initialise(VOBUIndex* index, DVDDecoder* owner, const std::string& fileSet,
                          int32_t ffmpegStream) {
    if (index == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > VOBUIndex cannot be null");
    }
    if (owner == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > DVDDecoder cannot be null");
    }
    vobuIndex = index;
    decoder = owner;
    streamIndex = ffmpegStream;
    int status = OpenFile(fileSet);
    if (status == Success) {
        status = Describe();
    }
    if (status == Success) {
        SetName(Buffer("DVD"));
        streamNumber = ffmpegStream;
        status = OpenCodec();
    }
    return status;
}

int DVDStream::OpenFile(const std::string& fileSet) {
    if (file.Open(fileSet.c_str()) != Success) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream::Initialise > Failed to open filename set");
    }
    if (!file.OpenInput()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to open file\n");
    }
    if (!file.FindStreamInfo()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream > failed to get format info from file\n");
    }
    if (streamIndex < 0 || static_cast<uint32_t>(streamIndex) >= file.Format()->nb_streams) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream > failed to get format info from file\n");
    }
    stream = file.Format()->streams[streamIndex];
    packet = av_packet_alloc();
    return packet != nullptr
               ? Success
               : DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to open file\n");
}

int DVDStream::Describe() {
    switch (stream->codecpar->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        DescribeVideo();
        return Success;
    case AVMEDIA_TYPE_AUDIO:
        return DescribeAudio();
    default:
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > Unknown stream codec_type %d",
                       static_cast<int>(stream->codecpar->codec_type));
    }
}

void DVDStream::DescribeVideo() {
    auto video = std::make_unique<VideoSampleDescription>();
    video->width = stream->codecpar->width;
    video->height = stream->codecpar->height;
    video->bytesPerPixel = 3;
    AVRational aspect = av_guess_sample_aspect_ratio(file.Format(), stream, nullptr);
    if (aspect.num > 0 && aspect.den > 0) {
        video->aspectNumerator = aspect.num;
        video->aspectDenominator = aspect.den;
    }
    video->format = 1;
    description = std::move(video);
    type = StreamVideo;
}

int DVDStream::DescribeAudio() {
    auto audio = std::make_unique<AudioSampleDescription>();
    audio->sampleRate = stream->codecpar->sample_rate;
    audio->channels = stream->codecpar->ch_layout.nb_channels;
    audio->maxSampleBytes = MaxAudioSampleBytes;
    description = std::move(audio);
    type = StreamAudio;
    return Success;
}

int DVDStream::OpenCodec() {
    codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (codec == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream > could not find suitable avcodec decoder for stream");
    }
    codecContext = avcodec_alloc_context3(codec);
    if (codecContext == nullptr || avcodec_parameters_to_context(codecContext, stream->codecpar) < 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > could not open codec");
    }
    // Packets reach the decoder with their times already on the continuous clock, in ticks.
    codecContext->pkt_timebase = TickBase;
    codecContext->thread_count = 1;
    if (avcodec_open2(codecContext, codec, nullptr) < 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > could not open codec");
    }
    if (type == StreamAudio) {
        // The bits a sample of the interleaved PCM handed out, known once the decoder is open.
        const int packed = av_get_packed_sample_fmt(codecContext->sample_fmt);
        auto* audio = static_cast<AudioSampleDescription*>(description.get());
        audio->bitsPerSample = packed >= 0 && packed < 5 ? BitsOfSampleFormat[packed] : 0;
    }
    return Success;
}

// ---- decoding ----

int DVDStream::GoToVOBU(int32_t index) {
    int status = vobuIndex->Ensure(index);
    return status == Success ? SeekToVOBU(index) : status;
}

int DVDStream::SeekToVOBU(int32_t index) {
    if (av_seek_frame(file.Format(), -1, vobuIndex->Entry(index).byteOffset,
                      AVSEEK_FLAG_BYTE | AVSEEK_FLAG_BACKWARD) < 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > av_seek_frame failed\n");
    }
    avcodec_flush_buffers(codecContext);
    drained = false;
    pending = Decoded{};
    currentVOBU = index;
    decodedTime = vobuIndex->Entry(index).cumulativeStart;
    return Success;
}

// The next packet of this stream, its times moved onto the continuous clock; false at the end.
bool DVDStream::ReadOwnPacket() {
    for (;;) {
        int result = av_read_frame(file.Format(), packet);
        if (result < 0) {
            if (result != AVERROR_EOF) {
                Log(SourceFile, __LINE__, LogEvent, "DVDStream > GetNextSample av_read_frame gave %d\n",
                    result);
            }
            return false;
        }
        if (packet->stream_index == streamIndex) {
            if (file.Format()->streams[streamIndex]->codecpar->codec_type != codecContext->codec_type) {
                Log(SourceFile, __LINE__, LogEvent,
                    "DVDStream > codec_type is inappropriate for this stream. Expect bad things.\n");
            }
            RebasePacket();
            return true;
        }
        av_packet_unref(packet);
    }
}

// Presentation times start again at each cell; the VOBU a packet lies in says by how much its
// times are moved to run on from the cells before.
void DVDStream::RebasePacket() {
    if (packet->pos >= 0) {
        currentVOBU = vobuIndex->IndexOfByte(packet->pos);
    }
    const int64_t offset = vobuIndex->ClockOffset(currentVOBU);
    if (packet->pts != AV_NOPTS_VALUE) {
        packet->pts = av_rescale_q_rnd(packet->pts, stream->time_base, TickBase, AV_ROUND_DOWN) + offset;
    }
    if (packet->dts != AV_NOPTS_VALUE) {
        packet->dts = av_rescale_q_rnd(packet->dts, stream->time_base, TickBase, AV_ROUND_DOWN) + offset;
    }
    packet->duration = av_rescale_q(packet->duration, stream->time_base, TickBase);
}

// A decoded frame into `frame`: Success, EndOfStreamAfterEnd once the stream is spent, or a failure.
int DVDStream::ReceiveFrame(AVFrame* frame) {
    for (;;) {
        int result = avcodec_receive_frame(codecContext, frame);
        if (result == 0) {
            return Success;
        }
        if (result == AVERROR_EOF || (result == AVERROR(EAGAIN) && drained)) {
            return EndOfStreamAfterEnd;
        }
        if (result != AVERROR(EAGAIN)) {
            return SetLastError(GeneralFailure, SourceFile, __LINE__, "DVDStream > decoding failed with %d",
                                result);
        }
        if (ReadOwnPacket()) {
            // A damaged packet is passed over; the decoder says so in its log.
            avcodec_send_packet(codecContext, packet);
            av_packet_unref(packet);
        } else {
            avcodec_send_packet(codecContext, nullptr);
            drained = true;
        }
    }
}

int64_t DVDStream::SampleLength(const AVFrame& frame) const {
    if (type == StreamVideo) {
        return TicksPerSecond / vobuIndex->FramesPerSecond();
    }
    return frame.sample_rate > 0 ? int64_t{frame.nb_samples} * TicksPerSecond / frame.sample_rate : 0;
}

int DVDStream::DecodeNext(Decoded* out) {
    if (pending.frame != nullptr) {
        *out = std::move(pending);
        pending = Decoded{};
        return Success;
    }
    FramePointer frame(av_frame_alloc());
    if (frame == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to allocate frame");
    }
    int status = ReceiveFrame(frame.get());
    if (status != Success) {
        return status;
    }
    if (type == StreamVideo) {
        Log(SourceFile, __LINE__, LogTrace, "Decoded frame with pict_type=%c\n",
            av_get_picture_type_char(frame->pict_type));
    }
    const int64_t length = SampleLength(*frame);
    int64_t time = frame->best_effort_timestamp;
    if (time == AV_NOPTS_VALUE) {
        time = decodedTime + length;
    }
    if (frameCounter++ == 0) {
        firstPts = time;
    }
    decodedTime = time;
    out->frame = std::move(frame);
    out->time = time;
    out->length = length;
    return Success;
}

// ---- positioning ----

// Steps on from `held` while the next sample still lies at or before the target (before it, when
// `strictlyBefore`); the first one past it stays pending.
int DVDStream::StepWhileBefore(int64_t target, bool strictlyBefore, Decoded* held) {
    for (;;) {
        if (!strictlyBefore && target < held->time + held->length) {
            return Success; // the target lies inside this sample
        }
        Decoded next;
        int status = DecodeNext(&next);
        if (status != Success) {
            return status == EndOfStreamAfterEnd ? Success : status;
        }
        if (!LiesBefore(next.time, target, strictlyBefore)) {
            pending = std::move(next);
            return Success;
        }
        if (!strictlyBefore) {
            Log(SourceFile, __LINE__, LogTraceDetail,
                "DVDStream > GoToTime targetTime=%s (%" PRId64 ")   smpTime=%s (%" PRId64 ")\n",
                TimeToText(target).text, target, TimeToText(held->time).text, held->time);
        }
        *held = std::move(next);
    }
}

// Finds the last sample at or before `target` (before it, when `strictlyBefore`), decoding from
// the VOBU `firstVOBU` on. Where the first sample decoded there already lies past the target, the
// VOBU did not reach back far enough (pictures before a VOBU's first key frame need the VOBU ahead),
// and the search starts again further back. A sample decoded past the found one stays pending.
int DVDStream::SampleAtOrBefore(int64_t target, int32_t firstVOBU, bool strictlyBefore, Decoded* found) {
    // Each retry reaches back twice as far as the one before, so that a stream without samples in
    // a long stretch costs a few walks to the end rather than one for every VOBU.
    int64_t back = 1;
    for (int32_t start = firstVOBU; start >= 0;
         start = start > 0 ? static_cast<int32_t>(std::max<int64_t>(0, start - back)) : -1, back *= 2) {
        if (vobuIndex->Ensure(start) != Success) {
            continue; // a VOBU without its NAV pack has no known times: the one ahead decodes through it
        }
        Decoded held;
        int status = GoToVOBU(start);
        if (status == Success) {
            status = DecodeNext(&held);
        }
        if (status == EndOfStreamAfterEnd ||
            (status == Success && !LiesBefore(held.time, target, strictlyBefore))) {
            continue; // nothing of this stream at or before the target from here: one VOBU back
        }
        if (status == Success) {
            status = StepWhileBefore(target, strictlyBefore, &held);
        }
        if (status != Success) {
            return status;
        }
        if (start != firstVOBU) {
            const TimeText original = TimeToText(target);
            Log(SourceFile, __LINE__, LogTrace,
                "DVDStream > GoToTime originalTargetTime=%s (%" PRId64 ")   adjustedTime=%s (%" PRId64
                ")   smpTime=%s (%" PRId64 ") ***BREAK 2***\n",
                original.text, target, original.text, target, TimeToText(held.time).text, held.time);
        }
        *found = std::move(held);
        return Success;
    }
    return EndOfStreamBeforeStart;
}

int DVDStream::GoToTime(SeekRequest request, Sample* sample) {
    if (stream == nullptr || vobuIndex->LastLoaded() < 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > GoToTime failed\n");
    }
    const int64_t target = request.targetTime;
    // Where the last VOBU has no times, the end is where its decoding ends.
    const int32_t last = vobuIndex->LastLoaded();
    if (last == vobuIndex->Count() - 1 && target > vobuIndex->Entry(last).cumulativeEnd) {
        position = AfterEnd;
        return EndOfStreamAfterEnd;
    }
    if (target < vobuIndex->Entry(vobuIndex->FirstLoaded()).cumulativeStart) {
        position = BeforeStart;
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__,
                            "DVDStream > GoToTime before start of stream");
    }
    if (Aborted(request.abort)) {
        return AbortedStep(__LINE__);
    }
    const int64_t adjusted = target - SeekLead;
    Log(SourceFile, __LINE__, LogTrace, "GoToTime targetTime=%s (adjusted target time=%s)\n",
        TimeToText(target).text, TimeToText(adjusted).text);
    Decoded found;
    int status = SampleAtOrBefore(target, vobuIndex->IndexOfTime(adjusted), false, &found);
    if (status == EndOfStreamBeforeStart) {
        position = BeforeStart;
        return SetLastError(EndOfStreamBeforeStart, SourceFile, __LINE__,
                            "DVDStream > GoToTime before start of stream");
    }
    if (status != Success) {
        Log(SourceFile, __LINE__, LogCore, "DVDStream > GoToTime failed\n");
        return status;
    }
    Log(SourceFile, __LINE__, LogTrace,
        "DVDStream > GoToTime targetTime=%s (%" PRId64 ")   smpTime=%s (%" PRId64 ") ***BREAK 1***\n",
        TimeToText(target).text, target, TimeToText(found.time).text, found.time);
    return Aborted(request.abort) ? AbortedStep(__LINE__) : Deliver(found, request.wantData == 1, sample);
}

// ---- stepping ----

// The first VOBU is read from its start whether or not its NAV pack could be read.
int DVDStream::StepFromStart(const SampleRequest& request, Sample* sample) {
    int status = SeekToVOBU(0);
    Decoded first;
    if (status == Success) {
        status = DecodeNext(&first);
    }
    if (status == EndOfStreamAfterEnd) {
        position = AfterEnd;
    }
    return status == Success ? Deliver(first, request.wantData == 1, sample) : status;
}

int DVDStream::GetNextSample(SampleRequest request, Sample* sample) {
    if (stream == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to open file\n");
    }
    if (position == AfterEnd) {
        return EndOfStreamAfterEnd;
    }
    if (Aborted(request.abort)) {
        return AbortedStep(__LINE__);
    }
    if (position == BeforeStart) {
        return StepFromStart(request, sample);
    }
    Decoded next;
    int status = DecodeNext(&next);
    if (status == EndOfStreamAfterEnd) {
        position = AfterEnd;
        return status;
    }
    if (status != Success) {
        return status;
    }
    return Aborted(request.abort) ? AbortedStep(__LINE__) : Deliver(next, request.wantData == 1, sample);
}

// FFmpeg cannot step back: the stream goes back to a VOBU at or before the present sample and
// decodes forward to the sample before it.
int DVDStream::GetPreviousSample(SampleRequest request, Sample* sample) {
    if (stream == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to open file\n");
    }
    if (position == BeforeStart) {
        return EndOfStreamBeforeStart;
    }
    if (Aborted(request.abort)) {
        return AbortedStep(__LINE__);
    }
    Decoded previous;
    int status =
        position == AfterEnd
            ? SampleAtOrBefore(INT64_MAX, vobuIndex->Count() - 1, false, &previous)
            : SampleAtOrBefore(lastTime, vobuIndex->IndexOfTime(lastTime - SeekLead), true, &previous);
    if (status == EndOfStreamBeforeStart) {
        position = BeforeStart;
        return status;
    }
    if (status == EndOfStreamAfterEnd) {
        return DvdFail(SourceFile, __LINE__, CatastrophicFailure,
                       type == StreamVideo ? "DVDStream::GetPreviousSample > Fell off end of video stream"
                                           : "DVDStream::GetPreviousSample > Fell off end of audio stream");
    }
    if (status != Success) {
        return status;
    }
    return Aborted(request.abort) ? AbortedStep(__LINE__) : Deliver(previous, request.wantData == 1, sample);
}

// ---- handing out ----

int DVDStream::Deliver(Decoded& decoded, bool wantData, Sample* sample) {
    const AVFrame& frame = *decoded.frame;
    int status = type == StreamVideo   ? DeliverVideo(frame, wantData, sample)
                 : type == StreamAudio ? DeliverAudio(frame, wantData, sample)
                                       : DvdFail(SourceFile, __LINE__, GeneralFailure,
                                                 "DVDStream > Invalid stream type in GetNextSample");
    if (status != Success) {
        return status;
    }
    sample->descriptionHandle = description->Handle();
    sample->time = FrameTimes{};
    sample->time.recordedTime = decoded.time;
    sample->time.streamTime = decoded.time;
    position = OnSample;
    lastTime = decoded.time;
    return Success;
}

int DVDStream::DeliverVideo(const AVFrame& frame, bool wantData, Sample* sample) {
    const auto& video = static_cast<const VideoSampleDescription&>(*description);
    const int64_t size = int64_t{video.width} * video.height * 3;
    if (size <= 0 || size > MaxNativeImageBytes) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "Uncompressed image size was out of sensible range %d", static_cast<int32_t>(size));
    }
    sample->uncompressedSize = static_cast<uint32_t>(size);
    if (!wantData) {
        return Success;
    }
    scaler = sws_getCachedContext(scaler, frame.width, frame.height, static_cast<AVPixelFormat>(frame.format),
                                  video.width, video.height, AV_PIX_FMT_BGR24, SWS_BICUBIC, nullptr, nullptr,
                                  nullptr);
    if (scaler == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDStream > failed to allocate frame");
    }
    auto* picture = new uint8_t[static_cast<size_t>(size)];
    uint8_t* planes[4] = {picture, nullptr, nullptr, nullptr};
    int strides[4] = {video.width * 3, 0, 0, 0};
    sws_scale(scaler, frame.data, frame.linesize, 0, frame.height, planes, strides);
    sample->uncompressedData = picture;
    return Success;
}

// Interleaved PCM in the decoder's own sample type, channels of the description; a frame that
// does not fit the description is handed out as silence of its length.
int DVDStream::DeliverAudio(const AVFrame& frame, bool wantData, Sample* sample) {
    const auto& audio = static_cast<const AudioSampleDescription&>(*description);
    if (frame.extended_data == nullptr) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream > GetNextSample got null audio buffer!");
    }
    const int32_t sampleBytes = audio.bitsPerSample / 8;
    const int32_t frameBytes = sampleBytes * audio.channels;
    if (frameBytes <= 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDStream > GetNextSample got null audio buffer!");
    }
    const int32_t count = std::min(frame.nb_samples, audio.maxSampleBytes / frameBytes);
    sample->uncompressedSize = static_cast<uint32_t>(count * frameBytes);
    if (!wantData) {
        return Success;
    }
    auto* pcm = new uint8_t[static_cast<size_t>(count) * frameBytes]();
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool fits =
        av_get_bytes_per_sample(format) == sampleBytes && frame.ch_layout.nb_channels == audio.channels;
    const bool planar = av_sample_fmt_is_planar(format) != 0;
    for (int32_t index = 0; fits && index < count; ++index) {
        for (int32_t channel = 0; channel < audio.channels; ++channel) {
            const uint8_t* from =
                planar ? frame.extended_data[channel] + index * sampleBytes
                       : frame.extended_data[0] + (index * audio.channels + channel) * sampleBytes;
            std::memcpy(pcm + index * frameBytes + channel * sampleBytes, from,
                        static_cast<size_t>(sampleBytes));
        }
    }
    sample->uncompressedData = pcm;
    return Success;
}

} // namespace Vorn::Vorncast
