// Frames encoded by libavcodec at test time go through the bridge under a private code and their
// stream FourCC, and must come back as the pictures that were encoded.
#include "MissingTool.h"
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/VFWDecoder.h"
#include "codecs/vfw/VfwBuiltinDecoders.h"
#include "fixtures/codecs/VfwTestEncoder.h"
#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace VfwTesting;
using FileTesting::LogCapture;

namespace {

constexpr int FrameCount = 6;

struct CodecCase {
    const char* name;
    const char* encoder;
    const char* streamFourCC;
    const char* privateCode;
    int width;
    int height;
};

// The moving test picture's sharp colour bars lose some of their edges to 4:2:0 chroma; a picture
// upside down, shifted or with its colours swapped falls far below.
constexpr double MinimumPsnr = 24.0;

std::vector<uint8_t> TopDown(const uint8_t* format, const std::vector<uint8_t>& dib, int width, int height) {
    std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 3);
    EXPECT_TRUE(CopyDibTopDown(format, VFWDecoder::CallerFormatBytes, dib.data(), dib.size(), picture.data(),
                               picture.size()));
    return picture;
}

void PrintTo(const CodecCase& c, std::ostream* out) {
    *out << c.name;
}

class VfwCodecs : public testing::TestWithParam<CodecCase> {};

TEST_P(VfwCodecs, DecodesEveryFrameCloseToTheSource) {
    const CodecCase& c = GetParam();
    EncodedStream stream;
    if (!EncodeFrames(c.encoder, c.width, c.height, FrameCount, {}, &stream)) {
        SKIP_OR_FAIL_FOR_MISSING(std::string("the encoder ") + c.encoder);
    }
    std::vector<uint8_t> format =
        BitmapFormat(c.width, c.height, FourCC(c.streamFourCC), 24, stream.extradata);
    VFWDecoder decoder;
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    ASSERT_EQ(decoder.Initialise(FourCC(c.privateCode), format.data(), static_cast<uint32_t>(format.size()),
                                 outFormat),
              0);
    ASSERT_TRUE(decoder.IsBegun());
    BitmapInfoHeader answer = BitmapInfoHeader::Read(ByteView(outFormat, sizeof outFormat));
    EXPECT_EQ(answer.size, 40u);
    EXPECT_EQ(answer.width, c.width);
    EXPECT_EQ(answer.height, c.height);
    EXPECT_EQ(answer.bitCount, 24);
    EXPECT_EQ(answer.compression, BI_RGB);
    EXPECT_EQ(answer.sizeImage, DibStride(c.width, 24) * static_cast<uint32_t>(c.height));
    EXPECT_EQ(decoder.OutputImageSize(), answer.sizeImage);

    std::vector<uint8_t> dib(answer.sizeImage);
    for (int i = 0; i < FrameCount; ++i) {
        const std::vector<uint8_t>& frame = stream.frames[static_cast<size_t>(i)];
        uint8_t frameFormat[VFWDecoder::CallerFormatBytes] = {};
        ASSERT_EQ(decoder.Decompress(frame.data(), static_cast<uint32_t>(frame.size()), frameFormat,
                                     dib.data(), static_cast<uint32_t>(dib.size()), 0,
                                     static_cast<uint32_t>(i)),
                  0)
            << "frame " << i;
        EXPECT_EQ(std::memcmp(frameFormat, outFormat, sizeof outFormat), 0);
        double psnr = Psnr(TopDown(outFormat, dib, c.width, c.height), MakeBgrPicture(c.width, c.height, i));
        EXPECT_GT(psnr, MinimumPsnr) << "frame " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Streams, VfwCodecs,
                         testing::Values(CodecCase{"XvidAsGeoCodec", "mpeg4", "XVID", "lkz3", 176, 144},
                                         CodecCase{"DivxOddRowLength", "mpeg4", "DIVX", "lkz3", 98, 66},
                                         CodecCase{"Fmp4UpperCaseCode", "mpeg4", "FMP4", "LKZ5", 176, 144},
                                         CodecCase{"GeoVisionMpeg4", "mpeg4", "GMP4", "lkz5", 176, 144},
                                         CodecCase{"H263", "h263", "H263", "lkz0", 176, 144},
                                         CodecCase{"MsMpeg4v2", "msmpeg4v2", "MP42", "lkz1", 176, 144},
                                         CodecCase{"MsMpeg4v3", "msmpeg4", "MP43", "lkz1", 176, 144},
                                         CodecCase{"MotionJpeg", "mjpeg", "MJPG", "lkz7", 120, 90},
                                         CodecCase{"H264", "libx264", "H264", "lkz4", 176, 144},
                                         // The RIFF table calls G264 MPEG-4; the start codes say H.264.
                                         CodecCase{"GeoVisionH264", "libx264", "G264", "lkz4", 176, 144},
                                         // And the other way round: MPEG-4 frames labelled H.264.
                                         CodecCase{"Mpeg4LabelledH264", "mpeg4", "H264", "lkz4", 176, 144}),
                         [](const testing::TestParamInfo<CodecCase>& info) { return info.param.name; });

TEST(VfwCodecStreams, HeadersInTheFormatServeTheFrames) {
    EncodeSettings settings;
    settings.globalHeader = true;
    for (const char* encoder : {"mpeg4", "libx264"}) {
        EncodedStream stream;
        if (!EncodeFrames(encoder, 176, 144, 3, settings, &stream)) {
            continue;
        }
        ASSERT_FALSE(stream.extradata.empty()) << encoder;
        // G264 (which the RIFF table calls MPEG-4) for both: the probe reads the format's bytes.
        std::vector<uint8_t> format = BitmapFormat(176, 144, FourCC("G264"), 24, stream.extradata);
        VFWDecoder decoder;
        uint8_t outFormat[40];
        ASSERT_EQ(decoder.Initialise(FourCC("lkz4"), format.data(), static_cast<uint32_t>(format.size()),
                                     outFormat),
                  0);
        std::vector<uint8_t> dib(decoder.OutputImageSize());
        for (int i = 0; i < 3; ++i) {
            const std::vector<uint8_t>& frame = stream.frames[static_cast<size_t>(i)];
            ASSERT_EQ(decoder.Decompress(frame.data(), static_cast<uint32_t>(frame.size()), outFormat,
                                         dib.data(), static_cast<uint32_t>(dib.size()), 0, 0),
                      0);
            EXPECT_GT(Psnr(TopDown(outFormat, dib, 176, 144), MakeBgrPicture(176, 144, i)), MinimumPsnr)
                << encoder;
        }
    }
}

TEST(VfwCodecStreams, InitialiseLogsItsWay) {
    LogCapture log;
    std::vector<uint8_t> format = BitmapFormat(64, 48, FourCC("XVID"), 24);
    VFWDecoder decoder;
    uint8_t outFormat[40];
    ASSERT_EQ(
        decoder.Initialise(FourCC("lkz3"), format.data(), static_cast<uint32_t>(format.size()), outFormat),
        0);
    std::vector<std::string> messages = log.Messages();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[0], "Trying to locate suitable coded for FourCC: lkz3\n");
    EXPECT_EQ(messages[1], "Found a handler: LK_GeoCodec.dll\n");
    EXPECT_EQ(messages[2], "Correct FourCC for this format is: XVID\n");
    EXPECT_EQ(messages[3].rfind("Driver opened: /", 0), 0u);
    EXPECT_NE(messages[3].find("/LK_GeoCodec.dll\n"), std::string::npos);
    EXPECT_EQ(messages[4], "Found suitable codec for fourCC lkz3\n");
}

TEST(VfwCodecStreams, UnknownCodesFindNoDecoder) {
    std::vector<uint8_t> format = BitmapFormat(64, 48, FourCC("XVID"), 24);
    uint8_t outFormat[40];
    std::vector<uint8_t> dib(64 * 48 * 3);
    uint8_t frame[16] = {};
    {
        LogCapture log;
        VFWDecoder decoder;
        // A stream FourCC that is not a private code: the AVI layer names no driver for it.
        EXPECT_EQ(decoder.Initialise(FourCC("XVID"), format.data(), static_cast<uint32_t>(format.size()),
                                     outFormat),
                  -1);
        EXPECT_EQ(log.Messages(),
                  (std::vector<std::string>{"Trying to locate suitable coded for FourCC: XVID\n",
                                            "Unable to locate suitable coded for FourCC: XVID\n"}));
        EXPECT_EQ(decoder.Decompress(frame, sizeof frame, outFormat, dib.data(),
                                     static_cast<uint32_t>(dib.size()), 0, 0),
                  VFWDecoder::NotBegun);
    }
    {
        LogCapture log;
        VFWDecoder decoder;
        // A private code whose stream is in a codec nobody decodes.
        format = BitmapFormat(64, 48, FourCC("ZZZZ"), 24);
        EXPECT_EQ(decoder.Initialise(FourCC("lkz2"), format.data(), static_cast<uint32_t>(format.size()),
                                     outFormat),
                  -1);
        EXPECT_TRUE(log.Contains("Decompress Begin returned : -2\n", Vorn::Vorncast::LogCore));
        EXPECT_TRUE(log.Contains("ICERR_BADFORMAT\n", Vorn::Vorncast::LogCore));
        EXPECT_TRUE(log.Contains("Error in DECOMPRESS_BEGIN\n", Vorn::Vorncast::LogCore));
        EXPECT_EQ(log.Messages().back(), "Unable to locate suitable coded for FourCC: lkz2\n");
        EXPECT_FALSE(decoder.IsBegun());
    }
}

// A frame cut short or damaged gives a black picture; the stream goes on at the next good frame.
TEST(VfwCodecStreams, DamagedFramesFailWithABlackPicture) {
    for (auto [encoder, fourCC] : {std::pair{"mpeg4", "XVID"}, std::pair{"libx264", "H264"}}) {
        EncodedStream stream;
        if (!EncodeFrames(encoder, 176, 144, 2, {}, &stream)) {
            continue;
        }
        std::vector<uint8_t> format = BitmapFormat(176, 144, FourCC(fourCC), 24);
        VFWDecoder decoder;
        uint8_t outFormat[40];
        ASSERT_EQ(decoder.Initialise(FourCC("lkz3"), format.data(), static_cast<uint32_t>(format.size()),
                                     outFormat),
                  0);
        std::vector<uint8_t> dib(decoder.OutputImageSize());
        const std::vector<uint8_t> black(dib.size(), 0);
        auto decode = [&](const std::vector<uint8_t>& frame, size_t size) {
            std::fill(dib.begin(), dib.end(), 0x77);
            return decoder.Decompress(frame.data(), static_cast<uint32_t>(size), outFormat, dib.data(),
                                      static_cast<uint32_t>(dib.size()), 0, 0);
        };
        const std::vector<uint8_t>& key = stream.frames[0];
        EXPECT_EQ(decode(key, key.size() / 2), VFWDecoder::DecompressFailed) << encoder;
        EXPECT_EQ(dib, black);
        // Cut at every length, frames must never be read past their end.
        for (size_t cut = 1; cut < key.size(); cut += 37) {
            decode(key, cut);
        }
        EXPECT_EQ(decode(key, key.size()), 0) << encoder;
        EXPECT_GT(Psnr(TopDown(outFormat, dib, 176, 144), MakeBgrPicture(176, 144, 0)), MinimumPsnr);
        const std::vector<uint8_t>& next = stream.frames[1];
        EXPECT_EQ(decode(next, next.size() * 2 / 3), VFWDecoder::DecompressFailed) << encoder;
        EXPECT_EQ(dib, black);
    }
}

// The two codes served by the library's own codecs reach the registered function.
class VfwBuiltinCodes : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(FindVfwBuiltinDecoder(FourCC("ADV1"), &savedAdv1));
        ASSERT_TRUE(FindVfwBuiltinDecoder(FourCC("TJPG"), &savedTjpg));
        calls = 0;
    }
    void TearDown() override {
        RegisterVfwBuiltinDecoder(FourCC("ADV1"), savedAdv1);
        RegisterVfwBuiltinDecoder(FourCC("TJPG"), savedTjpg);
    }

    // Checks what it is given and paints a picture made from the frame's first byte.
    static bool Stub(const uint8_t* data, uint32_t size, int32_t width, int32_t height, uint8_t* picture) {
        ++calls;
        lastSize = size;
        lastWidth = width;
        lastHeight = height;
        std::vector<uint8_t> expected = MakeBgrPicture(width, height, data[0]);
        std::copy(expected.begin(), expected.end(), picture);
        return data[0] != 0xFF;
    }

    static inline int calls = 0;
    static inline uint32_t lastSize = 0;
    static inline int32_t lastWidth = 0;
    static inline int32_t lastHeight = 0;
    VfwBuiltinDecodeFunction savedAdv1 = nullptr;
    VfwBuiltinDecodeFunction savedTjpg = nullptr;
};

TEST_F(VfwBuiltinCodes, FramesGoToTheRegisteredFunction) {
    for (const char* code : {"ADV1", "TJPG"}) {
        ASSERT_TRUE(RegisterVfwBuiltinDecoder(FourCC(code), Stub));
        const int width = 90, height = 60;
        std::vector<uint8_t> format = BitmapFormat(width, height, FourCC(code), 24);
        VFWDecoder decoder;
        uint8_t outFormat[40];
        const char* privateCode = std::string(code) == "ADV1" ? "lkz6" : "lkz7";
        ASSERT_EQ(decoder.Initialise(FourCC(privateCode), format.data(), static_cast<uint32_t>(format.size()),
                                     outFormat),
                  0);
        std::vector<uint8_t> dib(decoder.OutputImageSize());
        uint8_t frame[33] = {3};
        ASSERT_EQ(decoder.Decompress(frame, sizeof frame, outFormat, dib.data(),
                                     static_cast<uint32_t>(dib.size()), 0, 0),
                  0);
        EXPECT_EQ(lastSize, sizeof frame);
        EXPECT_EQ(lastWidth, width);
        EXPECT_EQ(lastHeight, height);
        EXPECT_EQ(TopDown(outFormat, dib, width, height), MakeBgrPicture(width, height, 3)) << code;

        frame[0] = 0xFF;
        EXPECT_EQ(decoder.Decompress(frame, sizeof frame, outFormat, dib.data(),
                                     static_cast<uint32_t>(dib.size()), 0, 0),
                  VFWDecoder::DecompressFailed);
    }
    EXPECT_EQ(calls, 4);
}

TEST_F(VfwBuiltinCodes, CodeWithoutAFunctionDoesNotBegin) {
    ASSERT_TRUE(RegisterVfwBuiltinDecoder(FourCC("TJPG"), nullptr));
    std::vector<uint8_t> format = BitmapFormat(64, 48, FourCC("TJPG"), 24);
    VFWDecoder decoder;
    uint8_t outFormat[40];
    EXPECT_EQ(
        decoder.Initialise(FourCC("lkz7"), format.data(), static_cast<uint32_t>(format.size()), outFormat),
        -1);
    EXPECT_EQ(calls, 0);
}

} // namespace
