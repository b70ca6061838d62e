#include "Adv601TestPictures.h"

#include "codecs/adv601/ADV601Tables.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace Vorn::Vorncast::Decoders::Testing {

namespace {

Adv601TestPicture Blank(bool tallField) {
    Adv601TestPicture picture;
    picture.height = ADV601FieldHeight(tallField);
    picture.bgr.assign(static_cast<size_t>(ADV601FieldWidth) * picture.height * 3, 0);
    return picture;
}

uint8_t* PixelAt(Adv601TestPicture& picture, int32_t x, int32_t y) {
    return picture.bgr.data() + (static_cast<size_t>(y) * ADV601FieldWidth + x) * 3;
}

void SetPixel(Adv601TestPicture& picture, int32_t x, int32_t y, uint8_t blue, uint8_t green, uint8_t red) {
    uint8_t* pixel = PixelAt(picture, x, y);
    pixel[0] = blue;
    pixel[1] = green;
    pixel[2] = red;
}

void SetGrey(Adv601TestPicture& picture, int32_t x, int32_t y, uint8_t level) {
    SetPixel(picture, x, y, level, level, level);
}

} // namespace

Adv601TestPicture Adv601Gradient(bool tallField) {
    Adv601TestPicture picture = Blank(tallField);
    for (int32_t y = 0; y < picture.height; ++y) {
        for (int32_t x = 0; x < ADV601FieldWidth; ++x) {
            int32_t across = 20 + x * 215 / (ADV601FieldWidth - 1);
            int32_t down = 20 + y * 215 / (picture.height - 1);
            SetPixel(picture, x, y, static_cast<uint8_t>(across), static_cast<uint8_t>(down),
                     static_cast<uint8_t>(235 - (across + down - 40) / 2));
        }
    }
    return picture;
}

Adv601TestPicture Adv601ColourBars(bool tallField) {
    // Blue, green, red at 75%.
    static const uint8_t Bars[8][3] = {{191, 191, 191}, {0, 191, 191}, {191, 191, 0}, {0, 191, 0},
                                       {191, 0, 191},   {0, 0, 191},   {191, 0, 0},   {0, 0, 0}};
    Adv601TestPicture picture = Blank(tallField);
    int32_t split = picture.height * 2 / 3;
    for (int32_t y = 0; y < picture.height; ++y) {
        for (int32_t x = 0; x < ADV601FieldWidth; ++x) {
            int32_t bar = x / (ADV601FieldWidth / 8);
            const uint8_t* colour = Bars[y < split ? bar : 7 - bar];
            SetPixel(picture, x, y, colour[0], colour[1], colour[2]);
        }
    }
    return picture;
}

Adv601TestPicture Adv601Edges(bool tallField) {
    Adv601TestPicture picture = Blank(tallField);
    for (int32_t y = 0; y < picture.height; ++y) {
        for (int32_t x = 0; x < ADV601FieldWidth; ++x) {
            bool light = ((x / 16) + (y / 16)) % 2 == 0;
            SetGrey(picture, x, y, light ? 200 : 40);
        }
    }
    for (int32_t y = 0; y < picture.height; ++y) {
        SetGrey(picture, 301, y, 255);
        SetGrey(picture, 517, y, 0);
    }
    for (int32_t x = 0; x < ADV601FieldWidth; ++x) {
        SetGrey(picture, x, 77, 255);
    }
    for (int32_t y = 101; y < 181; ++y) {
        for (int32_t x = 403; x < 611; ++x) {
            SetGrey(picture, x, y, 230);
        }
    }
    return picture;
}

Adv601TestPicture Adv601Flat(bool tallField, uint8_t blue, uint8_t green, uint8_t red) {
    Adv601TestPicture picture = Blank(tallField);
    for (size_t at = 0; at < picture.bgr.size(); at += 3) {
        picture.bgr[at] = blue;
        picture.bgr[at + 1] = green;
        picture.bgr[at + 2] = red;
    }
    return picture;
}

double Adv601Psnr(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual) {
    if (expected.size() != actual.size() || expected.empty()) {
        return 0;
    }
    double squares = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        double difference = static_cast<double>(expected[i]) - actual[i];
        squares += difference * difference;
    }
    if (squares == 0) {
        return std::numeric_limits<double>::infinity();
    }
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(expected.size()) / squares);
}

int32_t Adv601MaxDifference(const std::vector<uint8_t>& expected, const std::vector<uint8_t>& actual) {
    if (expected.size() != actual.size()) {
        return 256;
    }
    int32_t largest = 0;
    for (size_t i = 0; i < expected.size(); ++i) {
        largest = std::max(largest, std::abs(static_cast<int32_t>(expected[i]) - actual[i]));
    }
    return largest;
}

} // namespace Vorn::Vorncast::Decoders::Testing
