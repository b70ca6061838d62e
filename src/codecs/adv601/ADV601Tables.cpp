#include "codecs/adv601/ADV601Tables.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Vorn::Vorncast::Decoders {

const uint8_t ADV601StreamOrder[ADV601BlockCount] = {
    6,  9, 20, 22, 19, 23, 17, 25, 16, 26, 14, 28, 13, 29, 11, 31, 10, 32, 8,  34, 7,
    35, 5, 37, 4,  38, 2,  40, 1,  41, 0,  39, 12, 36, 15, 33, 18, 30, 21, 27, 24, 3,
};

namespace {

// One row of the layout: a luma block and the chroma blocks at the same place of their planes.
// Vertical positions and heights are given as indexes into the field's row counts.
struct LayoutRow {
    int32_t lumaX, lumaWidth;
    int32_t chromaX, chromaWidth;
    int32_t top;    // index of the row count where the block starts, or -1 for row 0
    int32_t bottom; // index of the row count where it ends
};

// Row counts of the field and of each halving: H, H1 .. H4, each the former plus one, halved.
using RowCounts = std::array<int32_t, 5>;

RowCounts FieldRowCounts(int32_t height) {
    RowCounts rows{height, 0, 0, 0, 0};
    for (size_t level = 1; level < rows.size(); ++level) {
        rows[level] = (rows[level - 1] + 1) / 2;
    }
    return rows;
}

// For each group of three block indexes (Y, U, V): horizontal place and width in the luma and the
// chroma planes, and the rows it covers (top = -1 means from row 0; otherwise from rows[top]).
constexpr LayoutRow Layout[ADV601BlockCount / 3] = {
    {360, 360, 180, 180, -1, 0}, // 0
    {180, 180, 90, 90, 1, 0},    // 3
    {180, 180, 90, 90, -1, 1},   // 6
    {0, 180, 0, 90, 1, 0},       // 9
    {90, 90, 45, 45, 2, 1},      // 12
    {90, 90, 45, 45, -1, 2},     // 15
    {0, 90, 0, 45, 2, 1},        // 18
    {45, 45, 23, 22, 3, 2},      // 21
    {45, 45, 23, 22, -1, 3},     // 24
    {0, 45, 0, 23, 3, 2},        // 27
    {23, 22, 12, 11, 4, 3},      // 30
    {23, 22, 12, 11, -1, 4},     // 33
    {0, 23, 0, 12, 4, 3},        // 36
    {0, 23, 0, 12, -1, 4},       // 39
};

std::array<ADV601BlockGeometry, ADV601BlockCount> BuildGeometry(int32_t height) {
    RowCounts rows = FieldRowCounts(height);
    std::array<ADV601BlockGeometry, ADV601BlockCount> blocks{};
    for (int32_t group = 0; group < ADV601BlockCount / 3; ++group) {
        const LayoutRow& row = Layout[group];
        int32_t top = row.top < 0 ? 0 : rows[row.top];
        int32_t rowCount = rows[row.bottom] - top;
        blocks[group * 3] = {ADV601PlaneY, row.lumaX, top, row.lumaWidth, rowCount};
        blocks[group * 3 + 1] = {ADV601PlaneU, row.chromaX, top, row.chromaWidth, rowCount};
        blocks[group * 3 + 2] = {ADV601PlaneV, row.chromaX, top, row.chromaWidth, rowCount};
    }
    return blocks;
}

constexpr uint8_t Table0Symbols[] = {
    127, 129, 252, 126, 130, 2,   124, 125, 131, 132, 253, 122, 123, 133, 134, 254, 255, 120, 121, 135,
    136, 3,   117, 118, 119, 137, 138, 139, 140, 114, 115, 116, 141, 142, 111, 112, 113, 143, 144, 145,
    146, 147, 148, 152, 102, 105, 106, 107, 108, 109, 110, 149, 150, 151, 100, 101, 103, 104, 153, 154,
    155, 156, 157, 158, 91,  93,  94,  95,  96,  97,  98,  99,  159, 160, 161, 162, 164, 165, 167, 190,
    79,  85,  92,  163, 166, 170, 171, 176, 177, 178, 189, 191, 77,  81,  84,  86,  88,  89,  90,  168,
    169, 172, 173, 179, 180, 181, 182, 187, 0,   66,  69,  71,  76,  87,  174, 175, 183, 185, 188, 1,
    4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,  16,  17,  18,  19,  20,  21,  22,  23,
    24,  25,  26,  27,  28,  29,  30,  31,  32,  33,  34,  35,  36,  37,  38,  39,  40,  41,  42,  43,
    44,  45,  46,  47,  48,  49,  50,  51,  52,  53,  54,  55,  56,  57,  58,  59,  60,  61,  62,  63,
    64,  65,  67,  68,  70,  72,  73,  74,  75,  78,  80,  82,  83,  128, 184, 186, 192, 193, 194, 195,
    196, 197, 198, 199, 200, 201, 202, 203, 204, 205, 206, 207, 208, 209, 210, 211, 212, 213, 214, 215,
    216, 217, 218, 219, 220, 221, 222, 223, 224, 225, 226, 227, 228, 229, 230, 231, 232, 233, 234, 235,
    236, 237, 238, 239, 240, 241, 242, 243, 244, 245, 246, 247, 248, 249, 250, 251,
};
constexpr uint8_t Table1Symbols[] = {
    31,  33,  65,  66,  30,  34,  67,  29,  35,  68,  69,  70,  28,  36,  71,  72,  73,  74,  27, 37,
    75,  76,  77,  78,  79,  80,  244, 245, 26,  38,  81,  82,  83,  84,  85,  86,  87,  88,  89, 246,
    247, 248, 25,  39,  90,  91,  92,  93,  94,  95,  96,  97,  98,  249, 23,  24,  40,  41,  42, 99,
    100, 101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112, 113, 114, 243, 250, 21,  22, 43,
    115, 116, 117, 118, 119, 120, 121, 122, 123, 242, 19,  20,  44,  240, 241, 253, 17,  18,  45, 46,
    47,  16,  14,  15,  48,  49,  239, 13,  50,  51,  54,  0,   1,   2,   3,   4,   5,   6,   7,  8,
    9,   10,  11,  12,  52,  53,  55,  56,  57,  58,  59,  60,  61,  62,  63,  64,  254, 255,
};
constexpr uint8_t Table2Symbols[] = {
    31,  33,  30,  34,  65,  66,  29,  35,  67,  68,  69,  27,  28,  36,  37, 70, 71, 72, 73, 25, 26, 38, 74,
    75,  76,  77,  78,  79,  80,  81,  83,  246, 247, 253, 23,  24,  39,  40, 41, 82, 84, 85, 86, 87, 88, 89,
    91,  93,  94,  244, 245, 248, 249, 255, 20,  21,  22,  42,  43,  44,  45, 90, 92, 95, 96, 97, 98, 99, 101,
    102, 103, 107, 108, 114, 115, 117, 118, 119, 243, 250, 254, 13,  15,  16, 17, 18, 19, 46, 47, 48, 49, 100,
    104, 105, 106, 109, 110, 111, 112, 113, 116, 120, 121, 122, 123, 242, 11, 12, 14, 50, 51, 53, 54, 56, 240,
    241, 2,   6,   7,   8,   9,   10,  52,  55,  57,  58,  62,  0,   1,   3,  4,  5,  59, 60, 61, 63, 64, 239,
};

const ADV601HuffmanDefinition HuffmanTables[ADV601HuffmanTableCount] = {
    {{0, 1, 2, 2, 6, 6, 4, 8, 5, 10, 10, 10, 13, 1, 1, 177}, sizeof(Table0Symbols), Table0Symbols},
    {{0, 2, 1, 1, 3, 5, 6, 10, 14, 12, 23, 13, 4, 1, 0, 43}, sizeof(Table1Symbols), Table1Symbols},
    {{0, 2, 0, 3, 1, 5, 8, 15, 20, 27, 25, 10, 11, 9, 1, 1}, sizeof(Table2Symbols), Table2Symbols},
};

// Canonical assignment: codes count up from 0 within a length and double from one length to the
// next; each is kept left-aligned in 16 bits so that codes of all lengths compare directly.
std::array<ADV601Code, 256> BuildCodes(const ADV601HuffmanDefinition& definition) {
    std::array<ADV601Code, 256> codes{};
    uint32_t code = 0;
    int32_t next = 0;
    for (int32_t length = 1; length <= ADV601LongestCode; ++length) {
        for (int32_t i = 0; i < definition.counts[length - 1]; ++i, ++next) {
            codes[next] = {static_cast<uint16_t>(code << (ADV601LongestCode - length)),
                           static_cast<uint8_t>(length), definition.symbols[next]};
            ++code;
        }
        code <<= 1;
    }
    return codes;
}

constexpr int32_t PrefixSpan = 1 << (ADV601LongestCode - ADV601PrefixBits);
using PrefixTable = std::array<int16_t, 1 << ADV601PrefixBits>;

// A prefix decides the code when the lowest and the highest peek that it begins both find it.
PrefixTable BuildPrefixTable(int32_t table) {
    int32_t count = 0;
    const ADV601Code* codes = ADV601Codes(table, &count);
    PrefixTable prefixes{};
    for (int32_t prefix = 0; prefix < static_cast<int32_t>(prefixes.size()); ++prefix) {
        const auto lowest = static_cast<uint16_t>(prefix * PrefixSpan);
        const auto highest = static_cast<uint16_t>(lowest + PrefixSpan - 1);
        const int32_t code = ADV601FindCode(codes, count, lowest);
        prefixes[prefix] = static_cast<int16_t>(code == ADV601FindCode(codes, count, highest) ? code : -1);
    }
    return prefixes;
}

} // namespace

const ADV601BlockGeometry* ADV601Geometry(bool tallField) {
    if (tallField) {
        static const auto tall = BuildGeometry(ADV601TallFieldHeight);
        return tall.data();
    }
    static const auto shortField = BuildGeometry(ADV601ShortFieldHeight);
    return shortField.data();
}

const ADV601HuffmanDefinition& ADV601HuffmanTable(int32_t table) {
    return HuffmanTables[table];
}

const ADV601Code* ADV601Codes(int32_t table, int32_t* count) {
    static const std::array<std::array<ADV601Code, 256>, ADV601HuffmanTableCount> codes = {
        BuildCodes(HuffmanTables[0]), BuildCodes(HuffmanTables[1]), BuildCodes(HuffmanTables[2])};
    *count = HuffmanTables[table].symbolCount;
    return codes[table].data();
}

int32_t ADV601FindCode(const ADV601Code* codes, int32_t count, uint16_t peek) {
    const ADV601Code* after = std::upper_bound(
        codes, codes + count, peek, [](uint16_t value, const ADV601Code& code) { return value < code.code; });
    return static_cast<int32_t>(after - codes) - 1;
}

const int16_t* ADV601CodesByPrefix(int32_t table) {
    static const std::array<PrefixTable, ADV601HuffmanTableCount> prefixes = {
        BuildPrefixTable(0), BuildPrefixTable(1), BuildPrefixTable(2)};
    return prefixes[table].data();
}

} // namespace Vorn::Vorncast::Decoders
