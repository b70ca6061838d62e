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
#include <memory>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;

namespace {

using Bytes = std::vector<uint8_t>;

int16_t SampleAt(const Bytes& output, size_t index) {
    int16_t sample = 0;
    std::memcpy(&sample, &output[index * 2], 2);
    return sample;
}

bool Feed(IppAudioDecoder& adapter, const Bytes& input, Bytes& output, size_t room) {
    return adapter.Decode(input.data(), static_cast<int32_t>(input.size()), output.data(),
                          static_cast<int32_t>(room));
}

// The same AAC frames behind ADTS headers (AAC LC, 44100 Hz: frequency index 4, two channels).
void PutBehindAdts(EncodedAudio* audio) {
    audio->extradata.clear();
    for (EncodedFrame& frame : audio->frames) {
        const size_t length = frame.data.size() + 7;
        Bytes header = {0xFF, 0xF1, 0x50, 0x80, 0, 0x1F, 0xFC};
        header[3] |= static_cast<uint8_t>(length >> 11);
        header[4] = static_cast<uint8_t>(length >> 3);
        header[5] |= static_cast<uint8_t>((length & 7) << 5);
        frame.data.insert(frame.data.begin(), header.begin(), header.end());
    }
}

} // namespace

// Every frame as libavcodec decodes it, with the stream's rate and channels: MPEG audio layers 2
// and 3, AAC raw with its configuration and behind ADTS headers without one.
TEST(AudioAdapters, FramesDecodeLikeLibavcodec) {
    const struct {
        const char* encoder;
        int32_t sampleRate;
        AVCodecID codec;
        int32_t frameBytes, tolerance;
        bool adts;
    } cases[] = {{"mp2", 48000, AV_CODEC_ID_MP2, 1152 * 4, 0, false},
                 {"libmp3lame", 44100, AV_CODEC_ID_MP3, 1152 * 4, 1, false},
                 {"aac", 44100, AV_CODEC_ID_AAC, 1024 * 4, 1, false},
                 {"aac", 44100, AV_CODEC_ID_AAC, 1024 * 4, 1, true}};
    for (const auto& c : cases) {
        if (!HasEncoder(c.encoder)) {
            SKIP_OR_FAIL_FOR_MISSING(std::string("the ") + c.encoder + " encoder");
        }
        EncodedAudio audio;
        ASSERT_TRUE(EncodeAudio(c.encoder, c.sampleRate, 2, 6, &audio));
        if (c.adts) {
            PutBehindAdts(&audio);
        }
        const auto reference = ReferenceDecodeAudio(c.codec, audio);
        std::unique_ptr<IppAudioDecoder> adapter = std::make_unique<IppDecoderMP3Audio>();
        if (c.codec == AV_CODEC_ID_AAC) {
            adapter = std::make_unique<IppDecoderAACAudio>();
        }
        ASSERT_TRUE(
            adapter->Initialise(audio.extradata.data(), static_cast<int32_t>(audio.extradata.size())));
        Bytes output(0x10000);
        for (size_t index = 0; index < audio.frames.size(); ++index) {
            const Bytes& frame = audio.frames[index].data;
            if (reference[index].empty()) {
                continue;
            }
            ASSERT_TRUE(Feed(*adapter, frame, output, 0x10000)) << c.encoder << " " << index;
            ASSERT_EQ(adapter->GetDecodedBytes(), c.frameBytes) << index;
            for (size_t at = 0; at < reference[index].size(); ++at) {
                ASSERT_LE(std::abs(SampleAt(output, at) - reference[index][at]), c.tolerance)
                    << c.encoder << index;
            }
        }
        EXPECT_EQ(adapter->GetSampleRate(), c.sampleRate);
        EXPECT_EQ(adapter->GetChannels(), 2);
    }
}

// Several MPEG audio frames in one call decode together, and must all fit the output; raw AAC
// frames need the configuration.
TEST(AudioAdapters, SeveralFramesACallAndFailures) {
    EncodedAudio audio;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 1, 4, &audio));
    IppDecoderMP3Audio adapter;
    Bytes output(3 * 2304, 0x33);
    const Bytes& frame = audio.frames[0].data;
    EXPECT_FALSE(Feed(adapter, frame, output, 2304));
    ASSERT_TRUE(adapter.Initialise());
    ASSERT_TRUE(adapter.Initialise());
    Bytes three;
    for (int index = 1; index <= 3; ++index) {
        three.insert(three.end(), audio.frames[index].data.begin(), audio.frames[index].data.end());
    }
    ASSERT_TRUE(Feed(adapter, three, output, 3 * 2304));
    EXPECT_EQ(adapter.GetDecodedBytes(), 3 * 2304);
    EXPECT_FALSE(Feed(adapter, three, output, 2 * 2304));
    EXPECT_EQ(adapter.GetDecodedBytes(), 0);
    EXPECT_FALSE(Feed(adapter, Bytes(600, 0x12), output, 2304));
    adapter.Close();
    EXPECT_FALSE(Feed(adapter, frame, output, 2304));

    EncodedAudio aac;
    ASSERT_TRUE(EncodeAudio("aac", 44100, 2, 2, &aac));
    IppDecoderAACAudio unconfigured;
    ASSERT_TRUE(unconfigured.Initialise());
    EXPECT_FALSE(Feed(unconfigured, aac.frames[1].data, output, 6912));
}

TEST(Ac3AudioAdapterTest, OutputIsAlwaysTwoChannels) {
    for (int32_t channels : {6, 2, 1}) {
        EncodedAudio audio;
        ASSERT_TRUE(EncodeAudio("ac3", 48000, channels, 3, &audio));
        IppDecoderAC3Audio adapter;
        ASSERT_TRUE(adapter.Initialise());
        Bytes output(0x10000);
        const Bytes& frame = audio.frames[1].data;
        ASSERT_TRUE(Feed(adapter, frame, output, output.size())) << channels;
        EXPECT_EQ(adapter.GetDecodedBytes(), 1536 * 2 * 2) << channels;
        EXPECT_EQ(adapter.GetChannels(), 2);
        EXPECT_EQ(adapter.GetSampleRate(), 48000);
        int32_t loudest = 0;
        bool channelsEqual = true;
        for (size_t index = 0; index < 1536 * 2; index += 2) {
            loudest = std::max(loudest, std::abs(static_cast<int32_t>(SampleAt(output, index))));
            channelsEqual = channelsEqual && SampleAt(output, index) == SampleAt(output, index + 1);
        }
        EXPECT_GT(loudest, 3000) << channels;
        // The tones differ by channel, so only a mono stream gives equal channels.
        EXPECT_EQ(channelsEqual, channels == 1) << channels;
        EXPECT_FALSE(Feed(adapter, frame, output, 1000));
    }
}

TEST(AmrAudioAdapterTest, SeveralFramesInOneCallDecodeAsOneCallEachAndBadOnesLeaveTheOutput) {
    Bytes three;
    IppDecoderAMRAudio separate;
    ASSERT_TRUE(separate.Initialise());
    Bytes expected;
    for (int32_t mode : {7, 0, 4}) {
        const Bytes frame = AmrFrame(mode, 9);
        three.insert(three.end(), frame.begin(), frame.end());
        Bytes samples(320);
        ASSERT_TRUE(Feed(separate, frame, samples, 320));
        EXPECT_EQ(separate.GetDecodedBytes(), 320);
        expected.insert(expected.end(), samples.begin(), samples.end());
    }
    IppDecoderAMRAudio together;
    ASSERT_TRUE(together.Initialise());
    Bytes output(960, 0x77);
    ASSERT_TRUE(Feed(together, three, output, 960));
    EXPECT_EQ(together.GetDecodedBytes(), 960);
    EXPECT_EQ(output, expected);

    // Bad modes, short frames and small outputs leave the output alone.
    IppDecoderAMRAudio& adapter = together;
    std::fill(output.begin(), output.end(), 0x77);
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
        EXPECT_FALSE(Feed(adapter, *input, output, 960));
        EXPECT_EQ(adapter.GetDecodedBytes(), 0);
    }
    EXPECT_FALSE(Feed(adapter, twoFrames, output, 639));
    EXPECT_TRUE(std::all_of(output.begin(), output.end(), [](uint8_t byte) { return byte == 0x77; }));
    EXPECT_TRUE(Feed(adapter, twoFrames, output, 640));

    ASSERT_TRUE(adapter.Initialise());
    EXPECT_TRUE(Feed(adapter, good, output, 320));
}
