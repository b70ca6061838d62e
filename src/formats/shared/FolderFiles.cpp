#include "formats/shared/FolderFiles.h"

#include "model/support/Path.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

const char* FolderFiles::ListingDirectoryOf(const char* loaded) {
    size_t length = 0;
    for (size_t index = 0; loaded[index] != '\0' && index < MaxPathLength - 1; ++index) {
        if (Path::IsSeparator(loaded[index])) {
            length = index + 1;
        }
    }
    std::memcpy(directory, loaded, length);
    directory[length] = '\0';
    return directory;
}

void FolderFiles::Take(FileList& listed) {
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        names.Add(*node->item);
    }
}

void FolderFiles::SortByName() {
    FileListComparer byName;
    names.Sort(byName);
}

void FolderFiles::Clear() {
    names.Clear();
    directory[0] = '\0';
    path[0] = '\0';
}

// The folder is the listing directory without its final separator.
const char* FolderFiles::PathAt(int32_t index) {
    const char* name = names.GetAt(index);
    int folderLength = directory[0] != '\0' ? static_cast<int>(std::strlen(directory)) - 1 : 0;
    if (name == nullptr ||
        std::snprintf(path, MaxPathLength, "%.*s/%s", folderLength, directory, name) >= MaxPathLength) {
        path[0] = '\0';
    }
    return path;
}

} // namespace Vorn::Vorncast::Decoders
