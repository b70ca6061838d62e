// The commands that only read: the decoder table, the probe of a recording and its frame list.

#include "support/FrameSelection.h"
#include "support/Json.h"
#include "support/RecorderTime.h"
#include "vorncast/Commands.h"
#include "vorncast/Frames.h"
#include "vorncast/Report.h"

#include <algorithm>
#include <cstdio>

namespace VorncastTool {

namespace {

void PrintDecoderTable(const std::vector<DecoderEntry>& entries) {
    std::printf("%5s  %-48s %-38s %3s  %-14s %s\n", "index", "name", "guid", "var", "extensions", "flags");
    for (const DecoderEntry& entry : entries) {
        std::string flags;
        flags += entry.manualOnly ? "manual-only " : "";
        flags += entry.container ? "container " : "";
        flags += entry.available ? "" : "unavailable ";
        std::printf("%5d  %-48s %-38s %3d  %-14s %s\n", entry.index, entry.name.c_str(),
                    GuidText(entry.guid).c_str(), entry.variant, entry.extensions.c_str(), flags.c_str());
    }
}

void WriteDecoderTable(const std::vector<DecoderEntry>& entries) {
    JsonWriter json;
    json.BeginArray();
    for (const DecoderEntry& entry : entries) {
        json.BeginObject();
        json.Member("index", static_cast<int64_t>(entry.index));
        json.Member("name", entry.name);
        json.Member("guid", GuidText(entry.guid));
        json.Member("variant", static_cast<int64_t>(entry.variant));
        json.Member("subVariant", static_cast<int64_t>(entry.subVariant));
        json.Member("extensions", entry.extensions);
        json.Member("patterns", entry.patterns);
        json.Member("available", entry.available);
        json.Member("container", entry.container);
        json.Member("manualOnly", entry.manualOnly);
        json.Member("priority", static_cast<int64_t>(entry.priority));
        json.Member("kind", static_cast<uint64_t>(entry.kind));
        json.EndObject();
    }
    json.EndArray();
    std::fputs(json.Text().c_str(), stdout);
}

// What the probe learns of one stream by walking it.
struct StreamSummary {
    const StreamRef* stream = nullptr;
    std::vector<FrameEntry> frames;
    std::optional<VcPublicVideoDescription> video;
    std::optional<VcPublicAudioDescription> audio;
};

StreamSummary Summarise(const StreamRef& stream) {
    StreamSummary summary;
    summary.stream = &stream;
    summary.frames = ListFrames(stream);
    if (!summary.frames.empty()) {
        const StreamReader reader(stream);
        const int description = summary.frames.front().descriptionHandle;
        if (stream.IsVideo()) {
            summary.video = reader.VideoDescription(description);
        } else if (stream.IsAudio()) {
            summary.audio = reader.AudioDescription(description);
        }
    }
    return summary;
}

const char* TypeName(const StreamRef& stream) {
    return stream.IsVideo() ? "video" : stream.IsAudio() ? "audio" : "other";
}

void PrintStream(const StreamSummary& summary) {
    const StreamRef& stream = *summary.stream;
    std::printf("  stream %d: %s, channel %d, camera \"%s\"\n", stream.index, TypeName(stream),
                stream.streamNumber, CameraLabel(stream).c_str());
    if (summary.video) {
        const VcPublicVideoDescription& v = *summary.video;
        std::printf("    picture  %d x %d %s (%d bytes a pixel, format %d, aspect %d:%d)\n", v.width,
                    v.height, PixelFormatName(v).c_str(), v.bytesPerPixel, v.format, v.aspectNumerator,
                    v.aspectDenominator);
    }
    if (summary.audio) {
        const VcPublicAudioDescription& a = *summary.audio;
        std::printf("    audio    %d Hz, %d bits, %d channels (up to %d bytes a sample)\n", a.sampleRate,
                    a.bitsPerSample, a.channels, a.maxSampleBytes);
    }
    std::printf("    frames   %zu\n", summary.frames.size());
    if (!summary.frames.empty()) {
        std::printf("    first    %s (stream time %s)\n",
                    FormatRecorderTime(summary.frames.front().time.recordedTime).c_str(),
                    FormatRecorderTime(summary.frames.front().time.streamTime).c_str());
        std::printf("    last     %s (stream time %s)\n",
                    FormatRecorderTime(summary.frames.back().time.recordedTime).c_str(),
                    FormatRecorderTime(summary.frames.back().time.streamTime).c_str());
    }
}

void PrintProbe(const Recording& recording, const std::vector<StreamSummary>& summaries) {
    const DecoderEntry& decoder = recording.Decoder();
    std::printf("recording  %s\n", recording.Path().c_str());
    std::printf("decoder    %s %s (index %d, variant %d)\n", decoder.name.c_str(),
                GuidText(decoder.guid).c_str(), decoder.index, decoder.variant);
    const std::vector<std::string> resources = recording.Resources();
    std::printf("resources  %zu%s\n", resources.size(), resources.empty() ? " named by the decoder" : "");
    for (const std::string& resource : resources) {
        std::printf("  %s\n", resource.c_str());
    }
    for (const TrackRef& track : recording.Tracks()) {
        std::printf("track %d \"%s\": %d streams, %s to %s\n", track.index, track.name.c_str(),
                    track.info.streamCount, FormatRecorderTime(track.info.startTime.recordedTime).c_str(),
                    FormatRecorderTime(track.info.endTime.recordedTime).c_str());
        for (const StreamSummary& summary : summaries) {
            if (summary.stream->trackIndex == track.index) {
                PrintStream(summary);
            }
        }
    }
}

void WriteStreamJson(JsonWriter& json, const StreamSummary& summary) {
    const StreamRef& stream = *summary.stream;
    json.BeginObject();
    json.Member("index", static_cast<int64_t>(stream.index));
    json.Member("type", std::string(TypeName(stream)));
    json.Member("streamNumber", static_cast<int64_t>(stream.streamNumber));
    json.Member("name", stream.name);
    json.Member("camera", CameraLabel(stream));
    json.Member("frames", static_cast<uint64_t>(summary.frames.size()));
    if (!summary.frames.empty()) {
        json.Key("first").BeginObject();
        WriteTimes(json, summary.frames.front().time);
        json.EndObject();
        json.Key("last").BeginObject();
        WriteTimes(json, summary.frames.back().time);
        json.EndObject();
    }
    if (summary.video) {
        const VcPublicVideoDescription& v = *summary.video;
        json.Key("video").BeginObject();
        json.Member("width", static_cast<int64_t>(v.width));
        json.Member("height", static_cast<int64_t>(v.height));
        json.Member("bytesPerPixel", static_cast<int64_t>(v.bytesPerPixel));
        json.Member("pixelFormat", PixelFormatName(v));
        json.Member("format", static_cast<int64_t>(v.format));
        json.Member("aspectNumerator", static_cast<int64_t>(v.aspectNumerator));
        json.Member("aspectDenominator", static_cast<int64_t>(v.aspectDenominator));
        json.EndObject();
    }
    if (summary.audio) {
        const VcPublicAudioDescription& a = *summary.audio;
        json.Key("audio").BeginObject();
        json.Member("sampleRate", static_cast<int64_t>(a.sampleRate));
        json.Member("bitsPerSample", static_cast<int64_t>(a.bitsPerSample));
        json.Member("channels", static_cast<int64_t>(a.channels));
        json.Member("maxSampleBytes", static_cast<int64_t>(a.maxSampleBytes));
        json.EndObject();
    }
    json.EndObject();
}

void WriteProbeJson(const Recording& recording, const std::vector<StreamSummary>& summaries) {
    JsonWriter json;
    json.BeginObject();
    json.Member("path", recording.Path());
    json.Key("decoder");
    WriteDecoder(json, recording.Decoder());
    json.Key("resources").BeginArray();
    for (const std::string& resource : recording.Resources()) {
        json.String(resource);
    }
    json.EndArray();
    const VcQueryResult& query = recording.Query();
    json.Key("query").BeginObject();
    json.Member("canLoad", query.canLoad != 0);
    json.Member("hasTimes", query.hasTimes != 0);
    if (query.hasTimes != 0) {
        json.Key("start").BeginObject();
        WriteTimes(json, query.startTime);
        json.EndObject();
        json.Key("end").BeginObject();
        WriteTimes(json, query.endTime);
        json.EndObject();
    }
    json.Member("hasFrameCount", query.hasFrameCount != 0);
    json.EndObject();
    json.Key("tracks").BeginArray();
    for (const TrackRef& track : recording.Tracks()) {
        json.BeginObject();
        json.Member("index", static_cast<int64_t>(track.index));
        json.Member("name", track.name);
        json.Member("streamCount", static_cast<int64_t>(track.info.streamCount));
        json.Key("start").BeginObject();
        WriteTimes(json, track.info.startTime);
        json.EndObject();
        json.Key("end").BeginObject();
        WriteTimes(json, track.info.endTime);
        json.EndObject();
        json.Key("streams").BeginArray();
        for (const StreamSummary& summary : summaries) {
            if (summary.stream->trackIndex == track.index) {
                WriteStreamJson(json, summary);
            }
        }
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
    std::fputs(json.Text().c_str(), stdout);
}

struct ListedFrame {
    const StreamRef* stream;
    FrameEntry frame;
};

std::vector<ListedFrame> FramesInRange(const Recording& recording, const Arguments& arguments) {
    FrameRange range;
    range.from = arguments.Time("from");
    range.to = arguments.Time("to");
    std::vector<const StreamRef*> streams;
    if (arguments.Value("stream")) {
        streams.push_back(&recording.StreamAt(arguments.Integer("stream", 0, 0, INT32_MAX)));
    } else {
        for (const StreamRef& stream : recording.Streams()) {
            streams.push_back(&stream);
        }
    }
    std::vector<ListedFrame> listed;
    for (const StreamRef* stream : streams) {
        const std::vector<FrameEntry> frames = ListFrames(*stream);
        for (const size_t position : SelectFrames(RecordedTimes(frames), range)) {
            listed.push_back({stream, frames[position]});
        }
    }
    // Streams one after another, merged into the order of play.
    std::stable_sort(listed.begin(), listed.end(), [](const ListedFrame& a, const ListedFrame& b) {
        return a.frame.time.streamTime < b.frame.time.streamTime;
    });
    return listed;
}

void PrintFrames(const std::vector<ListedFrame>& frames) {
    std::printf("# index stream recorder_time stream_time camera\n");
    for (const ListedFrame& listed : frames) {
        std::printf("%7lld %3d  %s  %s  %d \"%s\"\n", static_cast<long long>(listed.frame.indexInStream),
                    listed.stream->index, FormatRecorderTime(listed.frame.time.recordedTime).c_str(),
                    FormatRecorderTime(listed.frame.time.streamTime).c_str(), listed.stream->streamNumber,
                    CameraLabel(*listed.stream).c_str());
    }
}

void WriteFramesJson(const std::vector<ListedFrame>& frames) {
    JsonWriter json;
    json.BeginArray();
    for (const ListedFrame& listed : frames) {
        json.BeginObject();
        json.Member("index", listed.frame.indexInStream);
        json.Member("stream", static_cast<int64_t>(listed.stream->index));
        WriteTimes(json, listed.frame.time);
        json.Member("channel", static_cast<int64_t>(listed.stream->streamNumber));
        json.Member("camera", CameraLabel(*listed.stream));
        json.EndObject();
    }
    json.EndArray();
    std::fputs(json.Text().c_str(), stdout);
}

} // namespace

int RunDecoders(const CommandContext& context) {
    context.arguments.ExpectAtMost(0);
    const std::vector<DecoderEntry> entries = context.collection.Entries();
    if (context.arguments.Flag("json")) {
        WriteDecoderTable(entries);
    } else {
        PrintDecoderTable(entries);
    }
    return ExitSuccess;
}

int RunProbe(const CommandContext& context) {
    const std::string& path = context.arguments.Required(0, "PATH of a recording");
    context.arguments.ExpectAtMost(1);
    const std::unique_ptr<Recording> recording = OpenRecording(context, path);
    std::vector<StreamSummary> summaries;
    for (const StreamRef& stream : recording->Streams()) {
        summaries.push_back(Summarise(stream));
    }
    if (context.arguments.Flag("json")) {
        WriteProbeJson(*recording, summaries);
    } else {
        PrintProbe(*recording, summaries);
    }
    return ExitSuccess;
}

int RunFrames(const CommandContext& context) {
    const std::string& path = context.arguments.Required(0, "PATH of a recording");
    context.arguments.ExpectAtMost(1);
    context.arguments.Time("from");
    context.arguments.Time("to");
    const std::unique_ptr<Recording> recording = OpenRecording(context, path);
    const std::vector<ListedFrame> frames = FramesInRange(*recording, context.arguments);
    if (context.arguments.Flag("json")) {
        WriteFramesJson(frames);
    } else {
        PrintFrames(frames);
    }
    return ExitSuccess;
}

} // namespace VorncastTool
