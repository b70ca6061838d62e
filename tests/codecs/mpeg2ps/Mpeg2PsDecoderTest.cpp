#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "codecs/video/VideoTestHelpers.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/mpeg2ps/ProgramStreamWriter.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

class Mpeg2PsDecoderTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        video = new EncodedVideo();
        ASSERT_TRUE(EncodeVideo({.encoder = "mpeg2video", .frames = 4}, video));
        reference = new std::vector<Picture>(ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, *video, true));
    }
    static void TearDownTestSuite() {
        delete video;
        delete reference;
    }

    void SetUp() override { ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false)); }

    bool Decode(const Bytes& frame) {
        return adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes);
    }
    const Bytes& Elementary(size_t index) const { return video->frames.at(index).data; }

    static inline EncodedVideo* video = nullptr;
    static inline std::vector<Picture>* reference = nullptr;
    IppDecoderMPEG2PS adapter;
    Bytes output = Bytes(PictureBytes, 0x5A);
};

} // namespace

TEST_F(Mpeg2PsDecoderTest, FramesInPacksDecodeLikeTheirElementaryStream) {
    for (size_t index = 0; index < video->frames.size(); ++index) {
        Bytes frame = WrapInProgramStream(Elementary(index), IppDecoderMPEG2PS::VideoStreamId, 700);
        Append(frame, PesPacket(IppDecoderMPEG2PS::AudioStreamId, Bytes(50, 0xFF)));
        Append(frame, PaddingPacket(100));
        ASSERT_TRUE(Decode(frame)) << index;
        EXPECT_TRUE(adapter.HasNewPicture());
        EXPECT_EQ(output, reference->at(index).bgr) << index;
        EXPECT_GT(Psnr(video->sources[index], output.data()), 30.0) << index;
    }
    EXPECT_EQ(adapter.GetFrameType(), VideoFrameP);
}

TEST_F(Mpeg2PsDecoderTest, JunkAheadOfTheFirstPackIsSkippedAndItsPictureStartsCounted) {
    Bytes frame = {0x12, 0x00, 0x00, 0x01, 0x00, 0x55, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x77};
    Append(frame, WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId));
    LogCapture log;
    ASSERT_TRUE(Decode(frame));
    EXPECT_EQ(output, reference->at(0).bgr);
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{"Found pic header 2\n", "Found pic header 3\n"}));
}

// The same frame in other wrappings: one pack of one packet without padding, a last packet cut
// short behind the picture's packets, and no packs at all.
TEST_F(Mpeg2PsDecoderTest, OtherWrappingsOfAFrameDecodeAlike) {
    Bytes onePacket = PackHeader();
    Append(onePacket, PesPacket(IppDecoderMPEG2PS::VideoStreamId, Elementary(0)));
    Bytes truncated = WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId);
    Append(truncated, PaddingPacket(300));
    truncated.resize(truncated.size() - 200);
    for (const Bytes& frame : {onePacket, truncated, Elementary(0)}) {
        ASSERT_TRUE(Decode(frame)) << frame.size();
        EXPECT_EQ(output, reference->at(0).bgr) << frame.size();
    }
}

// A broken PES header and an output below the picture size fail the frame; the adapter stays usable.
TEST_F(Mpeg2PsDecoderTest, ABrokenPesHeaderFailsTheFrameAndTheAdapterStaysUsable) {
    Bytes frame = WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes - 1));
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), nullptr, PictureBytes));
    EXPECT_EQ(log.Messages(),
              std::vector<std::string>(2, "IppDecoderMPEG2PS::Decode output buffer too small\n"));
    const size_t firstPes = PackHeader(3600, 25200, 2).size() + SystemHeader().size();
    frame[firstPes + 9 + 2] &= 0xFE;
    EXPECT_FALSE(Decode(frame));
    EXPECT_TRUE(log.Contains("Packet::Decode failing because bits & 1 != 1 (29..15 of timestamp)\n",
                             Vorn::Vorncast::LogCore));
    EXPECT_TRUE(log.Contains("MPEG2VideoDecoder::GetFrame failed\n", Vorn::Vorncast::LogCore));

    adapter.Reset();
    for (size_t index = 0; index < 2; ++index) {
        ASSERT_TRUE(Decode(WrapInProgramStream(Elementary(index), IppDecoderMPEG2PS::VideoStreamId)))
            << index;
        EXPECT_EQ(output, reference->at(index).bgr) << index;
    }
}

TEST_F(Mpeg2PsDecoderTest, AudioFramesDecodeFromTheFirstAudioStream) {
    EncodedAudio stereo;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 2, 3, &stereo));
    const auto expected = ReferenceDecodeAudio(AV_CODEC_ID_MP2, stereo);
    Bytes samples(IppDecoderMPEG2PS::AudioFrameBytes);
    LogCapture log;
    for (size_t index = 0; index < stereo.frames.size(); ++index) {
        Bytes frame = {0xFF, 0xF3, 0x00, 0xFF, 0xFD, 0x01};
        Append(frame, WrapInProgramStream(stereo.frames[index].data, IppDecoderMPEG2PS::AudioStreamId, 200));
        ASSERT_TRUE(adapter.DecodeAudio(frame.data(), static_cast<int32_t>(frame.size()), samples.data(),
                                        static_cast<int32_t>(samples.size())));
        ASSERT_EQ(adapter.GetAudioBytes(), IppDecoderMPEG2PS::AudioFrameBytes);
        EXPECT_EQ(std::memcmp(samples.data(), expected[index].data(), samples.size()), 0) << index;
    }
    EXPECT_EQ(log.Messages(), std::vector<std::string>(stereo.frames.size(), "Found mp3 header 2\n"));

    log.Clear();
    const Bytes wrapped = WrapInProgramStream(stereo.frames[0].data, IppDecoderMPEG2PS::AudioStreamId);
    EXPECT_FALSE(adapter.DecodeAudio(wrapped.data(), static_cast<int32_t>(wrapped.size()), samples.data(),
                                     IppDecoderMPEG2PS::AudioFrameBytes - 1));
    EXPECT_EQ(log.Messages(),
              std::vector<std::string>{"IppDecoderMPEG2PS::Decode audio output buffer too small\n"});

    EncodedAudio mono;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 1, 1, &mono));
    log.Clear();
    const Bytes monoFrame = WrapInProgramStream(mono.frames[0].data, IppDecoderMPEG2PS::AudioStreamId);
    EXPECT_TRUE(adapter.DecodeAudio(monoFrame.data(), static_cast<int32_t>(monoFrame.size()), samples.data(),
                                    static_cast<int32_t>(samples.size())));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"Audio frame formed without correct size: 2304\n"});
}
