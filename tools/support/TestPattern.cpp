#include "support/TestPattern.h"

#include "support/BitmapFont.h"

#include <algorithm>
#include <stdexcept>
#include <turbojpeg.h>

namespace VorncastTool {

namespace {

constexpr Colour Bars[] = {{255, 255, 255}, {0, 255, 255}, {255, 255, 0}, {0, 255, 0},
                           {255, 0, 255},   {0, 0, 255},   {255, 0, 0},   {16, 16, 16}};

void DrawBars(Picture& picture) {
    const int32_t count = static_cast<int32_t>(std::size(Bars));
    for (int32_t bar = 0; bar < count; ++bar) {
        const int32_t left = bar * picture.width / count;
        const int32_t right = (bar + 1) * picture.width / count;
        FillRectangle(picture, left, 0, right - left, picture.height, Bars[bar]);
    }
}

// A square that runs round the picture's lower half, one step a frame.
void DrawMovingBox(Picture& picture, int64_t frameIndex) {
    const int32_t side = std::max(8, picture.height / 6);
    const int32_t travel = std::max(1, picture.width - side);
    const int32_t phase = static_cast<int32_t>((frameIndex * 7) % (2 * travel));
    const int32_t x = phase < travel ? phase : 2 * travel - phase;
    const int32_t y = picture.height - side - picture.height / 10;
    FillRectangle(picture, x, y, side, side, {0, 0, 0});
    FillRectangle(picture, x + side / 4, y + side / 4, side / 2, side / 2, {255, 255, 255});
}

} // namespace

Picture MakeTestPattern(int32_t width, int32_t height, int32_t camera, int64_t frameIndex,
                        const std::string& time) {
    Picture picture = Picture::Blank(width, height);
    DrawBars(picture);
    DrawMovingBox(picture, frameIndex);
    const std::string name = "CAMERA " + std::to_string(camera);
    const int32_t nameScale = std::max(1, width / (TextWidth(name, 1) * 2));
    // The labels stand a quarter down, clear of the corner where presentation overlays go.
    const int32_t top = height / 4;
    DrawLabel(picture, 4, top, name, nameScale, {255, 255, 255}, {0, 0, 0});
    const int32_t timeScale = std::max(1, (width - 8) / (TextWidth(time, 1) + 1));
    DrawLabel(picture, 4, top + 4 + TextHeight(nameScale) + nameScale, time, timeScale, {255, 255, 255},
              {0, 0, 0});
    return picture;
}

std::vector<uint8_t> EncodeJpeg(const Picture& picture, int32_t quality) {
    tjhandle encoder = tjInitCompress();
    if (encoder == nullptr) {
        throw std::runtime_error("libjpeg-turbo could not be set up");
    }
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    const int result = tjCompress2(encoder, picture.bytes.data(), picture.width, 0, picture.height, TJPF_BGR,
                                   &jpeg, &size, TJSAMP_420, quality, TJFLAG_ACCURATEDCT);
    std::vector<uint8_t> bytes;
    if (result == 0) {
        bytes.assign(jpeg, jpeg + size);
    }
    const std::string error = result == 0 ? std::string() : tjGetErrorStr2(encoder);
    tjFree(jpeg);
    tjDestroy(encoder);
    if (result != 0) {
        throw std::runtime_error("JPEG encoding failed: " + error);
    }
    return bytes;
}

} // namespace VorncastTool
