// Frames encoded at test time, by libavcodec or by the test encoders of the library's own codecs, go
// through the bridge under a private code and their stream FourCC, and must come back as the
// pictures that were encoded.
#include "MissingTool.h"
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/VFWDecoder.h"
#include "codecs/vfw/VfwBuiltinDecoders.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/VfwTestEncoder.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
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
    bool globalHeader = false; // the stream headers in the format rather than in the first frame
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

int32_t Begin(VFWDecoder& decoder, const char* privateCode, const std::vector<uint8_t>& format,
              uint8_t* outFormat) {
    return decoder.Initialise(FourCC(privateCode), format.data(), static_cast<uint32_t>(format.size()),
                              outFormat);
}

void PrintTo(const CodecCase& c, std::ostream* out) {
    *out << c.name;
}

class VfwCodecs : public testing::TestWithParam<CodecCase> {};

TEST_P(VfwCodecs, DecodesEveryFrameCloseToTheSource) {
    const CodecCase& c = GetParam();
    EncodedStream stream;
    if (!EncodeFrames(c.encoder, c.width, c.height, FrameCount, c.globalHeader, &stream)) {
        SKIP_OR_FAIL_FOR_MISSING(std::string("the encoder ") + c.encoder);
    }
    std::vector<uint8_t> format =
        BitmapFormat(c.width, c.height, FourCC(c.streamFourCC), 24, stream.extradata);
    VFWDecoder decoder;
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    ASSERT_EQ(Begin(decoder, c.privateCode, format, outFormat), 0);
    ASSERT_TRUE(!c.globalHeader || !stream.extradata.empty());
    std::vector<uint8_t> dib(decoder.OutputImageSize());
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

INSTANTIATE_TEST_SUITE_P(
    Streams, VfwCodecs,
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
                    CodecCase{"Mpeg4LabelledH264", "mpeg4", "H264", "lkz4", 176, 144},
                    // G264 for both: the probe reads the headers in the format.
                    CodecCase{"Mpeg4HeadersInFormat", "mpeg4", "G264", "lkz4", 176, 144, true},
                    CodecCase{"H264HeadersInFormat", "libx264", "G264", "lkz4", 176, 144, true}),
    [](const testing::TestParamInfo<CodecCase>& info) { return info.param.name; });

// The search logs its way. A stream FourCC that is not a private code names no driver; a private
// code whose stream is in a codec nobody decodes does not begin.
TEST(VfwCodecStreams, InitialiseLogsItsWayOrFindsNoDecoder) {
    uint8_t outFormat[40];
    const struct {
        const char *code, *stream;
        int32_t result;
        std::vector<std::string> texts;
    } cases[] = {
        {"lkz3",
         "XVID",
         0,
         {"Trying to locate suitable coded for FourCC: lkz3\n", "Found a handler: LK_GeoCodec.dll\n",
          "Correct FourCC for this format is: XVID\n", "Driver opened: /",
          "Found suitable codec for fourCC lkz3\n"}},
        {"XVID",
         "XVID",
         -1,
         {"Trying to locate suitable coded for FourCC: XVID\n",
          "Unable to locate suitable coded for FourCC: XVID\n"}},
        {"lkz2",
         "ZZZZ",
         -1,
         {"Trying to locate suitable coded for FourCC: lkz2\n", "Found a handler: LK_ir50_32.dll\n",
          "Correct FourCC for this format is: ZZZZ\n", "Driver opened: /", "ICERR_BADFORMAT\n",
          "Decompress Begin returned : -2\n", "ICERR_BADFORMAT\n", "Error in DECOMPRESS_BEGIN\n",
          "Unable to locate suitable coded for FourCC: lkz2\n"}},
    };
    for (const auto& c : cases) {
        LogCapture log;
        std::vector<uint8_t> format = BitmapFormat(64, 48, FourCC(c.stream), 24);
        VFWDecoder decoder;
        EXPECT_EQ(Begin(decoder, c.code, format, outFormat), c.result);
        std::vector<std::string> messages = log.Messages();
        ASSERT_EQ(messages.size(), c.texts.size()) << c.code;
        for (size_t index = 0; index < messages.size(); ++index) {
            EXPECT_EQ(messages[index].rfind(c.texts[index], 0), 0u) << messages[index];
        }
        EXPECT_EQ(decoder.IsBegun(), c.result == 0);
    }
}

// A frame cut short or damaged gives a black picture; the stream goes on at the next good frame.
TEST(VfwCodecStreams, DamagedFramesFailWithABlackPicture) {
    for (auto [encoder, fourCC] : {std::pair{"mpeg4", "XVID"}, std::pair{"libx264", "H264"}}) {
        EncodedStream stream;
        if (!EncodeFrames(encoder, 176, 144, 2, false, &stream)) {
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
        EXPECT_GT(Psnr(TopDown(outFormat, dib, 176, 144), MakeBgrPicture(176, 144, 0)), MinimumPsnr)
            << encoder;
        const std::vector<uint8_t>& next = stream.frames[1];
        EXPECT_EQ(decode(next, next.size() * 2 / 3), VFWDecoder::DecompressFailed) << encoder;
        EXPECT_EQ(dib, black);
    }
}

// The codes the library's own codecs serve: a frame cut short fails, a stream whose size is not the
// picture's is refused, and without a codec the code does not begin.
struct Route {
    const char* code;
    const char* privateCode;
    int32_t width, height;
    std::vector<uint8_t> source, frame;
    double bound;
};

TEST(VfwCodecRoutes, LibraryCodecsDecodeThroughTheBridge) {
    std::vector<Route> routes;
    for (bool tall : {true, false}) {
        Adv601TestPicture source = Adv601ColourBars(tall);
        Adv601EncoderOptions options;
        options.tallField = tall;
        routes.push_back(
            {"ADV1", "lkz6", 720, source.height, source.bgr, EncodeAdv601(source.bgr.data(), options), 40.0});
    }
    TestPicture bars = MakeColourBars(33, 17); // 99 bytes a line: the JPEG path pads to 100
    routes.push_back({"TJPG", "lkz7", 33, 17, bars.pixels, EncodeJpeg(bars), 35.0});
    for (const Route& route : routes) {
        const std::vector<uint8_t> untouched = route.frame;
        for (int32_t width : {route.width, route.width - 1}) {
            std::vector<uint8_t> format = BitmapFormat(width, route.height, FourCC(route.code), 24);
            VFWDecoder decoder;
            uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
            ASSERT_EQ(Begin(decoder, route.privateCode, format, outFormat), 0) << route.code;
            std::vector<uint8_t> dib(decoder.OutputImageSize());
            auto decode = [&](size_t bytes) {
                return decoder.Decompress(route.frame.data(), static_cast<uint32_t>(bytes), outFormat,
                                          dib.data(), static_cast<uint32_t>(dib.size()), 0, 0);
            };
            if (width != route.width) {
                EXPECT_EQ(decode(route.frame.size()), VFWDecoder::DecompressFailed) << route.code;
                continue;
            }
            ASSERT_EQ(decode(route.frame.size()), 0) << route.code;
            EXPECT_GT(Psnr(TopDown(outFormat, dib, route.width, route.height), route.source), route.bound)
                << route.code;
            EXPECT_EQ(route.frame, untouched); // the caller's bytes are not turned round
            EXPECT_EQ(decode(route.frame.size() / 2), VFWDecoder::DecompressFailed) << route.code;
        }
    }

    VfwBuiltinDecodeFunction saved = nullptr;
    ASSERT_TRUE(FindVfwBuiltinDecoder(FourCC("TJPG"), &saved));
    ASSERT_TRUE(RegisterVfwBuiltinDecoder(FourCC("TJPG"), nullptr));
    VFWDecoder decoder;
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    EXPECT_EQ(Begin(decoder, "lkz7", BitmapFormat(64, 48, FourCC("TJPG"), 24), outFormat), -1);
    RegisterVfwBuiltinDecoder(FourCC("TJPG"), saved);
}

} // namespace
