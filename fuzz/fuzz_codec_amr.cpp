// Fuzz target for the AMR audio adapter: storage-format AMR frames, several to a unit.
#include "FuzzAudioAdapter.h"
#include "codecs/audio/IppDecoderAMRAudio.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderAMRAudio adapter;
    Vorn::Fuzzing::FuzzAudioAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
