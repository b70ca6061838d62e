#pragma once

#include "model/files/FileSource.h"

#include <string>
#include <string_view>
#include <vector>

namespace Vorn::NameOrder {

// The byte as the recorders' file systems compare it: ASCII letters upper-cased, all else as is.
inline unsigned char UpperByte(char c) {
    auto byte = static_cast<unsigned char>(c);
    return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - ('a' - 'A')) : byte;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b);

// DirectoryOrderLess, with the raw bytes deciding between names that differ only in case, so that
// a listing of a case-sensitive disk comes back in one order every time.
bool ListingLess(std::string_view a, std::string_view b);

void SortListing(std::vector<DirectoryEntry>* entries);

// The non-empty components of a path in which '/' and '\' both separate.
std::vector<std::string_view> SplitComponents(std::string_view path);

} // namespace Vorn::NameOrder
