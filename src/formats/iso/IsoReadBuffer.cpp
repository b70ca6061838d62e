#include "formats/iso/IsoReadBuffer.h"

#include <new>

namespace Vorn::Vorncast::Decoders {

bool IsoReadBuffer::Grow(size_t size) {
    if (size <= capacity) {
        return true;
    }
    // The old bytes are not kept: every read fills the buffer afresh.
    std::unique_ptr<uint8_t[]> grown(new (std::nothrow) uint8_t[size]);
    if (grown == nullptr) {
        return false;
    }
    bytes = std::move(grown);
    capacity = size;
    return true;
}

void IsoReadBuffer::Free() {
    bytes.reset();
    capacity = 0;
}

} // namespace Vorn::Vorncast::Decoders
