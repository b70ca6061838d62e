#pragma once

#include "codecs/mpeg2ps/Packet.h"
#include "codecs/mpeg2ps/PacketReader.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// Reads the next PES packet, first passing a pack header and a system header if they come
// next. False at the end of the data: fewer than 4 bytes, bytes that start no packet, or a pack
// or packet that fails to parse.
bool ReadNextPacket(PacketReader& reader, Packet& packet);

// Gathers the payloads of the packets with `streamId` into `output` (which may be `bytes`
// itself: the gathered data never overtakes the packets still to be read) and sets `written`.
// Reading stops at the first packet that cannot be read, so a cut-off tail is no error. False
// only when the payloads would overflow `outputSize`. `reader` (which may be null) is set to
// the bytes and left where reading stopped.
bool GetStream(const uint8_t* bytes, int32_t streamId, int32_t size, uint8_t* output, int32_t outputSize,
               int32_t* written, PacketReader* reader);

} // namespace Vorn::Vorncast::Decoders
