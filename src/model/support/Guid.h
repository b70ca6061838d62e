#pragma once

#include <vorncast/VorncastDecoders.h>

#include <cstring>
#include <string_view>

namespace Vorn {

using Guid = VcGuid;

// Parses "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" (braces required, hex digits of either case)
// into the Windows binary layout. False, with `guid` zeroed, on any other text.
bool ParseGuid(std::string_view text, Guid* guid);

inline bool SameGuid(const Guid& a, const Guid& b) {
    return std::memcmp(&a, &b, sizeof(Guid)) == 0;
}

} // namespace Vorn
