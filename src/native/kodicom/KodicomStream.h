#pragma once

#include "model/decoder/LentPictures.h"
#include "model/decoder/SampleDescription.h"
#include "model/decoder/Stream.h"
#include "native/kodicom/KodicomDecoder.h"

#include <memory>
#include <vector>

namespace Vorn::Vorncast {

// The pictures of one channel across the spans of a Kodicom folder. The stream stands in one span
// at a time, which holds its index while the stream is there.
class KodicomStream : public Stream {
public:
    KodicomStream(BixBoxFiles* files, int32_t channel);
    ~KodicomStream() override;

    // Stands before the first picture of the channel's first span.
    int Start();
    // Leaves the present span; the next step forward ends, the next step back starts again from the end.
    void Leave();

    int GoToTime(SeekRequest request, Sample* sample) override;
    int GetNextSample(SampleRequest request, Sample* sample) override;
    int GetPreviousSample(SampleRequest request, Sample* sample) override;
    SampleDescription* GetSampleDescription(int descriptionHandle) override;
    // A sample shows its channel's running picture rather than a copy; letting it go gives it back.
    int ReleaseSample(Sample sample) override;

private:
    enum Position : int32_t { BeforeStart = 0, OnSample = 1, AfterEnd = 2 };

    int MakeCurrent(int32_t file);
    // The next span holding the channel from `file` on in `direction` (1 or -1), or -1.
    int32_t SpanWithChannel(int32_t file, int32_t direction) const;
    int ChooseSpan(int64_t target, int32_t* chosen);
    int Deliver(int32_t frame, const SampleRequest& request, Sample* sample);
    VideoSampleDescription* DescriptionOf(int32_t width, int32_t height);

    BixBoxFiles* files;
    int32_t channel;
    int32_t currentFile = -1;
    int32_t currentFrame = -1;
    int32_t position = BeforeStart;
    std::vector<std::unique_ptr<VideoSampleDescription>> descriptions;
    LentPictures lent;
};

} // namespace Vorn::Vorncast
