#include "formats/baxall/DecodeBaxallVivid.h"

#include "codecs/jpeg2000/Jpeg2000Decoder.h"
#include "core/framelists/StreamTimes.h"
#include "core/framelists/TimeComparer.h"
#include "core/time/Ticks.h"
#include "formats/shared/FrameListQueries.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

DecodeBaxallVivid::BlockHeader DecodeBaxallVivid::ReadBlockHeader(ByteView block) {
    BlockHeader header{};
    ByteReader r(block);
    header.length = r.U32LE();
    r.Skip(52); // frame data, not read here
    header.camera = r.U8();
    r.Skip(1); // unused
    header.time.wYear = r.U16BE();
    header.time.wMonth = r.U8();
    header.time.wDay = r.U8();
    header.time.wHour = r.U8();
    header.time.wMinute = r.U8();
    header.time.wSecond = r.U8();
    header.time.wMilliseconds = static_cast<uint16_t>(r.U8() * 10); // stored in hundredths
    r.Skip(29);                                                     // frame data, not read here
    header.height = r.U32BE();
    header.width = r.U32BE();
    return header;
}

void DecodeBaxallVivid::ForgetRecording() {
    folderFiles.Clear();
    frames.Clear();
    std::memset(camerasSeen, 0, sizeof camerasSeen);
    imageWidth = 0;
    imageHeight = 0;
    fileIndex = 0;
    fileId = -1;
    fileSize = 0;
    position = 0;
    imageSize = 0;
    imageValid = false;
}

// ---- loading: every file's chain of blocks, then the first file opened again for fetching ----

DecoderAction DecodeBaxallVivid::LoadingCore() {
    Reset();
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.vdf", 0, &DecodeBaxallVivid::OnListed);
}

DecoderAction DecodeBaxallVivid::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeBaxallVivid LoadingFileListComplete failed\n");
    }
    folderFiles.Take(listed);
    if (folderFiles.Count() == 0) {
        return Fail("DecodeBaxallVivid LoadingFileListComplete failed with empty list\n");
    }
    folderFiles.SortByName();
    return OpenFile(0);
}

DecoderAction DecodeBaxallVivid::OpenFile(int32_t index) {
    fileIndex = index;
    return Open(folderFiles.PathAt(index), &DecodeBaxallVivid::OnOpened,
                "DecodeBaxallVivid::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeBaxallVivid::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    position = 0;
    return Read(fileId, 0, static_cast<uint32_t>(std::min<uint64_t>(FirstReadSize, fileSize)),
                &DecodeBaxallVivid::OnFirstPosition,
                "DecodeBaxallVivid::LoadingReadComplete failed with bad result\n");
}

// The picture size comes from the first block of the first file, which must lie in this read.
DecoderAction DecodeBaxallVivid::OnFirstPosition(ByteView bytes) {
    position = bytes.U32LE(0);
    if (!BlockFits(position)) {
        return Fail("DecodeBaxallVivid::LoadingReadComplete failed with file too short\n");
    }
    if (imageWidth == 0 && imageHeight == 0) {
        if (!bytes.Has(position, BlockHeaderSize)) {
            return Fail("DecodeBaxallVivid::LoadingReadComplete failed with file too short\n");
        }
        BlockHeader first = ReadBlockHeader(bytes.From(position));
        imageWidth = static_cast<int32_t>(first.width);
        imageHeight = static_cast<int32_t>(first.height);
        colour = true;
    }
    return ReadBlock();
}

DecoderAction DecodeBaxallVivid::ReadBlock() {
    ReportProgress((static_cast<double>(position) / static_cast<double>(fileSize) + fileIndex) /
                   folderFiles.Count());
    return Read(fileId, position, BlockHeaderSize, &DecodeBaxallVivid::OnBlock,
                "DecodeBaxallVivid::LoadingReadComplete failed with bad result\n");
}

DecoderAction DecodeBaxallVivid::OnBlock(ByteView block) {
    BlockHeader header = ReadBlockHeader(block);
    if (header.camera >= MaxCameras) {
        return Fail("DecodeBaxallVivid::LoadingReadComplete failed with bad camera number\n");
    }
    camerasSeen[header.camera / 8] |= static_cast<uint8_t>(1u << (header.camera % 8));
    MultiFileFrameInfo frame{};
    frame.recordedTime = TicksFromSystemTime(header.time);
    frame.streamTime = frame.recordedTime;
    frame.offset = position + 4;
    frame.size = header.length;
    frame.camera.number = header.camera;
    frame.fileNumber = fileIndex;
    frames.Append(frame);
    position += uint64_t{header.length} + 8;
    // Unlike the first block, a later one must start before the last header's room.
    return position + BlockHeaderSize < fileSize ? ReadBlock() : Close(fileId, &DecodeBaxallVivid::OnWalked);
}

DecoderAction DecodeBaxallVivid::OnWalked(int32_t) {
    if (fileIndex + 1 < folderFiles.Count()) {
        return OpenFile(fileIndex + 1);
    }
    fileIndex = 0;
    return Open(folderFiles.PathAt(0), &DecodeBaxallVivid::Finish,
                "DecodeBaxallVivid::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeBaxallVivid::Finish(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    TimeComparer<MultiFileFrameInfo> byTime;
    frames.Sort(byTime);
    StreamTimes::AssignSpreading(frames.begin(), frames.end());
    SetImageFormat(imageWidth, imageHeight, aspectX, aspectY, colour, frames.Count());
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(frames.Count() - 1)));
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: its file opened in place of the one open ----

DecoderAction DecodeBaxallVivid::DecompressingCore() {
    imageValid = false;
    int32_t wanted = frames.GetAt(currentFrame).fileNumber;
    if (wanted == fileIndex) {
        return ReadCurrentFrame();
    }
    fileIndex = wanted;
    return Close(fileId, &DecodeBaxallVivid::OnFetchClosed);
}

DecoderAction DecodeBaxallVivid::OnFetchClosed(int32_t) {
    fileId = -1;
    return Open(folderFiles.PathAt(fileIndex), &DecodeBaxallVivid::OnFetchOpened,
                "DecodeBaxallVivid::DecompressingReadComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeBaxallVivid::OnFetchOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    return ReadCurrentFrame();
}

DecoderAction DecodeBaxallVivid::ReadCurrentFrame() {
    MultiFileFrameInfo frame = frames.GetAt(currentFrame);
    return Read(fileId, frame.offset, frame.size, &DecodeBaxallVivid::OnFrame,
                "DecodeBaxallVivid::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeBaxallVivid::OnFrame(ByteView frame) {
    imageSize = static_cast<uint32_t>(frame.Size());
    imageValid = true;
    return DDA_COMPLETE;
}

bool DecodeBaxallVivid::GetImage(int32_t bufferSize, uint8_t* buffer) {
    return imageValid && bufferSize > 0 &&
           JasperDecode(readBuffer.Data(), imageSize, buffer, static_cast<uint32_t>(bufferSize));
}

// ---- frames and cameras ----

FrameTimes DecodeBaxallVivid::GetFrameTimes() {
    return TimesOfFrame(frames.GetAt(currentFrame));
}

void DecodeBaxallVivid::GetFrameCamera(CameraTag* camera) {
    *camera = frames.GetAt(currentFrame).camera;
}

int32_t DecodeBaxallVivid::GetPreviousFrame(int32_t frame, int32_t camera) {
    return PreviousFrameOfCamera(frames, frame, camera);
}

int32_t DecodeBaxallVivid::GetNextFrame(int32_t frame, int32_t camera) {
    return NextFrameOfCamera(frames, frame, camera);
}

void DecodeBaxallVivid::GetCameras(uint8_t* mask) {
    std::memcpy(mask, camerasSeen, CameraMaskBytes);
}

} // namespace Vorn::Vorncast::Decoders
