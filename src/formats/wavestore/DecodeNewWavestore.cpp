#include "formats/wavestore/DecodeNewWavestore.h"

#include "core/binary/FourCC.h"
#include "core/framelists/TimeComparer.h"
#include "core/time/Ticks.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* BadResult = "DecodeNewWavestore::LoadingReadComplete failed with bad result\n";
// The first table entry of a file header.
constexpr uint32_t TableStart = 32;
constexpr int64_t UnixEpochTicks = UnixEpochSeconds * TicksPerSecond;

// The recorder counts in 1/300 s since 1970; the product comes before the division, which
// truncates it.
int64_t TicksFromWavestoreUnits(int64_t units) {
    const auto scaled = static_cast<int64_t>(static_cast<uint64_t>(units) * 100000u) / 3;
    return static_cast<int64_t>(static_cast<uint64_t>(scaled) + static_cast<uint64_t>(UnixEpochTicks));
}

} // namespace

void DecodeNewWavestore::ForgetRecording() {
    folderFiles.Clear();
    frames.Clear();
    std::fill(std::begin(cameraFiles), std::end(cameraFiles), OpenFile{});
    loadingState = 0;
    fileIndex = 0;
    fileId = -1;
    fileSize = 0;
    nextHeader = 0;
    largestFrame = 0;
    fetchCamera = 0;
    imageSize = 0;
    goodImage = false;
}

// ---- loading: every file's table and frame headers, then the first frame ----

DecoderAction DecodeNewWavestore::LoadingCore() {
    Reset();
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.v", 3, &DecodeNewWavestore::OnListed);
}

DecoderAction DecodeNewWavestore::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeNewWavestore::LoadingFileListComplete failed with bad result\n");
    }
    folderFiles.Take(listed);
    if (folderFiles.Count() == 0) {
        return Fail("DecodeNewWavestore::LoadingFileListComplete failed with no files found\n");
    }
    loadingState = 1;
    return OpenListedFile(0);
}

DecoderAction DecodeNewWavestore::OpenListedFile(int32_t index) {
    fileIndex = index;
    return Open(folderFiles.PathAt(index), &DecodeNewWavestore::OnOpened,
                "DecodeNewWavestore::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeNewWavestore::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    if (loadingState == 3) {
        const NewWavestoreFrameInfo first = frames.GetAt(0);
        return Read(fileId, first.offset, first.size, &DecodeNewWavestore::OnFirstFrame, BadResult);
    }
    return Read(fileId, 0, FileHeaderSize, &DecodeNewWavestore::OnFileHeader, BadResult);
}

// The table of frame positions runs from byte 32 to the word "3Xb " or the end of the header; a 0
// in it is passed over.
DecoderAction DecodeNewWavestore::OnFileHeader(ByteView header) {
    if (!header.Matches(0, "3Xa ")) {
        return Fail("DecodeNewWavestore::LoadingReadComplete() - not a valid file header\n");
    }
    nextHeader = frames.Count();
    for (size_t at = TableStart; at + 4 <= header.Size(); at += 4) {
        const uint32_t position = header.U32LE(at);
        if (position == FourCCLE("3Xb ")) {
            break;
        }
        if (position >= fileSize) {
            Log(LogCore, "DecodeNewWavestore::LoadingReadComplete() - index past end of file\n");
            break;
        }
        if (position != 0) {
            NewWavestoreFrameInfo frame{};
            frame.offset = uint64_t{position} + FrameHeaderSize;
            frame.fileIndex = fileIndex;
            frames.Append(frame);
        }
    }
    if (frames.Count() == 0) {
        return Fail("DecodeNewWavestore::LoadingReadComplete failed with no frames in sequence\n");
    }
    loadingState = 2;
    return ReadFrameHeader();
}

DecoderAction DecodeNewWavestore::ReadFrameHeader() {
    if (nextHeader == frames.Count()) {
        return Close(fileId, &DecodeNewWavestore::OnClosed);
    }
    const uint64_t offset = frames.GetAt(nextHeader).offset;
    ReportProgress((fileIndex + static_cast<double>(offset) / static_cast<double>(fileSize)) /
                   folderFiles.Count());
    return Read(fileId, offset - FrameHeaderSize, FrameHeaderSize, &DecodeNewWavestore::OnFrameHeader,
                BadResult);
}

// The name is taken as 64 bytes from offset 48 of the read buffer: its tail lies beyond the
// 72-byte header, where the buffer still holds what an earlier, longer read left.
DecoderAction DecodeNewWavestore::OnFrameHeader(ByteView header) {
    NewWavestoreFrameInfo* frame = frames.RecordAt(nextHeader);
    ByteReader r(header);
    r.Skip(8); // not read
    frame->size = r.U32BE() - FrameHeaderSize;
    r.Skip(2); // not read
    frame->camera.number = r.U16BE();
    frame->recordedTime = TicksFromWavestoreUnits(r.I64BE());
    readBuffer.View().Text(48, CameraNameLength, frame->camera.name);
    largestFrame = std::max(largestFrame, frame->size);
    ++nextHeader;
    return ReadFrameHeader();
}

// After the last file the first one is opened again, for the first frame.
DecoderAction DecodeNewWavestore::OnClosed(int32_t) {
    fileId = -1;
    if (fileIndex + 1 < folderFiles.Count()) {
        loadingState = 1;
        return OpenListedFile(fileIndex + 1);
    }
    loadingState = 3;
    return OpenListedFile(0);
}

DecoderAction DecodeNewWavestore::OnFirstFrame(ByteView field) {
    imageSize = static_cast<uint32_t>(field.Size());
    TimeComparer<NewWavestoreFrameInfo> byTime;
    frames.Sort(byTime);
    totalFrames = frames.Count();
    imageWidth = 720;
    imageHeight = 288;
    colour = true;
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(totalFrames - 1)));
    cameraFiles[frames.GetAt(0).camera.number % MaxCameras] = {fileId, 0};
    frames.AssignStreamTimes();
    return DDA_COMPLETE;
}

// ---- fetching a frame: through its camera's open file ----

DecoderAction DecodeNewWavestore::DecompressingCore() {
    goodImage = false;
    const NewWavestoreFrameInfo frame = frames.GetAt(currentFrame);
    fetchCamera = frame.camera.number % MaxCameras;
    const OpenFile& open = cameraFiles[fetchCamera];
    if (open.fileId == -1) {
        return OpenFetchFile();
    }
    if (open.fileIndex == frame.fileIndex) {
        return ReadCurrentFrame();
    }
    return Close(open.fileId, &DecodeNewWavestore::OnFetchClosed);
}

DecoderAction DecodeNewWavestore::OnFetchClosed(int32_t) {
    cameraFiles[fetchCamera] = OpenFile{};
    return OpenFetchFile();
}

DecoderAction DecodeNewWavestore::OpenFetchFile() {
    return Open(folderFiles.PathAt(frames.GetAt(currentFrame).fileIndex), &DecodeNewWavestore::OnFetchOpened,
                nullptr);
}

DecoderAction DecodeNewWavestore::OnFetchOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        cameraFiles[fetchCamera] = {newFileId, -1};
        return Fail("DecodeNewWavestore::DecompressingOpenComplete failed with bad fileId or fileSize\n");
    }
    cameraFiles[fetchCamera] = {newFileId, frames.GetAt(currentFrame).fileIndex};
    return ReadCurrentFrame();
}

DecoderAction DecodeNewWavestore::ReadCurrentFrame() {
    const NewWavestoreFrameInfo frame = frames.GetAt(currentFrame);
    return Read(cameraFiles[fetchCamera].fileId, frame.offset, frame.size, &DecodeNewWavestore::OnFrame,
                "DecodeNewWavestore::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeNewWavestore::OnFrame(ByteView field) {
    imageSize = static_cast<uint32_t>(field.Size());
    goodImage = true;
    return DDA_COMPLETE;
}

bool DecodeNewWavestore::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!goodImage || imageSize == 0 || buffer == nullptr || bufferSize < ADV601Decoder::OutputSize(true)) {
        return false;
    }
    if (!fieldDecoder.Decode(true, false, readBuffer.Data(), static_cast<int32_t>(imageSize), buffer)) {
        goodImage = false;
        Log(LogCore, "DecodeNewWavestore::GetImage() Bad image %d\n", currentFrame);
    }
    return goodImage;
}

} // namespace Vorn::Vorncast::Decoders
