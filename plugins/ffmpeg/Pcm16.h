#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include <cstdint>

namespace Vorn::Vorncast::FfmpegPlugin {

// Writes the samples of a decoded audio frame as 16-bit PCM, channels interleaved, whatever its
// sample format (8, 16, 32-bit integers, floats, doubles; packed or planar). Returns the bytes
// written, at most `capacity`: a frame too long for it is cut at a whole sample of every channel.
uint32_t WritePcm16(const AVFrame* frame, uint8_t* out, uint32_t capacity);

} // namespace Vorn::Vorncast::FfmpegPlugin
