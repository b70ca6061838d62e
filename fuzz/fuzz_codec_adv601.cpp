// Fuzz target for the ADV601 codec: the input is one field, decoded at both field heights.
#include "codecs/adv601/ADV601Decoder.h"

#include <vector>

using Vorn::Vorncast::Decoders::ADV601Decoder;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static ADV601Decoder decoder;
    static std::vector<uint8_t> picture(ADV601Decoder::OutputSize(true));
    for (bool tallField : {true, false}) {
        // The decoder may turn byte-reversed words round in place, so it gets a copy of its own.
        std::vector<uint8_t> field(data, data + size);
        decoder.Decode(tallField, size % 2 == 1, field.data(), static_cast<int32_t>(field.size()),
                       picture.data());
    }
    return 0;
}
