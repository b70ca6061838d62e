#include "codecs/jpeg/BlockJpegWriter.h"

#include "codecs/jpeg/JpegHeaderTemplate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <jpeglib.h>
#include <numbers>

namespace Vorn::Vorncast::Decoders::Testing {

namespace {

constexpr uint8_t LumaSampling = 0x21;

struct Ycc {
    double y, cb, cr;
};

Ycc ToYcc(const uint8_t* bgr) {
    double b = bgr[0], g = bgr[1], r = bgr[2];
    return {0.299 * r + 0.587 * g + 0.114 * b, -0.168736 * r - 0.331264 * g + 0.5 * b + 128,
            0.5 * r - 0.418688 * g - 0.081312 * b + 128};
}

// F(u, v) = 1/4 C(u) C(v) sum of (f(x, y) - 128) cos((2x + 1) u pi / 16) cos((2y + 1) v pi / 16).
void ForwardDct(const double* samples, double* coefficients) {
    for (int v = 0; v < 8; ++v) {
        for (int u = 0; u < 8; ++u) {
            double sum = 0;
            for (int y = 0; y < 8; ++y) {
                for (int x = 0; x < 8; ++x) {
                    sum += (samples[y * 8 + x] - 128) * std::cos((2 * x + 1) * u * std::numbers::pi / 16) *
                           std::cos((2 * y + 1) * v * std::numbers::pi / 16);
                }
            }
            double cu = u == 0 ? std::numbers::sqrt2 / 2 : 1.0;
            double cv = v == 0 ? std::numbers::sqrt2 / 2 : 1.0;
            coefficients[v * 8 + u] = 0.25 * cu * cv * sum;
        }
    }
}

} // namespace

BlockJpegWriter::BlockJpegWriter(int32_t width, int32_t height, int32_t quality)
    : width(width), height(height), luminanceDc(BuildHuffmanCodes(StandardLuminanceDcTable)),
      luminanceAc(BuildHuffmanCodes(StandardLuminanceAcTable)),
      chrominanceDc(BuildHuffmanCodes(StandardChrominanceDcTable)),
      chrominanceAc(BuildHuffmanCodes(StandardChrominanceAcTable)) {
    ScaleQuantTable(StandardLuminanceQuantTable, quality, luminanceQuant);
    ScaleQuantTable(StandardChrominanceQuantTable, quality, chrominanceQuant);
}

std::vector<uint8_t> BlockJpegWriter::Tables() const {
    std::vector<uint8_t> out(1024);
    JpegHeaderWriter writer(out.data(), static_cast<int32_t>(out.size()));
    writer.StartOfImage();
    writer.QuantTable(0, luminanceQuant);
    writer.QuantTable(1, chrominanceQuant);
    writer.StandardHuffmanTables(false);
    writer.FrameHeader(width, height, 3, LumaSampling);
    writer.ScanHeader(3);
    out.resize(static_cast<size_t>(writer.Length()));
    return out;
}

void BlockJpegWriter::EncodeUnit(const double* samples, const uint8_t* quant, const HuffmanCodes& dc,
                                 const HuffmanCodes& ac, int32_t* predictor, EntropyWriter& writer) const {
    double coefficients[64];
    ForwardDct(samples, coefficients);
    int32_t quantised[64];
    for (int k = 0; k < 64; ++k) {
        quantised[k] = static_cast<int32_t>(std::lround(coefficients[JpegZigZagToNatural[k]] / quant[k]));
    }
    PutCodedValue(writer, dc, 0, quantised[0] - *predictor);
    *predictor = quantised[0];
    int32_t run = 0;
    for (int k = 1; k < 64; ++k) {
        if (quantised[k] == 0) {
            ++run;
            continue;
        }
        for (; run > 15; run -= 16) {
            PutCodedValue(writer, ac, 0xF0, 0);
        }
        PutCodedValue(writer, ac, static_cast<uint8_t>(run << 4), quantised[k]);
        run = 0;
    }
    if (run > 0) {
        PutCodedValue(writer, ac, 0x00, 0);
    }
}

std::vector<uint8_t> BlockJpegWriter::EncodeBlock(const TestPicture& picture, int32_t column,
                                                  int32_t row) const {
    double luma[2][64];
    double blue[64];
    double red[64];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 16; ++x) {
            Ycc ycc = ToYcc(picture.Pixel(column * 16 + x, row * 8 + y));
            luma[x / 8][y * 8 + x % 8] = ycc.y;
        }
        for (int x = 0; x < 8; ++x) {
            Ycc left = ToYcc(picture.Pixel(column * 16 + 2 * x, row * 8 + y));
            Ycc right = ToYcc(picture.Pixel(column * 16 + 2 * x + 1, row * 8 + y));
            blue[y * 8 + x] = (left.cb + right.cb) / 2;
            red[y * 8 + x] = (left.cr + right.cr) / 2;
        }
    }
    EntropyWriter writer;
    int32_t predictors[3] = {};
    EncodeUnit(luma[0], luminanceQuant, luminanceDc, luminanceAc, &predictors[0], writer);
    EncodeUnit(luma[1], luminanceQuant, luminanceDc, luminanceAc, &predictors[0], writer);
    EncodeUnit(blue, chrominanceQuant, chrominanceDc, chrominanceAc, &predictors[1], writer);
    EncodeUnit(red, chrominanceQuant, chrominanceDc, chrominanceAc, &predictors[2], writer);
    writer.Flush();
    return writer.Bytes();
}

void BlockJpegWriter::WriteHead(std::vector<uint8_t>& out) const {
    std::vector<uint8_t> head(64);
    JpegHeaderWriter writer(head.data(), static_cast<int32_t>(head.size()));
    writer.FrameHeader(width, height, 3, LumaSampling);
    writer.ScanHeader(3);
    out.insert(out.end(), head.begin(), head.begin() + writer.Length());
}

BlockFrame BlockJpegWriter::MakeFrame(const TestPicture& picture, const std::vector<bool>* present,
                                      int32_t bitmapGap) const {
    BlockFrame frame;
    WriteHead(frame.bytes);
    std::vector<uint8_t> bitmap(static_cast<size_t>((Columns() * Rows() + 7) / 8), 0);
    int32_t index = 0;
    for (int32_t row = 0; row < Rows(); ++row) {
        for (int32_t column = 0; column < Columns(); ++column, ++index) {
            if (present != nullptr && !(*present)[static_cast<size_t>(index)]) {
                continue;
            }
            bitmap[static_cast<size_t>(index / 8)] |= static_cast<uint8_t>(0x80 >> (index % 8));
            std::vector<uint8_t> block = EncodeBlock(picture, column, row);
            if (block.size() > 255) {
                ADD_FAILURE() << "block " << index << " does not fit its length byte";
            }
            frame.bytes.push_back(static_cast<uint8_t>(block.size()));
            frame.bytes.insert(frame.bytes.end(), block.begin(), block.end());
        }
    }
    PutMarker(frame.bytes, 0xD9);
    frame.size = static_cast<int32_t>(frame.bytes.size());
    frame.bitmapOffset = bitmapGap;
    frame.bytes.insert(frame.bytes.end(), static_cast<size_t>(bitmapGap), 0x5A);
    frame.bytes.insert(frame.bytes.end(), bitmap.begin(), bitmap.end());
    return frame;
}

std::vector<uint8_t> BlockJpegWriter::MakeRestartJpeg(const TestPicture& picture) const {
    std::vector<uint8_t> out(2048);
    JpegHeaderWriter writer(out.data(), static_cast<int32_t>(out.size()));
    writer.StartOfImage();
    writer.QuantTable(0, luminanceQuant);
    writer.QuantTable(1, chrominanceQuant);
    writer.FrameHeader(width, height, 3, LumaSampling);
    writer.StandardHuffmanTables(false);
    writer.RestartInterval(1);
    writer.ScanHeader(3);
    out.resize(static_cast<size_t>(writer.Length()));
    int32_t index = 0;
    for (int32_t row = 0; row < Rows(); ++row) {
        for (int32_t column = 0; column < Columns(); ++column, ++index) {
            if (index > 0) {
                PutMarker(out, static_cast<uint8_t>(0xD0 + (index - 1) % 8));
            }
            std::vector<uint8_t> block = EncodeBlock(picture, column, row);
            out.insert(out.end(), block.begin(), block.end());
        }
    }
    PutMarker(out, 0xD9);
    return out;
}

std::vector<uint8_t> DecodeWithLibjpeg(const std::vector<uint8_t>& jpeg) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&info, TRUE);
    info.out_color_space = JCS_EXT_BGR;
    info.do_fancy_upsampling = FALSE;
    info.dct_method = JDCT_FLOAT;
    jpeg_start_decompress(&info);
    size_t rowBytes = static_cast<size_t>(info.output_width) * 3;
    std::vector<uint8_t> pixels(rowBytes * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = &pixels[info.output_scanline * rowBytes];
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return pixels;
}

} // namespace Vorn::Vorncast::Decoders::Testing
