#include "core/client/ScriptedFiles.h"

#include <algorithm>
#include <cstring>

namespace ClientTests {

namespace {

class ScriptedFile : public Vorn::SourceFile {
public:
    ScriptedFile(std::shared_ptr<std::vector<uint8_t>> bytes, FileFaults faults, std::shared_ptr<int> live)
        : bytes(std::move(bytes)), faults(faults), live(std::move(live)) {
        ++*this->live;
    }
    ~ScriptedFile() override { --*live; }

    int64_t Size() const override { return faults.sizeFails ? -1 : static_cast<int64_t>(bytes->size()); }

    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        if (faults.readFails || offset < 0 || count < 0) {
            return -1;
        }
        int64_t size = static_cast<int64_t>(bytes->size());
        if (offset >= size) {
            return 0;
        }
        int64_t available = std::min(count, size - offset);
        if (faults.readLimit >= 0) {
            available = std::min(available, faults.readLimit - delivered);
            if (available <= 0) {
                return 0;
            }
        }
        std::memcpy(destination, bytes->data() + offset, static_cast<size_t>(available));
        delivered += available;
        return available;
    }

private:
    std::shared_ptr<std::vector<uint8_t>> bytes;
    FileFaults faults;
    std::shared_ptr<int> live;
    int64_t delivered = 0;
};

} // namespace

std::unique_ptr<Vorn::SourceFile> ScriptedFiles::Open(std::string_view path) {
    auto found = files.find(std::string(path));
    if (found == files.end()) {
        return nullptr;
    }
    ++opens;
    return std::make_unique<ScriptedFile>(found->second.bytes, found->second.faults, live);
}

} // namespace ClientTests
