#pragma once

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "model/support/Limits.h"

#include <openjpeg.h>

#include <cstddef>

namespace Vorn::Vorncast::Decoders {

// Fills `info` from a read header. False for an empty picture or one above MaxPictureBytes.
bool DescribePicture(const opj_image_t& image, Jpeg2000PictureInfo* info);

size_t PictureBytes(const Jpeg2000PictureInfo& info);

// Writes the decoded image in the library's layout (see Jpeg2000Decoder). False, with nothing
// written, when a component the picture needs holds no usable samples.
bool WritePicture(const opj_image_t& image, const Jpeg2000PictureInfo& info, uint8_t* output);

} // namespace Vorn::Vorncast::Decoders
