// Fuzz target for the MPEG-2 program stream: the packet parser over each unit, the gathering of
// a stream in place and into a small output, and the adapter's video and audio decodes with the
// frames in turn.
//
// Options: bit 0 line doubling; bits 2-3 the picture size (the last leaves it to the stream);
// bit 4 audio first; bit 5 an output one byte short.
#include "FuzzAdapters.h"
#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
#include "codecs/mpeg2ps/ProgramStream.h"

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Fuzzing;

namespace {

constexpr int MaxPackets = 1000;

void ReadPackets(const Unit& unit) {
    PacketReader reader(unit.data(), SizeOf(unit));
    Packet packet;
    for (int count = 0; count < MaxPackets && ReadNextPacket(reader, packet); ++count) {
        if (packet.payloadStart < 0 || packet.payloadStart > packet.payloadEnd ||
            packet.payloadEnd > SizeOf(unit)) {
            __builtin_trap();
        }
    }
}

void GatherStreams(const Unit& unit) {
    for (int32_t streamId : {0xE0, 0xC0, 0xBD}) {
        Unit inPlace = unit;
        int32_t written = 0;
        if (GetStream(inPlace.data(), streamId, SizeOf(inPlace), inPlace.data(), SizeOf(inPlace), &written,
                      nullptr) &&
            (written < 0 || written > SizeOf(inPlace))) {
            __builtin_trap();
        }
        std::vector<uint8_t> small(unit.size() / 3);
        PacketReader reader;
        GetStream(unit.data(), streamId, SizeOf(unit), small.data(), static_cast<int32_t>(small.size()),
                  &written, &reader);
    }
}

void DecodeVideo(IppDecoderMPEG2PS& adapter, const UnitInput& input, const Unit& unit) {
    std::vector<uint8_t> output = OutputFor(adapter, input.Option(5));
    adapter.Decode(unit.data(), SizeOf(unit), output.data(), StatedSize(adapter, output));
}

void DecodeAudio(IppDecoderMPEG2PS& adapter, const UnitInput& input, const Unit& unit) {
    std::vector<uint8_t> output(IppDecoderMPEG2PS::AudioFrameBytes * 2 - (input.Option(5) ? 1 : 0));
    adapter.DecodeAudio(unit.data(), SizeOf(unit), output.data(), static_cast<int32_t>(output.size()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const UnitInput input = SplitUnits(data, size);
    const PictureSize pictureSize = FuzzPictureSizes[input.Choice(2)];
    IppDecoderMPEG2PS adapter;
    adapter.Initialise(pictureSize.width, pictureSize.height, 3, input.Option(0));
    for (const Unit& unit : input.units) {
        ReadPackets(unit);
        GatherStreams(unit);
        int32_t width = 0, height = 0, planes = 0;
        IppDecoderMPEG2PS::ParseImageFormat(unit.data(), SizeOf(unit), &width, &height, &planes);
        for (const bool audio : {input.Option(4), !input.Option(4)}) {
            audio ? DecodeAudio(adapter, input, unit) : DecodeVideo(adapter, input, unit);
        }
    }
    return 0;
}
