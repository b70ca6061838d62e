// Fuzz target for the MPEG-4 part 2 adapter: a configuration (VOL header) and frames.
#include "FuzzVideoAdapter.h"
#include "codecs/video/IppDecoderMPEG4.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderMPEG4 adapter;
    Vorn::Fuzzing::FuzzVideoAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
