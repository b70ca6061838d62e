#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// The read buffer of a format decoder. It only grows: once it has held the largest frame of a
// recording, every later frame is read into it without an allocation. Growing replaces the block,
// so what it held is lost, and the capacity may exceed what the last read delivered; the bytes
// beyond are those of earlier reads.
class ReadBuffer {
public:
    // No frame comes near this size; a damaged index that asks for more leaves the buffer empty,
    // so that the read is refused instead of the memory being exhausted.
    static constexpr uint32_t MaxCapacity = 1u << 28;

    ReadBuffer() = default;
    ~ReadBuffer() { Free(); }
    ReadBuffer(const ReadBuffer&) = delete;
    ReadBuffer& operator=(const ReadBuffer&) = delete;

    // 0 frees the buffer. A size above the capacity replaces the block by a zeroed one of exactly
    // that size. Anything else leaves the buffer as it is. False when the buffer ends up empty
    // although bytes were asked for (a refused size, or no memory).
    bool Resize(uint32_t size);
    void Free();

    uint8_t* Data() { return data; }
    const uint8_t* Data() const { return data; }
    uint32_t Capacity() const { return capacity; }
    // The whole capacity, whatever the last read delivered.
    ByteView View() const { return ByteView(data, capacity); }

private:
    uint32_t capacity = 0;
    uint8_t* data = nullptr;
};

} // namespace Vorn::Vorncast::Decoders
