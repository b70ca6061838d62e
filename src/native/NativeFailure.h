#pragma once

namespace Vorn::Vorncast {

// Logs the reason as a failure and records it as the last-error text; returns `status`, so that a
// failure of a native decoder is written `return NativeFail(...)`. A log line keeps its own line
// end; the last-error text has none.
int NativeFail(const char* sourceFile, int line, int status, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

} // namespace Vorn::Vorncast
