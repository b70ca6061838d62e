#include "core/decoder/ReadBuffer.h"

#include <new>

namespace Vorn::Vorncast::Decoders {

bool ReadBuffer::Resize(uint32_t size) {
    if (size == 0) {
        Free();
        return true;
    }
    if (size <= capacity) {
        return true;
    }
    Free();
    if (size > MaxCapacity) {
        return false;
    }
    data = new (std::nothrow) uint8_t[size]();
    if (data == nullptr) {
        return false;
    }
    capacity = size;
    return true;
}

void ReadBuffer::Free() {
    delete[] data;
    data = nullptr;
    capacity = 0;
}

} // namespace Vorn::Vorncast::Decoders
