#include "model/files/CompositeFile.h"

#include "interface/LibraryFrame.h"

#include <algorithm>
#include <cinttypes>

using namespace Vorn::Vorncast;

namespace Vorn {
namespace {

constexpr const char* SourceName = "Core\\CompositeFile";

} // namespace

int CompositeFile::Append(const char* path) {
    File file;
    int status = file.Open(nullptr, path);
    if (status != Success) {
        return status;
    }
    files.Add(file);
    totalSize += file.Size();
    return Success;
}

void CompositeFile::Locate(int64_t position, int32_t* fileIndex, int64_t* offset) const {
    *fileIndex = -1;
    *offset = position;
    int64_t remaining = position;
    int32_t index = 0;
    for (List<File>::Node* node = files.Head(); node != nullptr; node = node->next, ++index) {
        int64_t size = node->item->Size();
        remaining -= size;
        *fileIndex = index;
        *offset = remaining + size;
        if (remaining < 0) {
            return;
        }
    }
}

int CompositeFile::Seek(int64_t position, uint64_t* newPosition) {
    int32_t index;
    int64_t offset;
    Locate(position, &index, &offset);
    File* file = files.GetItemPointer(index);
    if (file == nullptr) {
        Log(SourceName, __LINE__, LogCore,
            "CompositeFile fileList.GetItemPointer returned NULL, expect crash. offset=%" PRId64
            "  cpos=%" PRId64 ",  cind=%d\n",
            offset, position, index);
        return SetLastError(GeneralFailure, SourceName, __LINE__,
                            "CompositeFile::Seek > fileList.GetItemPointer returned NULL.");
    }
    if (file->Seek(offset, SeekFromStart, nullptr) != Success) {
        return GeneralFailure;
    }
    this->position = position;
    if (newPosition != nullptr) {
        *newPosition = static_cast<uint64_t>(position);
    }
    return Success;
}

int CompositeFile::Read(int32_t count, void* destination, int32_t capacity, uint32_t* bytesRead) {
    if (count <= 0 || destination == nullptr || capacity < count) {
        return GeneralFailure;
    }
    if (bytesRead != nullptr) {
        *bytesRead = 0;
    }
    int32_t index;
    int64_t offset;
    Locate(position, &index, &offset);
    auto* bytes = static_cast<uint8_t*>(destination);
    int32_t total = 0;
    for (List<File>::Node* node = files.GetNode(index); node != nullptr && total < count;
         node = node->next, offset = 0) {
        File& file = *node->item;
        int64_t left = file.Size() - offset;
        if (left <= 0) {
            continue; // an empty file in the chain, or a position past the end
        }
        auto part = static_cast<int32_t>(std::min<int64_t>(count - total, left));
        uint32_t delivered = 0;
        if (file.Seek(offset, SeekFromStart, nullptr) != Success ||
            file.Read(bytes + total, part, &delivered) != Success) {
            break;
        }
        total += static_cast<int32_t>(delivered);
        position += delivered;
        if (bytesRead != nullptr) {
            *bytesRead = static_cast<uint32_t>(total);
        }
        if (static_cast<int32_t>(delivered) < part) {
            break; // the file has shrunk since it was opened; what follows would be misplaced
        }
    }
    return total > 0 ? Success : GeneralFailure;
}

int64_t CompositeFile::GetCurrentFileStartOffset() {
    int32_t index;
    int64_t offset;
    Locate(position, &index, &offset);
    File* file = files.GetItemPointer(index);
    return file != nullptr ? file->StartOffset() : 0;
}

} // namespace Vorn
