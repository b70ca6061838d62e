// Fuzz target for the MP3 audio adapter: MPEG audio frames of any layer.
#include "FuzzAudioAdapter.h"
#include "codecs/audio/IppDecoderMP3Audio.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderMP3Audio adapter;
    Vorn::Fuzzing::FuzzAudioAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
