#include "codecs/jpeg/JpegTestSupport.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace Vorn::Vorncast::Decoders::Testing {

TestPicture MakeGradient(int32_t width, int32_t height, int32_t channels) {
    TestPicture picture{width, height, channels, {}};
    picture.pixels.resize(static_cast<size_t>(width) * height * channels);
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            uint8_t* pixel = picture.Pixel(x, y);
            for (int32_t c = 0; c < channels; ++c) {
                // Each channel runs in its own direction, so channel or line mix-ups change values.
                double across = width > 1 ? static_cast<double>(x) / (width - 1) : 0.0;
                double down = height > 1 ? static_cast<double>(y) / (height - 1) : 0.0;
                double value = 0;
                switch (c % 4) {
                case 0:
                    value = 30 + 190 * across;
                    break;
                case 1:
                    value = 220 - 180 * down;
                    break;
                case 2:
                    value = 40 + 100 * across + 80 * down;
                    break;
                default:
                    value = 200 - 60 * across;
                    break;
                }
                pixel[c] = static_cast<uint8_t>(std::lround(value));
            }
        }
    }
    return picture;
}

TestPicture MakeColourBars(int32_t width, int32_t height) {
    // Blue, green, red of white, yellow, cyan, green, magenta, red, blue, black.
    static const uint8_t Bars[8][3] = {{235, 235, 235}, {16, 235, 235}, {235, 235, 16}, {16, 235, 16},
                                       {235, 16, 235},  {16, 16, 235},  {235, 16, 16},  {16, 16, 16}};
    TestPicture picture{width, height, 3, {}};
    picture.pixels.resize(static_cast<size_t>(width) * height * 3);
    for (int32_t y = 0; y < height; ++y) {
        double shade = 0.5 + 0.5 * (height > 1 ? static_cast<double>(y) / (height - 1) : 1.0);
        for (int32_t x = 0; x < width; ++x) {
            const uint8_t* bar = Bars[x * 8 / width];
            uint8_t* pixel = picture.Pixel(x, y);
            for (int32_t c = 0; c < 3; ++c) {
                pixel[c] = static_cast<uint8_t>(std::lround(bar[c] * shade));
            }
        }
    }
    return picture;
}

namespace {

void SetSampling(jpeg_compress_struct& info, Sampling sampling) {
    int horizontal = sampling == Sampling::S444 ? 1 : 2;
    int vertical = sampling == Sampling::S420 ? 2 : 1;
    info.comp_info[0].h_samp_factor = horizontal;
    info.comp_info[0].v_samp_factor = vertical;
    for (int c = 1; c < info.num_components; ++c) {
        info.comp_info[c].h_samp_factor = 1;
        info.comp_info[c].v_samp_factor = 1;
    }
}

J_COLOR_SPACE InputSpaceFor(int32_t channels) {
    switch (channels) {
    case 1:
        return JCS_GRAYSCALE;
    case 4:
        return JCS_CMYK;
    default:
        return JCS_EXT_BGR;
    }
}

} // namespace

std::vector<uint8_t> EncodeJpeg(const TestPicture& picture, const EncodeOptions& options) {
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* output = nullptr;
    unsigned long outputSize = 0;
    jpeg_mem_dest(&info, &output, &outputSize);
    info.image_width = static_cast<JDIMENSION>(picture.width);
    info.image_height = static_cast<JDIMENSION>(picture.height);
    info.input_components = picture.channels;
    info.in_color_space = InputSpaceFor(picture.channels);
    jpeg_set_defaults(&info);
    if (picture.channels == 4 && options.ycck) {
        jpeg_set_colorspace(&info, JCS_YCCK);
    }
    jpeg_set_quality(&info, options.quality, TRUE);
    if (options.recorderQuality != 0) {
        // libjpeg scales by (entry x percent + 50) / 100, which is the same rounding.
        unsigned natural[2][JpegBlockSize];
        for (int32_t k = 0; k < JpegBlockSize; ++k) {
            natural[0][JpegZigZagToNatural[k]] = StandardLuminanceQuantTable[k];
            natural[1][JpegZigZagToNatural[k]] = StandardChrominanceQuantTable[k];
        }
        jpeg_add_quant_table(&info, 0, natural[0], 2 * options.recorderQuality, TRUE);
        jpeg_add_quant_table(&info, 1, natural[1], 2 * options.recorderQuality, TRUE);
    }
    SetSampling(info, options.sampling);
    info.arith_code = options.arithmetic ? TRUE : FALSE;
    info.optimize_coding = options.optimiseTables ? TRUE : FALSE;
    info.restart_interval = static_cast<unsigned>(options.restartInterval);
    if (options.progressive) {
        jpeg_simple_progression(&info);
    }
    jpeg_start_compress(&info, TRUE);
    size_t rowBytes = static_cast<size_t>(picture.width) * picture.channels;
    while (info.next_scanline < info.image_height) {
        auto* row = const_cast<JSAMPROW>(&picture.pixels[info.next_scanline * rowBytes]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    std::vector<uint8_t> bytes(output, output + outputSize);
    std::free(output);
    return bytes;
}

PictureError ComparePicture(const TestPicture& expected, const uint8_t* decoded, size_t lineStep) {
    PictureError error;
    double squares = 0;
    double sum = 0;
    size_t rowBytes = static_cast<size_t>(expected.width) * expected.channels;
    for (int32_t y = 0; y < expected.height; ++y) {
        const uint8_t* want = &expected.pixels[y * rowBytes];
        const uint8_t* got = decoded + y * lineStep;
        for (size_t i = 0; i < rowBytes; ++i) {
            int32_t difference = std::abs(static_cast<int32_t>(want[i]) - got[i]);
            sum += difference;
            squares += static_cast<double>(difference) * difference;
            error.maximum = std::max(error.maximum, difference);
        }
    }
    double count = static_cast<double>(rowBytes) * expected.height;
    error.meanAbsolute = sum / count;
    double meanSquare = squares / count;
    error.psnr = meanSquare == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 / meanSquare);
    return error;
}

size_t FindMarker(const std::vector<uint8_t>& bytes, uint8_t code, size_t from) {
    for (size_t i = from; i + 1 < bytes.size(); ++i) {
        if (bytes[i] == 0xFF && bytes[i + 1] == code) {
            return i;
        }
    }
    return static_cast<size_t>(-1);
}

void EntropyWriter::PutBits(uint32_t bits, int32_t count) {
    for (int32_t i = count - 1; i >= 0; --i) {
        buffer = (buffer << 1) | ((bits >> i) & 1);
        if (++bufferBits == 8) {
            bytes.push_back(static_cast<uint8_t>(buffer));
            if (buffer == 0xFF) {
                bytes.push_back(0x00);
            }
            buffer = 0;
            bufferBits = 0;
        }
    }
}

void EntropyWriter::Flush() {
    if (bufferBits > 0) {
        PutBits(0x7F, 8 - bufferBits);
    }
}

HuffmanCodes BuildHuffmanCodes(const JpegHuffmanTableData& table) {
    HuffmanCodes codes;
    uint16_t code = 0;
    int32_t k = 0;
    for (int32_t length = 1; length <= 16; ++length) {
        for (int32_t i = 0; i < table.counts[length - 1]; ++i, ++k) {
            codes.code[table.symbols[k]] = code++;
            codes.length[table.symbols[k]] = static_cast<uint8_t>(length);
        }
        code = static_cast<uint16_t>(code << 1);
    }
    return codes;
}

int32_t MagnitudeCategory(int32_t value) {
    int32_t magnitude = std::abs(value);
    int32_t category = 0;
    while (magnitude > 0) {
        ++category;
        magnitude >>= 1;
    }
    return category;
}

void PutCodedValue(EntropyWriter& writer, const HuffmanCodes& codes, uint8_t runPrefix, int32_t value) {
    int32_t category = MagnitudeCategory(value);
    uint8_t symbol = static_cast<uint8_t>(runPrefix | (category & 0x0F));
    if (category == 16) {
        symbol = 16;
    }
    writer.PutBits(codes.code[symbol], codes.length[symbol]);
    if (category > 0 && category < 16) {
        uint32_t extra =
            value >= 0 ? static_cast<uint32_t>(value) : static_cast<uint32_t>(value + (1 << category) - 1);
        writer.PutBits(extra & ((1u << category) - 1), category);
    }
}

void PutMarker(std::vector<uint8_t>& out, uint8_t code) {
    out.push_back(0xFF);
    out.push_back(code);
}

void PutU16(std::vector<uint8_t>& out, uint16_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void PutHuffmanTable(std::vector<uint8_t>& out, uint8_t tableClassAndId, const JpegHuffmanTableData& table) {
    PutMarker(out, 0xC4);
    PutU16(out, static_cast<uint16_t>(2 + 1 + 16 + table.symbolCount));
    out.push_back(tableClassAndId);
    out.insert(out.end(), table.counts, table.counts + 16);
    out.insert(out.end(), table.symbols, table.symbols + table.symbolCount);
}

} // namespace Vorn::Vorncast::Decoders::Testing
