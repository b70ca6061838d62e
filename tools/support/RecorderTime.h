#pragma once

// Recorder times as the tool reads and prints them: "YYYY/MM/DD hh:mm:ss.mmm" on the recorder's own
// clock, held as 100-nanosecond ticks since 0001-01-01 00:00:00 (no time zone is applied).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace VorncastTool {

constexpr int64_t TicksPerMillisecond = 10000;
constexpr int64_t TicksPerSecond = 1000 * TicksPerMillisecond;
constexpr int64_t TicksPerDay = 86400 * TicksPerSecond;
// Ticks from 0001-01-01 to 1970-01-01.
constexpr int64_t UnixEpochTicks = 621355968000000000;

// The text of a time; the extreme values print as the library's "before" and "after everything".
std::string FormatRecorderTime(int64_t ticks);
// The same time with characters that are safe in a file name: "YYYYMMDD-hhmmss.mmm".
std::string FormatTimeForFileName(int64_t ticks);
// ISO 8601 form "YYYY-MM-DDThh:mm:ss.mmm" (no zone), for metadata.
std::string FormatIsoTime(int64_t ticks);
// Seconds with three decimals, for durations and offsets.
std::string FormatSeconds(int64_t ticks);

// Reads "YYYY/MM/DD", "YYYY/MM/DD hh:mm", "YYYY/MM/DD hh:mm:ss" or "YYYY/MM/DD hh:mm:ss.fff" (up to
// seven fraction digits); '-' may stand for '/' and 'T' for the space. Nothing when the text is not a
// valid calendar time from year 1 to 9999.
std::optional<int64_t> ParseRecorderTime(std::string_view text);

// Ticks of a calendar time, or nothing when a field is out of range.
std::optional<int64_t> TicksFromCalendar(int year, int month, int day, int hour, int minute, int second,
                                         int64_t fractionTicks);

} // namespace VorncastTool
