#include "core/client/ScriptedFiles.h"

#include <algorithm>

namespace ClientTests {

namespace {

// A file of the memory source that meets the faults it was given and counts itself while open.
class FaultyFile : public Vorn::SourceFile {
public:
    FaultyFile(std::unique_ptr<Vorn::SourceFile> file, FileFaults faults, std::shared_ptr<int> live)
        : file(std::move(file)), faults(faults), live(std::move(live)) {
        ++*this->live;
    }
    ~FaultyFile() override { --*live; }

    int64_t Size() const override { return faults.sizeFails ? -1 : file->Size(); }

    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        if (faults.readFails) {
            return -1;
        }
        if (faults.readLimit >= 0 && count > 0) {
            count = std::min(count, faults.readLimit - delivered);
            if (count <= 0) {
                return 0;
            }
        }
        const int64_t read = file->ReadAt(offset, destination, count);
        delivered += std::max<int64_t>(read, 0);
        return read;
    }

private:
    std::unique_ptr<Vorn::SourceFile> file;
    FileFaults faults;
    std::shared_ptr<int> live;
    int64_t delivered = 0;
};

} // namespace

void ScriptedFiles::AddPatterned(const std::string& path, int64_t size, FileFaults fileFaults) {
    std::string bytes(static_cast<size_t>(size), '\0');
    for (size_t position = 0; position < bytes.size(); ++position) {
        bytes[position] = static_cast<char>(Pattern(static_cast<int64_t>(position)));
    }
    AddFile(path, bytes);
    faults[path] = fileFaults;
}

std::unique_ptr<Vorn::SourceFile> ScriptedFiles::Open(std::string_view path) {
    std::unique_ptr<Vorn::SourceFile> file = MemoryFileSource::Open(path);
    if (file == nullptr) {
        return nullptr;
    }
    auto found = faults.find(path);
    return std::make_unique<FaultyFile>(std::move(file), found != faults.end() ? found->second : FileFaults{},
                                        live);
}

} // namespace ClientTests
