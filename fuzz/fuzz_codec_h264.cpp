// Fuzz target for the H.264 adapter: an avcC record or parameter sets, access units behind start
// codes or length prefixes, then the held-back pictures flushed out.
#include "FuzzVideoAdapter.h"
#include "codecs/video/IppDecoderH264.h"

namespace {
constexpr int MaxFlushes = 20;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Vorn::Vorncast::Decoders::IppDecoderH264 adapter;
    const Vorn::Fuzzing::UnitInput input = Vorn::Fuzzing::SplitUnits(data, size);
    Vorn::Fuzzing::FuzzVideoAdapter(adapter, input);
    std::vector<uint8_t> output = Vorn::Fuzzing::OutputFor(adapter, false);
    for (int flush = 0; flush < MaxFlushes; ++flush) {
        if (!adapter.Flush(output.data(), Vorn::Fuzzing::StatedSize(adapter, output))) {
            break;
        }
    }
    return 0;
}
