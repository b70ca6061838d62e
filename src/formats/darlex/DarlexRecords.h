#pragma once

#include "core/CoreTypes.h"
#include "core/binary/ByteView.h"
#include "core/framelists/FrameInfoList.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast::Decoders {

// A Darlex disk image: one or more files that together form one stream of 512-byte sectors,
// with track directories near the end of the stream and frames in between.
namespace Darlex {

constexpr uint32_t SectorSize = 512;
// Sector step of the directory search and unit of the directory's sectors in a file set.
constexpr uint32_t SetSectorSize = 2048;
constexpr uint32_t DirectorySize = 3304;
constexpr uint32_t DirectoryMagic = 0x54004641;
constexpr uint32_t DirectoryMarker = 0xFFFFFFFF;
// Directories are looked for only in this stretch at the end of a file.
constexpr uint64_t DirectorySearchSpan = 0x618000;
constexpr uint32_t FrameHeaderSize = 30;
constexpr uint32_t FrameMagic = 0x1234FFFF;
constexpr int32_t NamedCameras = 20;
constexpr int32_t CameraNameSize = 38;
constexpr int32_t FieldWidth = 720;
constexpr int32_t FieldHeight = 288;

// One file of the set, in the order of the stream.
struct FileEntry {
    int32_t firstFrame = 0;
    char path[MaxPathLength] = {};
    uint64_t size = 0;
};

// A track directory's range of the stream, with its times and cameras.
struct Track {
    int32_t firstFrame = 0;
    uint64_t startOffset = 0;
    int64_t firstTime = 0;
    uint64_t endOffset = 0;
    int64_t lastTime = 0;
    int32_t frameCount = 0;
    // The directory's names while the frames are indexed, then the cameras the frames carry.
    std::vector<CameraTag> cameras;
};

// A track directory as stored: sectors still in the directory's own unit.
struct Directory {
    int64_t startTime = 0;
    int64_t endTime = 0;
    uint32_t startSector = 0;
    uint32_t endSector = 0;
    int16_t sectorBias = 0;
    CameraTag names[NamedCameras] = {};
};

struct FrameHeader {
    int64_t time = 0;
    uint16_t camera = 0;
    int16_t sectors = 0;
};

// Six BCD bytes in the recorder's order: minute, hour, day, second, year in the 2000s, month.
int64_t DirectoryTime(ByteView bytes);
// False unless the block holds both magic words of a directory.
bool ReadDirectory(ByteView block, Directory* directory);
// False unless the bytes start with the frame magic.
bool ReadFrameHeader(ByteView bytes, FrameHeader* header);

// The tables a load fills: the decoder owns them, its loading stages borrow them.
struct Tables {
    std::vector<FileEntry> files;
    int32_t currentFile = -1;
    std::vector<Track> tracks;
    MultiFileFrameInfoList frames;

    void Clear() {
        files.clear();
        currentFile = -1;
        tracks.clear();
        frames.Clear();
    }
};

// The camera list of a track built from its frames: each camera number below the named count,
// in the order of first appearance.
void CollectTrackCameras(Tables& tables, Track& track);

} // namespace Darlex

} // namespace Vorn::Vorncast::Decoders
