#pragma once

#include "legacy/LegacyDecoderStream.h"
#include "model/decoder/LentPictures.h"
#include "model/decoder/SampleDescription.h"

#include <memory>
#include <vector>

namespace Vorn::Vorncast {

// The video of one camera channel: pictures as the core's picture format gives them.
class LegacyDecoderVideoStream : public LegacyDescribedStream<VideoSampleDescription> {
public:
    LegacyDecoderVideoStream(const LegacyStreamSetup& setup, const Decoders::ImageInfo& image);

    // A frame that fails in the normal way arrives as a black picture at its own time, so that
    // playback gets past damage; only a catastrophic failure of the core ends the step.
    int DecompressSample(int32_t frameIndex, SampleRequest request, Sample* sample) override;
    // A sample may show a picture its decoder shares instead of a copy; letting the sample go
    // gives the picture back.
    int ReleaseSample(Sample sample) override;

protected:
    int32_t NextFrame(int32_t frame) override;
    int32_t PreviousFrame(int32_t frame) override;
    int32_t FrameAtStreamTime(int64_t time) override;
    int ChannelOfFrame(int32_t index, int32_t* channel) override;

private:
    // What the core said of one frame.
    struct FrameReport {
        int32_t result;
        FrameTimes times;
        int32_t channel;
    };

    FrameReport FetchFrame(int32_t index, uint8_t* picture, int32_t size, Decoders::SharedPicture* shared);
    // A damaged frame tells nothing of itself through a failed fetch: its time and channel come
    // from its index entry.
    void LearnDamagedFrame(int32_t index, FrameReport* report);
    // Whether the frame at `index` belongs to this channel, by the core's walk of its index.
    bool IsOwnFrame(int32_t index);
    // The data of a sample: the decoder's shared picture when it has the sample's size, else `copy`.
    uint8_t* SampleData(Decoders::SharedPicture shared, std::unique_ptr<uint8_t[]> copy, int64_t size);

    // Shared pictures that samples still show, once for each sample.
    LentPictures lent;
};

} // namespace Vorn::Vorncast
