#pragma once

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/binary/ByteView.h"

#include <cstddef>

namespace Vorn::Vorncast::Decoders {

enum class Jp2Layout {
    Valid,
    NoSignature, // the data does not begin with the 12-byte signature box
    NoFileType,  // the box behind the signature is not "ftyp"
};

// Checks the two boxes every JP2 file begins with.
Jp2Layout CheckJp2Layout(ByteView data);

// True when the data begin with a codestream: SOC directly followed by SIZ.
bool StartsWithCodestream(ByteView data);
bool StartsWithJp2Signature(ByteView data);

// The wrapping and the offset of the first JPEG 2000 picture in the data: at the front if the data
// begin with one, else at the first codestream start or JP2 signature box further in.
bool LocateJpeg2000(ByteView data, Jpeg2000Format* format, size_t* start);

} // namespace Vorn::Vorncast::Decoders
