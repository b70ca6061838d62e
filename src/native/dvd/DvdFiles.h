#pragma once

#include "model/files/File.h"
#include "model/support/Buffer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// Sizes and helpers shared by the readers of a DVD-Video folder.
constexpr int64_t DvdSectorBytes = 2048;
constexpr int DvdSectorShift = 11;

// `count` bytes at `offset` of the file, all of them or false.
bool ReadExactly(File& file, int64_t offset, int32_t count, std::vector<uint8_t>* bytes);

// The control file of a title set from the path of one of its VOB files: directory and name joined
// with ".IFO", the part digit replaced by 0 ("VTS_01_3.VOB" gives "VTS_01_0.IFO"). False when the
// path has no name or the result would not fit a path.
bool IfoPathOf(const char* url, std::string* ifoPath);

// The title set and part of a title VOB's name ("VTS_nn_p.VOB", p from 1 to 9), case ignored;
// false for any other name, the menu VOB "VTS_nn_0.VOB" included.
bool ParseTitleVobName(const std::string& name, int32_t* titleSet, int32_t* part);

// Logs the reason as a failure and records it as the last-error text; returns `status`, so that a
// failure is written `return DvdFail(...)`. A log line keeps its own line end; the last-error text
// has none.
int DvdFail(const char* sourceFile, int line, int status, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// The text of a buffer, "" when it is not terminated.
std::string UrlText(const Buffer& url);

} // namespace Vorn::Vorncast
