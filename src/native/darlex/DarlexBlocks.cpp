#include "native/darlex/DarlexBlocks.h"

#include "core/binary/ByteView.h"
#include "formats/darlex/DarlexRecords.h"

// The records are those the indexing decoder reads; this side keeps the shape its search wants.
namespace Vorn::Vorncast {
namespace {

using Decoders::ByteView;
namespace Records = Decoders::Darlex;

} // namespace

bool ReadDarlexFrameHeader(const uint8_t* bytes, DarlexFrameHeader* header) {
    Records::FrameHeader read;
    if (!Records::ReadFrameHeader(ByteView(bytes, DarlexHeaderBytes), &read)) {
        return false;
    }
    header->second = read.time;
    header->channel = read.camera;
    header->dataBlocks = read.sectors;
    return true;
}

bool IsDarlexDirectory(const uint8_t* bytes) {
    const ByteView view(bytes, 8);
    return view.U32LE(0) == Records::DirectoryMagic && view.U32LE(4) == Records::DirectoryMarker;
}

int64_t DarlexDirectoryTime(const uint8_t* bytes) {
    return Records::DirectoryTime(ByteView(bytes, 6));
}

bool ReadDarlexDirectory(const uint8_t* bytes, DarlexDirectory* directory) {
    Records::Directory read;
    if (!Records::ReadDirectory(ByteView(bytes, DarlexDirectoryBytes), &read)) {
        return false;
    }
    directory->startTime = read.startTime;
    directory->endTime = read.endTime;
    directory->startSector = read.startSector;
    directory->endSector = read.endSector;
    directory->sectorBias = read.sectorBias;
    for (int32_t camera = 0; camera < DarlexCameraNames; ++camera) {
        directory->cameraNames[camera] = read.names[camera].name;
    }
    return true;
}

} // namespace Vorn::Vorncast
