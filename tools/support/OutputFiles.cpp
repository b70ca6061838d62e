#include "support/OutputFiles.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace fs = std::filesystem;

namespace VorncastTool {

NewFile::NewFile(const std::string& path) : path(path) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(errno));
    }
    file = fdopen(descriptor, "wb");
    if (file == nullptr) {
        close(descriptor);
        throw std::runtime_error("cannot create " + path + ": " + std::strerror(errno));
    }
}

NewFile::~NewFile() {
    if (file != nullptr) {
        std::fclose(file);
    }
}

void NewFile::Write(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
}

void NewFile::Finish() {
    const bool failed = std::fflush(file) != 0 || std::ferror(file) != 0;
    const int error = errno;
    const bool closeFailed = std::fclose(file) != 0;
    file = nullptr;
    if (failed || closeFailed) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(error));
    }
}

void WriteNewTextFile(const std::string& path, const std::string& text) {
    NewFile file(path);
    file.Write(text);
    file.Finish();
}

void PrepareEmptyFolder(const std::string& folder) {
    std::error_code error;
    if (!fs::exists(folder, error)) {
        fs::create_directories(folder, error);
        if (error) {
            throw std::runtime_error("cannot create folder " + folder + ": " + error.message());
        }
        return;
    }
    if (!fs::is_directory(folder, error)) {
        throw std::runtime_error(folder + " exists and is not a folder");
    }
    if (!fs::is_empty(folder, error)) {
        throw std::runtime_error("output folder " + folder + " is not empty; the tool replaces no files");
    }
}

std::string RecordingFolder(const std::string& recordingPath) {
    std::error_code error;
    const fs::path path = fs::weakly_canonical(fs::absolute(recordingPath), error);
    if (fs::is_directory(path, error)) {
        return path.string();
    }
    return path.parent_path().string();
}

void RefuseOutputInsideRecording(const std::string& recordingPath, const std::string& outputPath) {
    std::error_code error;
    const fs::path folder = fs::path(RecordingFolder(recordingPath));
    const fs::path output = fs::weakly_canonical(fs::absolute(outputPath), error);
    auto folderPart = folder.begin();
    auto outputPart = output.begin();
    for (; folderPart != folder.end(); ++folderPart, ++outputPart) {
        if (outputPart == output.end() || *folderPart != *outputPart) {
            return;
        }
    }
    throw std::runtime_error("refusing to write " + outputPath + " inside the recording's folder " +
                             folder.string() + ": nothing is ever written beside the evidence");
}

} // namespace VorncastTool
