#include "model/files/FileSystemNative.h"

#include "model/files/NameOrder.h"
#include "model/files/NativeFileSource.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace Vorn {
namespace {

// Names of the directory's entries of one kind, in listing order. Every lookup lists afresh, so a
// loop over all names is quadratic; only plug-in search and file set scans walk directories this way.
std::vector<std::string> EntryNames(const char* path, bool directories) {
    std::vector<std::string> names;
    std::vector<DirectoryEntry> entries;
    if (!FileSource::Current().List(path != nullptr ? path : "", &entries)) {
        return names;
    }
    if (directories) {
        // The host's listing lacks the two entries that the recorders' systems always give first.
        names.emplace_back(".");
        names.emplace_back("..");
    }
    for (DirectoryEntry& entry : entries) {
        if (entry.isDirectory == directories) {
            names.push_back(std::move(entry.name));
        }
    }
    return names;
}

int32_t CopyName(const std::vector<std::string>& names, int32_t index, char* buffer, int32_t capacity) {
    if (index < 0 || static_cast<size_t>(index) >= names.size()) {
        return 0;
    }
    const std::string& name = names[static_cast<size_t>(index)];
    auto needed = static_cast<int32_t>(name.size() + 1);
    if (buffer != nullptr && capacity > 0) {
        std::memcpy(buffer, name.c_str(), static_cast<size_t>(std::min(needed, capacity)));
    }
    return needed;
}

FileHandleNative* OpenNativeHandle(FileHandle* handle) {
    auto* native = dynamic_cast<FileHandleNative*>(handle);
    return native != nullptr && native->IsOpen() ? native : nullptr;
}

bool IsDirectoryOnDisk(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

FileHandleNative::FileHandleNative(std::unique_ptr<SourceFile> file) : file(std::move(file)) {
    size = this->file != nullptr ? this->file->Size() : 0;
}

int32_t FileSystemNative::GetDirectoryCount(const char* path) {
    return static_cast<int32_t>(EntryNames(path, true).size());
}

int32_t FileSystemNative::GetFileCount(const char* path) {
    return static_cast<int32_t>(EntryNames(path, false).size());
}

int32_t FileSystemNative::GetDirectoryName(const char* path, int32_t index, char* buffer, int32_t capacity) {
    return CopyName(EntryNames(path, true), index, buffer, capacity);
}

int32_t FileSystemNative::GetFileName(const char* path, int32_t index, char* buffer, int32_t capacity) {
    return CopyName(EntryNames(path, false), index, buffer, capacity);
}

bool FileSystemNative::Exists(const char* path) {
    return path != nullptr && FileSource::Current().Exists(path);
}

FileHandle* FileSystemNative::Open(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    std::unique_ptr<SourceFile> file = FileSource::Current().Open(path);
    if (file != nullptr && file->Size() < 0) {
        return nullptr;
    }
    return new FileHandleNative(std::move(file));
}

int32_t FileSystemNative::Read(FileHandle* handle, int32_t count, Buffer destination) {
    return Read(handle, count, destination.Data(), destination.Length());
}

int32_t FileSystemNative::Read(FileHandle* handle, int32_t count, void* destination, int32_t capacity) {
    FileHandleNative* native = OpenNativeHandle(handle);
    if (count < 1 || capacity < count || native == nullptr || destination == nullptr) {
        return -1;
    }
    auto* bytes = static_cast<uint8_t*>(destination);
    int64_t delivered = native->file->ReadAt(native->position, bytes, count);
    if (delivered < 0) {
        std::memset(bytes, 0, static_cast<size_t>(count));
        return -1;
    }
    // Zeroing only behind the delivered bytes leaves the same picture as zeroing all first.
    std::memset(bytes + delivered, 0, static_cast<size_t>(count - delivered));
    native->position += delivered;
    return static_cast<int32_t>(delivered);
}

int64_t FileSystemNative::Seek(FileHandle* handle, int64_t offset, int whence) {
    FileHandleNative* native = OpenNativeHandle(handle);
    if (native == nullptr) {
        return -1;
    }
    int64_t origin;
    switch (whence) {
    case SeekFromStart:
        origin = 0;
        break;
    case SeekFromCurrent:
        origin = native->position;
        break;
    case SeekFromEnd:
        origin = native->size;
        break;
    default:
        return -1;
    }
    int64_t target;
    if (__builtin_add_overflow(origin, offset, &target) || target < 0) {
        return -1;
    }
    native->position = target;
    return target;
}

bool FileSystemNative::CreateDirectory(const char* path) {
    if (path == nullptr) {
        return false;
    }
    std::string_view text(path);
    std::vector<std::string_view> components = NameOrder::SplitComponents(text);
    if (components.empty()) {
        return false;
    }
    std::string built = Path::IsSeparator(text.front()) ? "/" : "";
    for (std::string_view component : components) {
        std::string next = built;
        if (!next.empty() && next.back() != '/') {
            next += '/';
        }
        next += component;
        std::string existing;
        if (NativeFileSource::Resolve(next, &existing)) {
            if (!IsDirectoryOnDisk(existing)) {
                return false;
            }
            built = std::move(existing);
            continue;
        }
        if (mkdir(next.c_str(), 0777) != 0 && !(errno == EEXIST && IsDirectoryOnDisk(next))) {
            return false;
        }
        built = std::move(next);
    }
    return true;
}

} // namespace Vorn
