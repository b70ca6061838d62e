#pragma once

#include "core/binary/ByteView.h"
#include "formats/iso/IsoBoxTypes.h"

#include <cstdint>
#include <ostream>

namespace Vorn::Vorncast::Decoders {

// Where the parser's few texts go: the decoder that owns the movie hands in its log.
using IsoLogSink = void (*)(void* context, int32_t severity, const char* text);

struct IsoLog {
    IsoLogSink sink = nullptr;
    void* context = nullptr;

    void Write(int32_t severity, const char* format, ...) const __attribute__((format(printf, 3, 4)));
};

// What a child walk does after one child.
enum class ChildStep {
    Next, // go on with the next child
    Stop, // end the walk: the payload counts as walked
    Fail, // end the walk: the payload is bad
};

// The child walk shared by all containers. Each child is size and type, then its payload. A
// payload under one header is walked at once. A child larger than what remains, or too small to
// hold its own header, fails the walk (a child of size 0 would never move it on); `zeroSize`,
// when given, tells the caller which of the two ended it. The walk ends when under one header
// remains behind a child.
template <class Visit> bool WalkChildBoxes(ByteView payload, Visit&& visit, bool* zeroSize = nullptr) {
    if (zeroSize != nullptr) {
        *zeroSize = false;
    }
    size_t at = 0;
    size_t remaining = payload.Size();
    while (remaining >= BoxHeaderSize) {
        const uint32_t size = payload.U32BE(at);
        const uint32_t type = payload.U32BE(at + 4);
        if (size == 0 && zeroSize != nullptr) {
            *zeroSize = true;
        }
        if (size > remaining || size < BoxHeaderSize) {
            return false;
        }
        const ChildStep step = visit(type, payload.Sub(at + BoxHeaderSize, size - BoxHeaderSize));
        if (step != ChildStep::Next) {
            return step == ChildStep::Stop;
        }
        at += size;
        remaining -= size;
    }
    return true;
}

// Writes a four-character code; a byte outside 32 to 127 shows as [hh].
void PrintFourCC(std::ostream& out, uint32_t code);

} // namespace Vorn::Vorncast::Decoders
