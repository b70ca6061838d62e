#include "native/darlex/DarlexBlocks.h"

#include "core/binary/ByteView.h"
#include "core/time/Ticks.h"

namespace Vorn::Vorncast {
namespace {

using Decoders::ByteView;

constexpr uint32_t FrameMagic = 0x1234FFFF;
constexpr uint32_t DirectoryMagic = 0x54004641;
constexpr size_t ScrambledAt = 8;
constexpr size_t DataBlocksAt = 22;
constexpr size_t CameraNamesAt = 98;
constexpr size_t CameraNameBytes = 38;
constexpr size_t SectorBiasAt = 3302;

// A place of the scrambled time and camera field: byte and bit.
struct BitPlace {
    uint8_t byte;
    uint8_t bit;
};

// The bits of a field, from the highest in use to the lowest, each from its own place.
template <size_t N> int32_t Gather(const uint8_t* bytes, const BitPlace (&places)[N]) {
    int32_t value = 0;
    for (const BitPlace& place : places) {
        value = value << 1 | (bytes[place.byte] >> place.bit & 1);
    }
    return value;
}

constexpr BitPlace YearTens[] = {{7, 4}, {1, 1}, {7, 2}};
constexpr BitPlace YearUnits[] = {{5, 2}, {6, 5}, {5, 0}, {6, 3}};
constexpr BitPlace MonthTens[] = {{4, 7}};
constexpr BitPlace MonthUnits[] = {{0, 2}, {7, 5}, {0, 0}, {7, 3}};
constexpr BitPlace DayTens[] = {{3, 0}, {2, 7}};
constexpr BitPlace DayUnits[] = {{1, 6}, {7, 7}, {7, 6}, {1, 3}};
constexpr BitPlace HourTens[] = {{1, 0}, {0, 7}};
constexpr BitPlace HourUnits[] = {{1, 4}, {5, 3}, {1, 2}, {5, 1}};
constexpr BitPlace MinuteTens[] = {{3, 4}, {6, 0}, {3, 2}};
constexpr BitPlace MinuteUnits[] = {{2, 6}, {7, 0}, {6, 7}, {2, 3}};
constexpr BitPlace SecondTens[] = {{5, 6}, {3, 6}, {5, 4}};
constexpr BitPlace SecondUnits[] = {{3, 5}, {1, 7}, {3, 3}, {1, 5}};
constexpr BitPlace Camera[] = {{7, 1}, {4, 4}, {2, 4}, {6, 6}, {4, 1}};

template <size_t T, size_t U>
int32_t Decimal(const uint8_t* bytes, const BitPlace (&tens)[T], const BitPlace (&units)[U]) {
    return Gather(bytes, tens) * 10 + Gather(bytes, units);
}

int32_t BcdByte(uint8_t value) {
    return static_cast<int32_t>(Decoders::Bcd::Value(value));
}

// A name whose byte pairs were stored swapped, up to its terminator.
std::string UnswappedName(const uint8_t* bytes) {
    std::string name;
    for (size_t at = 0; at < CameraNameBytes; ++at) {
        const char c = static_cast<char>(bytes[at ^ 1]);
        if (c == '\0') {
            break;
        }
        name += c;
    }
    return name;
}

} // namespace

bool ReadDarlexFrameHeader(const uint8_t* bytes, DarlexFrameHeader* header) {
    const ByteView view(bytes, DarlexHeaderBytes);
    if (view.U32LE(0) != FrameMagic) {
        return false;
    }
    const uint8_t* field = bytes + ScrambledAt;
    header->second = Decoders::TicksFromSystemTime(
        2000 + Decimal(field, YearTens, YearUnits), Decimal(field, MonthTens, MonthUnits),
        Decimal(field, DayTens, DayUnits), Decimal(field, HourTens, HourUnits),
        Decimal(field, MinuteTens, MinuteUnits), Decimal(field, SecondTens, SecondUnits), 0);
    header->channel = Gather(field, Camera);
    header->dataBlocks = view.I16LE(DataBlocksAt);
    return true;
}

bool IsDarlexDirectory(const uint8_t* bytes) {
    const ByteView view(bytes, 8);
    return view.U32LE(0) == DirectoryMagic && view.U32LE(4) == 0xFFFFFFFF;
}

int64_t DarlexDirectoryTime(const uint8_t* bytes) {
    return Decoders::TicksFromSystemTime(2000 + BcdByte(bytes[4]), BcdByte(bytes[5]), BcdByte(bytes[2]),
                                         BcdByte(bytes[1]), BcdByte(bytes[0]), BcdByte(bytes[3]), 0);
}

bool ReadDarlexDirectory(const uint8_t* bytes, DarlexDirectory* directory) {
    if (!IsDarlexDirectory(bytes)) {
        return false;
    }
    const ByteView view(bytes, DarlexDirectoryBytes);
    directory->startTime = DarlexDirectoryTime(bytes + 36);
    directory->endTime = DarlexDirectoryTime(bytes + 48);
    // Sector numbers are two 16-bit halves, the high half first.
    directory->startSector = int64_t{view.U16LE(44)} << 16 | view.U16LE(46);
    directory->endSector = int64_t{view.U16LE(56)} << 16 | view.U16LE(58);
    directory->sectorBias = view.I16LE(SectorBiasAt);
    for (int32_t camera = 0; camera < DarlexCameraNames; ++camera) {
        directory->cameraNames[camera] = UnswappedName(bytes + CameraNamesAt + camera * CameraNameBytes);
    }
    return true;
}

} // namespace Vorn::Vorncast
