#pragma once

namespace Vorn::Vorncast {

// Severities of the log callback, as the host interprets them.
enum LogLevel : int {
    LogCore = 0,         // a failure of the core or of a format decoder
    LogEvent = 1,        // an ordinary event
    LogStartUp = 10,     // start-up of the library
    LogTrace = 11,       // tracing
    LogTraceDetail = 12, // finer tracing
    LogTraceFine = 13,   // the finest tracing
};

} // namespace Vorn::Vorncast
