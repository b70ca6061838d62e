#pragma once

// The shared body of the audio adapter fuzzers: every unit is decoded into an output of exactly
// the stated size, so that a write past it shows at once.
//
// Options: bit 0 the first unit is the configuration; bits 1-2 the output size; bit 3 a second
// Initialise halfway through; bit 4 a Close halfway through.
#include "FuzzUnits.h"
#include "codecs/audio/IppAudioDecoder.h"

#include <vector>

namespace Vorn::Fuzzing {

// From room for several frames down to less than one frame of any codec.
constexpr int32_t FuzzAudioOutputSizes[4] = {0x10000, 4608, 320, 7};

template <class Adapter> void FuzzAudioAdapter(Adapter& adapter, const UnitInput& input) {
    const bool withConfig = input.Option(0) && input.units.size() > 1;
    const Unit& config = input.units.front();
    adapter.Initialise(withConfig ? config.data() : nullptr, withConfig ? SizeOf(config) : 0);
    const size_t first = withConfig ? 1 : 0;
    const size_t middle = first + (input.units.size() - first) / 2;
    for (size_t index = first; index < input.units.size(); ++index) {
        if (index == middle && input.Option(3)) {
            adapter.Initialise(withConfig ? config.data() : nullptr, withConfig ? SizeOf(config) : 0);
        }
        if (index == middle && input.Option(4)) {
            adapter.Close();
        }
        const Unit& unit = input.units[index];
        std::vector<uint8_t> output(static_cast<size_t>(FuzzAudioOutputSizes[input.Choice(1)]));
        adapter.Decode(unit.data(), SizeOf(unit), output.data(), static_cast<int32_t>(output.size()));
        adapter.GetDecodedBytes();
    }
}

} // namespace Vorn::Fuzzing
