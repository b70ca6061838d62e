#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vorn {

// One open, read-only file of a FileSource.
class SourceFile {
public:
    virtual ~SourceFile() = default;
    virtual int64_t Size() const = 0;
    // Reads up to `count` bytes at `offset`; the number read (0 at or past the end), or -1 on error.
    virtual int64_t ReadAt(int64_t offset, void* destination, int64_t count) = 0;
};

struct DirectoryEntry {
    std::string name;
    bool isDirectory = false;
};

// The one way the library reaches files, so that tests and fuzzers can serve a whole file set from
// memory. Paths may use '/' or '\' as separator. A path that does not exist as written is resolved
// component by component without regard to case, as the recorders' own file systems did.
class FileSource {
public:
    virtual ~FileSource() = default;

    // The opened file, or null when it does not exist or cannot be read.
    virtual std::unique_ptr<SourceFile> Open(std::string_view path) = 0;
    virtual bool Exists(std::string_view path) = 0;
    virtual bool IsDirectory(std::string_view path) = 0;
    // The entries of a directory without "." and "..", sorted by a case-insensitive ordinal
    // comparison (upper-cased bytes), files and folders alike. False when it cannot be listed.
    // An empty path lists the root.
    virtual bool List(std::string_view directory, std::vector<DirectoryEntry>* entries) = 0;

    // The source every part of the library uses; the native file system unless a test or a fuzzer
    // installed another. Passing null restores the native one.
    static FileSource& Current();
    static void SetCurrent(FileSource* source);
};

// Orders names as the recorders' file systems list them: upper-cased bytes, compared ordinally.
bool DirectoryOrderLess(std::string_view a, std::string_view b);

} // namespace Vorn
