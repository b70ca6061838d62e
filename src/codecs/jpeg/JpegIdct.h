#pragma once

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Inverse DCT of one dequantised 8 x 8 block (coefficients in natural order) to samples with the
// level shift of 128, rounded and kept within 0 to 255. `output` receives 8 lines `stride` apart.
void InverseDct8x8(const int32_t* coefficients, uint8_t* output, size_t stride);

} // namespace Vorn::Vorncast::Decoders
