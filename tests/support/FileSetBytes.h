#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vorn::Testing {

// A small file set carried in one byte string, so that a fuzzer's input and a seed corpus entry
// can stand for a recording of several files: the files' bytes joined by a separator.
struct FileSetFile {
    std::string name; // relative to the set's folder
    std::string bytes;
};

// Cuts `data` at each separator into at most `maxFiles` files named <stem><n>.<extension>
// (the first one without a number); the last file takes the rest.
std::vector<FileSetFile> SplitFileSet(const uint8_t* data, size_t size, const std::string& stem,
                                      const std::string& extension, size_t maxFiles = 4);
// The inverse for writing seeds: the files' bytes joined by the separator (names are not kept).
std::string JoinFileSet(const std::vector<FileSetFile>& files);

} // namespace Vorn::Testing
