#pragma once

#include "model/decoder/DecoderInfo.h"

#include <cstdint>

namespace Vorn::Vorncast {

// The decoders written directly against the decoder model: Darlex, DVD Video and Kodicom.
constexpr int32_t NativeEntryCount = 3;
DecoderInfo NativeEntry(int32_t index);

// The creator shared by every entry of the digital table.
DecoderCreator DigitalDecoderCreator();

void ClosePluginLibrary(void* library);

} // namespace Vorn::Vorncast
