#include "formats/cathexis/DecodeCathexis.h"

#include "core/framelists/StreamTimes.h"
#include "core/framelists/TimeComparer.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t FileMark = 0xFEEDBEED;
constexpr uint32_t BlockMark = 0xDEAFFACE;
// FF D8 FF E0 as a little-endian word: a JPEG image with its JFIF segment.
constexpr uint32_t JfifStart = 0xE0FFD8FF;
constexpr uint64_t GridMask = ~uint64_t{1023};

// A block header as the load reads it: 128 bytes, little-endian, then the image.
struct BlockHeader {
    uint32_t mark;
    uint32_t seconds; // since 1970
    uint32_t length;  // header and image
    int8_t zoneHalfHours;
    uint16_t camera;
    uint16_t width;
    uint16_t height;
    uint32_t imageStart;
};

BlockHeader ParseBlockHeader(ByteView block) {
    ByteReader r(block);
    BlockHeader header{};
    header.mark = r.U32LE();
    r.Skip(4); // not read
    header.seconds = r.U32LE();
    r.Skip(12); // not read
    header.length = r.U32LE();
    r.Skip(36); // not read
    header.zoneHalfHours = r.I8();
    r.Skip(15); // not read
    header.camera = r.U16LE();
    r.Skip(13); // not read
    header.width = r.U16LE();
    header.height = r.U16LE();
    r.Skip(29); // not read
    header.imageStart = r.U32LE();
    return header;
}

} // namespace

void DecodeCathexis::ForgetRecording() {
    folderFiles.Clear();
    frames.Clear();
    std::fill(std::begin(cameraFiles), std::end(cameraFiles), OpenFile{});
    std::fill(std::begin(camerasSeen), std::end(camerasSeen), false);
    fileCounter = 0;
    fileId = -1;
    fileSize = 0;
    position = 0;
    fetchCamera = 0;
    imageSize = 0;
}

// ---- loading: every file's chain of blocks, then one list in time order ----

// The picture size is unknown, all ones, until the first block gives it.
DecoderAction DecodeCathexis::LoadingCore() {
    Reset();
    imageWidth = -1;
    imageHeight = -1;
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.sjpg", 0, &DecodeCathexis::OnListed);
}

DecoderAction DecodeCathexis::OnListed(bool ok, FileList& listed) {
    if (ok) {
        folderFiles.Take(listed);
    }
    if (folderFiles.Count() == 0) {
        return Fail("DecodeCathexis LoadingFileListComplete failed because the fileList is empty\n");
    }
    return OpenNextFile();
}

DecoderAction DecodeCathexis::OpenNextFile() {
    if (fileCounter == folderFiles.Count()) {
        return Finish();
    }
    ++fileCounter;
    return Open(folderFiles.PathAt(fileCounter - 1), &DecodeCathexis::OnOpened, nullptr);
}

DecoderAction DecodeCathexis::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1) {
        return Fail("DecodeCathexis LoadingOpenComplete failed because fileId or fileSize was invalid\n");
    }
    if (newFileSize < HeaderSize) {
        return Fail(
            "DecodeCathexis LoadingOpenComplete failed because fileSize was too small for an index entry\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, HeaderSize, &DecodeCathexis::OnFileHeader,
                "DecodeCathexis::LoadingReadComplete failed with bad result\n");
}

DecoderAction DecodeCathexis::OnFileHeader(ByteView header) {
    if (uint32_t mark = header.U32LE(0); mark != FileMark) {
        return Fail("DecodeCathexis expected %032x as first word in .vid file, found %032x\n", FileMark,
                    mark);
    }
    position = HeaderSize;
    return ReadBlockHeader();
}

// A block header that the file cuts short ends the file's chain, as a foreign word does.
DecoderAction DecodeCathexis::ReadBlockHeader() {
    ReportProgress(
        std::min(1.0, (static_cast<double>(position) / static_cast<double>(fileSize) + fileCounter - 1) /
                          folderFiles.Count()));
    auto size = static_cast<uint32_t>(std::min<uint64_t>(BlockHeaderSize + 4, fileSize - position));
    return Read(fileId, position, size, &DecodeCathexis::OnBlockHeader,
                "DecodeCathexis::LoadingReadComplete failed with bad result\n");
}

DecoderAction DecodeCathexis::OnBlockHeader(ByteView block) {
    BlockHeader header = ParseBlockHeader(block);
    if (block.Size() < BlockHeaderSize + 4 || header.mark != BlockMark) {
        return Close(fileId, &DecodeCathexis::OnFileDone);
    }
    if (header.imageStart != JfifStart) {
        return Fail("DecodeCathexis expected %032x as first word in .image data, found %032x\n", JfifStart,
                    header.imageStart);
    }
    if (imageWidth == -1 && imageHeight == -1) {
        imageWidth = header.width;
        imageHeight = header.height;
    }
    CathexisFrameInfo frame{};
    frame.recordedTime = (int64_t{header.seconds} + UnixEpochSeconds) * TicksPerSecond;
    frame.streamTime = frame.recordedTime;
    frame.offset = position + BlockHeaderSize;
    frame.size = header.length - BlockHeaderSize;
    frame.camera.number = header.camera;
    frame.fileIndex = fileCounter - 1;
    frame.zoneHalfHours = header.zoneHalfHours;
    frames.Append(frame);
    camerasSeen[header.camera % MaxCameras] = true;
    // The next block starts on the grid behind this one, a full step on when it ends on the grid.
    position = (position + header.length + HeaderSize) & GridMask;
    return position + 12 < fileSize ? ReadBlockHeader() : Close(fileId, &DecodeCathexis::OnFileDone);
}

DecoderAction DecodeCathexis::OnFileDone(int32_t) {
    fileId = -1;
    return OpenNextFile();
}

// The span runs from the first to the last frame with a time, its zone in minutes beside it.
DecoderAction DecodeCathexis::Finish() {
    TimeComparer<CathexisFrameInfo> byTime;
    frames.Sort(byTime);
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    FrameTimes first{}, last{};
    for (const CathexisFrameInfo& frame : frames) {
        if (frame.recordedTime == 0) {
            continue;
        }
        FrameTimes times = TimesOfFrame(frame);
        times.zoneBias = frame.zoneHalfHours * 30;
        if (first.recordedTime == 0) {
            first = times;
        }
        last = times;
    }
    totalFrames = frames.Count();
    SetTimeSpan(first, last);
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: through its camera's open file ----

DecoderAction DecodeCathexis::DecompressingCore() {
    imageSize = 0;
    CathexisFrameInfo frame = frames.GetAt(currentFrame);
    fetchCamera = frame.camera.number % MaxCameras;
    OpenFile& open = cameraFiles[fetchCamera];
    if (open.fileId == -1) {
        return OpenFetchFile();
    }
    if (open.fileIndex == frame.fileIndex) {
        return ReadCurrentFrame();
    }
    return Close(open.fileId, &DecodeCathexis::OnFetchClosed);
}

DecoderAction DecodeCathexis::OnFetchClosed(int32_t) {
    cameraFiles[fetchCamera] = OpenFile{};
    return OpenFetchFile();
}

DecoderAction DecodeCathexis::OpenFetchFile() {
    return Open(folderFiles.PathAt(frames.GetAt(currentFrame).fileIndex), &DecodeCathexis::OnFetchOpened,
                nullptr);
}

DecoderAction DecodeCathexis::OnFetchOpened(int32_t newFileId, uint64_t) {
    if (newFileId == -1) {
        return Fail("DecodeCathexis::DecompressingReadComplete failed with bad result\n");
    }
    cameraFiles[fetchCamera] = {newFileId, frames.GetAt(currentFrame).fileIndex};
    return ReadCurrentFrame();
}

DecoderAction DecodeCathexis::ReadCurrentFrame() {
    CathexisFrameInfo frame = frames.GetAt(currentFrame);
    return Read(cameraFiles[fetchCamera].fileId, frame.offset, frame.size, &DecodeCathexis::OnFrame,
                "DecodeCathexis::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeCathexis::OnFrame(ByteView jpeg) {
    imageSize = static_cast<uint32_t>(jpeg.Size());
    return DDA_COMPLETE;
}

bool DecodeCathexis::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return imageSize > 0 && JpegDecodeToBuffer(jpegScratch, readBuffer.Data(),
                                               static_cast<int32_t>(imageSize), buffer, bufferSize);
}

// ---- times and cameras ----

FrameTimes DecodeCathexis::GetFrameTimes() {
    return TimesOfFrame(frames.GetAt(currentFrame));
}

int32_t DecodeCathexis::GetPreviousFrame(int32_t frame, int32_t camera) {
    return PreviousFrameOfCamera(frames, frame, camera);
}

int32_t DecodeCathexis::GetNextFrame(int32_t frame, int32_t camera) {
    return NextFrameOfCamera(frames, frame, camera);
}

void DecodeCathexis::GetCameras(uint8_t* mask) {
    std::memset(mask, 0, CameraMaskBytes);
    for (int32_t number = 0; number < MaxCameras; ++number) {
        mask[number / 8] |= camerasSeen[number] ? static_cast<uint8_t>(1u << (number % 8)) : 0;
    }
}

} // namespace Vorn::Vorncast::Decoders
