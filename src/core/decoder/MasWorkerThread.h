#pragma once

#include "core/decoder/WaitEvent.h"

#include <mutex>
#include <thread>

namespace Vorn::Vorncast::Decoders {

enum WorkerState : int32_t {
    WS_IDLE = 0,
    WS_PROCESSING = 1,
    WS_COMPLETED = 2,
};

// A worker thread with one request slot: the caller submits a request, waits for the complete
// event (the client's DDA_WAIT_EVENT) and picks the result up. The request, the state and the
// result pass between the two threads under the one lock and the events; a second submit while a
// request is in hand is refused. A derived class starts the thread once it is built and stops it
// before its own members go.
template <class Input, class Output> class MasWorkerThread {
public:
    // Texts of the state changes go to `log`, which may be called from either thread.
    using LogSink = void (*)(void* context, const char* text);

    MasWorkerThread(WaitEvent& completeEvent, LogSink log, void* logContext)
        : completeEvent(completeEvent), log(log), logContext(logContext) {}
    virtual ~MasWorkerThread() = default;
    MasWorkerThread(const MasWorkerThread&) = delete;
    MasWorkerThread& operator=(const MasWorkerThread&) = delete;

    // False, with nothing changed, unless the worker is idle.
    bool Submit(const Input& input) {
        {
            std::lock_guard<std::mutex> guard(lock);
            if (workerState != WS_IDLE) {
                return false;
            }
            workerState = WS_PROCESSING;
            Log("MasWorkerThread workerState = WS_PROCESSING\n");
            SetInput(input);
        }
        beginProcessingEvent.Set();
        return true;
    }
    // False unless a result waits.
    bool PickUp(Output* output) {
        std::lock_guard<std::mutex> guard(lock);
        if (workerState != WS_COMPLETED) {
            return false;
        }
        GetOutput(output);
        workerState = WS_IDLE;
        Log("MasWorkerThread workerState = WS_IDLE\n");
        return true;
    }
    WorkerState State() {
        std::lock_guard<std::mutex> guard(lock);
        return workerState;
    }

protected:
    virtual void SetInput(const Input& input) = 0;
    virtual void GetOutput(Output* output) = 0;
    virtual void Process() = 0;

    void Start() { thread = std::thread(&MasWorkerThread::Run, this); }
    // Waits without limit for a request that has begun to end; the stop is taken before a request
    // that has not, which is dropped.
    void Stop() {
        if (thread.joinable()) {
            stopThreadEvent.Set();
            thread.join();
        }
    }
    void Log(const char* text) {
        if (log != nullptr) {
            log(logContext, text);
        }
    }

private:
    void Run() {
        const WaitObject events[] = {&stopThreadEvent, &beginProcessingEvent};
        while (WaitEvent::WaitAny(events, 2) == 1) {
            Process();
            {
                std::lock_guard<std::mutex> guard(lock);
                workerState = WS_COMPLETED;
                Log("MasWorkerThread workerState = WS_COMPLETED\n");
            }
            completeEvent.Set();
        }
    }

    WaitEvent& completeEvent;
    WaitEvent stopThreadEvent;
    WaitEvent beginProcessingEvent;
    std::mutex lock;
    WorkerState workerState = WS_IDLE;
    std::thread thread;
    LogSink log;
    void* logContext;
};

} // namespace Vorn::Vorncast::Decoders
