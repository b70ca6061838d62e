// Fuzz target for the DV25 adapter: whole DV frames, whose 50/60 flag chooses the height.
#include "FuzzVideoAdapter.h"
#include "codecs/video/IppDecoderDV25.h"

#include <algorithm>

using Vorn::Vorncast::Decoders::IppDecoderDV25;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Vorn::Fuzzing::UnitInput input = Vorn::Fuzzing::SplitUnits(data, size);
    IppDecoderDV25 adapter;
    adapter.Initialise(0, input.Option(2) ? IppDecoderDV25::Height60 : IppDecoderDV25::Height50, 3,
                       input.Option(0));
    // A frame's own flag may change the height, so the output is sized for the taller picture.
    const int32_t lines = IppDecoderDV25::Height50 * (input.Option(0) ? 2 : 1);
    for (const Vorn::Fuzzing::Unit& unit : input.units) {
        std::vector<uint8_t> output(static_cast<size_t>(IppDecoderDV25::Width) * lines * 3);
        int32_t stated = static_cast<int32_t>(input.Option(0) ? output.size() / 2 : output.size());
        if (input.Option(5)) {
            stated = std::min(stated, IppDecoderDV25::Width * IppDecoderDV25::Height60 * 3);
        }
        adapter.Decode(unit.data(), Vorn::Fuzzing::SizeOf(unit), output.data(), stated);
        if (input.Option(4)) {
            adapter.Reset();
        }
    }
    return 0;
}
