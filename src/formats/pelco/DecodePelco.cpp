#include "formats/pelco/DecodePelco.h"

#include "core/framelists/StreamTimes.h"
#include "formats/shared/FrameListQueries.h"
#include "formats/shared/IndexRows.h"
#include "model/support/Limits.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t PelcoMagic = 0x39CE9212;
constexpr uint64_t MaxImageCount = 0x7FFFFFF;
constexpr uint64_t MaxFileSize = uint64_t{1} << 32;
constexpr uint32_t InnerHeaderSize = 40;
constexpr uint32_t TileSide = 16;
constexpr uint32_t TileRowBytes = TileSide * 3;
constexpr uint32_t TileBytes = TileSide * TileRowBytes;
constexpr uint8_t UndecodedFill = 128;
constexpr const char* ReadFailure = "DecodePelco::LoadingReadComplete failed with bad result\n";

// The file header, 272 bytes, little-endian.
struct FileHeader {
    uint32_t magic;
    uint32_t cameraBits;
    uint64_t imageCount;
    uint64_t indexPosition;
    uint64_t firstImagePosition;
    int64_t timeBase; // milliseconds
};

FileHeader ParseFileHeader(ByteView bytes) {
    ByteReader r(bytes);
    FileHeader header{};
    header.magic = r.U32LE();
    r.Skip(44); // not read
    header.cameraBits = r.U32LE();
    r.Skip(28); // not read
    header.imageCount = r.U64LE();
    header.indexPosition = r.U64LE();
    header.firstImagePosition = r.U64LE();
    r.Skip(160); // not read
    header.timeBase = r.I64LE();
    return header;
}

// An image block's outer header and the inner header that `innerDistance` bytes before its end.
struct BlockHeaders {
    uint32_t innerDistance;
    int64_t time; // milliseconds
    uint16_t width;
    uint16_t height;
    uint32_t imageDataSize; // tile list and JPEG image, + 36
    uint32_t innerWidth;
    uint32_t innerHeight;
    uint32_t tileListSize; // + 36
};

BlockHeaders ParseBlockHeaders(ByteView block) {
    ByteReader r(block, 20);
    BlockHeaders headers{};
    headers.innerDistance = r.U32LE();
    headers.time = r.I64LE();
    headers.width = r.U16LE();
    headers.height = r.U16LE();
    ByteReader inner(block.From(block.Size() - std::min<size_t>(headers.innerDistance, block.Size())));
    headers.imageDataSize = inner.U32LE();
    inner.Skip(24); // not read
    headers.innerWidth = inner.U32LE();
    headers.innerHeight = inner.U32LE();
    headers.tileListSize = inner.U32LE();
    return headers;
}

} // namespace

void DecodePelco::ForgetRecording() {
    frames.Clear();
    fileId = -1;
    fileSize = 0;
    imageCount = 0;
    loadedEntries = 0;
    firstImagePosition = 0;
    indexPosition = 0;
    timeBase = 0;
    walkFrame = -1;
    camera = 0;
    picture.reset();
    tiles.clear();
    pictureGood = false;
}

// ---- loading: the header, the index from the end of the file, then every block's headers ----

DecoderAction DecodePelco::LoadingCore() {
    Reset();
    return Open(loadName, &DecodePelco::OnOpened, nullptr);
}

DecoderAction DecodePelco::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        return Fail("DecodePelco::LoadingOpenComplete failed with bad fileId or fileSize\n");
    }
    if (newFileSize >= MaxFileSize) {
        return Fail("DecodePelco::LoadingOpenComplete file larger than 4Gbytes\n");
    }
    if (newFileSize < HeaderSize) {
        return Fail("DecodePelco::LoadingOpenComplete file too small\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, HeaderSize, &DecodePelco::OnHeader, ReadFailure);
}

DecoderAction DecodePelco::OnHeader(ByteView bytes) {
    FileHeader header = ParseFileHeader(bytes);
    if (header.magic != PelcoMagic) {
        return Fail("DecodePelco::LoadingReadComplete not a pelco file\n");
    }
    if (header.imageCount == 0 || header.imageCount > MaxImageCount) {
        return Fail("DecodePelco::LoadingReadComplete silly image count\n");
    }
    if (header.firstImagePosition > header.indexPosition) {
        return Fail("DecodePelco::LoadingReadComplete bad first image position\n");
    }
    if (header.indexPosition > fileSize ||
        (fileSize - header.indexPosition) / EntrySize < header.imageCount) {
        return Fail("DecodePelco::LoadingReadComplete bad index position\n");
    }
    imageCount = static_cast<uint32_t>(header.imageCount);
    indexPosition = header.indexPosition;
    firstImagePosition = header.firstImagePosition;
    timeBase = header.timeBase;
    // The lowest camera the bit map names; camera 0 when it names none.
    camera = header.cameraBits != 0 ? static_cast<uint16_t>(std::countr_zero(header.cameraBits)) : 0;
    return ReadIndexBatch();
}

DecoderAction DecodePelco::ReadIndexBatch() {
    uint32_t count = std::min(BatchEntries, imageCount - loadedEntries);
    return Read(fileId, indexPosition + uint64_t{loadedEntries} * EntrySize, count * EntrySize,
                &DecodePelco::OnIndexBatch, ReadFailure);
}

// Entries: 4 bytes not read, the block's offset from the first image, flags. Each block reaches to
// the next one, the last to the index.
DecoderAction DecodePelco::OnIndexBatch(ByteView entries) {
    IndexRows rows(entries, 0, entries.Size() / EntrySize, EntrySize);
    rows.ForEach([this](ByteReader& row) {
        row.Skip(4); // not read
        PelcoFrame frame{};
        frame.offset = static_cast<uint32_t>(firstImagePosition + row.U32LE());
        frame.flags = row.U32LE();
        frames.Append(frame);
    });
    loadedEntries += rows.Count();
    if (loadedEntries < imageCount) {
        return ReadIndexBatch();
    }
    uint64_t end = indexPosition;
    for (int32_t index = frames.Count() - 1; index >= 0; --index) {
        PelcoFrame* frame = frames.GetItemPointer(index);
        frame->size = static_cast<uint32_t>(end - frame->offset);
        end = frame->offset;
    }
    imageWidth = 0;
    imageHeight = 0;
    walkFrame = 0;
    return ReadBlock();
}

DecoderAction DecodePelco::ReadBlock() {
    ReportProgress(static_cast<double>(walkFrame) / imageCount);
    const PelcoFrame& frame = frames.ItemAt(walkFrame);
    return Read(fileId, frame.offset, frame.size, &DecodePelco::OnBlock, ReadFailure);
}

// The first block gives the picture size, which every block's two headers must repeat. The record
// then points at the tile list and holds the image data's size.
DecoderAction DecodePelco::OnBlock(ByteView block) {
    BlockHeaders headers = ParseBlockHeaders(block);
    if (walkFrame == 0) {
        imageWidth = headers.width;
        imageHeight = headers.height;
    }
    if (headers.width != imageWidth || headers.height != imageHeight ||
        headers.innerWidth != static_cast<uint32_t>(imageWidth) ||
        headers.innerHeight != static_cast<uint32_t>(imageHeight) ||
        int64_t{imageWidth} * imageHeight * 3 > MaxPictureBytes) {
        return Fail("DecodePelco::LoadingReadComplete bad image sizes\n");
    }
    PelcoFrame* frame = frames.GetItemPointer(walkFrame);
    // Times of damaged files wrap instead of overflowing.
    frame->recordedTime =
        static_cast<int64_t>((static_cast<uint64_t>(headers.time) - static_cast<uint64_t>(timeBase)) * 10000);
    frame->streamTime = frame->recordedTime;
    frame->offset += static_cast<uint32_t>(block.Size() - headers.innerDistance + InnerHeaderSize);
    frame->tileCount = (headers.tileListSize - 36) / 2;
    frame->size = headers.imageDataSize - 36;
    return ++walkFrame < frames.Count() ? ReadBlock() : Finish();
}

DecoderAction DecodePelco::Finish() {
    totalFrames = frames.Count();
    walkFrame = -1;
    SetImageFormat(imageWidth, imageHeight, aspectX, aspectY, true, totalFrames);
    SetTimeSpan(frames.ItemAt(0).recordedTime, frames.ItemAt(totalFrames - 1).recordedTime);
    frames.AssignStreamTimes();
    picture = std::make_shared<std::vector<uint8_t>>(
        static_cast<size_t>(imageWidth) * static_cast<size_t>(imageHeight) * 3, UndecodedFill);
    tiles.assign(picture->size(), UndecodedFill);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: the key frame before it, and the updates on to it ----

DecoderAction DecodePelco::DecompressingCore() {
    const int32_t target = currentFrame;
    if (walkFrame == target) {
        return DDA_COMPLETE;
    }
    if (target == 0 || walkFrame == target - 1 || IsKeyFrame(target)) {
        walkFrame = target;
        return ReadWalkFrame();
    }
    // The walk starts at the key frame before the target, or goes on from where it stands.
    const int32_t lowest = walkFrame >= 0 && walkFrame < target ? walkFrame + 1 : 0;
    int32_t start = target - 1;
    while (start >= lowest && !IsKeyFrame(start)) {
        --start;
    }
    if (start < lowest) {
        if (lowest == 0) {
            pictureGood = false;
            walkFrame = -1;
            return DDA_COMPLETE;
        }
        start = lowest;
    }
    walkFrame = start;
    return ReadWalkFrame();
}

DecoderAction DecodePelco::ReadWalkFrame() {
    const PelcoFrame& frame = frames.ItemAt(walkFrame);
    return Read(fileId, frame.offset, frame.size, &DecodePelco::OnWalkFrame,
                "DecodePelco::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodePelco::OnWalkFrame(ByteView bytes) {
    const PelcoFrame& frame = frames.ItemAt(walkFrame);
    if (IsKeyFrame(walkFrame)) {
        std::vector<uint8_t>& running = WritablePicture();
        pictureGood = JpegDecodeToBuffer(jpegScratch, bytes.Data(), static_cast<int32_t>(bytes.Size()),
                                         running.data(), static_cast<int32_t>(running.size()));
    } else if (frame.size != 0 && frame.tileCount != 0) {
        pictureGood = ApplyTiles(bytes, frame.tileCount);
    } else {
        pictureGood = true;
    }
    if (walkFrame == currentFrame) {
        return DDA_COMPLETE;
    }
    ++walkFrame;
    return ReadWalkFrame();
}

// The update's JPEG picture is a strip of tiles, one under the other in list order; each goes to
// the place its list entry names, in tiles of 16 pixels. A tile that would leave the picture is
// passed over.
bool DecodePelco::ApplyTiles(ByteView update, uint32_t tileCount) {
    ByteView list = update.Sub(0, size_t{tileCount} * 2);
    ByteView jpeg = update.From(size_t{tileCount} * 2);
    if (size_t{tileCount} * TileBytes > tiles.size() ||
        !JpegDecodeToBuffer(jpegScratch, jpeg.Data(), static_cast<int32_t>(jpeg.Size()), tiles.data(),
                            static_cast<int32_t>(size_t{tileCount} * TileBytes))) {
        return false;
    }
    const size_t lineBytes = static_cast<size_t>(imageWidth) * 3;
    uint8_t* running = WritablePicture().data();
    for (uint32_t tile = 0; tile < tileCount && list.Has(size_t{tile} * 2, 2); ++tile) {
        const uint32_t x = list.U8(size_t{tile} * 2);
        const uint32_t y = list.U8(size_t{tile} * 2 + 1);
        if ((x + 1) * TileSide > static_cast<uint32_t>(imageWidth) ||
            (y + 1) * TileSide > static_cast<uint32_t>(imageHeight)) {
            continue;
        }
        const uint8_t* source = tiles.data() + size_t{tile} * TileBytes;
        uint8_t* destination = running + (size_t{y} * imageWidth + x) * TileRowBytes;
        for (uint32_t row = 0; row < TileSide; ++row) {
            std::memcpy(destination + row * lineBytes, source + row * TileRowBytes, TileRowBytes);
        }
    }
    return true;
}

// A sample that still shows the running picture keeps it as it was: the walk goes on in a copy.
std::vector<uint8_t>& DecodePelco::WritablePicture() {
    if (picture.use_count() > 1) {
        picture = std::make_shared<std::vector<uint8_t>>(*picture);
    }
    // A sample let go on another thread was only read there; its reads come before these writes.
    std::atomic_thread_fence(std::memory_order_acquire);
    return *picture;
}

bool DecodePelco::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!pictureGood || buffer == nullptr || bufferSize < static_cast<int32_t>(picture->size())) {
        return false;
    }
    std::memcpy(buffer, picture->data(), picture->size());
    return true;
}

// ---- frames ----

FrameTimes DecodePelco::GetFrameTimes() {
    return TimesOfFrame(frames.ItemAt(currentFrame));
}

void DecodePelco::GetFrameCamera(CameraTag* tag) {
    *tag = {};
    tag->number = camera;
}

void DecodePelco::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    mask[camera / 8] = static_cast<uint8_t>(1u << (camera % 8));
}

int32_t DecodePelco::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, frames.Count());
}

int32_t DecodePelco::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, frames.Count());
}

} // namespace Vorn::Vorncast::Decoders
