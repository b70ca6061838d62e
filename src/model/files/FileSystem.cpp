#include "model/files/FileSystem.h"

namespace Vorn {

const char* FileHandle::Name() const {
    const char* text = name.Text();
    return text != nullptr ? text : "";
}

void FileSystem::Close(FileHandle* handle) {
    delete handle;
}

} // namespace Vorn
