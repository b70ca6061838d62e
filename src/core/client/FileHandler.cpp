#include "core/client/FileHandler.h"

#include "model/files/FileSource.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

FileHandler::FileHandler(const char* path) {
    std::memset(name, 0, sizeof(name));
    if (path != nullptr) {
        std::strncpy(name, path, sizeof(name) - 1);
    }
}

FileHandler::~FileHandler() = default;

bool FileHandler::Open() {
    Close();
    file = FileSource::Current().Open(name);
    if (file == nullptr) {
        return false;
    }
    int64_t measured = file->Size();
    if (measured < 0) {
        Close();
        return false;
    }
    size = measured;
    position = 0;
    return true;
}

void FileHandler::Close() {
    file.reset();
    size = 0;
    position = 0;
}

int64_t FileHandler::Read(int64_t count, uint8_t* buffer) {
    if (count <= 0 || buffer == nullptr || file == nullptr) {
        return 0;
    }
    std::memset(buffer, 0, static_cast<size_t>(count));
    int64_t total = 0;
    while (total < count) {
        int64_t got = file->ReadAt(position + total, buffer + total, count - total);
        if (got < 0) {
            return 0;
        }
        if (got == 0) {
            break;
        }
        total += got;
    }
    position += total;
    return total;
}

int64_t FileHandler::GetSize() {
    return size;
}

int64_t FileHandler::GetPosition() {
    return file != nullptr ? position : 0;
}

int64_t FileHandler::Seek(int64_t offset, int32_t origin) {
    if (file == nullptr) {
        return 0;
    }
    int64_t base = 0;
    switch (origin) {
    case SeekFromStart:
        base = 0;
        break;
    case SeekFromCurrent:
        base = position;
        break;
    case SeekFromEnd:
        base = size;
        break;
    default:
        return 0;
    }
    if ((offset < 0 && base + offset < 0) || (offset > 0 && base > INT64_MAX - offset)) {
        return 0;
    }
    position = base + offset;
    return position;
}

} // namespace Vorn::Vorncast::Decoders
