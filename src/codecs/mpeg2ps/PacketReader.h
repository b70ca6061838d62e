#pragma once

#include "core/binary/ByteView.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// A cursor over program-stream bytes for the bit fields of MPEG system headers: the start of
// the buffer, the read position, the remaining size and a bit position inside the current byte.
// Reads past the end give zero bits; callers test the room a field needs before reading it.
class PacketReader {
public:
    PacketReader() = default;
    PacketReader(const uint8_t* start, int32_t size)
        : view(start, size > 0 ? static_cast<size_t>(size) : 0),
          remaining(static_cast<int32_t>(view.Size())) {}

    const uint8_t* Start() const { return view.Data(); }
    const ByteView& View() const { return view; }
    int32_t Position() const { return position; }
    int32_t Remaining() const { return remaining; }
    int32_t BitPosition() const { return bitPosition; }

    // `count` bits (at most 32), most significant first.
    uint32_t Bits(int32_t count);
    // True when the next 32 bits, from a byte boundary, equal `code`; nothing is read.
    bool NextIs(uint32_t code) const;
    // Moves to a byte `position` from the start (clamped to the end), at its first bit.
    void Seek(int32_t newPosition);
    void Skip(int32_t bytes) { Seek(position + bytes); }

private:
    ByteView view;
    int32_t position = 0;
    int32_t remaining = 0;
    int32_t bitPosition = 0;
};

} // namespace Vorn::Vorncast::Decoders
