#pragma once

// The sample recording's pictures: a moving test pattern that shows its camera number and time,
// and their JPEG encoding.

#include "support/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VorncastTool {

// Colour bars, a box that moves from frame to frame and labels of the camera number and of `time`.
Picture MakeTestPattern(int32_t width, int32_t height, int32_t camera, int64_t frameIndex,
                        const std::string& time);

// A baseline JPEG of a 3-byte blue-first picture, made with libjpeg-turbo. Throws on failure.
std::vector<uint8_t> EncodeJpeg(const Picture& picture, int32_t quality);

} // namespace VorncastTool
