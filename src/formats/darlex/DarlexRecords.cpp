#include "formats/darlex/DarlexRecords.h"

#include "core/binary/Bcd.h"
#include "core/time/Ticks.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders::Darlex {

namespace {

// A place of one bit among the eight interleaved bytes of a frame header: byte and bit.
struct BitPlace {
    uint8_t byte;
    uint8_t bit;
};

// The recorder scatters the BCD digits of the time, and the camera number, over eight bytes.
// Each list gives a number's bits from the highest to the lowest.
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
constexpr BitPlace CameraBits[] = {{7, 1}, {4, 4}, {2, 4}, {6, 6}, {4, 1}};

template <size_t N> int32_t Gather(const uint8_t (&bytes)[8], const BitPlace (&places)[N]) {
    int32_t value = 0;
    for (const BitPlace& place : places) {
        value = value * 2 + ((bytes[place.byte] >> place.bit) & 1);
    }
    return value;
}

template <size_t T, size_t U>
int32_t GatherDecimal(const uint8_t (&bytes)[8], const BitPlace (&tens)[T], const BitPlace (&units)[U]) {
    return Gather(bytes, tens) * 10 + Gather(bytes, units);
}

int64_t ReadDirectoryTime(ByteReader& r) {
    const int64_t time = DirectoryTime(r.Bytes(6));
    r.Skip(2); // unused
    return time;
}

// A sector number stored as two 16-bit halves, the high half first.
uint32_t ReadSplitSector(ByteReader& r) {
    uint32_t high = r.U16LE();
    uint32_t low = r.U16LE();
    return high * 0x10000u + low;
}

// The names are stored with each pair of bytes swapped.
void ReadCameraName(ByteReader& r, CameraTag* camera) {
    ByteView stored = r.Bytes(CameraNameSize);
    char name[CameraNameSize + 1] = {};
    for (int32_t i = 0; i + 1 < CameraNameSize && stored.Size() == CameraNameSize; i += 2) {
        name[i] = static_cast<char>(stored.U8(i + 1));
        name[i + 1] = static_cast<char>(stored.U8(i));
    }
    std::snprintf(camera->name, sizeof(camera->name), "%s", name);
}

} // namespace

int64_t DirectoryTime(ByteView bytes) {
    ByteReader r(bytes);
    int32_t minute = static_cast<int32_t>(Bcd::Value(r.U8()));
    int32_t hour = static_cast<int32_t>(Bcd::Value(r.U8()));
    int32_t day = static_cast<int32_t>(Bcd::Value(r.U8()));
    int32_t second = static_cast<int32_t>(Bcd::Value(r.U8()));
    int32_t year = 2000 + static_cast<int32_t>(Bcd::Value(r.U8()));
    int32_t month = static_cast<int32_t>(Bcd::Value(r.U8()));
    return TicksFromSystemTime(year, month, day, hour, minute, second, 0);
}

bool ReadDirectory(ByteView block, Directory* directory) {
    ByteReader r(block);
    uint32_t magic = r.U32LE();
    uint32_t marker = r.U32LE();
    r.Skip(28); // unused
    directory->startTime = ReadDirectoryTime(r);
    directory->startSector = ReadSplitSector(r);
    directory->endTime = ReadDirectoryTime(r);
    directory->endSector = ReadSplitSector(r);
    r.Skip(38); // unused
    for (int32_t n = 0; n < NamedCameras; ++n) {
        directory->names[n] = CameraTag{};
        directory->names[n].number = static_cast<uint16_t>(n + 1);
        ReadCameraName(r, &directory->names[n]);
    }
    r.Skip(2444); // unused
    directory->sectorBias = r.I16LE();
    return r.Ok() && magic == DirectoryMagic && marker == DirectoryMarker;
}

bool ReadFrameHeader(ByteView bytes, FrameHeader* header) {
    ByteReader r(bytes);
    uint32_t magic = r.U32LE();
    r.Skip(4); // unused
    uint8_t mixed[8] = {};
    for (uint8_t& byte : mixed) {
        byte = r.U8();
    }
    r.Skip(6); // unused
    header->sectors = r.I16LE();
    r.Skip(6); // unused
    if (!r.Ok() || magic != FrameMagic) {
        return false;
    }
    header->time = TicksFromSystemTime(
        2000 + GatherDecimal(mixed, YearTens, YearUnits), GatherDecimal(mixed, MonthTens, MonthUnits),
        GatherDecimal(mixed, DayTens, DayUnits), GatherDecimal(mixed, HourTens, HourUnits),
        GatherDecimal(mixed, MinuteTens, MinuteUnits), GatherDecimal(mixed, SecondTens, SecondUnits), 0);
    header->camera = static_cast<uint16_t>(Gather(mixed, CameraBits));
    return true;
}

void CollectTrackCameras(Tables& tables, Track& track) {
    track.cameras.clear();
    bool seen[NamedCameras] = {};
    auto record = tables.frames.begin();
    for (int32_t i = 0; i < track.firstFrame && record != tables.frames.end(); ++i) {
        ++record;
    }
    for (int32_t i = 0; i < track.frameCount && record != tables.frames.end(); ++i, ++record) {
        uint16_t number = record->camera.number;
        if (number < NamedCameras && !seen[number]) {
            seen[number] = true;
            track.cameras.push_back(record->camera);
        }
    }
}

} // namespace Vorn::Vorncast::Decoders::Darlex
