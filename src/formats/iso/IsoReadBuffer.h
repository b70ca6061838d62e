#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Vorn::Vorncast::Decoders {

// The decoder's read buffer: it grows as boxes and samples demand and never shrinks until freed.
class IsoReadBuffer {
public:
    // False, with the buffer as it was, when the memory cannot be had.
    bool Grow(size_t size);
    void Free();

    uint8_t* Data() { return bytes.get(); }
    size_t Capacity() const { return capacity; }

private:
    std::unique_ptr<uint8_t[]> bytes;
    size_t capacity = 0;
};

} // namespace Vorn::Vorncast::Decoders
