#pragma once

// The input of a codec fuzzer: one byte of options, then a few access units (a configuration and
// frames, or frames alone) joined by the file-set separator, so that seeds cut from real streams
// keep their frame boundaries and the fuzzer may move them.
#include "fixtures/FileSetBytes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vorn::Fuzzing {

using Unit = std::vector<uint8_t>;

struct UnitInput {
    uint8_t options = 0;
    std::vector<Unit> units; // never empty

    bool Option(int bit) const { return (options >> bit & 1) != 0; }
    // Two option bits read as a number from 0 to 3.
    int Choice(int lowBit) const { return options >> lowBit & 3; }
};

constexpr size_t MaxUnits = 8;

inline UnitInput SplitUnits(const uint8_t* data, size_t size) {
    UnitInput input;
    if (size > 0) {
        input.options = data[0];
        ++data;
        --size;
    }
    for (auto& file : Testing::SplitFileSet(data, size, "unit", "bin", MaxUnits)) {
        input.units.emplace_back(file.bytes.begin(), file.bytes.end());
    }
    return input;
}

inline std::string JoinUnits(uint8_t options, const std::vector<Unit>& units) {
    std::vector<Testing::FileSetFile> files;
    for (const Unit& unit : units) {
        files.push_back({"", std::string(unit.begin(), unit.end())});
    }
    return std::string(1, static_cast<char>(options)) + Testing::JoinFileSet(files);
}

inline int32_t SizeOf(const Unit& unit) {
    return static_cast<int32_t>(unit.size());
}

// Pictures larger than this are only offered a small output, which they must refuse.
constexpr int64_t MaxPictureBytes = 16 << 20;

// The output for a picture of `bytes`, one byte short where asked.
inline std::vector<uint8_t> PictureOutput(int64_t bytes, bool oneShort, int64_t limit = MaxPictureBytes) {
    if (bytes <= 0 || bytes > limit) {
        return std::vector<uint8_t>(64);
    }
    return std::vector<uint8_t>(static_cast<size_t>(oneShort ? bytes - 1 : bytes));
}

} // namespace Vorn::Fuzzing
