// Fuzz target for JPEG 2000: the first unit as a raw codestream or a JP2 file (both wrappings
// through the object and the one-call functions), and wrapped in a recorder's own bytes for the
// search of the picture.
//
// Options: bit 0 JP2 rather than a codestream; bit 1 an output one byte short; bit 2 the one-call
// functions rather than the object.
#include "FuzzUnits.h"
#include "codecs/jpeg2000/Jpeg2000Decoder.h"

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Fuzzing;

namespace {

// A smaller bound than the other codecs': a large picture takes the decoder too long.
std::vector<uint8_t> OutputFor(const Jpeg2000PictureInfo& info, bool oneShort) {
    return PictureOutput(int64_t{info.width} * info.height * (info.colour ? 3 : 1), oneShort, 4 << 20);
}

void DecodeKnownFormat(const UnitInput& input, const Unit& frame) {
    const Jpeg2000Format format = input.Option(0) ? Jpeg2000Format::Jp2File : Jpeg2000Format::Codestream;
    Jpeg2000Decoder decoder;
    Jpeg2000PictureInfo info;
    if (!decoder.ReadHeader(format, frame.data(), frame.size(), &info)) {
        return;
    }
    std::vector<uint8_t> output = OutputFor(info, input.Option(1));
    if (input.Option(2)) {
        Jpeg2000Decode(input.Option(0), static_cast<uint32_t>(frame.size()), frame.data(), output.data(),
                       static_cast<uint32_t>(output.size()));
    } else {
        decoder.Decode(format, frame.data(), frame.size(), output.data(), output.size(), &info);
    }
}

void DecodeAnyFormat(const UnitInput& input, const Unit& frame) {
    Jpeg2000PictureInfo info;
    if (!Jpeg2000ReadHeader(frame.data(), static_cast<uint32_t>(frame.size()), &info)) {
        return;
    }
    std::vector<uint8_t> output = OutputFor(info, input.Option(1));
    if (input.Option(2)) {
        JasperDecode(frame.data(), static_cast<uint32_t>(frame.size()), output.data(),
                     static_cast<uint32_t>(output.size()));
    } else {
        Jpeg2000Decoder decoder;
        decoder.DecodeAnyFormat(frame.data(), frame.size(), output.data(), output.size());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const UnitInput input = SplitUnits(data, size);
    const Unit& frame = input.units.front();
    DecodeKnownFormat(input, frame);
    // A second unit stands for a recorder's header in front of the picture.
    if (input.units.size() > 1) {
        Unit wrapped = input.units[1];
        wrapped.insert(wrapped.end(), frame.begin(), frame.end());
        DecodeAnyFormat(input, wrapped);
    } else {
        DecodeAnyFormat(input, frame);
    }
    return 0;
}
