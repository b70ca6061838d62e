#pragma once

#include <cstdint>
#include <vector>

namespace Jpeg2000Testing {

// One component of a picture to encode: samples on a grid subsampled by dx, dy.
struct Plane {
    int dx = 1;
    int dy = 1;
    std::vector<int32_t> samples;
};

struct EncodeOptions {
    bool jp2 = false;
    bool lossless = true;
    float compressionRatio = 20.0f; // used when not lossless
    int precision = 8;
    bool isSigned = false;
    int tileSize = 0; // 0: one tile
    bool ycc = false; // the JP2 colour box says sYCC
    bool multipleComponentTransform = false;
};

// Encodes with OpenJPEG in memory. Empty on failure.
std::vector<uint8_t> Encode(const std::vector<Plane>& planes, int width, int height,
                            const EncodeOptions& options);

// A smooth picture with edges, different in every channel, so that a swapped channel, a flipped
// line order or a wrong stride cannot compare equal. Interleaved RGB, top row first.
std::vector<uint8_t> MakeRgbPicture(int width, int height);
std::vector<uint8_t> MakeGreyPicture(int width, int height);

// Full-size planes of an interleaved RGB picture (red first).
std::vector<Plane> RgbPlanes(const std::vector<uint8_t>& rgb, int width, int height);
std::vector<Plane> GreyPlanes(const std::vector<uint8_t>& grey);

// RGB in blue-first order, as the decoder delivers it.
std::vector<uint8_t> ToBgr(const std::vector<uint8_t>& rgb);

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

} // namespace Jpeg2000Testing
