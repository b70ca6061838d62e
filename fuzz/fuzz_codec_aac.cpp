// Fuzz target for the AAC audio adapter: an AudioSpecificConfig or none, then raw or ADTS frames.
#include "FuzzAudioAdapter.h"
#include "codecs/audio/IppDecoderAACAudio.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderAACAudio adapter;
    Vorn::Fuzzing::FuzzAudioAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
