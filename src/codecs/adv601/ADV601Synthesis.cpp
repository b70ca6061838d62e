// The picture side of the ADV601 decoder: the inverse wavelet transform of the three planes and
// the conversion of the result to blue-first RGB.
#include "codecs/adv601/ADV601Decoder.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t MirrorReach = 4;
constexpr int32_t Levels = 4;

// Widths of the region each level works on, from the full plane (0) to the smallest (4).
constexpr std::array<int32_t, Levels + 1> LumaWidths = {720, 360, 180, 90, 45};
constexpr std::array<int32_t, Levels + 1> ChromaWidths = {360, 180, 90, 45, 23};

// Rows of the region each level works on: the field height, then each halved, rounding up.
std::array<int32_t, Levels + 1> LevelRows(int32_t height) {
    std::array<int32_t, Levels + 1> rows{height};
    for (int32_t level = 1; level <= Levels; ++level) {
        rows[level] = (rows[level - 1] + 1) / 2;
    }
    return rows;
}

// Synthesis filters of the biorthogonal 9/7 wavelet, applied to the interleaved line: an output
// at an even place is centred on a low-band sample, one at an odd place on a high-band sample.
// `x(d)` is the sample d places from the centre, along a row or down a column.
template <typename Sample> inline float EvenOutput(Sample x) {
    return static_cast<float>(1.1150859594 * x(0) - 0.5337280035 * (double{x(-1)} + x(1)) -
                              0.0575440004 * (double{x(-2)} + x(2)) + 0.0337279998 * (double{x(-3)} + x(3)));
}

template <typename Sample> inline float OddOutput(Sample x) {
    return static_cast<float>(1.2058980465 * x(0) + 0.5912719965 * (double{x(-1)} + x(1)) -
                              0.1564459950 * (double{x(-2)} + x(2)) - 0.0912719965 * (double{x(-3)} + x(3)) +
                              0.0534979999 * (double{x(-4)} + x(4)));
}

uint8_t ToByte(double value) {
    if (!(value > 0)) {
        return 0;
    }
    if (value >= 255) {
        return 255;
    }
    return static_cast<uint8_t>(value);
}

} // namespace

// One line of `length` samples: the first (length + 1) / 2 are the low band, the rest the high
// band. They are interleaved, mirrored at both ends without repeating the end sample, and filtered
// back into the line.
void ADV601Decoder::SynthesizeLine(float* line, int32_t length) {
    float* x = lineScratch.get() + MirrorReach;
    const int32_t lowCount = (length + 1) / 2;
    for (int32_t k = 0; k < lowCount; ++k) {
        x[2 * k] = line[k];
    }
    for (int32_t k = 0; k < length - lowCount; ++k) {
        x[2 * k + 1] = line[lowCount + k];
    }
    for (int32_t k = 1; k <= MirrorReach; ++k) {
        x[-k] = x[k];
        x[length - 1 + k] = x[length - 1 - k];
    }
    // Even and odd places in loops of their own, which the compiler can turn into vector code.
    for (int32_t i = 0; i < length; i += 2) {
        line[i] = EvenOutput([centre = x + i](int32_t d) { return centre[d]; });
    }
    for (int32_t i = 1; i < length; i += 2) {
        line[i] = OddOutput([centre = x + i](int32_t d) { return centre[d]; });
    }
}

// The same filter down `columns` columns of `length` rows, worked a whole row at a time so that
// memory is read in line order: the rows are copied out in interleaved order, mirrored through a
// table of row pointers, and each output row is filtered from the rows around it.
void ADV601Decoder::VerticalPass(float* plane, int32_t stride, int32_t columns, int32_t length) {
    const float* rowTable[ADV601TallFieldHeight + 2 * MirrorReach];
    const float** rows = rowTable + MirrorReach;
    const int32_t lowCount = (length + 1) / 2;
    const size_t rowBytes = static_cast<size_t>(columns) * sizeof(float);
    for (int32_t j = 0; j < length; ++j) {
        float* copy = regionScratch.get() + static_cast<ptrdiff_t>(j) * columns;
        const int32_t source = j % 2 == 0 ? j / 2 : lowCount + j / 2;
        std::memcpy(copy, plane + static_cast<ptrdiff_t>(source) * stride, rowBytes);
        rows[j] = copy;
    }
    for (int32_t k = 1; k <= MirrorReach; ++k) {
        rows[-k] = rows[k];
        rows[length - 1 + k] = rows[length - 1 - k];
    }
    for (int32_t i = 0; i < length; ++i) {
        float* out = plane + static_cast<ptrdiff_t>(i) * stride;
        const float* const* around = rows + i;
        if (i % 2 == 0) {
            for (int32_t c = 0; c < columns; ++c) {
                out[c] = EvenOutput([around, c](int32_t d) { return around[d][c]; });
            }
        } else {
            for (int32_t c = 0; c < columns; ++c) {
                out[c] = OddOutput([around, c](int32_t d) { return around[d][c]; });
            }
        }
    }
}

void ADV601Decoder::HorizontalPass(float* plane, int32_t stride, int32_t rows, int32_t length) {
    for (int32_t row = 0; row < rows; ++row) {
        SynthesizeLine(plane + row * stride, length);
    }
}

// From the smallest region outwards: columns, then rows, of each level; the last level is split
// only across, so the full plane gets a horizontal pass alone.
void ADV601Decoder::SynthesizeLuma(int32_t height) {
    auto rows = LevelRows(height);
    for (int32_t level = Levels; level >= 1; --level) {
        VerticalPass(planeY, ADV601FieldWidth, LumaWidths[level], rows[level - 1]);
        HorizontalPass(planeY, ADV601FieldWidth, rows[level - 1], LumaWidths[level]);
    }
    HorizontalPass(planeY, ADV601FieldWidth, height, LumaWidths[0]);
}

void ADV601Decoder::SynthesizeChroma(float* plane, int32_t height) {
    auto rows = LevelRows(height);
    for (int32_t level = Levels; level >= 1; --level) {
        VerticalPass(plane, ADV601ChromaWidth, ChromaWidths[level], rows[level - 1]);
        HorizontalPass(plane, ADV601ChromaWidth, rows[level - 1], ChromaWidths[level]);
    }
    HorizontalPass(plane, ADV601ChromaWidth, height, ChromaWidths[0]);
}

// Studio-range luma and colour differences to full-range RGB; two neighbouring pixels share
// their colour. `luma` carries the +0.5 so that cutting to an integer rounds.
void ADV601Decoder::ConvertColour(int32_t height, bool swapChroma, uint8_t* output) const {
    const float* blueDifference = swapChroma ? planeV : planeU;
    const float* redDifference = swapChroma ? planeU : planeV;
    for (int32_t row = 0; row < height; ++row) {
        const float* y = planeY + row * ADV601FieldWidth;
        const float* u = blueDifference + row * ADV601ChromaWidth;
        const float* v = redDifference + row * ADV601ChromaWidth;
        uint8_t* pixel = output + row * ADV601FieldWidth * BytesPerPixel;
        for (int32_t pair = 0; pair < ADV601ChromaWidth; ++pair) {
            double bu = u[pair] * 2.0172321796;
            double rv = v[pair] * 1.5960266590;
            double g = (rv * 0.299 + bu * 0.114) / 0.587;
            for (int32_t half = 0; half < 2; ++half, pixel += BytesPerPixel) {
                double luma = (double{y[2 * pair + half]} + 128 - 16) * 1.1643835306 + 0.5;
                pixel[0] = ToByte(luma + bu);
                pixel[1] = ToByte(luma - g);
                pixel[2] = ToByte(luma + rv);
            }
        }
    }
}

} // namespace Vorn::Vorncast::Decoders
