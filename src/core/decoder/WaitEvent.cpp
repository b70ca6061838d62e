#include "core/decoder/WaitEvent.h"

#include <condition_variable>
#include <mutex>

namespace Vorn::Vorncast::Decoders {

namespace {

// All events share one lock and one condition, so that a wait for any of several events needs no
// registration with each of them. Events are few and rarely signalled.
std::mutex& EventLock() {
    static std::mutex lock;
    return lock;
}

std::condition_variable& EventSignal() {
    static std::condition_variable signal;
    return signal;
}

} // namespace

void WaitEvent::Set() {
    {
        std::lock_guard<std::mutex> guard(EventLock());
        signalled = true;
    }
    EventSignal().notify_all();
}

void WaitEvent::Reset() {
    std::lock_guard<std::mutex> guard(EventLock());
    signalled = false;
}

bool WaitEvent::IsSignalled() const {
    std::lock_guard<std::mutex> guard(EventLock());
    return signalled;
}

void WaitEvent::Wait() {
    WaitObject self = this;
    WaitAny(&self, 1);
}

int32_t WaitEvent::WaitAny(const WaitObject* events, int32_t count) {
    if (events == nullptr || count <= 0) {
        return -1;
    }
    for (int32_t index = 0; index < count; ++index) {
        if (events[index] == nullptr) {
            return -1;
        }
    }
    std::unique_lock<std::mutex> guard(EventLock());
    for (;;) {
        for (int32_t index = 0; index < count; ++index) {
            if (events[index]->signalled) {
                events[index]->signalled = false;
                return index;
            }
        }
        EventSignal().wait(guard);
    }
}

} // namespace Vorn::Vorncast::Decoders
