#pragma once

// Pictures as the library delivers them: packed lines, top line first, 3 bytes a pixel in blue,
// green, red order or 1 byte a pixel for monochrome, no line padding.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace VorncastTool {

struct Colour {
    uint8_t blue = 0, green = 0, red = 0;
};

struct Picture {
    int32_t width = 0;
    int32_t height = 0;
    int32_t bytesPerPixel = 3;
    std::vector<uint8_t> bytes;

    static Picture Blank(int32_t width, int32_t height, Colour fill = {});
    size_t LineBytes() const { return static_cast<size_t>(width) * static_cast<size_t>(bytesPerPixel); }
    uint8_t* Pixel(int32_t x, int32_t y) {
        return bytes.data() + static_cast<size_t>(y) * LineBytes() + static_cast<size_t>(x) * bytesPerPixel;
    }
    const uint8_t* Pixel(int32_t x, int32_t y) const {
        return bytes.data() + static_cast<size_t>(y) * LineBytes() + static_cast<size_t>(x) * bytesPerPixel;
    }
};

// The picture with 3 bytes a pixel (monochrome pictures are widened).
Picture ToBgr(const Picture& source);
// The picture scaled to `width` by `height`, each target pixel the mean of the source area it covers.
Picture Scale(const Picture& source, int32_t width, int32_t height);
// The size that fits `source` into a `maxWidth` by `maxHeight` box with its shape kept.
void FitInside(int32_t sourceWidth, int32_t sourceHeight, int32_t maxWidth, int32_t maxHeight, int32_t& width,
               int32_t& height);
// Copies `source` (3 bytes a pixel) into `target` with its top left corner at x, y, clipped.
void Blit(const Picture& source, Picture& target, int32_t x, int32_t y);
void FillRectangle(Picture& target, int32_t x, int32_t y, int32_t width, int32_t height, Colour colour);

} // namespace VorncastTool
