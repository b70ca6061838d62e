#pragma once

#include "model/support/Visibility.h"

#include "model/decoder/ModelTypes.h"
#include "model/decoder/Stream.h"
#include "model/support/Box.h"
#include "model/support/Buffer.h"
#include "model/support/DynamicClass.h"
#include "model/support/List.h"

namespace Vorn::Vorncast {

// A track of a decoder, usually one camera or one title. It owns its streams.
class VORN_PLUGIN_API Track : public DynamicClass {
public:
    Track();
    ~Track() override;

    void SetName(const Buffer& text);
    // Takes ownership of the stream.
    void AddStream(Stream* stream);
    int GetStream(int32_t number, Stream** out);
    TrackInfo Info() const { return {nameSize, streamCount, startTime, endTime}; }

    int32_t nameSize = 0;
    int32_t streamCount = 0;
    FrameTimes startTime{};
    FrameTimes endTime{};
    Buffer name;
    List<Box<Stream>> streams;
};

} // namespace Vorn::Vorncast
