#include "vorncast/Evidence.h"

#include "support/Json.h"
#include "support/OutputFiles.h"
#include "support/RecorderTime.h"
#include "support/Sha256.h"
#include "vorncast/Report.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>
#include <filesystem>

namespace fs = std::filesystem;

namespace VorncastTool {

namespace {

constexpr VcGuid FolderOfJpegsGuid = {
    0x4568BFE6, 0x5117, 0x490c, {0x96, 0x1C, 0x2A, 0x7A, 0x91, 0x57, 0x98, 0x34}};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::vector<std::string> FilesBelow(const fs::path& folder) {
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::string> JpegsBeside(const fs::path& file) {
    std::vector<std::string> files;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file() && Lower(entry.path().extension().string()) == ".jpg") {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + "\"";
}

std::string UtcNow() {
    const auto now = std::chrono::system_clock::now();
    const int64_t ticks =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() * 10 +
        UnixEpochTicks;
    return FormatIsoTime(ticks) + "Z";
}

} // namespace

SourceFiles FindSourceFiles(const Recording& recording) {
    SourceFiles sources;
    sources.paths = recording.Resources();
    if (!sources.paths.empty()) {
        sources.origin = "decoder resources";
        return sources;
    }
    sources.origin = "given path";
    const fs::path path(recording.Path());
    if (fs::is_directory(path)) {
        sources.paths = FilesBelow(path);
    } else if (std::memcmp(&recording.Decoder().guid, &FolderOfJpegsGuid, sizeof(VcGuid)) == 0) {
        sources.paths = JpegsBeside(path);
    } else {
        sources.paths.push_back(path.string());
    }
    return sources;
}

EvidenceFolder::EvidenceFolder(std::string folder, const CommandContext& context, const Recording& recording)
    : folder(std::move(folder)), context(context), recording(recording), sources(FindSourceFiles(recording)) {
    for (const std::string& path : sources.paths) {
        const FileDigest digest = DigestFile(path);
        hashedSources.push_back({fs::absolute(path).lexically_normal().string(), digest.size, digest.sha256});
    }
}

void EvidenceFolder::AddNote(const std::string& key, const std::string& value) {
    for (auto& note : notes) {
        if (note.first == key) {
            note.second = value;
            return;
        }
    }
    notes.emplace_back(key, value);
}

std::string EvidenceFolder::FrameLogCsv() const {
    std::string csv = "output,stream,channel,camera,index_in_stream,recorder_time,recorder_ticks,stream_time,"
                      "stream_ticks,output_seconds\n";
    for (const FrameLogRow& row : frames) {
        csv += CsvField(row.output) + "," + std::to_string(row.stream) + "," + std::to_string(row.channel) +
               "," + CsvField(row.camera) + "," + std::to_string(row.indexInStream) + "," +
               FormatRecorderTime(row.time.recordedTime) + "," + std::to_string(row.time.recordedTime) + "," +
               FormatRecorderTime(row.time.streamTime) + "," + std::to_string(row.time.streamTime) + "," +
               (row.outputTicks ? FormatSeconds(*row.outputTicks) : std::string()) + "\n";
    }
    return csv;
}

std::string EvidenceFolder::FrameLogJson() const {
    JsonWriter json;
    json.BeginArray();
    for (const FrameLogRow& row : frames) {
        json.BeginObject();
        json.Member("output", row.output);
        json.Member("stream", static_cast<int64_t>(row.stream));
        json.Member("channel", static_cast<int64_t>(row.channel));
        json.Member("camera", row.camera);
        json.Member("indexInStream", row.indexInStream);
        WriteTimes(json, row.time);
        if (row.outputTicks) {
            json.Member("outputTicks", *row.outputTicks);
        }
        json.EndObject();
    }
    json.EndArray();
    return json.Text();
}

std::string EvidenceFolder::ManifestJson() const {
    JsonWriter json;
    json.BeginObject();
    json.Member("tool", std::string("vorncast"));
    json.Member("library", Library::Version());
    json.Member("createdUtc", UtcNow());
    json.Key("commandLine").BeginArray();
    for (const std::string& word : context.commandLine) {
        json.String(word);
    }
    json.EndArray();
    json.Key("recording").BeginObject();
    json.Member("path", fs::absolute(recording.Path()).lexically_normal().string());
    json.Key("decoder");
    WriteDecoder(json, recording.Decoder());
    json.EndObject();
    for (const auto& [key, value] : notes) {
        json.Member(key, value);
    }
    json.Member("sourcesFrom", sources.origin);
    json.Key("sources").BeginArray();
    for (const HashedFile& file : hashedSources) {
        json.BeginObject().Member("path", file.path).Member("bytes", file.size).Member("sha256", file.sha256);
        json.EndObject();
    }
    json.EndArray();
    json.Member("frames", static_cast<uint64_t>(frames.size()));
    json.Key("outputs").BeginArray();
    for (const HashedFile& file : hashedOutputs) {
        json.BeginObject().Member("path", file.path).Member("bytes", file.size).Member("sha256", file.sha256);
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
    return json.Text();
}

void EvidenceFolder::Finish() {
    WriteNewTextFile(PathOf("frames.csv"), FrameLogCsv());
    WriteNewTextFile(PathOf("frames.json"), FrameLogJson());
    outputs.push_back("frames.csv");
    outputs.push_back("frames.json");
    for (const std::string& name : outputs) {
        const FileDigest digest = DigestFile(PathOf(name));
        hashedOutputs.push_back({name, digest.size, digest.sha256});
    }
    WriteNewTextFile(PathOf("manifest.json"), ManifestJson());
    std::string sums;
    for (const HashedFile& file : hashedOutputs) {
        sums += file.sha256 + "  " + file.path + "\n";
    }
    sums += DigestFile(PathOf("manifest.json")).sha256 + "  manifest.json\n";
    WriteNewTextFile(PathOf("SHA256SUMS"), sums);
}

} // namespace VorncastTool
