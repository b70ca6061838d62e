// Fuzz target for the video decompressor bridge: a stream opened under a private code for one of
// a few stream FourCCs, then its frames decompressed into a DIB of the size the output format
// gives.
//
// Options: bits 0-2 the codec; bit 3 the first unit is the whole stream format rather than the
// codec bytes behind a header of the chosen size; bits 4-5 the picture size; bit 6 a DIB one byte
// short; bit 7 a Close and a second Initialise halfway through.
#include "FuzzUnits.h"
#include "codecs/vfw/VFWDecoder.h"

#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Fuzzing;

namespace {

struct Codec {
    const char privateCode[5];
    const char streamFourCC[5];
};

constexpr Codec Codecs[8] = {{"lkz3", "XVID"}, {"lkz0", "H263"}, {"lkz1", "MP43"}, {"lkz4", "H264"},
                             {"lkz7", "MJPG"}, {"lkz6", "ADV1"}, {"lkz7", "TJPG"}, {"RGB2", "RGB2"}};
constexpr int32_t Sizes[4][2] = {{176, 144}, {64, 48}, {720, 288}, {98, 66}};

std::vector<uint8_t> StreamFormat(const UnitInput& input, const Codec& codec) {
    const Unit& first = input.units.front();
    if (input.Option(3)) {
        return first;
    }
    const uint32_t size = BitmapInfoHeaderSize + static_cast<uint32_t>(first.size());
    const int32_t* sides = Sizes[input.Choice(4)];
    const BitmapInfoHeader header{size, sides[0], sides[1], 1, 24, FourCCLE(codec.streamFourCC)};
    std::vector<uint8_t> format(BitmapInfoHeaderSize);
    header.Write(format.data());
    format.insert(format.end(), first.begin(), first.end());
    return format;
}

int32_t Open(VFWDecoder& decoder, const Codec& codec, const std::vector<uint8_t>& format) {
    uint8_t outFormat[VFWDecoder::CallerFormatBytes] = {};
    return decoder.Initialise(FourCCLE(codec.privateCode), format.data(),
                              static_cast<uint32_t>(format.size()), outFormat);
}

void DecompressFrame(VFWDecoder& decoder, const UnitInput& input, const Unit& frame, uint32_t index) {
    std::vector<uint8_t> dib = PictureOutput(decoder.OutputImageSize(), input.Option(6));
    uint8_t frameFormat[VFWDecoder::CallerFormatBytes] = {};
    decoder.Decompress(frame.data(), static_cast<uint32_t>(frame.size()), frameFormat, dib.data(),
                       static_cast<uint32_t>(dib.size()), 0, index);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const UnitInput input = SplitUnits(data, size);
    const Codec& codec = Codecs[input.options & 7];
    const std::vector<uint8_t> format = StreamFormat(input, codec);
    VFWDecoder decoder;
    Open(decoder, codec, format);
    const size_t middle = 1 + (input.units.size() - 1) / 2;
    for (size_t index = 1; index < input.units.size(); ++index) {
        if (index == middle && input.Option(7)) {
            decoder.Close();
            Open(decoder, codec, format);
        }
        DecompressFrame(decoder, input, input.units[index], static_cast<uint32_t>(index));
    }
    return 0;
}
