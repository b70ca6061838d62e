// The video adapters, fed frames that libavcodec encoded at test time and compared with libavcodec's
// own decode and with the pictures that were encoded.
#include "MissingTool.h"
#include "codecs/video/H264Framing.h"
#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/codecs/H264Units.h"
#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

using namespace Vorn;
using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int32_t PictureBytes = Width * Height * 3;

struct AdapterRun {
    std::vector<Picture> pictures; // one for each call that wrote a picture, in call order
    std::vector<int32_t> types;    // GetFrameType after each such call
    int32_t heldBack = 0;          // calls that succeeded without a picture
    int32_t failures = 0;
};

inline AdapterRun DecodeAll(Vorn::Vorncast::Decoders::IppDecoder& adapter,
                            const std::vector<EncodedFrame>& frames, int32_t width, int32_t height,
                            size_t first = 0, size_t count = SIZE_MAX) {
    AdapterRun run;
    std::vector<uint8_t> output(static_cast<size_t>(width) * height * 3, 0x5A);
    for (size_t index = first; index < frames.size() && index - first < count; ++index) {
        const auto& data = frames[index].data;
        if (!adapter.Decode(data.data(), static_cast<int32_t>(data.size()), output.data(),
                            static_cast<int32_t>(output.size()))) {
            ++run.failures;
        } else if (adapter.HasNewPicture()) {
            run.pictures.push_back({width, height, output});
            run.types.push_back(adapter.GetFrameType());
        } else {
            ++run.heldBack;
        }
    }
    return run;
}

// The bound a decoded picture must reach against the picture that was encoded: well above what a
// swapped channel, a flipped picture or a wrong stride would give.
constexpr double SourcePsnrBound = 30.0;

inline void ExpectSamePictures(const std::vector<Picture>& actual, const std::vector<Picture>& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t index = 0; index < actual.size(); ++index) {
        EXPECT_TRUE(actual[index].bgr == expected[index].bgr) << "picture " << index;
    }
}

inline void ExpectRefused(Vorn::Vorncast::Decoders::IppDecoder& adapter, const std::vector<uint8_t>& frame,
                          int32_t pictureBytes) {
    std::vector<uint8_t> output(static_cast<size_t>(pictureBytes));
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), pictureBytes));
}

// One frame foreign to the adapter of `codec`: MPEG-4 part 2, or MPEG-2 for the MPEG-4 adapter.
inline std::vector<uint8_t> ForeignFrame(AVCodecID codec = AV_CODEC_ID_NONE) {
    EncodedVideo foreign;
    EXPECT_TRUE(
        EncodeVideo({.encoder = codec == AV_CODEC_ID_MPEG4 ? "mpeg2video" : "mpeg4", .frames = 1}, &foreign));
    return foreign.frames.empty() ? std::vector<uint8_t>{} : foreign.frames[0].data;
}

struct AdapterCase {
    const char* name;
    std::function<std::unique_ptr<IppDecoder>()> make;
    VideoSettings settings;
    AVCodecID codec;
    bool decodingOrder;    // pictures come out in the order the frames go in
    double bound;          // against the encoded picture
    int32_t lost;          // pictures held back at the end that only a flush gives out
    const char* failure;   // the start of the engine's text for a frame it cannot decode
    const char* smallText; // the text for an output below the picture size; "" when quiet
};

VideoSettings Video(const char* encoder, int32_t frames, int32_t bFrames = 0) {
    VideoSettings settings{.encoder = encoder, .frames = frames, .bFrames = bFrames};
    if (std::string(encoder) == "libx264") {
        settings.options = {{"crf", "16"}, {"preset", "veryfast"}};
    }
    return settings;
}

VideoSettings Dv(bool fiftyHertz) {
    VideoSettings settings = Video("dvvideo", 2);
    settings.width = IppDecoderDV25::Width;
    settings.height = fiftyHertz ? IppDecoderDV25::Height50 : IppDecoderDV25::Height60;
    settings.pixelFormat = fiftyHertz ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV411P;
    settings.frameRate = fiftyHertz ? AVRational{25, 1} : AVRational{30000, 1001};
    return settings;
}

template <class Adapter> std::function<std::unique_ptr<IppDecoder>()> Make() {
    return [] { return std::make_unique<Adapter>(); };
}

class VideoAdapters : public testing::TestWithParam<AdapterCase> {
protected:
    void SetUp() override {
        const AdapterCase& c = GetParam();
        if (!HasEncoder(c.settings.encoder.c_str())) {
            SKIP_OR_FAIL_FOR_MISSING("the " + c.settings.encoder + " encoder");
        }
        ASSERT_TRUE(EncodeVideo(c.settings, &video));
        adapter = c.make();
        // DV takes its size from each frame's flag, MPEG-2 from the first sequence header.
        const bool sized = c.codec != AV_CODEC_ID_DVVIDEO && c.codec != AV_CODEC_ID_MPEG2VIDEO;
        ASSERT_TRUE(adapter->Initialise(sized ? Width : 0, sized ? Height : 0, 3, false));
    }

    int32_t width() const { return GetParam().settings.width; }
    int32_t height() const { return GetParam().settings.height; }

    EncodedVideo video;
    std::unique_ptr<IppDecoder> adapter;
};

TEST_P(VideoAdapters, EveryPictureMatchesLibavcodecAndTheSource) {
    const AdapterCase& c = GetParam();
    AdapterRun run = DecodeAll(*adapter, video.frames, width(), height());
    EXPECT_EQ(run.failures, 0);
    EXPECT_EQ(adapter->GetWidth(), width());
    EXPECT_EQ(adapter->GetHeight(), height());
    if (auto* h264 = dynamic_cast<IppDecoderH264*>(adapter.get())) {
        std::vector<uint8_t> output(static_cast<size_t>(PictureBytes));
        EXPECT_FALSE(h264->Flush(output.data(), PictureBytes - 1));
        while (h264->Flush(output.data(), PictureBytes)) {
            run.pictures.push_back({Width, Height, output});
        }
    }
    ASSERT_EQ(run.pictures.size() + static_cast<size_t>(c.lost), video.frames.size());
    const std::vector<Picture> reference = ReferenceDecode(c.codec, video, c.decodingOrder);
    for (size_t index = 0; index < run.pictures.size(); ++index) {
        EXPECT_TRUE(run.pictures[index].bgr == reference.at(index).bgr) << "picture " << index;
        const auto source = static_cast<size_t>(c.decodingOrder ? video.frames[index].pts : int64_t(index));
        EXPECT_GT(Psnr(video.sources.at(source), run.pictures[index].bgr.data()), c.bound) << index;
    }
    const bool sawB = std::find(run.types.begin(), run.types.end(), VideoFrameB) != run.types.end();
    EXPECT_EQ(sawB, c.settings.bFrames > 0);
}

TEST_P(VideoAdapters, BadFramesAndSmallOutputsFailAndTheAdapterRecovers) {
    const AdapterCase& c = GetParam();
    const std::vector<uint8_t>& first = video.frames[0].data;
    LogCapture log;
    ExpectRefused(*adapter, first, width() * height() * 3 - 3);
    EXPECT_FALSE(adapter->Decode(first.data(), static_cast<int32_t>(first.size()), nullptr, PictureBytes));
    if (*c.smallText != '\0') {
        EXPECT_TRUE(log.Contains(c.smallText, Vorn::Vorncast::LogCore));
    } else {
        EXPECT_TRUE(log.Messages().empty());
    }
    const std::vector<uint8_t> cut(first.begin(),
                                   first.begin() + static_cast<std::ptrdiff_t>(first.size() / 2));
    const std::vector<uint8_t> garbage = [] {
        std::vector<uint8_t> bytes(2000);
        for (size_t index = 0; index < bytes.size(); ++index) {
            bytes[index] = static_cast<uint8_t>(index * 37 + 11);
        }
        return bytes;
    }();
    for (const std::vector<uint8_t>& bad : {cut, garbage, ForeignFrame(c.codec)}) {
        log.Clear();
        // Room for the largest picture: a foreign frame may look like DV of the other height.
        ExpectRefused(*adapter, bad, IppDecoderDV25::Width * IppDecoderDV25::Height50 * 3);
        EXPECT_TRUE(log.Find(c.failure) != nullptr) << bad.size();
    }
    // After a reset the whole stream decodes as libavcodec decodes it: the damage left nothing behind.
    adapter->Reset();
    AdapterRun run = DecodeAll(*adapter, video.frames, width(), height());
    EXPECT_EQ(run.failures, 0);
    EXPECT_EQ(run.pictures.size() + static_cast<size_t>(run.heldBack), video.frames.size());
    const std::vector<Picture> reference = ReferenceDecode(c.codec, video, c.decodingOrder);
    ExpectSamePictures(run.pictures, {reference.begin(),
                                      reference.begin() + static_cast<std::ptrdiff_t>(run.pictures.size())});
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, VideoAdapters,
    testing::Values(
        AdapterCase{"Mpeg4", Make<IppDecoderMPEG4>(), Video("mpeg4", 6), AV_CODEC_ID_MPEG4, false,
                    SourcePsnrBound, 0, "MPEG4VideoDecoder::GetFrame failed with status -",
                    "IppDecoderMPEG4::Decode bad output buffer\n"},
        // The first frame is held back; the others come in display order.
        AdapterCase{"Mpeg4BFrames", Make<IppDecoderMPEG4>(), Video("mpeg4", 8, 2), AV_CODEC_ID_MPEG4, false,
                    SourcePsnrBound, 1, "MPEG4VideoDecoder::GetFrame failed with status -",
                    "IppDecoderMPEG4::Decode bad output buffer\n"},
        AdapterCase{"H263", Make<IppDecoderH263>(), Video("h263", 5), AV_CODEC_ID_H263, false,
                    SourcePsnrBound, 0, "H263VideoDecoder::GetFrame failed\n", ""},
        AdapterCase{"H264", Make<IppDecoderH264>(), Video("libx264", 6), AV_CODEC_ID_H264, false,
                    SourcePsnrBound, 0, "H264VideoDecoder::GetFrame failed\n",
                    "IppDecoderH264::Decode bad output buffer\n"},
        // Held-back pictures come out by flush, in display order.
        AdapterCase{"H264BFrames", Make<IppDecoderH264>(), Video("libx264", 8, 2), AV_CODEC_ID_H264, false,
                    SourcePsnrBound, 0, "H264VideoDecoder::GetFrame failed\n",
                    "IppDecoderH264::Decode bad output buffer\n"},
        // Every access unit gives its own picture at once.
        AdapterCase{"Mpeg2BFrames", Make<IppDecoderMPEG2>(), Video("mpeg2video", 8, 2),
                    AV_CODEC_ID_MPEG2VIDEO, true, SourcePsnrBound, 0, "MPEG2VideoDecoder::GetFrame failed\n",
                    "IppDecoderMPEG2::Decode bad output buffer\n"},
        AdapterCase{"Dv50", Make<IppDecoderDV25>(), Dv(true), AV_CODEC_ID_DVVIDEO, true, SourcePsnrBound, 0,
                    "DVVideoDecoder::GetFrame failed\n", "IppDecoderDV25::Decode bad output buffer\n"},
        // 4:1:1 chroma of 525/60 frames blurs the edges of the colour bars more.
        AdapterCase{"Dv60", Make<IppDecoderDV25>(), Dv(false), AV_CODEC_ID_DVVIDEO, true, SourcePsnrBound - 5,
                    0, "DVVideoDecoder::GetFrame failed\n", "IppDecoderDV25::Decode bad output buffer\n"}),
    [](const testing::TestParamInfo<AdapterCase>& info) { return info.param.name; });

EncodedVideo Encode(const char* encoder, int32_t frames) {
    EncodedVideo video;
    EXPECT_TRUE(EncodeVideo({.encoder = encoder, .frames = frames}, &video)) << encoder;
    return video;
}

class Mpeg4AdapterTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { plain = Encode("mpeg4", 1); }

    static inline EncodedVideo plain;
    IppDecoderMPEG4 adapter;
};

// Other sizes cut the picture or pad it with black; line doubling writes every line twice.
TEST_F(Mpeg4AdapterTest, OutputGeometryFollowsTheInitialisedSize) {
    const Picture full = ReferenceDecode(AV_CODEC_ID_MPEG4, plain, false)[0];
    for (auto [delta, doubling] : {std::pair{-16, false}, std::pair{16, false}, std::pair{0, true}}) {
        const int32_t width = Width + delta;
        const int32_t height = Height + delta;
        IppDecoderMPEG4 sized;
        ASSERT_TRUE(sized.Initialise(width, height, 3, doubling));
        const int32_t rows = doubling ? 2 * height : height;
        std::vector<uint8_t> output(static_cast<size_t>(width) * rows * 3, 0x5A);
        const Bytes& frame = plain.frames[0].data;
        ASSERT_TRUE(sized.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                                 static_cast<int32_t>(output.size())));
        for (int32_t y = 0; y < rows; ++y) {
            const int32_t row = doubling ? y / 2 : y;
            for (int32_t x = 0; x < width * 3; ++x) {
                const uint8_t expected = (row < Height && x < Width * 3) ? full.bgr[row * Width * 3 + x] : 0;
                ASSERT_EQ(output[y * width * 3 + x], expected) << "size " << width << " at " << x << "," << y;
            }
        }
    }
}

TEST_F(Mpeg4AdapterTest, MissingInputLogsTheMediaDataTexts) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    std::vector<uint8_t> output(PictureBytes);
    LogCapture log;
    EXPECT_FALSE(adapter.Decode(nullptr, 100, output.data(), PictureBytes));
    EXPECT_FALSE(adapter.Decode(plain.frames[0].data.data(), 0, output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{"MediaDataEx::SetBufferPointer failed\n",
                                                        "MediaDataEx::SetDataSize failed\n"}));
}

TEST_F(Mpeg4AdapterTest, BufferFormReportsOneOrZero) {
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false));
    const auto& frame = plain.frames[0].data;
    Buffer input(static_cast<int32_t>(frame.size()));
    std::copy(frame.begin(), frame.end(), input.Data());
    Buffer output(PictureBytes);
    EXPECT_EQ(adapter.Decode(input, 0, output, 0), 1);
    const Picture reference = ReferenceDecode(AV_CODEC_ID_MPEG4, plain, false)[0];
    EXPECT_TRUE(std::equal(reference.bgr.begin(), reference.bgr.end(), output.Data()));
    EXPECT_EQ(adapter.Decode(Buffer(), 0, output, 0), 0);
    EXPECT_EQ(adapter.Decode(input, 0, Buffer(), 0), 0);
}

TEST(Mpeg2AdapterTest, CallerSizeStaysAndOutputIsCheckedAgainstIt) {
    EncodedVideo video = Encode("mpeg2video", 1);
    const auto& frame = video.frames[0].data;
    IppDecoderMPEG2 adapter;
    ASSERT_TRUE(adapter.Initialise(Width + 16, Height, 3, false));
    std::vector<uint8_t> output((Width + 16) * Height * 3);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"IppDecoderMPEG2::Decode bad output buffer\n"});
    EXPECT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                               static_cast<int32_t>(output.size())));
    EXPECT_EQ(adapter.GetWidth(), Width + 16);
}

constexpr int32_t Side = 8;
constexpr size_t LineBytes = Side * 3;
constexpr size_t CanaryBytes = 256;
constexpr uint8_t Canary = 0xA5;

// Brightness averaged over one line: an eight-pixel picture loses its per-column colours to chroma
// subsampling, but every line keeps its brightness, so misplaced or torn lines still show.
int32_t LineBrightness(const uint8_t* line) {
    int32_t sum = 0;
    for (int32_t x = 0; x < Side; ++x) {
        const uint8_t* pixel = line + x * 3;
        sum += (29 * pixel[0] + 150 * pixel[1] + 77 * pixel[2]) / 256;
    }
    return sum / Side;
}

TEST(NarrowPicture, ExactBufferOfAnEightPixelWidePictureIsNotOverrunAndKeepsItsLines) {
    EncodedVideo video;
    ASSERT_TRUE(EncodeVideo({.encoder = "mpeg4", .width = Side, .height = Side, .frames = 3}, &video));
    IppDecoderMPEG4 adapter;
    ASSERT_TRUE(adapter.Initialise(Side, Side, 3, false));
    constexpr int32_t Bytes = Side * LineBytes;
    int32_t decoded = 0;
    for (const EncodedFrame& frame : video.frames) {
        std::vector<uint8_t> buffer(Bytes + CanaryBytes, Canary);
        const uint8_t* output = buffer.data();
        const bool delivered =
            adapter.Decode(frame.data.data(), static_cast<int32_t>(frame.data.size()), buffer.data(), Bytes);
        EXPECT_TRUE(std::all_of(buffer.begin() + Bytes, buffer.end(), [](uint8_t b) { return b == Canary; }))
            << "frame " << decoded << " written past the picture";
        if (!delivered) {
            continue;
        }
        const Picture expected = MakeTestPicture(Side, Side, decoded);
        for (int32_t y = 0; y < Side; ++y) {
            EXPECT_NEAR(LineBrightness(output + y * LineBytes),
                        LineBrightness(expected.bgr.data() + y * LineBytes), 16)
                << "frame " << decoded << " line " << y;
        }
        ++decoded;
    }
    EXPECT_GT(decoded, 0);
}

// Access units with length prefixes of four bytes and in-band parameter sets, of two bytes with
// the sets in an AVC record, and with start codes and the sets in start-code configuration.
TEST(H264AdapterTest, LengthPrefixesAndParameterSetsFromConfigurationDecodeAlike) {
    if (!HasEncoder("libx264")) {
        SKIP_OR_FAIL_FOR_MISSING("the libx264 encoder");
    }
    auto encode = [](bool globalHeader) {
        VideoSettings settings = Video("libx264", 4);
        settings.globalHeader = globalHeader;
        EncodedVideo video;
        EXPECT_TRUE(EncodeVideo(settings, &video));
        return video;
    };
    for (bool globalHeader : {false, true}) {
        EncodedVideo video = encode(globalHeader);
        const std::vector<Picture> reference = ReferenceDecode(AV_CODEC_ID_H264, video, false);
        ASSERT_EQ(reference.size(), video.frames.size());
        const int32_t lengthSize = globalHeader ? 2 : 4;
        EncodedVideo prefixed = video;
        for (EncodedFrame& frame : prefixed.frames) {
            frame.data = LengthPrefixed(frame.data, lengthSize);
        }
        const Bytes record = globalHeader ? AvcConfiguration(video.extradata, 2) : Bytes{};
        IppDecoderH264 lengths;
        ASSERT_TRUE(lengths.Initialise(Width, Height, 3, false, record.empty() ? nullptr : record.data(),
                                       static_cast<int32_t>(record.size())));
        AdapterRun run = DecodeAll(lengths, prefixed.frames, Width, Height);
        EXPECT_EQ(run.failures, 0);
        ExpectSamePictures(run.pictures, reference);
    }
    EncodedVideo video = encode(true);
    ASSERT_FALSE(video.extradata.empty());
    IppDecoderH264 adapter;
    ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false, video.extradata.data(),
                                   static_cast<int32_t>(video.extradata.size())));
    ExpectSamePictures(DecodeAll(adapter, video.frames, Width, Height).pictures,
                       ReferenceDecode(AV_CODEC_ID_H264, video, false));

    // Without the parameter sets nothing can be decoded.
    IppDecoderH264 bare;
    ASSERT_TRUE(bare.Initialise(Width, Height, 3, false));
    EXPECT_TRUE(DecodeAll(bare, video.frames, Width, Height).pictures.empty());
}

TEST(H264FramingTest, LengthPrefixedUnitsMustFillTheAccessUnitExactly) {
    const Bytes twoUnits = {0, 0, 0, 2, 0x65, 0x11, 0, 0, 0, 1, 0x41};
    EXPECT_TRUE(IsLengthPrefixed(ByteView(twoUnits.data(), twoUnits.size()), 4));
    EXPECT_FALSE(IsLengthPrefixed(ByteView(twoUnits.data(), twoUnits.size() - 1), 4));
    Bytes longer = twoUnits;
    longer.push_back(0);
    EXPECT_FALSE(IsLengthPrefixed(ByteView(longer.data(), longer.size()), 4));
    const Bytes forbidden = {0, 2, 0xE5, 0x11};
    EXPECT_FALSE(IsLengthPrefixed(ByteView(forbidden.data(), forbidden.size()), 2));
    const Bytes zeroLength = {0, 0, 0x41};
    EXPECT_FALSE(IsLengthPrefixed(ByteView(zeroLength.data(), zeroLength.size()), 2));
    const Bytes oneByte = {2, 0x65, 0x11, 1, 0x41};
    EXPECT_TRUE(IsLengthPrefixed(ByteView(oneByte.data(), oneByte.size()), 1));
    EXPECT_FALSE(IsLengthPrefixed(ByteView(), 4));

    Bytes converted(StartCodeFormSize(ByteView(oneByte.data(), oneByte.size()), 1));
    WriteStartCodeForm(ByteView(oneByte.data(), oneByte.size()), 1, converted.data());
    EXPECT_EQ(converted, (Bytes{0, 0, 0, 1, 0x65, 0x11, 0, 0, 0, 1, 0x41}));
}

TEST(H264FramingTest, StartCodesAndAvcRecords) {
    const Bytes threeByte = {0, 0, 1, 0x67};
    const Bytes fourByte = {0, 0, 0, 1, 0x67};
    const Bytes neither = {0, 0, 2, 0x67};
    EXPECT_TRUE(StartsWithStartCode(ByteView(threeByte.data(), threeByte.size())));
    EXPECT_TRUE(StartsWithStartCode(ByteView(fourByte.data(), fourByte.size())));
    EXPECT_FALSE(StartsWithStartCode(ByteView(neither.data(), neither.size())));

    const Bytes record = {1, 0x42, 0xC0, 0x1E, 0xFD, 0xE1, 0, 2, 0x67, 0x42, 1, 0, 1, 0x68};
    int32_t lengthSize = 0;
    Bytes sets;
    ASSERT_TRUE(ParseAvcConfiguration(ByteView(record.data(), record.size()), &lengthSize, &sets));
    EXPECT_EQ(lengthSize, 2);
    EXPECT_EQ(sets, (Bytes{0, 0, 0, 1, 0x67, 0x42, 0, 0, 0, 1, 0x68}));
    EXPECT_FALSE(ParseAvcConfiguration(ByteView(record.data(), record.size() - 1), &lengthSize, &sets));
    Bytes wrongVersion = record;
    wrongVersion[0] = 0;
    EXPECT_FALSE(
        ParseAvcConfiguration(ByteView(wrongVersion.data(), wrongVersion.size()), &lengthSize, &sets));
}

} // namespace
