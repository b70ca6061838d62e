#pragma once

#include "core/CoreTypes.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// An auto-reset event: Set signals it, and the one wait that takes the signal clears it again.
// A decoder's worker thread sets it; the client's thread waits for any of several.
class WaitEvent {
public:
    WaitEvent() = default;
    WaitEvent(const WaitEvent&) = delete;
    WaitEvent& operator=(const WaitEvent&) = delete;

    void Set();
    void Reset();
    // Blocks until the event is signalled, then clears it.
    void Wait();
    bool IsSignalled() const;

    // Blocks until one of `events` is signalled, clears it and returns its index; the lowest index
    // wins when several are. -1 without events or with a null entry.
    static int32_t WaitAny(const WaitObject* events, int32_t count);

private:
    bool signalled = false;
};

} // namespace Vorn::Vorncast::Decoders
