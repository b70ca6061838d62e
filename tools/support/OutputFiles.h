#pragma once

// Files and folders that the tool writes. A file is created only when it does not exist, so that
// nothing already on disk is ever replaced, and output never goes into the folder of a recording.

#include <cstdio>
#include <string>

namespace VorncastTool {

// A new file opened for writing; creation fails when the path exists. Throws std::runtime_error.
class NewFile {
public:
    explicit NewFile(const std::string& path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    FILE* Handle() const { return file; }
    void Write(const std::string& text);
    // Flushes and closes; throws when the data could not be written.
    void Finish();

private:
    std::string path;
    FILE* file = nullptr;
};

// Writes `text` to a new file.
void WriteNewTextFile(const std::string& path, const std::string& text);

// Makes `folder` (with its parents) when missing. Throws when it exists and holds anything, or is no
// folder, so that output never mixes with earlier files.
void PrepareEmptyFolder(const std::string& folder);

// The folder that holds the recording at `recordingPath`: the path itself when it is a folder, else
// its parent.
std::string RecordingFolder(const std::string& recordingPath);

// Throws when `outputPath` is the recording's folder or lies inside it.
void RefuseOutputInsideRecording(const std::string& recordingPath, const std::string& outputPath);

} // namespace VorncastTool
