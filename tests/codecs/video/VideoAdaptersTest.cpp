// The video adapters, each fed frames that libavcodec encoded at test time: every picture must
// match libavcodec's own decode and come close to the picture that was encoded; damaged, foreign
// and garbage frames fail with their engine's text, and after a reset the stream decodes cleanly.
#include "MissingTool.h"
#include "codecs/video/IppDecoderDV25.h"
#include "codecs/video/IppDecoderH263.h"
#include "codecs/video/IppDecoderH264.h"
#include "codecs/video/IppDecoderMPEG2.h"
#include "codecs/video/IppDecoderMPEG4.h"
#include "codecs/video/VideoTestHelpers.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

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

void PrintTo(const AdapterCase& c, std::ostream* out) {
    *out << c.name;
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

} // namespace
