#pragma once

#include "interface/LibraryFrame.h"
#include "model/support/DynamicClass.h"

namespace Vorn::Vorncast {

// A machine fault turned into an exception by a fault translator. This platform has none, so it is
// only ever thrown by code that detects such a fault itself; the fence reports it all the same.
struct SeException {
    int code;
};

struct FenceSteps {
    bool defaultText = true;    // record "Default condition\n" before the body runs
    bool exceptionScope = true; // turn escaping exceptions into UnhandledException
};

// Traps in the debugger when the library is not initialised or another thread is inside a call.
void EnterFence();

// Frees the thread guard when an exported call returns, by whatever path.
class GuardRelease {
public:
    GuardRelease() = default;
    GuardRelease(const GuardRelease&) = delete;
    GuardRelease& operator=(const GuardRelease&) = delete;
    ~GuardRelease() { Library().guardThread = NoThread; }
};

int ReportSeException(const char* file, int line, const SeException& fault);
int ReportCppException(const char* file, int line);

// The frame round every exported call: initialised test, thread guard, default text, exception
// scope, guard cleared on every return. `body` returns the status of the call.
template <class Body> int Fence(const char* file, int line, FenceSteps steps, Body&& body) {
    EnterFence();
    GuardRelease release;
    if (steps.defaultText) {
        SetLastError(GeneralFailure, file, line, "Default condition\n");
    }
    if (!steps.exceptionScope) {
        return body();
    }
    try {
        return body();
    } catch (const SeException& fault) {
        return ReportSeException(file, line, fault);
    } catch (...) {
        return ReportCppException(file, line);
    }
}

template <class Body> int Fence(const char* file, int line, Body&& body) {
    return Fence(file, line, FenceSteps{}, static_cast<Body&&>(body));
}

// The object behind a handle when it is a T; null for zero, stale and foreign handles.
template <class T> T* Resolve(int handle) {
    return DynamicClass::FromHandle<T>(handle);
}

// The fence with the handle resolved to a T first; a zero, stale or foreign handle is InvalidHandle.
template <class T, class Body> int FenceOn(const char* file, int line, int handle, Body&& body) {
    return Fence(file, line, [&]() -> int {
        T* object = Resolve<T>(handle);
        if (object == nullptr) {
            return SetLastError(InvalidHandle, file, line, "Invalid handle");
        }
        return body(*object);
    });
}

// The two-call form of the name functions: with `text` null `*size` receives the length with its
// terminator; with `text` given the bytes are copied only when `*size` is at least that length.
int CopyTextTwoCall(const Buffer& source, int* size, char* text);

} // namespace Vorn::Vorncast
