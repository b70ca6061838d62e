#include "model/files/NativeFileSource.h"

#include "model/files/NameOrder.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vorn {
namespace {

class NativeSourceFile : public SourceFile {
public:
    NativeSourceFile(int descriptor, int64_t size) : descriptor(descriptor), size(size) {}
    NativeSourceFile(const NativeSourceFile&) = delete;
    NativeSourceFile& operator=(const NativeSourceFile&) = delete;
    ~NativeSourceFile() override { close(descriptor); }

    int64_t Size() const override { return size; }

    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        if (offset < 0 || count < 0) {
            return -1;
        }
        constexpr int64_t LargestSingleRead = int64_t{1} << 30;
        auto* bytes = static_cast<uint8_t*>(destination);
        int64_t total = 0;
        while (total < count) {
            ssize_t got = pread(descriptor, bytes + total,
                                static_cast<size_t>(std::min(count - total, LargestSingleRead)),
                                static_cast<off_t>(offset + total));
            if (got < 0) {
                if (errno == EINTR) {
                    continue;
                }
                // What arrived before the error is still delivered, as a short read.
                return total > 0 ? total : -1;
            }
            if (got == 0) {
                break;
            }
            total += got;
        }
        return total;
    }

private:
    int descriptor;
    int64_t size;
};

std::string WithSlashes(std::string_view path) {
    std::string written(path);
    std::replace(written.begin(), written.end(), '\\', '/');
    return written;
}

bool StatOf(const std::string& path, struct stat* status) {
    return stat(path.c_str(), status) == 0;
}

std::string JoinComponent(const std::string& base, std::string_view component) {
    if (base.empty()) {
        return std::string(component);
    }
    std::string joined = base;
    if (joined.back() != '/') {
        joined += '/';
    }
    joined += component;
    return joined;
}

// The entry of `directory` that equals `name` without regard to case and comes first in listing order.
bool FindIgnoringCase(const std::string& directory, std::string_view name, std::string* match) {
    DIR* stream = opendir(directory.empty() ? "." : directory.c_str());
    if (stream == nullptr) {
        return false;
    }
    bool found = false;
    while (dirent* entry = readdir(stream)) {
        std::string_view candidate(entry->d_name);
        if (NameOrder::EqualIgnoringCase(candidate, name) && (!found || candidate < *match)) {
            *match = std::string(candidate);
            found = true;
        }
    }
    closedir(stream);
    return found;
}

bool IsDirectoryEntry(DIR* stream, const dirent* entry) {
    if (entry->d_type == DT_DIR) {
        return true;
    }
    if (entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK) {
        return false;
    }
    struct stat status;
    return fstatat(dirfd(stream), entry->d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

int OpenReadOnly(const std::string& path) {
    int descriptor;
    do {
        descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

} // namespace

bool NativeFileSource::Resolve(std::string_view path, std::string* resolved) {
    std::string written = WithSlashes(path);
    if (written.empty()) {
        return false;
    }
    struct stat status;
    if (StatOf(written, &status)) {
        *resolved = std::move(written);
        return true;
    }
    std::string base = written.front() == '/' ? "/" : "";
    for (std::string_view component : NameOrder::SplitComponents(written)) {
        std::string candidate = JoinComponent(base, component);
        if (!StatOf(candidate, &status)) {
            std::string match;
            if (component == "." || component == ".." || !FindIgnoringCase(base, component, &match)) {
                return false;
            }
            candidate = JoinComponent(base, match);
        }
        base = std::move(candidate);
    }
    *resolved = base.empty() ? "." : std::move(base);
    return true;
}

std::unique_ptr<SourceFile> NativeFileSource::Open(std::string_view path) {
    std::string written = WithSlashes(path);
    if (written.empty()) {
        return nullptr;
    }
    int descriptor = OpenReadOnly(written);
    if (descriptor < 0 && (errno == ENOENT || errno == ENOTDIR)) {
        std::string resolved;
        if (Resolve(written, &resolved)) {
            descriptor = OpenReadOnly(resolved);
        }
    }
    if (descriptor < 0) {
        return nullptr;
    }
    struct stat status;
    if (fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
        close(descriptor);
        return nullptr;
    }
    // Decoders seek far more than they stream; read-ahead would only waste the page cache.
    posix_fadvise(descriptor, 0, 0, POSIX_FADV_RANDOM);
    return std::make_unique<NativeSourceFile>(descriptor, static_cast<int64_t>(status.st_size));
}

bool NativeFileSource::Exists(std::string_view path) {
    std::string resolved;
    struct stat status;
    return Resolve(path, &resolved) && StatOf(resolved, &status);
}

bool NativeFileSource::IsDirectory(std::string_view path) {
    std::string resolved;
    struct stat status;
    return Resolve(path, &resolved) && StatOf(resolved, &status) && S_ISDIR(status.st_mode);
}

bool NativeFileSource::List(std::string_view directory, std::vector<DirectoryEntry>* entries) {
    entries->clear();
    std::string resolved;
    if (!Resolve(directory.empty() ? std::string_view("/") : directory, &resolved)) {
        return false;
    }
    DIR* stream = opendir(resolved.c_str());
    if (stream == nullptr) {
        return false;
    }
    while (dirent* entry = readdir(stream)) {
        std::string_view name(entry->d_name);
        if (name == "." || name == "..") {
            continue;
        }
        entries->push_back({std::string(name), IsDirectoryEntry(stream, entry)});
    }
    closedir(stream);
    NameOrder::SortListing(entries);
    return true;
}

} // namespace Vorn
