#pragma once

#include <cstdint>

namespace Vorn::Vorncast {

// The largest picture the library decodes or hands out, in bytes: larger sizes come from damaged
// headers, and are refused everywhere before anything is allocated.
inline constexpr int64_t MaxPictureBytes = 0x8FFFFFF;

} // namespace Vorn::Vorncast
