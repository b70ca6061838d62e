#pragma once

#include "model/support/Visibility.h"

#include "model/support/DynamicClass.h"

#include <cstdint>

namespace Vorn::Vorncast {

// Describes the data of samples; its handle is what Sample.descriptionHandle holds.
class VORN_PLUGIN_API SampleDescription : public DynamicClass {};

class VORN_PLUGIN_API VideoSampleDescription : public SampleDescription {
public:
    int32_t width = 0;
    int32_t height = 0;
    int16_t bytesPerPixel = 3; // 3 colour (blue, green, red), 1 monochrome
    int32_t aspectNumerator = 1;
    int32_t aspectDenominator = 1;
    int32_t format = 1;

    int32_t ImageBytes() const { return width * height * bytesPerPixel; }
};

class VORN_PLUGIN_API AudioSampleDescription : public SampleDescription {
public:
    int32_t sampleRate = 0;
    int32_t bitsPerSample = 0;
    int32_t channels = 0;
    int32_t maxSampleBytes = 0; // buffer size one decoded audio sample can need
};

} // namespace Vorn::Vorncast
