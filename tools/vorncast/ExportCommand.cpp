// `vorncast export`: pictures of the chosen frames as PNG files, with the evidence files.

#include "support/FrameSelection.h"
#include "support/OutputFiles.h"
#include "support/PngFile.h"
#include "support/RecorderTime.h"
#include "support/Terminal.h"
#include "vorncast/Commands.h"
#include "vorncast/Evidence.h"
#include "vorncast/Frames.h"
#include "vorncast/Report.h"

#include <cstdio>

namespace VorncastTool {

namespace {

struct StreamPlan {
    const StreamRef* stream = nullptr;
    std::vector<FrameEntry> frames;
    std::vector<size_t> selected;
};

std::vector<const StreamRef*> ChosenVideoStreams(const Recording& recording, const Arguments& arguments) {
    std::vector<const StreamRef*> streams;
    if (arguments.Value("stream")) {
        const StreamRef& stream = recording.StreamAt(arguments.Integer("stream", 0, 0, INT32_MAX));
        if (!stream.IsVideo()) {
            throw std::runtime_error("stream " + std::to_string(stream.index) + " holds no pictures");
        }
        streams.push_back(&stream);
        return streams;
    }
    for (const StreamRef& stream : recording.Streams()) {
        if (stream.IsVideo()) {
            streams.push_back(&stream);
        }
    }
    return streams;
}

std::string PictureFileName(const Recording& recording, const StreamRef& stream, const FrameEntry& frame) {
    char index[24];
    std::snprintf(index, sizeof(index), "%06lld", static_cast<long long>(frame.indexInStream));
    const std::string track =
        recording.Tracks().size() > 1 ? "t" + std::to_string(stream.trackIndex) + "_" : "";
    return track + CameraFileTag(stream) + "_" + FormatTimeForFileName(frame.time.recordedTime) + "_" +
           index + ".png";
}

} // namespace

int RunExport(const CommandContext& context) {
    const Arguments& arguments = context.arguments;
    const std::string& path = arguments.Required(0, "PATH of a recording");
    arguments.ExpectAtMost(1);
    const std::optional<std::string> out = arguments.Value("out");
    if (!out) {
        throw UsageError("missing --out DIR");
    }
    FrameRange range;
    range.from = arguments.Time("from");
    range.to = arguments.Time("to");
    range.every = arguments.Integer("every", 1, 1, INT32_MAX);
    RefuseOutputInsideRecording(path, *out);

    const std::unique_ptr<Recording> recording = OpenRecording(context, path);
    std::vector<StreamPlan> plans;
    size_t total = 0;
    for (const StreamRef* stream : ChosenVideoStreams(*recording, arguments)) {
        StreamPlan plan{stream, ListFrames(*stream), {}};
        plan.selected = SelectFrames(RecordedTimes(plan.frames), range);
        total += plan.selected.size();
        plans.push_back(std::move(plan));
    }
    PrepareEmptyFolder(*out);
    EvidenceFolder evidence(*out, context, *recording);
    ProgressBar bar("exporting");
    size_t done = 0;
    for (const StreamPlan& plan : plans) {
        VisitFrames(*plan.stream, plan.selected, [&](size_t position, StreamReader& reader, Sample& sample) {
            const FrameEntry& frame = plan.frames[position];
            const std::string name = PictureFileName(*recording, *plan.stream, frame);
            WritePng(evidence.PathOf(name), PictureOf(reader, sample));
            evidence.AddOutput(name);
            evidence.AddFrame({name, plan.stream->index, plan.stream->streamNumber, CameraLabel(*plan.stream),
                               frame.indexInStream, sample.Time(), std::nullopt});
            bar.Step(static_cast<int64_t>(++done), static_cast<int64_t>(total));
        });
    }
    bar.Finish();
    evidence.Finish();
    std::printf("wrote %zu pictures to %s (manifest %s)\n", done, out->c_str(),
                evidence.PathOf("manifest.json").c_str());
    return ExitSuccess;
}

} // namespace VorncastTool
