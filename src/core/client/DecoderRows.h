#pragma once

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

class BaseDecoder;
struct DecoderRow;

// Makes the decoder object of one row of the decoder table.
using DecoderCreator = BaseDecoder* (*)(const DecoderRow& row);

enum DecoderRowFlags : uint8_t {
    RowManual = 1,    // kept out of autodetection: the user must choose it
    RowContainer = 2, // reads a general container, tried behind the specific decoders
    RowMultiFile = 4, // its file set is a multi-file pattern
};

constexpr int32_t MaxRowPatterns = 3;
constexpr int32_t DigitalDecoderCount = 72;

// The identity of one digital decoder, in the order in which autodetection and the public list of
// decoders see them. Each row names the function that builds its decoder, so that a format decoder
// replaces its row's placeholder by changing `create` alone.
struct DecoderRow {
    const char* className;
    const char* name;
    const char* guid;       // without braces
    const char* extensions; // items separated by ';'
    // Literal path patterns by index; a row without any gives "<n:c0>.<extension>" by extension.
    const char* patterns[MaxRowPatterns];
    // Number of patterns offered; -1 leaves it to be counted from the extensions when first asked.
    int32_t patternCount;
    uint8_t flags;
    int32_t variant; // for classes that serve two rows
    DecoderCreator create;
};

// The 72 rows in table order.
const DecoderRow* DigitalDecoderRows();

} // namespace Vorn::Vorncast::Decoders
