#pragma once

#include "interface/LibraryFrame.h"
#include "model/files/FileSource.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace FileTesting {

// Bytes that differ from their neighbours, so a read at a wrong offset cannot pass unnoticed.
inline std::vector<uint8_t> PatternBytes(size_t size, uint32_t seed) {
    std::vector<uint8_t> bytes(size);
    std::mt19937 generator(seed);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(generator());
    }
    return bytes;
}

inline std::string AsText(const std::vector<uint8_t>& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

inline std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, size_t start, size_t count) {
    return std::vector<uint8_t>(bytes.begin() + static_cast<long>(start),
                                bytes.begin() + static_cast<long>(start + count));
}

// A fresh directory below the system's temporary folder, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vorncast-files-XXXXXX").string();
        path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
        EXPECT_FALSE(path.empty());
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return path; }
    std::string operator/(const std::string& relative) const { return path + "/" + relative; }

    void WriteFile(const std::string& relative, const std::vector<uint8_t>& bytes) const {
        std::filesystem::path target = std::filesystem::path(path) / relative;
        std::filesystem::create_directories(target.parent_path());
        std::ofstream stream(target, std::ios::binary | std::ios::trunc);
        stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        ASSERT_TRUE(stream.good());
    }
    void MakeDirectory(const std::string& relative) const {
        std::filesystem::create_directories(std::filesystem::path(path) / relative);
    }

private:
    std::string path;
};

struct LogLine {
    std::string file;
    int level;
    std::string message;
};

// Collects what the library logs while it lives, and puts the previous callback back afterwards.
class LogCapture {
public:
    LogCapture() : previous(Vorn::Vorncast::Library().logCallback) {
        Lines().clear();
        Vorn::Vorncast::Library().logCallback = Collect;
    }
    ~LogCapture() { Vorn::Vorncast::Library().logCallback = previous; }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogLine>& All() const { return Lines(); }
    void Clear() { Lines().clear(); }
    std::vector<std::string> Messages() const {
        std::vector<std::string> messages;
        for (const LogLine& line : Lines()) {
            messages.push_back(line.message);
        }
        return messages;
    }
    // The first line that begins with `prefix`, or null.
    const LogLine* Find(const std::string& prefix) const {
        for (const LogLine& line : Lines()) {
            if (line.message.rfind(prefix, 0) == 0) {
                return &line;
            }
        }
        return nullptr;
    }
    bool Contains(const std::string& message, int level) const {
        for (const LogLine& line : Lines()) {
            if (line.message == message && line.level == level) {
                return true;
            }
        }
        return false;
    }

private:
    static std::vector<LogLine>& Lines() {
        static std::vector<LogLine> lines;
        return lines;
    }
    static void Collect(const char* file, int, int level, const char* message) {
        Lines().push_back({file, level, message});
    }

    VcLogCallback previous;
};

class InstalledSource {
public:
    explicit InstalledSource(Vorn::FileSource* source) { Vorn::FileSource::SetCurrent(source); }
    ~InstalledSource() { Vorn::FileSource::SetCurrent(nullptr); }
};

} // namespace FileTesting
