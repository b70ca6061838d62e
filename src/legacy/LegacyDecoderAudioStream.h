#pragma once

#include "legacy/LegacyDecoderStream.h"
#include "model/decoder/SampleDescription.h"

namespace Vorn::Vorncast {

// The audio of a track: PCM blocks as the core's audio format gives them, on channel 0.
class LegacyDecoderAudioStream : public LegacyDescribedStream<AudioSampleDescription> {
public:
    LegacyDecoderAudioStream(const LegacyStreamSetup& setup, const Decoders::AudioInfo& audio);

    // Always decodes; the sample's size is the whole block a decoded sample may need.
    int DecompressSample(int32_t frameIndex, SampleRequest request, Sample* sample) override;

protected:
    int32_t NextFrame(int32_t frame) override;
    int32_t PreviousFrame(int32_t frame) override;
    int32_t FrameAtStreamTime(int64_t time) override;
    int ChannelOfFrame(int32_t index, int32_t* channel) override;
};

} // namespace Vorn::Vorncast
