#pragma once

#include "formats/avi/DecodeOctarIESS.h"

namespace Vorn::Vorncast::Decoders {

// Visimetrics recorders of the same tree and names as Octar's, whose pictures are JPEG 2000.
class DecodeVisimetricsJPEG2000 : public DecodeOctarIESS {
public:
    using DecodeOctarIESS::DecodeOctarIESS;

protected:
    bool ValidateFourCC(uint32_t code) override { return code == FourCCLE("MJ2C"); }
};

} // namespace Vorn::Vorncast::Decoders
