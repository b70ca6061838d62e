#pragma once

#include "formats/darlex/DarlexRecords.h"

#include <cstdint>
#include <string>

namespace Vorn::Vorncast {

// The blocks of a Tecton Darlex disk image: 512-byte sectors, a frame starting on a sector with a
// header block in front of its compressed field, and track directories of 3304 bytes.
constexpr int64_t DarlexBlockBytes = Decoders::Darlex::SectorSize;
constexpr int32_t DarlexHeaderBytes = 32;
constexpr int32_t DarlexDirectoryBytes = Decoders::Darlex::DirectorySize;
constexpr int32_t DarlexCameraNames = Decoders::Darlex::NamedCameras;

struct DarlexFrameHeader {
    int64_t second = 0; // the frame's time, whole seconds in ticks
    int32_t channel = 0;
    int32_t dataBlocks = 0; // the compressed field's sectors behind the header
};

// True when the 32 bytes open a frame; the header is then filled in.
bool ReadDarlexFrameHeader(const uint8_t* bytes, DarlexFrameHeader* header);
// True when the first eight bytes open a track directory.
bool IsDarlexDirectory(const uint8_t* bytes);

struct DarlexDirectory {
    int64_t startTime = 0;
    int64_t endTime = 0;
    int64_t startSector = 0;
    int64_t endSector = 0;
    int32_t sectorBias = 0;
    std::string cameraNames[DarlexCameraNames]; // camera n is name n - 1
};

// A track directory of DarlexDirectoryBytes bytes; false without its magic words.
bool ReadDarlexDirectory(const uint8_t* bytes, DarlexDirectory* directory);
// Six packed-decimal bytes in the recorder's order: minute, hour, day, second, year from 2000, month.
int64_t DarlexDirectoryTime(const uint8_t* bytes);

} // namespace Vorn::Vorncast
