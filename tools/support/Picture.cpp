#include "support/Picture.h"

#include <algorithm>

namespace VorncastTool {

Picture Picture::Blank(int32_t width, int32_t height, Colour fill) {
    Picture picture;
    picture.width = width;
    picture.height = height;
    picture.bytes.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    for (size_t index = 0; index < picture.bytes.size(); index += 3) {
        picture.bytes[index] = fill.blue;
        picture.bytes[index + 1] = fill.green;
        picture.bytes[index + 2] = fill.red;
    }
    return picture;
}

Picture ToBgr(const Picture& source) {
    if (source.bytesPerPixel == 3) {
        return source;
    }
    Picture wide = Picture::Blank(source.width, source.height);
    for (size_t index = 0; index < source.bytes.size(); ++index) {
        std::fill_n(wide.bytes.begin() + static_cast<std::ptrdiff_t>(index * 3), 3, source.bytes[index]);
    }
    return wide;
}

Picture Scale(const Picture& source, int32_t width, int32_t height) {
    const Picture bgr = ToBgr(source);
    Picture scaled = Picture::Blank(width, height);
    for (int32_t y = 0; y < height; ++y) {
        const int32_t top = static_cast<int32_t>(static_cast<int64_t>(y) * bgr.height / height);
        const int32_t bottom =
            std::max(top + 1, static_cast<int32_t>(static_cast<int64_t>(y + 1) * bgr.height / height));
        for (int32_t x = 0; x < width; ++x) {
            const int32_t left = static_cast<int32_t>(static_cast<int64_t>(x) * bgr.width / width);
            const int32_t right =
                std::max(left + 1, static_cast<int32_t>(static_cast<int64_t>(x + 1) * bgr.width / width));
            uint32_t sum[3] = {0, 0, 0};
            for (int32_t sy = top; sy < bottom; ++sy) {
                for (int32_t sx = left; sx < right; ++sx) {
                    const uint8_t* pixel = bgr.Pixel(sx, sy);
                    sum[0] += pixel[0];
                    sum[1] += pixel[1];
                    sum[2] += pixel[2];
                }
            }
            const uint32_t count = static_cast<uint32_t>((bottom - top) * (right - left));
            uint8_t* target = scaled.Pixel(x, y);
            for (int channel = 0; channel < 3; ++channel) {
                target[channel] = static_cast<uint8_t>((sum[channel] + count / 2) / count);
            }
        }
    }
    return scaled;
}

void FitInside(int32_t sourceWidth, int32_t sourceHeight, int32_t maxWidth, int32_t maxHeight, int32_t& width,
               int32_t& height) {
    if (static_cast<int64_t>(sourceWidth) * maxHeight >= static_cast<int64_t>(sourceHeight) * maxWidth) {
        width = maxWidth;
        height = std::max<int32_t>(
            1, static_cast<int32_t>(static_cast<int64_t>(sourceHeight) * maxWidth / sourceWidth));
    } else {
        height = maxHeight;
        width = std::max<int32_t>(
            1, static_cast<int32_t>(static_cast<int64_t>(sourceWidth) * maxHeight / sourceHeight));
    }
}

void Blit(const Picture& source, Picture& target, int32_t x, int32_t y) {
    for (int32_t row = 0; row < source.height; ++row) {
        const int32_t ty = y + row;
        if (ty < 0 || ty >= target.height) {
            continue;
        }
        const int32_t first = std::max(0, -x);
        const int32_t last = std::min(source.width, target.width - x);
        if (first >= last) {
            continue;
        }
        std::copy_n(source.Pixel(first, row), static_cast<size_t>(last - first) * 3,
                    target.Pixel(x + first, ty));
    }
}

void FillRectangle(Picture& target, int32_t x, int32_t y, int32_t width, int32_t height, Colour colour) {
    const int32_t left = std::max(0, x), right = std::min(target.width, x + width);
    const int32_t top = std::max(0, y), bottom = std::min(target.height, y + height);
    for (int32_t row = top; row < bottom; ++row) {
        for (int32_t column = left; column < right; ++column) {
            uint8_t* pixel = target.Pixel(column, row);
            pixel[0] = colour.blue;
            pixel[1] = colour.green;
            pixel[2] = colour.red;
        }
    }
}

} // namespace VorncastTool
