// `vorncast convert`: one MP4 file per camera, timed by the stream times, with the recorder's start
// time in its metadata, the audio of the camera's track, and the evidence files beside.

#include "support/BitmapFont.h"
#include "support/FrameSelection.h"
#include "support/FrameTiming.h"
#include "support/Mp4Writer.h"
#include "support/OutputFiles.h"
#include "support/RecorderTime.h"
#include "support/Terminal.h"
#include "vorncast/Commands.h"
#include "vorncast/Evidence.h"
#include "vorncast/Frames.h"
#include "vorncast/Report.h"

#include <algorithm>
#include <cstdio>

namespace VorncastTool {

namespace {

constexpr int64_t NominalFrameTicks = 40 * TicksPerMillisecond; // 25 pictures a second
constexpr int64_t Mp4EpochTicks = 600527520000000000;           // 1904/01/01, the earliest MP4 time

struct CameraPlan {
    const StreamRef* stream = nullptr;
    std::vector<FrameEntry> frames; // the chosen frames
    FrameTiming timing;
    std::string fileName;
};

// The audio of a camera's track, fed to its file in step with the pictures.
class AudioFeed {
public:
    AudioFeed(const StreamRef& stream, int64_t startStreamTime, int64_t endStreamTime)
        : stream(stream), reader(stream), sample(stream.handle), start(startStreamTime), end(endStreamTime) {
        reader.Rewind();
        Advance();
        if (pending) {
            format = reader.AudioDescription(sample.Get().descriptionHandle);
        }
    }

    bool HasAudio() const { return pending && format.sampleRate > 0 && format.channels > 0; }
    AudioFormat Format() const { return {format.sampleRate, format.channels, format.bitsPerSample}; }

    // Writes the audio that starts before `untilTicks` (from the start of the file).
    void WriteUntil(Mp4Writer& writer, int64_t untilTicks) {
        while (pending && pendingTime.streamTime - start < untilTicks) {
            WritePending(writer);
        }
    }

private:
    void Advance() {
        pending = false;
        while (reader.Next(true, sample)) {
            if (sample.Time().streamTime >= end) {
                return;
            }
            if (sample.Time().streamTime >= start) {
                pending = true;
                pendingTime = sample.Time();
                return;
            }
        }
    }

    // The stream delivers a whole buffer for each sample; the length that belongs to it runs to the
    // next sample's time.
    void WritePending(Mp4Writer& writer) {
        const std::vector<uint8_t> pcm(sample.Get().uncompressedData,
                                       sample.Get().uncompressedData + sample.Get().uncompressedSize);
        const VcFrameTimes time = pendingTime;
        Advance();
        size_t bytes = pcm.size();
        const size_t block = static_cast<size_t>(format.channels) * (format.bitsPerSample == 8 ? 1 : 2);
        if (pending && pendingTime.streamTime > time.streamTime) {
            const int64_t samples =
                (pendingTime.streamTime - time.streamTime) * format.sampleRate / TicksPerSecond;
            bytes = std::min(bytes, static_cast<size_t>(samples) * block);
        }
        writer.WriteAudio(pcm.data(), bytes - bytes % block, time.streamTime - start);
    }

    StreamRef stream;
    StreamReader reader;
    Sample sample;
    int64_t start;
    int64_t end;
    bool pending = false;
    VcFrameTimes pendingTime = {};
    VcPublicAudioDescription format = {};
};

const StreamRef* AudioOfTrack(const Recording& recording, int trackIndex) {
    for (const StreamRef& stream : recording.Streams()) {
        if (stream.IsAudio() && stream.trackIndex == trackIndex) {
            return &stream;
        }
    }
    return nullptr;
}

std::string VideoFileName(const Recording& recording, const StreamRef& stream) {
    const std::string track =
        recording.Tracks().size() > 1 ? "t" + std::to_string(stream.trackIndex) + "_" : "";
    return track + CameraFileTag(stream) + ".mp4";
}

std::vector<CameraPlan> PlanCameras(const Recording& recording, const FrameRange& range) {
    std::vector<CameraPlan> plans;
    for (const StreamRef& stream : recording.Streams()) {
        if (!stream.IsVideo()) {
            continue;
        }
        CameraPlan plan;
        plan.stream = &stream;
        const std::vector<FrameEntry> all = ListFrames(stream);
        std::vector<int64_t> streamTimes;
        for (const size_t position : SelectFrames(RecordedTimes(all), range)) {
            plan.frames.push_back(all[position]);
            streamTimes.push_back(all[position].time.streamTime);
        }
        if (plan.frames.empty()) {
            continue;
        }
        plan.timing = PlanFrameTimes(streamTimes, NominalFrameTicks);
        plan.fileName = VideoFileName(recording, stream);
        plans.push_back(std::move(plan));
    }
    return plans;
}

std::map<std::string, std::string> Metadata(const Recording& recording, const CameraPlan& plan) {
    const int64_t start = plan.frames.front().time.recordedTime;
    std::map<std::string, std::string> metadata;
    metadata["title"] = CameraLabel(*plan.stream);
    metadata["comment"] = "Recorder start " + FormatRecorderTime(start) +
                          " (recorder's clock); camera: " + CameraLabel(*plan.stream) + "; channel " +
                          std::to_string(plan.stream->streamNumber) + "; decoder " + recording.Decoder().name;
    if (start >= Mp4EpochTicks && start < VC_TIME_MAX) {
        // The recorder's clock has no zone: its reading is stored as it stands.
        metadata["creation_time"] = FormatIsoTime(start) + "Z";
    }
    return metadata;
}

std::string TimingNote(const FrameTiming& timing) {
    if (timing.nominal) {
        return "nominal 25 pictures a second: the frames carry no advancing stream times";
    }
    std::string note = "stream times";
    if (timing.adjusted > 0) {
        note += "; " + std::to_string(timing.adjusted) + " frames moved to keep times increasing";
    }
    return note;
}

void BurnOverlay(Picture& picture, const StreamRef& stream, const VcFrameTimes& time) {
    const std::string text = CameraLabel(stream) + "  " + FormatRecorderTime(time.recordedTime);
    const int32_t scale = std::max(1, picture.width / 400);
    DrawLabel(picture, scale * 2, scale * 2, text, scale, {255, 255, 255}, {0, 0, 0});
}

void ConvertCamera(const Recording& recording, const CameraPlan& plan, bool overlay, EvidenceFolder& evidence,
                   ProgressBar& bar, int64_t& done, int64_t total) {
    const StreamRef& stream = *plan.stream;
    StreamReader probe(stream);
    const VcPublicVideoDescription description =
        probe.VideoDescription(plan.frames.front().descriptionHandle);
    Mp4Settings settings;
    settings.width = description.width;
    settings.height = description.height;
    settings.frameTicks = plan.timing.frameTicks;
    settings.metadata = Metadata(recording, plan);
    std::unique_ptr<AudioFeed> audio;
    if (const StreamRef* audioStream = AudioOfTrack(recording, stream.trackIndex)) {
        const int64_t start = plan.frames.front().time.streamTime;
        audio = std::make_unique<AudioFeed>(*audioStream, start,
                                            start + plan.timing.ticks.back() + plan.timing.frameTicks);
        if (audio->HasAudio()) {
            settings.audio = audio->Format();
        } else {
            audio.reset();
        }
    }
    Mp4Writer writer(evidence.PathOf(plan.fileName), settings);
    evidence.AddNote("videoCodec", writer.VideoCodecName());

    std::vector<size_t> wanted;
    for (const FrameEntry& frame : plan.frames) {
        wanted.push_back(static_cast<size_t>(frame.indexInStream));
    }
    size_t next = 0;
    VisitFrames(stream, wanted, [&](size_t, StreamReader& reader, Sample& sample) {
        const int64_t ticks = plan.timing.ticks[next];
        const FrameEntry& frame = plan.frames[next++];
        Picture picture = PictureOf(reader, sample);
        if (overlay) {
            picture = ToBgr(picture);
            BurnOverlay(picture, stream, sample.Time());
        }
        if (audio) {
            audio->WriteUntil(writer, ticks);
        }
        writer.WriteVideo(picture, ticks);
        evidence.AddFrame({plan.fileName, stream.index, stream.streamNumber, CameraLabel(stream),
                           frame.indexInStream, sample.Time(), ticks});
        bar.Step(++done, total);
    });
    if (audio) {
        audio->WriteUntil(writer, plan.timing.ticks.back() + plan.timing.frameTicks);
    }
    writer.Finish(plan.timing.frameTicks);
    evidence.AddOutput(plan.fileName);
    std::printf("%s: %zu pictures, %s s, %s%s\n", evidence.PathOf(plan.fileName).c_str(), plan.frames.size(),
                FormatSeconds(plan.timing.ticks.back() + plan.timing.frameTicks).c_str(),
                writer.VideoCodecName().c_str(), settings.audio ? " with audio" : "");
}

} // namespace

int RunConvert(const CommandContext& context) {
    const Arguments& arguments = context.arguments;
    const std::string& path = arguments.Required(0, "PATH of a recording");
    const std::string& out = arguments.Required(1, "OUTDIR");
    arguments.ExpectAtMost(2);
    FrameRange range;
    range.from = arguments.Time("from");
    range.to = arguments.Time("to");
    const bool overlay = arguments.Flag("overlay");
    RefuseOutputInsideRecording(path, out);

    const std::unique_ptr<Recording> recording = OpenRecording(context, path);
    const std::vector<CameraPlan> plans = PlanCameras(*recording, range);
    if (plans.empty()) {
        throw std::runtime_error("no pictures to convert in " + path);
    }
    PrepareEmptyFolder(out);
    EvidenceFolder evidence(out, context, *recording);
    evidence.AddNote("overlay",
                     overlay ? "camera and recorder time burnt in with the built-in font" : "none");
    int64_t total = 0, done = 0;
    for (const CameraPlan& plan : plans) {
        total += static_cast<int64_t>(plan.frames.size());
        evidence.AddNote("timing " + plan.fileName, TimingNote(plan.timing));
    }
    ProgressBar bar("converting");
    for (const CameraPlan& plan : plans) {
        ConvertCamera(*recording, plan, overlay, evidence, bar, done, total);
    }
    bar.Finish();
    evidence.Finish();
    std::printf("manifest %s\n", evidence.PathOf("manifest.json").c_str());
    return ExitSuccess;
}

} // namespace VorncastTool
