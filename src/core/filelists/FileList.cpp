#include "core/filelists/FileList.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

void FileList::Add(const char* text) {
    Add(text, static_cast<int32_t>(std::strlen(text)));
}

void FileList::Add(const char* text, int32_t length) {
    FileListEntry entry{};
    std::memcpy(entry.path, text, static_cast<size_t>(std::clamp(length, 0, MaxEntryLength)));
    Add(entry);
}

const char* FileList::GetAt(int32_t index) {
    if (index < 0 || index >= Count()) {
        return nullptr;
    }
    return GetItemPointer(index)->path;
}

int ComparePathsIgnoringCase(const char* a, const char* b) {
    auto lower = [](char c) {
        unsigned char byte = static_cast<unsigned char>(c);
        return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte;
    };
    for (;; ++a, ++b) {
        int difference = lower(*a) - lower(*b);
        if (difference != 0 || *a == '\0') {
            return difference;
        }
    }
}

int FileListComparer::Compare(const FileListEntry* a, const FileListEntry* b) {
    return ComparePathsIgnoringCase(a->path, b->path);
}

} // namespace Vorn::Vorncast::Decoders
