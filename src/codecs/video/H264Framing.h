#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// Recorders store an H.264 access unit either as NAL units behind start codes (00 00 01 or
// 00 00 00 01) or as NAL units behind big-endian lengths of 1, 2 or 4 bytes; the engine takes
// the start-code form.

// The default length size of length-prefixed NAL units when no avcC record says otherwise.
constexpr int32_t DefaultNalLengthSize = 4;

bool StartsWithStartCode(ByteView accessUnit);
// True when NAL units behind `lengthSize`-byte lengths fill the access unit exactly.
bool IsLengthPrefixed(ByteView accessUnit, int32_t lengthSize);
// Bytes of the start-code form of a length-prefixed access unit.
size_t StartCodeFormSize(ByteView accessUnit, int32_t lengthSize);
// Writes the start-code form of a length-prefixed access unit (StartCodeFormSize bytes).
void WriteStartCodeForm(ByteView accessUnit, int32_t lengthSize, uint8_t* out);

// An avcC record (AVCDecoderConfigurationRecord): its NAL length size and its parameter sets in
// start-code form. False when `record` is not one.
bool ParseAvcConfiguration(ByteView record, int32_t* lengthSize, std::vector<uint8_t>* parameterSets);

} // namespace Vorn::Vorncast::Decoders
