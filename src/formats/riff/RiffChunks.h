#pragma once

#include "core/binary/ByteView.h"
#include "core/binary/FourCC.h"

#include <cstddef>
#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// RIFF chunks, little-endian: a four-character code, the size of the payload, the payload, and a
// pad byte when the size is odd. "RIFF" and "LIST" chunks begin their payload with a form type.
constexpr size_t RiffChunkHeaderSize = 8;
constexpr uint32_t RiffTag = FourCCLE("RIFF");
constexpr uint32_t ListTag = FourCCLE("LIST");

// What a chunk walk does after one chunk.
enum class RiffStep {
    Next, // go on with the next chunk
    Stop, // end the walk: the payload counts as walked
    Fail, // end the walk: the payload is bad
};

// Walks the chunks of `payload`, calling visit(code, payload) for each. A chunk whose size runs
// past what remains fails the walk; the walk ends when less than a chunk header remains.
template <class Visit> bool WalkRiffChunks(ByteView payload, Visit&& visit) {
    size_t at = 0;
    while (payload.Has(at, RiffChunkHeaderSize)) {
        const uint32_t code = payload.U32LE(at);
        const uint32_t size = payload.U32LE(at + 4);
        ByteView body;
        if (!payload.Sub(at + RiffChunkHeaderSize, size, &body) || body.Size() != size) {
            return false;
        }
        const RiffStep step = visit(code, body);
        if (step != RiffStep::Next) {
            return step == RiffStep::Stop;
        }
        at += RiffChunkHeaderSize + size + (size & 1);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
