#pragma once

#include "core/filelists/FileList.h"
#include "model/files/FileSource.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Directory and pattern texts are taken up to this many characters.
constexpr int32_t MaxWalkTextLength = 1024;

// Matches a file name against a wildcard pattern without regard to case: '*' stands for any run
// of characters, '?' for one. As on the recorders' file systems, a '?' before a point or at the
// end of the pattern may also stand for nothing, and a point followed only by wildcards may stand
// for the end of a name ("*.*" matches "README", "img?" matches "img").
bool WildcardMatch(const char* pattern, const char* name);

// Adds to `output`, as `directory` + name, every file below `directory` whose name matches
// `pattern`: first the files of `directory`, then those of each subdirectory in turn, down to
// `maxDepth` levels below the starting one (0: `directory` alone). Names beginning with '.' are
// skipped, files and folders alike. `directory` should end in a separator. Directories are read
// through `source`, in its order. Paths longer than 260 characters are left out.
void WalkDirectory(FileSource& source, const char* directory, const char* pattern, int32_t maxDepth,
                   int32_t depth, FileList* output);
inline void WalkDirectory(const char* directory, const char* pattern, int32_t maxDepth, int32_t depth,
                          FileList* output) {
    WalkDirectory(FileSource::Current(), directory, pattern, maxDepth, depth, output);
}

// The lister of the DDA_LIST_FILES action (the form on FileSource::Current() has the shape of
// CoreListCallback): walks `directory`
// (a missing final separator is added) and returns in `*list` a text made with new[] of each
// found path relative to `directory`, followed by ';'; `*length` is its length without the
// terminator and `*ok` true. With a null or empty directory or a negative depth, `*ok`, `*length`
// and `*list` are 0. Free the text with FreeFileListText.
void ListFiles(FileSource& source, const char* directory, const char* pattern, int32_t depth, bool* ok,
               uint32_t* length, char** list);
inline void ListFiles(const char* directory, const char* pattern, int32_t depth, bool* ok, uint32_t* length,
                      char** list) {
    ListFiles(FileSource::Current(), directory, pattern, depth, ok, length, list);
}
void FreeFileListText(char* list);

} // namespace Vorn::Vorncast::Decoders
