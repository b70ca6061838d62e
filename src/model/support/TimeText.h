#pragma once

#include <cstdint>

namespace Vorn {

// A time printed for a log line; pass `text` to a "%s".
struct TimeText {
    char text[32];
};

// "yyyy/mm/dd hh:mm:ss.mmm" of a tick value (100 ns since 0001-01-01). A value below the file time
// epoch is taken for a file time and printed as one. Years below 1900 print as 0, above 9999 as
// 9999; the special times before and after everything print as "----/--/-- --:--:--.MIN" and
// "++++/++/++ ++:++:++.MAX".
TimeText TimeToText(int64_t ticks);

} // namespace Vorn
