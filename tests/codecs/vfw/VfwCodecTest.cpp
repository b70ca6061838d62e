// The video bridge. Frames encoded at test time, by libavcodec or by the test encoders of the
// library's own codecs, go through it under a private code and their stream FourCC and must come
// back as the pictures that were encoded; a scripted driver answers what each protocol case needs.
#include "MissingTool.h"
#include "codecs/vfw/DibPicture.h"
#include "codecs/vfw/StartCodeProbe.h"
#include "codecs/vfw/VFWDecoder.h"
#include "codecs/vfw/VfwBuiltinDecoders.h"
#include "core/decoder/ScriptedDecoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/codecs/VfwTestEncoder.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using namespace VfwTesting;
using namespace std::string_view_literals;

namespace {

using FileTesting::LogCapture;

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

// `count` moving test pictures encoded by libavcodec, the stream headers in `extradata` rather than
// in the first frame when `globalHeader`; none where the encoder is missing.
std::vector<std::vector<uint8_t>> Encode(const char* encoder, int width, int height, int count,
                                         bool globalHeader, std::vector<uint8_t>* extradata = nullptr) {
    CodecTest::VideoSettings video{
        .encoder = encoder, .width = width, .height = height, .frames = count, .globalHeader = globalHeader};
    if (video.encoder == "mjpeg") {
        video.pixelFormat = AV_PIX_FMT_YUVJ420P;
    }
    if (video.encoder == "libx264") {
        video.options = {{"preset", "ultrafast"}, {"crf", "16"}, {"tune", "zerolatency"}};
    }
    return CodecTest::EncodeClip(video, extradata);
}

// The moving test picture's sharp colour bars lose some of their edges to 4:2:0 chroma; a picture
// upside down, shifted or with its colours swapped falls far below.
constexpr double MinimumPsnr = 24.0;

// A bridge begun on a stream format, decoding into a DIB of its output size that is painted over
// before each frame, so that a failed frame shows.
struct Bridge {
    int32_t Begin(const char* privateCode, const std::vector<uint8_t>& format) {
        const int32_t result = decoder.Initialise(FourCC(privateCode), format.data(),
                                                  static_cast<uint32_t>(format.size()), outFormat);
        dib.resize(decoder.OutputImageSize());
        return result;
    }
    int32_t Decode(const std::vector<uint8_t>& frame, size_t size, uint32_t number = 0) {
        std::fill(dib.begin(), dib.end(), 0x77);
        return decoder.Decompress(frame.data(), static_cast<uint32_t>(size), frameFormat, dib.data(),
                                  static_cast<uint32_t>(dib.size()), 0, number);
    }
    std::vector<uint8_t> TopDown(int width, int height) const {
        std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 3);
        EXPECT_TRUE(CopyDibTopDown(outFormat, VFWDecoder::CallerFormatBytes, dib.data(), dib.size(),
                                   picture.data(), picture.size()));
        return picture;
    }

    VFWDecoder decoder;
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    uint8_t frameFormat[VFWDecoder::CallerFormatBytes] = {};
    std::vector<uint8_t> dib;
};

class VfwCodecs : public testing::TestWithParam<CodecCase> {};

TEST_P(VfwCodecs, DecodesEveryFrameCloseToTheSource) {
    const CodecCase& c = GetParam();
    std::vector<uint8_t> extradata;
    const auto frames = Encode(c.encoder, c.width, c.height, FrameCount, c.globalHeader, &extradata);
    if (frames.size() != FrameCount) {
        SKIP_OR_FAIL_FOR_MISSING(std::string("the encoder ") + c.encoder);
    }
    std::vector<uint8_t> format = BitmapFormat(c.width, c.height, FourCC(c.streamFourCC), 24, extradata);
    Bridge bridge;
    ASSERT_EQ(bridge.Begin(c.privateCode, format), 0);
    ASSERT_TRUE(!c.globalHeader || !extradata.empty());
    for (int i = 0; i < FrameCount; ++i) {
        const std::vector<uint8_t>& frame = frames[static_cast<size_t>(i)];
        ASSERT_EQ(bridge.Decode(frame, frame.size(), static_cast<uint32_t>(i)), 0) << "frame " << i;
        EXPECT_EQ(std::memcmp(bridge.frameFormat, bridge.outFormat, sizeof bridge.outFormat), 0);
        EXPECT_GT(
            Psnr(bridge.TopDown(c.width, c.height), CodecTest::MakeTestPicture(c.width, c.height, i).bgr),
            MinimumPsnr)
            << "frame " << i;
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
        Bridge bridge;
        EXPECT_EQ(bridge.Begin(c.code, BitmapFormat(64, 48, FourCC(c.stream), 24)), c.result);
        std::vector<std::string> messages = log.Messages();
        ASSERT_EQ(messages.size(), c.texts.size()) << c.code;
        for (size_t index = 0; index < messages.size(); ++index) {
            EXPECT_EQ(messages[index].rfind(c.texts[index], 0), 0u) << messages[index];
        }
    }
}

TEST(VfwCodecStreams, DamagedFramesFailWithABlackPicture) {
    for (auto [encoder, fourCC] : {std::pair{"mpeg4", "XVID"}, std::pair{"libx264", "H264"}}) {
        const auto frames = Encode(encoder, 176, 144, 2, false);
        if (frames.size() != 2) {
            continue;
        }
        Bridge bridge;
        ASSERT_EQ(bridge.Begin("lkz3", BitmapFormat(176, 144, FourCC(fourCC), 24)), 0);
        const std::vector<uint8_t> black(bridge.dib.size(), 0);
        const std::vector<uint8_t>& key = frames[0];
        EXPECT_EQ(bridge.Decode(key, key.size() / 2), VFWDecoder::DecompressFailed) << encoder;
        EXPECT_EQ(bridge.dib, black);
        // Cut at every length, frames must never be read past their end.
        for (size_t cut = 1; cut < key.size(); cut += 37) {
            bridge.Decode(key, cut);
        }
        EXPECT_EQ(bridge.Decode(key, key.size()), 0) << encoder;
        EXPECT_GT(Psnr(bridge.TopDown(176, 144), CodecTest::MakeTestPicture(176, 144, 0).bgr), MinimumPsnr)
            << encoder;
        const std::vector<uint8_t>& next = frames[1];
        EXPECT_EQ(bridge.Decode(next, next.size() * 2 / 3), VFWDecoder::DecompressFailed) << encoder;
        EXPECT_EQ(bridge.dib, black);
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
            Bridge bridge;
            ASSERT_EQ(
                bridge.Begin(route.privateCode, BitmapFormat(width, route.height, FourCC(route.code), 24)), 0)
                << route.code;
            if (width != route.width) {
                EXPECT_EQ(bridge.Decode(route.frame, route.frame.size()), VFWDecoder::DecompressFailed)
                    << route.code;
                continue;
            }
            ASSERT_EQ(bridge.Decode(route.frame, route.frame.size()), 0) << route.code;
            EXPECT_GT(Psnr(bridge.TopDown(route.width, route.height), route.source), route.bound)
                << route.code;
            EXPECT_EQ(route.frame, untouched); // the caller's bytes are not turned round
            EXPECT_EQ(bridge.Decode(route.frame, route.frame.size() / 2), VFWDecoder::DecompressFailed)
                << route.code;
        }
    }

    VfwBuiltinDecodeFunction saved = nullptr;
    ASSERT_TRUE(FindVfwBuiltinDecoder(FourCC("TJPG"), &saved));
    ASSERT_TRUE(RegisterVfwBuiltinDecoder(FourCC("TJPG"), nullptr));
    Bridge bridge;
    EXPECT_EQ(bridge.Begin("lkz7", BitmapFormat(64, 48, FourCC("TJPG"), 24)), -1);
    RegisterVfwBuiltinDecoder(FourCC("TJPG"), saved);
}

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

struct Script {
    bool openFails = false;
    uint32_t answerCompression = BI_RGB;
    int32_t beginResult = ICERR_OK;
    int32_t decompressResult = ICERR_OK;
    int32_t endResult = ICERR_OK;
    bool closeFails = false;
    uint8_t paint = 0x42;

    int opens = 0;
    int ends = 0;
    int closes = 0;
    std::string path;
    IcDecompress record;
    uint32_t recordSize = 0;
};

Script script;

class ScriptedDriver : public VfwDriver {
public:
    int32_t GetFormat(const uint8_t* input, uint32_t, uint8_t* output) override {
        BitmapInfoHeader in = BitmapInfoHeader::Read(ByteView(input, 40));
        std::vector<uint8_t> answer = BitmapFormat(in.width, in.height, script.answerCompression, 24);
        std::copy_n(answer.begin(), 40, output);
        return ICERR_OK;
    }
    int32_t Begin(const uint8_t*, const uint8_t*, uint32_t) override { return script.beginResult; }
    int32_t Decompress(const IcDecompress& record) override {
        script.record = record;
        script.recordSize = ByteView(record.inputFormat, 40).U32LE(20);
        if (script.decompressResult == ICERR_OK) {
            std::memset(record.output, script.paint, ByteView(record.outputFormat, 40).U32LE(20));
        }
        return script.decompressResult;
    }
    int32_t End() override {
        ++script.ends;
        return script.endResult;
    }
    bool Close() override {
        ++script.closes;
        return !script.closeFails;
    }
};

std::unique_ptr<VfwDriver> OpenScripted(const char* path, const IcOpen&) {
    ++script.opens;
    script.path = path;
    if (script.openFails) {
        return nullptr;
    }
    return std::make_unique<ScriptedDriver>();
}

constexpr int Width = 8;
constexpr int Height = 4;
constexpr uint32_t ImageBytes = Width * Height * 3;

class VfwProtocol : public testing::Test {
protected:
    void SetUp() override { script = Script(); }

    int32_t Initialise(const char* code = "lkz3") { return Initialise(decoder, code); }
    int32_t Initialise(VFWDecoder& bridge, const char* code = "lkz3") {
        return bridge.Initialise(FourCC(code), format.data(), static_cast<uint32_t>(format.size()),
                                 outFormat);
    }
    int32_t Decompress() {
        return decoder.Decompress(data, sizeof data, outFormat, picture.data(), ImageBytes, 0, 0);
    }

    VFWDecoder decoder{nullptr, OpenScripted};
    std::vector<uint8_t> format = BitmapFormat(Width, Height, FourCC("GEOX"), 24);
    uint8_t outFormat[40] = {};
    uint8_t data[100] = {1, 2, 3};
    std::vector<uint8_t> picture = std::vector<uint8_t>(ImageBytes, 0x11);
};

TEST_F(VfwProtocol, OpensTheDriverOfTheMatchingCodeAndHandsFramesOverAndPicturesBack) {
    ASSERT_EQ(Initialise("lkz5"), 0);
    EXPECT_EQ(BitmapInfoHeader::Read(ByteView(outFormat, sizeof outFormat)).sizeImage, ImageBytes);

    uint8_t frameFormat[40] = {};
    ASSERT_EQ(decoder.Decompress(data, 77, frameFormat, picture.data(), ImageBytes, 0x10, 7), 0);
    EXPECT_EQ(script.record.input, data);
    EXPECT_EQ(script.recordSize, 77u);
    EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, script.paint));
    EXPECT_EQ(std::memcmp(frameFormat, outFormat, sizeof outFormat), 0);

    // A picture held back repeats the previous one.
    script.decompressResult = ICERR_DONTDRAW;
    std::fill(picture.begin(), picture.end(), 0);
    LogCapture log;
    EXPECT_EQ(Decompress(), 0);
    EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, script.paint));
    EXPECT_EQ(log.Messages().front(), "Decompress returned : 1\n");
}

TEST_F(VfwProtocol, FailedOpenIsLoggedAndFindsNothing) {
    script.openFails = true;
    LogCapture log;
    EXPECT_EQ(Initialise(), -1);
    const auto* failed = log.Find("Failed to open driver: ");
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(failed->message, "Failed to open driver: " + script.path + "\n");
    EXPECT_EQ(log.Messages().back(), "Unable to locate suitable coded for FourCC: lkz3\n");
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);

    // The owner's log gets the texts when there is an owner.
    Testing::LogCapture decoderLog;
    Testing::ScriptedDecoder owner;
    log.Clear();
    VFWDecoder owned(&owner, OpenScripted);
    EXPECT_EQ(Initialise(owned), -1);
    EXPECT_TRUE(log.All().empty());
    std::vector<std::string> lines = decoderLog.Take();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "Trying to locate suitable coded for FourCC: lkz3\n");
    EXPECT_EQ(lines.back(), "Unable to locate suitable coded for FourCC: lkz3\n");
}

TEST_F(VfwProtocol, CompressedAnswerLeavesDecodingOff) {
    script.answerCompression = FourCC("YUY2");
    LogCapture log;
    EXPECT_EQ(Initialise(), 0);
    EXPECT_TRUE(log.Contains("VFW decoder doesn't support RGB output\n", Vorn::Vorncast::LogCore));
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);
    EXPECT_EQ(Initialise(), 0);
}

TEST_F(VfwProtocol, BeginResultsOtherThanOkFail) {
    for (int32_t value : {2, -201, 5, -50}) {
        script = Script();
        script.beginResult = value;
        script.closeFails = value == 5;
        LogCapture log;
        VFWDecoder failing(nullptr, OpenScripted);
        EXPECT_EQ(Initialise(failing), -1);
        EXPECT_TRUE(log.Contains("Decompress Begin returned : " + std::to_string(value) + "\n",
                                 Vorn::Vorncast::LogCore));
        EXPECT_TRUE(log.Contains("Error in DECOMPRESS_BEGIN\n", Vorn::Vorncast::LogCore)) << value;
        EXPECT_EQ(log.Contains("Error closing driver " + script.path + ".\n", Vorn::Vorncast::LogCore),
                  script.closeFails);
        EXPECT_EQ(log.Messages().back(), "Unable to locate suitable coded for FourCC: lkz3\n");
        EXPECT_EQ(script.closes, 1);
    }
}

TEST_F(VfwProtocol, FailedFrameGivesABlackPicture) {
    ASSERT_EQ(Initialise(), 0);
    for (int32_t value : {-100, 3, -2, -50}) {
        script.decompressResult = value;
        std::fill(picture.begin(), picture.end(), 0x99);
        LogCapture log;
        EXPECT_EQ(Decompress(), VFWDecoder::DecompressFailed);
        EXPECT_EQ(picture, std::vector<uint8_t>(ImageBytes, 0));
        EXPECT_EQ(log.Messages().front(), "Decompress returned : " + std::to_string(value) + "\n");
    }
    // A good picture that does not fit the caller's buffer is no picture either.
    script.decompressResult = ICERR_OK;
    std::fill(picture.begin(), picture.end(), 0x99);
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, picture.data(), ImageBytes - 1, 0, 0),
              VFWDecoder::DecompressFailed);
    EXPECT_EQ(std::count(picture.begin(), picture.end(), 0), ImageBytes - 1);
}

TEST_F(VfwProtocol, MissingArgumentsHaveTheirCodes) {
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, picture.data(), ImageBytes, 0, 0), VFWDecoder::NotBegun);
    ASSERT_EQ(Initialise(), 0);
    EXPECT_EQ(decoder.Decompress(data, 1, outFormat, nullptr, ImageBytes, 0, 0), VFWDecoder::NoOutputBuffer);
    EXPECT_EQ(decoder.Decompress(nullptr, 1, outFormat, nullptr, ImageBytes, 0, 0),
              VFWDecoder::NoDataNoOutputBuffer);
    EXPECT_EQ(decoder.Decompress(nullptr, 1, outFormat, picture.data(), ImageBytes, 0, 0),
              VFWDecoder::NoData);
}

TEST_F(VfwProtocol, CloseAndDestructionEndDecompression) {
    script.endResult = ICERR_ERROR;
    script.closeFails = true;
    ASSERT_EQ(Initialise(), 0);
    LogCapture log;
    decoder.Close();
    EXPECT_EQ(log.Messages(),
              (std::vector<std::string>{"Decompress End returned : -100\n", "ICERR_ERROR\n",
                                        "Error in DECOMPRESS_END\n", "Error closing driver.\n"}));
    EXPECT_EQ(Decompress(), VFWDecoder::NotBegun);
    script = Script();
    {
        VFWDecoder again(nullptr, OpenScripted);
        EXPECT_EQ(Initialise(again), 0);
    }
    EXPECT_EQ(script.ends, 1);
    EXPECT_EQ(script.closes, 1);
}

TEST_F(VfwProtocol, UncompressedStreamsNeverOpenADriver) {
    std::vector<uint8_t> frame(ImageBytes);
    for (size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<uint8_t>(i);
    }
    for (uint32_t code : {FourCC("RGB2"), 0u}) {
        std::vector<uint8_t> rgb = BitmapFormat(Width, Height, code, 24);
        LogCapture log;
        VFWDecoder plain(nullptr, OpenScripted);
        uint8_t answer[40] = {};
        ASSERT_EQ(plain.Initialise(code, rgb.data(), static_cast<uint32_t>(rgb.size()), answer), 0);
        EXPECT_EQ(script.opens, 0);
        EXPECT_TRUE(log.All().empty());
        EXPECT_EQ(std::memcmp(answer, rgb.data(), 40), 0);
        ASSERT_EQ(plain.Decompress(frame.data(), ImageBytes, answer, picture.data(), ImageBytes, 0, 0), 0);
        EXPECT_EQ(picture, frame);
        // A frame longer than the caller's buffer is cut to it.
        std::vector<uint8_t> small(10, 0xEE);
        ASSERT_EQ(plain.Decompress(frame.data(), ImageBytes, answer, small.data(), 9, 0, 0), 0);
        EXPECT_EQ(small[8], 8);
        EXPECT_EQ(small[9], 0xEE);
    }
}

} // namespace
