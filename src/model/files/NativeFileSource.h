#pragma once

#include "model/files/FileSource.h"

#include <string>

namespace Vorn {

// The host's own file system through POSIX calls: read-only descriptors with the random-access
// hint, positioned reads, and names resolved without regard to case where they do not exist as
// written.
class NativeFileSource : public FileSource {
public:
    std::unique_ptr<SourceFile> Open(std::string_view path) override;
    bool Exists(std::string_view path) override;
    bool IsDirectory(std::string_view path) override;
    bool List(std::string_view directory, std::vector<DirectoryEntry>* entries) override;

    // The path as it stands on disk: '\' turned into '/', and each component that does not exist
    // as written replaced by the first entry of its directory, in listing order, that equals it
    // without regard to case. False when some component has no such entry.
    static bool Resolve(std::string_view path, std::string* resolved);
};

} // namespace Vorn
