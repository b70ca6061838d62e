#pragma once

#include "model/support/Buffer.h"
#include "model/support/LogLevels.h"

#include <vorncast/VorncastDecoders.h>

#include <cstdint>

namespace Vorn::Vorncast {

enum Status : int {
    Success = VC_Success,
    GeneralFailure = VC_GeneralFailure,
    EndOfStreamBeforeStart = VC_EndOfStreamBeforeStart,
    EndOfStreamAfterEnd = VC_EndOfStreamAfterEnd,
    UserAborted = VC_UserAborted,
    InvalidArgument = VC_InvalidArgument,
    CatastrophicFailure = VC_CatastrophicFailure,
    InvalidHandle = VC_InvalidHandle,
    UnhandledException = VC_UnhandledException,
};

constexpr uint32_t NoThread = 0xFFFFFFFFu;

// Process-wide state of the library: one instance, plain fields, no lock.
struct LibraryState {
    bool initialised = false;
    uint32_t guardThread = NoThread;
    int32_t importPluginsEnabled = 0;
    VcLogCallback logCallback = nullptr;
    int32_t runtimeVersionMajor = 0;
    int32_t runtimeVersionMinor = 0;
    Buffer lastError;
};

LibraryState& Library();

// Records "<message> (<file>:<line>)" as the last-error text and returns `status` unchanged, so
// that a failure is written `return SetLastError(...)`.
int SetLastError(int status, const char* file, int line, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
// Records "Operation succeeded at <file>:<line>" and returns Success.
int SetSuccess(const char* file, int line);
// Formats the text and hands it to the log callback; without a callback nothing is written.
void Log(const char* file, int line, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// The last-error text with its terminator, or "" when none was recorded.
const char* LastErrorText();

uint32_t CurrentThreadId();

} // namespace Vorn::Vorncast
