// Fuzz target for the H.263 adapter: frames in decoding order.
#include "FuzzVideoAdapter.h"
#include "codecs/video/IppDecoderH263.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderH263 adapter;
    Vorn::Fuzzing::FuzzVideoAdapter(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
