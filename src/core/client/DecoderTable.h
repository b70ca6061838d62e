#pragma once

#include "core/client/DecoderRows.h"
#include "core/decoder/BaseDecoder.h"
#include "model/support/Guid.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// One decoder object for each row of the digital decoder table, built the first time the table is
// touched and kept for the life of the library. The objects are shared by every client: two
// clients must not use one decoder type at the same time.
class DecoderTable {
public:
    static int32_t Count() { return DigitalDecoderCount; }
    // The decoder at `index`, or null outside the table.
    static BaseDecoder* At(int32_t index);
    static const DecoderRow* RowAt(int32_t index);

    // The first decoder whose GUID text, read as "{<text>}", is `guid`; null when none is.
    static BaseDecoder* Find(const Guid& guid);
    static int32_t IndexOf(const Guid& guid);

    // Wait objects of all decoders of the table, decoder by decoder.
    static int32_t WaitObjectCount();
    static WaitObject GetWaitObject(int32_t index);

    // Puts `decoder` (not owned) in place of the object at `index` and returns the one that stood
    // there, which the caller puts back. Lets tests and tools drive a decoder of their own through
    // the clients; null when `index` is outside the table.
    static BaseDecoder* Swap(int32_t index, BaseDecoder* decoder);
};

// The four words of a GUID as the client functions pass it, and back.
Guid GuidFromWords(uint32_t word0, uint32_t word1, uint32_t word2, uint32_t word3);
void WordsFromGuid(const Guid& guid, uint32_t words[4]);

} // namespace Vorn::Vorncast::Decoders
