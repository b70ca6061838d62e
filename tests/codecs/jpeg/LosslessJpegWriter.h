#pragma once

#include "codecs/jpeg/JpegTestSupport.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

struct LosslessOptions {
    // Predictor selection value 1 to 7.
    int32_t predictor = 1;
    // In lines; 0 for none.
    int32_t restartLines = 0;
};

// A small lossless (SOF3) JPEG encoder: 8-bit samples, one interleaved scan, the Annex K luminance
// DC table for the differences. Colour pictures are given blue first and stored as components
// 'R', 'G', 'B' in that order.
std::vector<uint8_t> EncodeLosslessJpeg(const TestPicture& picture, const LosslessOptions& options = {});

} // namespace Vorn::Vorncast::Decoders::Testing
