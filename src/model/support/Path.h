#pragma once

#include "model/support/Buffer.h"

#include <cstdint>
#include <string_view>

namespace Vorn::Path {

// Paths may use '/' or '\' as separator. A path may carry a tail that begins with ';' (a byte
// offset in hexadecimal). Every helper that takes a Buffer requires the text to be terminated
// inside the buffer and reports failure (false, or -1) otherwise.

inline bool IsSeparator(char c) {
    return c == '\\' || c == '/';
}

// Length of the path before its ';' tail; one less when a separator stands right before the ';'.
// -1 for a null or unterminated buffer.
int32_t PathPartLength(const Buffer* path);
int32_t PathPartLength(std::string_view path);

struct NameScan {
    int32_t nameStart = -1;      // first character of the file name
    int32_t extensionStart = -1; // the point that begins the extension
};

// Finds name and extension inside the path part. The strict form requires a separator before the
// name; the bare form also accepts a plain file name, and a path ending in a separator has no name.
bool ScanNameStrict(std::string_view path, NameScan* scan);
bool ScanName(std::string_view path, NameScan* scan);

bool HasExtension(const Buffer& path);
bool HasExtension(std::string_view path);
// Compares the extension, case ignored, with each ';'-separated item of `list`.
bool ExtensionIs(const Buffer& path, std::string_view list);
bool ExtensionIs(std::string_view path, std::string_view list);

// New buffers; the directory keeps its final separator. Empty buffers when there is none.
Buffer GetExtension(const Buffer& path);
Buffer GetName(const Buffer& path);
Buffer GetDirectory(const Buffer& path);

// The text of a buffer when it is terminated inside its size.
bool TextOf(const Buffer& buffer, std::string_view* text);

// Joins a directory and a name with '/' unless the directory already ends in a separator.
Buffer Join(std::string_view directory, std::string_view name);

// Writes `path` into `out` (`size` bytes, terminated, cut to fit) with "./" in front when its path
// part has no separator: a bare file name names a file of the current directory, and decoders that
// take the folder of their path then list and open that folder.
void WithDirectory(std::string_view path, char* out, size_t size);

} // namespace Vorn::Path
