// DIB layout and start-code probing of the video bridge.
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/StartCodeProbe.h"
#include "codecs/vfw/VfwTypes.h"
#include "fixtures/codecs/VfwTestEncoder.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace VfwTesting;
using namespace std::string_view_literals;

namespace {

// A bottom-up DIB whose every byte says where it came from: row, column, channel.
std::vector<uint8_t> MakeDib(int width, int height, int bitCount, bool bottomUp,
                             std::vector<uint8_t>* topDown) {
    int pixel = bitCount / 8;
    int planes = bitCount == 8 ? 1 : 3;
    uint32_t stride = DibStride(width, bitCount);
    std::vector<uint8_t> dib(stride * static_cast<size_t>(height), 0xEE);
    topDown->clear();
    for (int y = 0; y < height; ++y) {
        int row = bottomUp ? height - 1 - y : y;
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < pixel; ++c) {
                auto value = static_cast<uint8_t>(y * 31 + x * 7 + c * 3);
                dib[row * stride + static_cast<size_t>(x * pixel + c)] = value;
                if (c < planes) {
                    topDown->push_back(value);
                }
            }
        }
    }
    return dib;
}

TEST(DibPictures, CopyTurnsEveryLayoutIntoDenseTopDownRows) {
    struct Case {
        int width, height, bitCount;
        bool bottomUp;
    };
    for (const Case& c : {Case{7, 5, 24, true}, Case{8, 3, 24, true}, Case{7, 5, 24, false},
                          Case{5, 4, 8, true}, Case{6, 2, 32, true}}) {
        std::vector<uint8_t> expected;
        std::vector<uint8_t> dib = MakeDib(c.width, c.height, c.bitCount, c.bottomUp, &expected);
        std::vector<uint8_t> format = BitmapFormat(c.width, c.bottomUp ? c.height : -c.height, FourCC("RGB2"),
                                                   static_cast<uint16_t>(c.bitCount));
        std::vector<uint8_t> output(expected.size(), 0);
        ASSERT_TRUE(CopyDibTopDown(format.data(), format.size(), dib.data(), dib.size(), output.data(),
                                   output.size()));
        EXPECT_EQ(output, expected) << c.width << "x" << c.height << " " << c.bitCount << " bottom-up "
                                    << c.bottomUp;

        EXPECT_FALSE(CopyDibTopDown(format.data(), format.size(), dib.data(), dib.size() - 1, output.data(),
                                    output.size()));
        EXPECT_FALSE(CopyDibTopDown(format.data(), format.size(), dib.data(), dib.size(), output.data(),
                                    output.size() - 1));
    }
    std::vector<uint8_t> expected;
    std::vector<uint8_t> dib = MakeDib(4, 4, 24, true, &expected);
    std::vector<uint8_t> sixteenBit = BitmapFormat(4, 4, 0, 16);
    std::vector<uint8_t> output(expected.size());
    EXPECT_FALSE(CopyDibTopDown(sixteenBit.data(), sixteenBit.size(), dib.data(), dib.size(), output.data(),
                                output.size()));
}

TEST(DibPictures, AnswerFormatIs24BitRgbOfTheStreamSize) {
    std::vector<uint8_t> input = BitmapFormat(-98, -66, FourCC("XVID"), 12);
    uint8_t answer[40];
    ASSERT_TRUE(MakeRgb24Format(input.data(), input.size(), answer));
    BitmapInfoHeader header = BitmapInfoHeader::Read(ByteView(answer, sizeof answer));
    EXPECT_EQ(header.width, 98);
    EXPECT_EQ(header.height, 66);
    EXPECT_EQ(header.bitCount, 24);
    EXPECT_EQ(header.sizeImage, 296u * 66);
    for (auto [width, height] : {std::pair{0, 10}, std::pair{10, 0}, std::pair{20000, 20000}}) {
        std::vector<uint8_t> bad = BitmapFormat(width, height, FourCC("XVID"), 24);
        EXPECT_FALSE(MakeRgb24Format(bad.data(), bad.size(), answer)) << width << "x" << height;
    }
}

TEST(StartCodes, CodesBothCouldMeanDecideNothing) {
    auto probe = [](std::string_view bytes) {
        return ProbeStartCodes(ByteView(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
    };
    EXPECT_EQ(probe(""sv), StartCodeFamily::Unknown);
    EXPECT_EQ(probe("\x00\x00\x01"sv), StartCodeFamily::Unknown);
    // MPEG-4 object and layer starts, H.264 access unit delimiter and a non-reference slice.
    EXPECT_EQ(probe("\x00\x00\x01\x00\x00\x00\x01\x20\x00\x00\x01\x09\x00\x00\x01\x01"sv),
              StartCodeFamily::Unknown);
    EXPECT_EQ(probe("\x00\x00\x01\x20\x12\x00\x00\x01\xB6"sv), StartCodeFamily::Mpeg4Part2);
    EXPECT_EQ(probe("\x00\x00\x00\x01\x09\x10\x00\x00\x00\x01\x67\x42"sv), StartCodeFamily::H264);
    // A forbidden bit set is no H.264 unit.
    EXPECT_EQ(probe("\x00\x00\x01\xE7"sv), StartCodeFamily::Unknown);
    // A start code cut by the end of the data.
    EXPECT_EQ(probe("\x12\x00\x00\x01"sv), StartCodeFamily::Unknown);
}

} // namespace
