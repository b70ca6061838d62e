#pragma once

// Pictures of a field's size (720 pixels across, blue first, top line first) for round trips
// through the ADV601 test encoder and the decoder, and measures of how close two pictures are.

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {

struct Adv601TestPicture {
    int32_t height = 0;
    std::vector<uint8_t> bgr;
};

// Blue rises to the right, green downwards, red falls along the diagonal: no two lines and no
// two columns alike, so a picture upside down or shifted shows.
Adv601TestPicture Adv601Gradient(bool tallField);
// Eight vertical bars of 90 pixels: white, yellow, cyan, green, magenta, red, blue, black at
// three quarters of full level, above a band of the same colours in reverse order.
Adv601TestPicture Adv601ColourBars(bool tallField);
// Grey only: a checkerboard, one-pixel lines and a bright rectangle with odd corners.
Adv601TestPicture Adv601Edges(bool tallField);
// One colour everywhere.
Adv601TestPicture Adv601Flat(bool tallField, uint8_t blue, uint8_t green, uint8_t red);

double Adv601Psnr(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual);
int32_t Adv601MaxDifference(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual);

} // namespace Vorn::Vorncast::Decoders::Testing
