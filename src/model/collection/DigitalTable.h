#pragma once

#include "model/support/Guid.h"

#include <cstdint>

namespace Vorn::Vorncast {

// What the digital decoder core reports of one row of its table, for the collection to build its
// entry from.
struct DigitalTableRow {
    char name[1024];
    char extensions[1024];
    char guidText[37]; // without braces
    int32_t patternCount;
    bool container;
};

int32_t DigitalTableCount();
bool DigitalTableDescribe(int32_t index, DigitalTableRow* row);
// Pattern `index` of the decoder with this GUID, or null.
const char* DigitalTablePattern(const Guid& guid, int32_t index);

} // namespace Vorn::Vorncast
