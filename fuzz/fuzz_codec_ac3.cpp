// Fuzz target for the AC3 audio adapter: AC-3 frames, downmixed to two channels.
#include "FuzzAudioAdapter.h"
#include "codecs/audio/IppDecoderAC3Audio.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderAC3Audio adapter;
    Vorn::Fuzzing::FuzzAudioAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
