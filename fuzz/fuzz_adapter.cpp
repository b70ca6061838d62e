// Fuzz target for an audio or video adapter whose fuzzer is the shared body alone, chosen at build
// time: FUZZ_ADAPTER names the class, FUZZ_ADAPTER_HEADER its header and FUZZ_ADAPTER_BODY the body,
// FuzzAudioAdapter or FuzzVideoAdapter.
#include "FuzzAdapters.h"
#include FUZZ_ADAPTER_HEADER

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::FUZZ_ADAPTER adapter;
    Vorn::Fuzzing::FUZZ_ADAPTER_BODY(adapter, Vorn::Fuzzing::SplitUnits(data, size));
    return 0;
}
