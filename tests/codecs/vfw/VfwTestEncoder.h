#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace VfwTesting {

struct EncodedStream {
    std::vector<std::vector<uint8_t>> frames;
    std::vector<uint8_t> extradata; // codec bytes that belong behind the stream's format
};

struct EncodeSettings {
    int keyInterval = 12;
    int bFrames = 0;
    bool globalHeader = false; // stream headers in extradata rather than in the first frame
};

// A picture that changes along both axes and from frame to frame, different in each channel:
// blue-first, top row first, dense rows.
std::vector<uint8_t> MakeBgrPicture(int width, int height, int index);

// Encodes `count` pictures of MakeBgrPicture with a libavcodec encoder. False if the encoder is
// missing from this FFmpeg.
bool EncodeFrames(const std::string& encoder, int width, int height, int count,
                  const EncodeSettings& settings, EncodedStream* stream);

// A stream format: BITMAPINFOHEADER with `extradata` behind it.
std::vector<uint8_t> BitmapFormat(int32_t width, int32_t height, uint32_t compression, uint16_t bitCount,
                                  const std::vector<uint8_t>& extradata = {});

uint32_t FourCC(const char* text);

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

} // namespace VfwTesting
