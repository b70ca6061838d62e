#include "codecs/mpeg2ps/PacketReader.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

uint32_t PacketReader::Bits(int32_t count) {
    uint32_t value = 0;
    for (int32_t bit = 0; bit < count; ++bit) {
        value <<= 1;
        if (remaining == 0) {
            continue;
        }
        value |= (view.U8(static_cast<size_t>(position)) >> (7 - bitPosition)) & 1u;
        if (++bitPosition == 8) {
            bitPosition = 0;
            ++position;
            --remaining;
        }
    }
    return value;
}

bool PacketReader::NextIs(uint32_t code) const {
    uint32_t next = 0;
    return bitPosition == 0 && view.U32BE(static_cast<size_t>(position), &next) && next == code;
}

void PacketReader::Seek(int32_t newPosition) {
    position = std::clamp(newPosition, 0, static_cast<int32_t>(view.Size()));
    remaining = static_cast<int32_t>(view.Size()) - position;
    bitPosition = 0;
}

} // namespace Vorn::Vorncast::Decoders
