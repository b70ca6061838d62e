#pragma once

#include <vorncast/VorncastDecoders.h>

namespace Vorn::Vorncast {

class Decoder;
using DecoderCreator = Decoder* (*)();

// One entry of a decoder collection: the public record and the function that makes the decoder.
struct DecoderInfo : VcPublicDecoderInfo {
    DecoderCreator creator;
};

// Display names, patterns and extensions of an entry live as long as the collection that gave it.
inline const VcPublicDecoderInfo& PublicPart(const DecoderInfo& info) {
    return info;
}

} // namespace Vorn::Vorncast
