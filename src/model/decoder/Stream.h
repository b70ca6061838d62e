#pragma once

#include "model/support/Visibility.h"

#include "model/decoder/ModelTypes.h"
#include "model/decoder/SampleDescription.h"
#include "model/support/Buffer.h"
#include "model/support/DynamicClass.h"

namespace Vorn::Vorncast {

// One stream of a track: video (type 1) or audio (type 2), stepped and sought by stream time.
class VORN_PLUGIN_API Stream : public DynamicClass {
public:
    virtual int GoToTime(SeekRequest request, Sample* sample) = 0;
    virtual int GetNextSample(SampleRequest request, Sample* sample) = 0;
    virtual int GetPreviousSample(SampleRequest request, Sample* sample) = 0;
    // Frees the data of a sample this stream delivered.
    virtual int ReleaseSample(Sample sample);
    // The description behind a handle of this stream's, or null for any other handle.
    virtual SampleDescription* GetSampleDescription(int descriptionHandle) = 0;

    void SetName(const Buffer& text);
    StreamInfo Info() const { return {nameSize, streamNumber, type}; }

    Buffer name;
    int32_t nameSize = 0;
    int32_t streamNumber = 0;
    int32_t type = 0;
};

} // namespace Vorn::Vorncast
