#include "vorncast/Report.h"

#include "support/RecorderTime.h"

namespace VorncastTool {

std::unique_ptr<Recording> OpenRecording(const CommandContext& context, const std::string& path) {
    return Recording::Open(context.collection, path, context.arguments.Value("decoder"));
}

void WriteTimes(JsonWriter& json, const VcFrameTimes& times) {
    json.Member("recorderTime", FormatRecorderTime(times.recordedTime));
    json.Member("recorderTicks", static_cast<int64_t>(times.recordedTime));
    json.Member("streamTime", FormatRecorderTime(times.streamTime));
    json.Member("streamTicks", static_cast<int64_t>(times.streamTime));
}

std::string PixelFormatName(const VcPublicVideoDescription& description) {
    return description.bytesPerPixel == 1 ? "GRAY8" : "BGR24";
}

void WriteDecoder(JsonWriter& json, const DecoderEntry& decoder) {
    json.BeginObject();
    json.Member("index", static_cast<int64_t>(decoder.index));
    json.Member("name", decoder.name);
    json.Member("guid", GuidText(decoder.guid));
    json.Member("variant", static_cast<int64_t>(decoder.variant));
    json.Member("subVariant", static_cast<int64_t>(decoder.subVariant));
    json.EndObject();
}

} // namespace VorncastTool
