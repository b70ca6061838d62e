#pragma once

#include "model/files/FileSource.h"

#include <cstddef>

namespace Vorn {

// A whole file set served from memory, for tests and fuzzers. Every path is taken from one root,
// whether it begins with a separator or not; directories are implied by the files below them.
// Names keep the case they were added with and are found as the native source finds them: as
// written first, else without regard to case. A file opened before it is replaced or removed keeps
// the bytes it had, as an open descriptor does.
class MemoryFileSource : public FileSource {
public:
    MemoryFileSource();
    ~MemoryFileSource() override;

    // Adds or replaces a file. False when some directory on its path is a file, or it names a directory.
    bool AddFile(std::string_view path, const void* bytes, size_t size);
    bool AddFile(std::string_view path, std::string_view bytes) {
        return AddFile(path, bytes.data(), bytes.size());
    }
    // An empty directory, and its missing parents.
    bool AddDirectory(std::string_view path);
    // Removes a file, or a directory with everything below it.
    bool Remove(std::string_view path);

    std::unique_ptr<SourceFile> Open(std::string_view path) override;
    bool Exists(std::string_view path) override;
    bool IsDirectory(std::string_view path) override;
    bool List(std::string_view directory, std::vector<DirectoryEntry>* entries) override;

private:
    struct Node;

    Node* Find(std::string_view path);
    Node* MakeDirectories(const std::vector<std::string_view>& components, size_t count);

    std::unique_ptr<Node> root;
};

} // namespace Vorn
