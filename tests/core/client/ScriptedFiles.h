#pragma once

#include "model/files/FileSource.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ClientTests {

// Faults a file's reads meet.
struct FileFaults {
    bool sizeFails = false; // Size() reports -1
    bool readFails = false; // every ReadAt reports an error
    int64_t readLimit = -1; // a ReadAt delivers at most this many bytes in all, then 0
};

// Files held in memory, each with the faults a test wants its reads to meet. Installed as the
// current file source for the life of the object.
class ScriptedFiles : public Vorn::FileSource {
public:
    ScriptedFiles() { Vorn::FileSource::SetCurrent(this); }
    ~ScriptedFiles() override { Vorn::FileSource::SetCurrent(nullptr); }

    void Add(const std::string& path, std::vector<uint8_t> bytes, FileFaults faults = {}) {
        files[path] = Entry{std::make_shared<std::vector<uint8_t>>(std::move(bytes)), faults};
    }
    // A file of `size` bytes whose byte at position p is Pattern(p).
    void AddPatterned(const std::string& path, int64_t size, FileFaults faults = {}) {
        std::vector<uint8_t> bytes(static_cast<size_t>(size));
        for (int64_t p = 0; p < size; ++p) {
            bytes[static_cast<size_t>(p)] = Pattern(p);
        }
        Add(path, std::move(bytes), faults);
    }
    static uint8_t Pattern(int64_t position) { return static_cast<uint8_t>((position * 7 + 3) & 0xFF); }

    int OpenCount() const { return opens; }
    int LiveFiles() const { return *live; }

    std::unique_ptr<Vorn::SourceFile> Open(std::string_view path) override;
    bool Exists(std::string_view path) override { return files.count(std::string(path)) != 0; }
    bool IsDirectory(std::string_view) override { return false; }
    bool List(std::string_view, std::vector<Vorn::DirectoryEntry>*) override { return false; }

private:
    struct Entry {
        std::shared_ptr<std::vector<uint8_t>> bytes;
        FileFaults faults;
    };
    std::map<std::string, Entry> files;
    int opens = 0;
    std::shared_ptr<int> live = std::make_shared<int>(0);
};

} // namespace ClientTests
