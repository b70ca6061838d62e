// Fuzz target for the MPEG-2 video adapter: a sequence header as configuration or none, the
// picture size from the caller or from the stream, and the size parse of every unit.
#include "FuzzVideoAdapter.h"
#include "codecs/video/IppDecoderMPEG2.h"

using Vorn::Vorncast::Decoders::IppDecoderMPEG2;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Vorn::Fuzzing::UnitInput input = Vorn::Fuzzing::SplitUnits(data, size);
    for (const Vorn::Fuzzing::Unit& unit : input.units) {
        int32_t width = 0, height = 0, planes = 0;
        IppDecoderMPEG2::ParseImageFormat(unit.data(), Vorn::Fuzzing::SizeOf(unit), &width, &height, &planes);
    }
    IppDecoderMPEG2 adapter;
    if (input.Option(7)) {
        // Never initialised: the first Decode opens the engine with the size left to the stream.
        Vorn::Fuzzing::DecodeUnits(adapter, input, 0);
    } else {
        Vorn::Fuzzing::FuzzVideoAdapter(adapter, input);
    }
    return 0;
}
