#include "MissingTool.h"
#include "codecs/audio/IppDecoderAACAudio.h"
#include "codecs/audio/IppDecoderAC3Audio.h"
#include "codecs/audio/IppDecoderAMRAudio.h"
#include "codecs/audio/IppDecoderMP3Audio.h"
#include "fixtures/codecs/CodecTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<int16_t> Samples(const Bytes& output, int32_t bytes) {
    std::vector<int16_t> samples(static_cast<size_t>(bytes) / 2);
    std::memcpy(samples.data(), output.data(), samples.size() * 2);
    return samples;
}

int32_t LargestDifference(const std::vector<int16_t>& a, const std::vector<int16_t>& b) {
    int32_t largest = 0;
    for (size_t index = 0; index < std::min(a.size(), b.size()); ++index) {
        largest = std::max(largest, std::abs(a[index] - b[index]));
    }
    return largest;
}

// Decodes every frame through the adapter and checks it against libavcodec's own decode.
void ExpectFramesLikeLibavcodec(IppAudioDecoder& adapter, const EncodedAudio& audio, AVCodecID codec,
                                int32_t expectedBytes, int32_t tolerance) {
    const auto reference = ReferenceDecodeAudio(codec, audio);
    Bytes output(0x10000);
    for (size_t index = 0; index < audio.frames.size(); ++index) {
        const Bytes& frame = audio.frames[index].data;
        if (reference[index].empty()) {
            continue;
        }
        ASSERT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                                   static_cast<int32_t>(output.size())))
            << index;
        ASSERT_EQ(adapter.GetDecodedBytes(), expectedBytes) << index;
        EXPECT_LE(LargestDifference(Samples(output, expectedBytes), reference[index]), tolerance) << index;
    }
}

} // namespace

TEST(Mp3AudioAdapterTest, LayerTwoFramesDecodeOneOrSeveralACall) {
    EncodedAudio audio;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 2, 6, &audio));
    IppDecoderMP3Audio adapter;
    ASSERT_TRUE(adapter.Initialise());
    ExpectFramesLikeLibavcodec(adapter, audio, AV_CODEC_ID_MP2, 1152 * 2 * 2, 0);
    EXPECT_EQ(adapter.GetSampleRate(), 48000);
    EXPECT_EQ(adapter.GetChannels(), 2);

    Bytes three;
    for (int index = 1; index <= 3; ++index) {
        three.insert(three.end(), audio.frames[index].data.begin(), audio.frames[index].data.end());
    }
    Bytes output(3 * 4608);
    ASSERT_TRUE(adapter.Decode(three.data(), static_cast<int32_t>(three.size()), output.data(),
                               static_cast<int32_t>(output.size())));
    EXPECT_EQ(adapter.GetDecodedBytes(), 3 * 4608);
    EXPECT_FALSE(adapter.Decode(three.data(), static_cast<int32_t>(three.size()), output.data(), 2 * 4608));
    EXPECT_EQ(adapter.GetDecodedBytes(), 0);
}

TEST(Mp3AudioAdapterTest, LayerThreeFramesDecode) {
    if (!HasEncoder("libmp3lame")) {
        SKIP_OR_FAIL_FOR_MISSING("the libmp3lame encoder");
    }
    EncodedAudio audio;
    ASSERT_TRUE(EncodeAudio("libmp3lame", 44100, 2, 6, &audio));
    IppDecoderMP3Audio adapter;
    ASSERT_TRUE(adapter.Initialise());
    ExpectFramesLikeLibavcodec(adapter, audio, AV_CODEC_ID_MP3, 1152 * 2 * 2, 1);
    EXPECT_EQ(adapter.GetSampleRate(), 44100);
}

TEST(Mp3AudioAdapterTest, GarbageSmallOutputAndClosedEngineFail) {
    EncodedAudio audio;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 1, 2, &audio));
    const Bytes& frame = audio.frames[0].data;
    IppDecoderMP3Audio adapter;
    Bytes output(4608, 0x33);
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 4608));
    ASSERT_TRUE(adapter.Initialise());
    ASSERT_TRUE(adapter.Initialise());
    Bytes garbage(600, 0x12);
    EXPECT_FALSE(adapter.Decode(garbage.data(), static_cast<int32_t>(garbage.size()), output.data(), 4608));
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 1152 * 2 - 1));
    EXPECT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 1152 * 2));
    EXPECT_EQ(adapter.GetDecodedBytes(), 1152 * 2);
    adapter.Close();
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 4608));
}

TEST(AacAudioAdapterTest, RawFramesNeedTheConfigurationAndAdtsFramesDoNot) {
    EncodedAudio audio;
    ASSERT_TRUE(EncodeAudio("aac", 44100, 2, 6, &audio));
    ASSERT_FALSE(audio.extradata.empty());
    IppDecoderAACAudio adapter;
    ASSERT_TRUE(adapter.Initialise(audio.extradata.data(), static_cast<int32_t>(audio.extradata.size())));
    ExpectFramesLikeLibavcodec(adapter, audio, AV_CODEC_ID_AAC, 1024 * 2 * 2, 1);

    // The same frames behind ADTS headers (AAC LC, 44100 Hz: frequency index 4, two channels).
    EncodedAudio adts = audio;
    adts.extradata.clear();
    for (EncodedFrame& frame : adts.frames) {
        const size_t length = frame.data.size() + 7;
        Bytes header = {0xFF,
                        0xF1,
                        static_cast<uint8_t>((1 << 6) | (4 << 2)),
                        static_cast<uint8_t>((2 << 6) | (length >> 11)),
                        static_cast<uint8_t>(length >> 3),
                        static_cast<uint8_t>(((length & 7) << 5) | 0x1F),
                        0xFC};
        frame.data.insert(frame.data.begin(), header.begin(), header.end());
    }
    IppDecoderAACAudio bare;
    ASSERT_TRUE(bare.Initialise());
    ExpectFramesLikeLibavcodec(bare, adts, AV_CODEC_ID_AAC, 1024 * 2 * 2, 1);

    IppDecoderAACAudio unconfigured;
    ASSERT_TRUE(unconfigured.Initialise());
    Bytes output(8192);
    const Bytes& raw = audio.frames[1].data;
    EXPECT_FALSE(unconfigured.Decode(raw.data(), static_cast<int32_t>(raw.size()), output.data(), 8192));
}

TEST(Ac3AudioAdapterTest, OutputIsAlwaysTwoChannels) {
    for (int32_t channels : {6, 2, 1}) {
        EncodedAudio audio;
        ASSERT_TRUE(EncodeAudio("ac3", 48000, channels, 3, &audio));
        IppDecoderAC3Audio adapter;
        ASSERT_TRUE(adapter.Initialise());
        Bytes output(0x10000);
        const Bytes& frame = audio.frames[1].data;
        ASSERT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(),
                                   static_cast<int32_t>(output.size())))
            << channels;
        EXPECT_EQ(adapter.GetDecodedBytes(), 1536 * 2 * 2) << channels;
        EXPECT_EQ(adapter.GetChannels(), 2);
        EXPECT_EQ(adapter.GetSampleRate(), 48000);
        const std::vector<int16_t> samples = Samples(output, adapter.GetDecodedBytes());
        int32_t loudest = 0;
        bool channelsEqual = true;
        for (size_t index = 0; index + 1 < samples.size(); index += 2) {
            loudest = std::max(loudest, std::abs(static_cast<int32_t>(samples[index])));
            channelsEqual = channelsEqual && samples[index] == samples[index + 1];
        }
        EXPECT_GT(loudest, 3000) << channels;
        // The tones differ by channel, so only a mono stream gives equal channels.
        EXPECT_EQ(channelsEqual, channels == 1) << channels;
        EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 1000));
    }
}

TEST(AmrAudioAdapterTest, EachFrameGivesThreeHundredTwentyBytes) {
    IppDecoderAMRAudio adapter;
    ASSERT_TRUE(adapter.Initialise());
    Bytes output(960, 0x77);
    for (int32_t mode = 0; mode < 8; ++mode) {
        const Bytes frame = AmrFrame(mode, static_cast<uint8_t>(mode));
        ASSERT_TRUE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), 320))
            << mode;
        EXPECT_EQ(adapter.GetDecodedBytes(), 320);
        EXPECT_EQ(adapter.GetSampleRate(), IppDecoderAMRAudio::SampleRate);
        EXPECT_EQ(adapter.GetChannels(), 1);
    }

    // Three frames in one call decode as the same frames one call each.
    Bytes three;
    IppDecoderAMRAudio separate;
    ASSERT_TRUE(separate.Initialise());
    Bytes expected;
    for (int32_t mode : {7, 0, 4}) {
        const Bytes frame = AmrFrame(mode, 9);
        three.insert(three.end(), frame.begin(), frame.end());
        Bytes samples(320);
        ASSERT_TRUE(separate.Decode(frame.data(), static_cast<int32_t>(frame.size()), samples.data(), 320));
        expected.insert(expected.end(), samples.begin(), samples.end());
    }
    IppDecoderAMRAudio together;
    ASSERT_TRUE(together.Initialise());
    ASSERT_TRUE(together.Decode(three.data(), static_cast<int32_t>(three.size()), output.data(), 960));
    EXPECT_EQ(together.GetDecodedBytes(), 960);
    EXPECT_EQ(output, expected);
}

TEST(AmrAudioAdapterTest, BadModesShortFramesAndSmallOutputsLeaveTheOutputAlone) {
    IppDecoderAMRAudio adapter;
    ASSERT_TRUE(adapter.Initialise());
    Bytes output(960, 0x77);
    const Bytes good = AmrFrame(5, 1);
    Bytes comfortNoise = good;
    comfortNoise[0] = 8 << 3;
    Bytes noData = {15 << 3};
    Bytes goodThenBad = good;
    goodThenBad.insert(goodThenBad.end(), comfortNoise.begin(), comfortNoise.end());
    Bytes cut(good.begin(), good.end() - 1);
    Bytes twoFrames = good;
    twoFrames.insert(twoFrames.end(), good.begin(), good.end());

    for (const Bytes* input : {&comfortNoise, &noData, &goodThenBad, &cut}) {
        EXPECT_FALSE(adapter.Decode(input->data(), static_cast<int32_t>(input->size()), output.data(), 960));
        EXPECT_EQ(adapter.GetDecodedBytes(), 0);
    }
    EXPECT_FALSE(
        adapter.Decode(twoFrames.data(), static_cast<int32_t>(twoFrames.size()), output.data(), 639));
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](uint8_t byte) { return byte == 0x77; }));
    EXPECT_TRUE(adapter.Decode(twoFrames.data(), static_cast<int32_t>(twoFrames.size()), output.data(), 640));

    ASSERT_TRUE(adapter.Initialise());
    EXPECT_TRUE(adapter.Decode(good.data(), static_cast<int32_t>(good.size()), output.data(), 320));
}
