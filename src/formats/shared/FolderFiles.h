#pragma once

#include "core/CoreTypes.h"
#include "core/filelists/FileList.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The files of a recording's folder: the folder of the loaded path, the names a listing of it
// gave, and the full path of each. Names are joined to the folder with '/'.
class FolderFiles {
public:
    // Takes the folder of `path` and returns it with its final separator, as a listing asks for
    // it, so that a file in the root lists "/". The text lives until the next call.
    const char* ListingDirectoryOf(const char* path);
    // Keeps the listed names, in the order of the listing.
    void Take(FileList& listed);
    void Clear();
    // Puts the names in the order of FileListComparer.
    void SortByName();

    int32_t Count() const { return names.Count(); }
    // The path of name `index`; empty outside the list, and when it would not fit, since a cut
    // path could name another file.
    const char* PathAt(int32_t index);
    FileList& Names() { return names; }

private:
    FileList names;
    char directory[MaxPathLength] = {};
    char path[MaxPathLength] = {};
};

} // namespace Vorn::Vorncast::Decoders
