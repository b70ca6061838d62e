#include "codecs/jpeg/LosslessJpegWriter.h"

namespace Vorn::Vorncast::Decoders::Testing {

namespace {

constexpr int32_t Precision = 8;

// The stored sample of component `c` at (x, y).
int32_t Sample(const TestPicture& picture, int32_t x, int32_t y, int32_t c) {
    const uint8_t* pixel = picture.Pixel(x, y);
    return picture.channels == 3 ? pixel[2 - c] : pixel[c];
}

int32_t Predict(const TestPicture& picture, int32_t predictor, int32_t x, int32_t y, int32_t c,
                int32_t firstLine) {
    if (y == firstLine) {
        return x == 0 ? 1 << (Precision - 1) : Sample(picture, x - 1, y, c);
    }
    if (x == 0) {
        return Sample(picture, x, y - 1, c);
    }
    int32_t a = Sample(picture, x - 1, y, c);
    int32_t b = Sample(picture, x, y - 1, c);
    int32_t cc = Sample(picture, x - 1, y - 1, c);
    switch (predictor) {
    case 1:
        return a;
    case 2:
        return b;
    case 3:
        return cc;
    case 4:
        return a + b - cc;
    case 5:
        return a + ((b - cc) >> 1);
    case 6:
        return b + ((a - cc) >> 1);
    default:
        return (a + b) / 2;
    }
}

// The difference modulo 2^16, as the signed value the Huffman coding carries.
int32_t WrapDifference(int32_t difference) {
    difference &= 0xFFFF;
    return difference >= 0x8000 ? difference - 0x10000 : difference;
}

uint8_t ComponentId(const TestPicture& picture, int32_t c) {
    static const uint8_t RgbIds[3] = {'R', 'G', 'B'};
    return picture.channels == 3 ? RgbIds[c] : static_cast<uint8_t>(c + 1);
}

void PutHeaders(std::vector<uint8_t>& out, const TestPicture& picture, const LosslessOptions& options) {
    PutMarker(out, 0xD8);
    PutMarker(out, 0xC3);
    PutU16(out, static_cast<uint16_t>(8 + 3 * picture.channels));
    out.push_back(Precision);
    PutU16(out, static_cast<uint16_t>(picture.height));
    PutU16(out, static_cast<uint16_t>(picture.width));
    out.push_back(static_cast<uint8_t>(picture.channels));
    for (int32_t c = 0; c < picture.channels; ++c) {
        out.push_back(ComponentId(picture, c));
        out.push_back(0x11);
        out.push_back(0);
    }
    PutHuffmanTable(out, 0x00, StandardLuminanceDcTable);
    if (options.restartLines > 0) {
        PutMarker(out, 0xDD);
        PutU16(out, 4);
        PutU16(out, static_cast<uint16_t>(options.restartLines * picture.width));
    }
    PutMarker(out, 0xDA);
    PutU16(out, static_cast<uint16_t>(6 + 2 * picture.channels));
    out.push_back(static_cast<uint8_t>(picture.channels));
    for (int32_t c = 0; c < picture.channels; ++c) {
        out.push_back(ComponentId(picture, c));
        out.push_back(0x00);
    }
    out.push_back(static_cast<uint8_t>(options.predictor));
    out.push_back(0);
    out.push_back(0);
}

} // namespace

std::vector<uint8_t> EncodeLosslessJpeg(const TestPicture& picture, const LosslessOptions& options) {
    std::vector<uint8_t> out;
    PutHeaders(out, picture, options);
    HuffmanCodes codes = BuildHuffmanCodes(StandardLuminanceDcTable);
    EntropyWriter writer;
    int32_t firstLine = 0;
    int32_t restartIndex = 0;
    for (int32_t y = 0; y < picture.height; ++y) {
        if (options.restartLines > 0 && y > 0 && y % options.restartLines == 0) {
            writer.Flush();
            PutMarker(writer.Bytes(), static_cast<uint8_t>(0xD0 + (restartIndex++ & 7)));
            firstLine = y;
        }
        for (int32_t x = 0; x < picture.width; ++x) {
            for (int32_t c = 0; c < picture.channels; ++c) {
                int32_t prediction = Predict(picture, options.predictor, x, y, c, firstLine);
                int32_t difference = WrapDifference(Sample(picture, x, y, c) - prediction);
                PutCodedValue(writer, codes, 0, difference);
            }
        }
    }
    writer.Flush();
    out.insert(out.end(), writer.Bytes().begin(), writer.Bytes().end());
    PutMarker(out, 0xD9);
    return out;
}

} // namespace Vorn::Vorncast::Decoders::Testing
