#pragma once

// The shared bodies of the adapter fuzzers: the units are decoded in turn into an output of exactly
// the size the adapter asks for or states, so that a write past it shows at once.
//
// Video options: bit 0 line doubling; bit 1 the first unit is the configuration; bits 2-3 the picture
// size; bit 4 a Reset after each unit; bit 5 an output one byte short; bit 6 the buffer form of
// Decode.
// Audio options: bit 0 the first unit is the configuration; bits 1-2 the output size; bit 3 a second
// Initialise halfway through; bit 4 a Close halfway through.
#include "FuzzUnits.h"
#include "codecs/audio/IppAudioDecoder.h"
#include "codecs/video/IppDecoder.h"

#include <algorithm>
#include <vector>

namespace Vorn::Fuzzing {

struct PictureSize {
    int32_t width;
    int32_t height;
};

// The last size leaves it to the stream where the adapter allows that.
constexpr PictureSize FuzzPictureSizes[4] = {{176, 144}, {64, 48}, {352, 288}, {0, 0}};
// Room for a picture whose size comes from the stream.
constexpr int64_t StreamSizedOutputBytes = 720 * 576 * 3;

inline std::vector<uint8_t> OutputFor(const Vorn::Vorncast::Decoders::IppDecoder& adapter, bool oneShort) {
    int64_t bytes = static_cast<int64_t>(adapter.GetWidth()) * adapter.GetHeight() * 3;
    if (bytes <= 0) {
        bytes = StreamSizedOutputBytes;
    }
    if (adapter.GetLineDoubling()) {
        bytes *= 2;
    }
    return std::vector<uint8_t>(static_cast<size_t>(oneShort && bytes > 0 ? bytes - 1 : bytes));
}

// What Decode is told the output holds: with line doubling the check counts single lines only,
// so the caller halves the room it states.
inline int32_t StatedSize(const Vorn::Vorncast::Decoders::IppDecoder& adapter,
                          const std::vector<uint8_t>& output) {
    return static_cast<int32_t>(adapter.GetLineDoubling() ? output.size() / 2 : output.size());
}

template <class Adapter> void DecodeUnits(Adapter& adapter, const UnitInput& input, size_t first) {
    for (size_t index = first; index < input.units.size(); ++index) {
        const Unit& unit = input.units[index];
        std::vector<uint8_t> output = OutputFor(adapter, input.Option(5));
        // The buffer form states the whole array as the output, so it serves single lines only.
        if (input.Option(6) && !adapter.GetLineDoubling()) {
            Buffer in = Buffer::FromBytes(unit.data(), SizeOf(unit));
            Buffer out(static_cast<int32_t>(output.size()));
            adapter.IppDecoder::Decode(in, 0, out, 0);
        } else {
            adapter.Decode(unit.data(), SizeOf(unit), output.data(), StatedSize(adapter, output));
        }
        adapter.GetFrameType();
        if (input.Option(4)) {
            adapter.Reset();
        }
    }
}

// Initialises the adapter from the options and decodes every unit.
template <class Adapter> void FuzzVideoAdapter(Adapter& adapter, const UnitInput& input) {
    const PictureSize size = FuzzPictureSizes[input.Choice(2)];
    const bool withConfig = input.Option(1) && input.units.size() > 1;
    const Unit& config = input.units.front();
    adapter.Initialise(size.width, size.height, 3, input.Option(0), withConfig ? config.data() : nullptr,
                       withConfig ? SizeOf(config) : 0);
    DecodeUnits(adapter, input, withConfig ? 1 : 0);
}

// Then the held-back pictures flushed out (H.264).
template <class Adapter> void FuzzFlushingVideoAdapter(Adapter& adapter, const UnitInput& input) {
    constexpr int MaxFlushes = 20;
    FuzzVideoAdapter(adapter, input);
    std::vector<uint8_t> output = OutputFor(adapter, false);
    for (int flush = 0; flush < MaxFlushes; ++flush) {
        if (!adapter.Flush(output.data(), StatedSize(adapter, output))) {
            break;
        }
    }
}

// The size parse of every unit first, and with option bit 7 no Initialise: the first Decode opens the
// engine with the size left to the stream (MPEG-2).
template <class Adapter> void FuzzSizedVideoAdapter(Adapter& adapter, const UnitInput& input) {
    for (const Unit& unit : input.units) {
        int32_t width = 0, height = 0, planes = 0;
        Adapter::ParseImageFormat(unit.data(), SizeOf(unit), &width, &height, &planes);
    }
    if (input.Option(7)) {
        DecodeUnits(adapter, input, 0);
    } else {
        FuzzVideoAdapter(adapter, input);
    }
}

// Whole DV frames, whose 50/60 flag chooses the height; a frame's own flag may change it, so the output
// is sized for the taller picture (DV25).
template <class Adapter> void FuzzDvAdapter(Adapter& adapter, const UnitInput& input) {
    adapter.Initialise(0, input.Option(2) ? Adapter::Height60 : Adapter::Height50, 3, input.Option(0));
    const int32_t lines = Adapter::Height50 * (input.Option(0) ? 2 : 1);
    for (const Unit& unit : input.units) {
        std::vector<uint8_t> output(static_cast<size_t>(Adapter::Width) * lines * 3);
        int32_t stated = static_cast<int32_t>(input.Option(0) ? output.size() / 2 : output.size());
        if (input.Option(5)) {
            stated = std::min(stated, Adapter::Width * Adapter::Height60 * 3);
        }
        adapter.Decode(unit.data(), SizeOf(unit), output.data(), stated);
        if (input.Option(4)) {
            adapter.Reset();
        }
    }
}

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
