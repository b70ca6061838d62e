#pragma once

#include "model/files/MemoryFileSource.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace ClientTests {

struct FileFaults {
    bool sizeFails = false; // Size() reports -1
    bool readFails = false; // every ReadAt reports an error
    int64_t readLimit = -1; // a ReadAt delivers at most this many bytes in all, then 0
};

// Files held in memory, each with the faults a test wants its reads to meet. Installed as the
// current file source for the life of the object.
class ScriptedFiles : public Vorn::MemoryFileSource {
public:
    ScriptedFiles() { Vorn::FileSource::SetCurrent(this); }
    ~ScriptedFiles() override { Vorn::FileSource::SetCurrent(nullptr); }

    // A file of `size` bytes whose byte at position p is Pattern(p).
    void AddPatterned(const std::string& path, int64_t size, FileFaults faults = {});
    static uint8_t Pattern(int64_t position) { return static_cast<uint8_t>((position * 7 + 3) & 0xFF); }

    int LiveFiles() const { return *live; }

    std::unique_ptr<Vorn::SourceFile> Open(std::string_view path) override;

private:
    std::map<std::string, FileFaults, std::less<>> faults;
    std::shared_ptr<int> live = std::make_shared<int>(0);
};

} // namespace ClientTests
