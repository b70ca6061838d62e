#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The picture decoder of the TimeSpace X100 recorder: it applies one frame (key or later) to a
// picture of `width` x `height` pixels of three bytes, `stride` pixels a line, within the window
// `left`..`right`, `top`..`bottom` (fractions of the picture), with three mode words. The maker's
// codec is not part of this library; a host that has one installs it here. Without one, no X100
// frame decodes, though the recording still loads with its frames, times and cameras.
using TimeSpacePictureDecoder = bool (*)(const uint8_t* frame, uint32_t size, uint8_t* picture,
                                         int32_t stride, int32_t width, int32_t height, double left,
                                         double top, double right, double bottom, int32_t modeA,
                                         int32_t modeB, int32_t modeC);

void SetTimeSpacePictureDecoder(TimeSpacePictureDecoder decoder);
TimeSpacePictureDecoder GetTimeSpacePictureDecoder();

// The frame decoder of the TimeSpace X200 recorder: it decodes one frame of `kind` (0 key, 1 later)
// with the frame's second header word against the camera's 640,000-byte `reference`, which it
// updates, into `picture` (720 x 288 pixels of three bytes). 0 means a good picture. As for X100, the
// maker's codec is installed by a host that has one.
using TimeSpaceFrameDecoder = int32_t (*)(int32_t kind, uint32_t secondWord, const uint8_t* data,
                                          uint32_t size, uint8_t* reference, uint8_t* picture);

void SetTimeSpaceFrameDecoder(TimeSpaceFrameDecoder decoder);
TimeSpaceFrameDecoder GetTimeSpaceFrameDecoder();

} // namespace Vorn::Vorncast::Decoders
