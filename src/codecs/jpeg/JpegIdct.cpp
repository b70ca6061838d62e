#include "codecs/jpeg/JpegIdct.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>

namespace Vorn::Vorncast::Decoders {

namespace {

using Basis = std::array<std::array<float, 8>, 8>;

// basis[x][u] = C(u) / 2 x cos((2x + 1) u pi / 16), with C(0) = 1 / sqrt(2) and C(u) = 1 otherwise:
// two passes of it give the 1/4 C(u) C(v) of the two-dimensional transform.
Basis MakeBasis() {
    Basis basis{};
    for (int x = 0; x < 8; ++x) {
        for (int u = 0; u < 8; ++u) {
            double scale = u == 0 ? std::numbers::sqrt2 / 2 : 1.0;
            basis[x][u] = static_cast<float>(0.5 * scale * std::cos((2 * x + 1) * u * std::numbers::pi / 16));
        }
    }
    return basis;
}

const Basis& IdctBasis() {
    static const Basis basis = MakeBasis();
    return basis;
}

uint8_t ToSample(float value) {
    long rounded = std::lround(value) + 128;
    return static_cast<uint8_t>(std::clamp(rounded, 0L, 255L));
}

bool HasOnlyDc(const int32_t* coefficients) {
    for (int i = 1; i < 64; ++i) {
        if (coefficients[i] != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

void InverseDct8x8(const int32_t* coefficients, uint8_t* output, size_t stride) {
    if (HasOnlyDc(coefficients)) {
        uint8_t flat = ToSample(static_cast<float>(coefficients[0]) / 8.0f);
        for (int y = 0; y < 8; ++y) {
            std::memset(output + y * stride, flat, 8);
        }
        return;
    }
    const Basis& basis = IdctBasis();
    // Rows first: rows[v][x] is the one-dimensional transform of coefficient row v.
    float rows[8][8];
    for (int v = 0; v < 8; ++v) {
        const int32_t* row = coefficients + 8 * v;
        for (int x = 0; x < 8; ++x) {
            float sum = 0;
            for (int u = 0; u < 8; ++u) {
                sum += basis[x][u] * static_cast<float>(row[u]);
            }
            rows[v][x] = sum;
        }
    }
    for (int y = 0; y < 8; ++y) {
        uint8_t* line = output + y * stride;
        for (int x = 0; x < 8; ++x) {
            float sum = 0;
            for (int v = 0; v < 8; ++v) {
                sum += basis[y][v] * rows[v][x];
            }
            line[x] = ToSample(sum);
        }
    }
}

} // namespace Vorn::Vorncast::Decoders
