#pragma once

// What makes an output folder usable as evidence: a manifest with the SHA-256 of every source file
// and of every file written, and a log of every frame (CSV and JSON) with its recorder time, stream
// time, camera and index in its stream.

#include "vorncast/Commands.h"
#include "vorncast/Library.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace VorncastTool {

struct FrameLogRow {
    std::string output; // the file that holds the frame, relative to the output folder
    int stream = 0;
    int channel = 0;
    std::string camera;
    int64_t indexInStream = 0;
    VcFrameTimes time = {};
    std::optional<int64_t> outputTicks; // the frame's presentation time in a video file
};

// The files a recording was read from: the decoder's resources, or when it names none the given
// path (every file below it for a folder, and the folder's pictures for a folder-of-JPEGs decoder).
struct SourceFiles {
    std::vector<std::string> paths;
    std::string origin; // "decoder resources" or "given path"
};
SourceFiles FindSourceFiles(const Recording& recording);

class EvidenceFolder {
public:
    // Hashes the sources at once, before anything is written.
    EvidenceFolder(std::string folder, const CommandContext& context, const Recording& recording);

    const std::string& Folder() const { return folder; }
    std::string PathOf(const std::string& fileName) const { return folder + "/" + fileName; }
    void AddOutput(const std::string& fileName) { outputs.push_back(fileName); }
    void AddFrame(FrameLogRow row) { frames.push_back(std::move(row)); }
    // A note for the manifest, such as how frames were timed; a later note of the same key replaces it.
    void AddNote(const std::string& key, const std::string& value);

    // Writes frames.csv and frames.json, then manifest.json with the hashes of all, then SHA256SUMS
    // (readable by `sha256sum -c` in the folder).
    void Finish();

private:
    std::string FrameLogCsv() const;
    std::string FrameLogJson() const;
    std::string ManifestJson() const;

    struct HashedFile {
        std::string path;
        uint64_t size = 0;
        std::string sha256;
    };
    std::string folder;
    const CommandContext& context;
    const Recording& recording;
    SourceFiles sources;
    std::vector<HashedFile> hashedSources;
    std::vector<HashedFile> hashedOutputs;
    std::vector<std::string> outputs;
    std::vector<FrameLogRow> frames;
    std::vector<std::pair<std::string, std::string>> notes;
};

} // namespace VorncastTool
