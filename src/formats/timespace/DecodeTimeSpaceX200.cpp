#include "formats/timespace/DecodeTimeSpaceX200.h"

#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "core/binary/Bcd.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t PassedBlock = 254;
constexpr uint32_t PassedBlockRead = 512;
// Camera and second word in front of a frame's data.
constexpr uint32_t FrameWordsSize = 8;

// The header's clock: BCD second, minute, hour, day, month and year in the 2000s.
int64_t TicksFromHeader(ByteView header) {
    auto digits = [&](size_t at) { return static_cast<int32_t>(Bcd::Value(header.U8(at))); };
    return TicksFromSystemTime(2000 + digits(21), digits(20), digits(19), digits(18), digits(17), digits(16),
                               0);
}

} // namespace

void DecodeTimeSpaceX200::ForgetRecording() {
    folderFiles.Clear();
    frames.Clear();
    listedNothing = false;
    fileCounter = 0;
    fileId = fileIndex = -1;
    fileSize = searchOffset = passSize = 0;
    std::fill(std::begin(latestKey), std::end(latestKey), -1);
    std::fill(std::begin(firstKey), std::end(firstKey), -1);
    std::fill(std::begin(lastDecoded), std::end(lastDecoded), -1);
    for (std::vector<uint8_t>& reference : references) {
        reference.clear();
    }
    picture.clear();
    decoding = -1;
    goodPicture = false;
}

// ---- loading: every file's records in turn ----

DecoderAction DecodeTimeSpaceX200::LoadingCore() {
    if (!Path::ExtensionIs(loadName, "xba")) {
        return Fail("DecodeTimeSpaceX200::LoadingCore failed with unsupported file extension\n");
    }
    Reset();
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.xba", 1, &DecodeTimeSpaceX200::OnListed);
}

DecoderAction DecodeTimeSpaceX200::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeTimeSpaceX200::LoadingFileListComplete failed with bad result\n");
    }
    folderFiles.Take(listed);
    folderFiles.SortByName();
    listedNothing = folderFiles.Count() == 0;
    return OpenNextFile();
}

// Without a listed file, the loaded path is the only one.
DecoderAction DecodeTimeSpaceX200::OpenNextFile() {
    fileIndex = fileCounter++;
    searchOffset = 0;
    return Open(listedNothing ? loadName : folderFiles.PathAt(fileIndex), &DecodeTimeSpaceX200::OnOpened,
                "DecodeTimeSpaceX200::LoadingOpenComplete failed with invalid fileId or fileSize\n");
}

DecoderAction DecodeTimeSpaceX200::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    return ReadRecordHeader();
}

DecoderAction DecodeTimeSpaceX200::ReadRecordHeader() {
    if (searchOffset >= fileSize) {
        return EndFile();
    }
    const double files = listedNothing ? 1 : folderFiles.Count();
    ReportProgress((fileIndex + static_cast<double>(searchOffset) / static_cast<double>(fileSize)) / files);
    return TryRead(fileId, searchOffset, HeaderSize, &DecodeTimeSpaceX200::OnRecordHeader);
}

DecoderAction DecodeTimeSpaceX200::OnRecordHeader(bool ok, ByteView header) {
    if (!ok) {
        Log(LogCore, "DecodeTimeSpaceX200 LoadingReadComplete failed with bad result\n");
        return Close(fileId, &DecodeTimeSpaceX200::OnFileClosed);
    }
    const uint32_t type = header.U32LE(8);
    const uint32_t size = header.U32LE(56);
    if (type < 2) {
        TimeSpaceX200FrameInfo frame{};
        frame.recordedTime = TicksFromHeader(header);
        frame.offset = searchOffset;
        frame.size = size;
        frame.kind = static_cast<int32_t>(type);
        frame.fileIndex = fileIndex;
        frames.Append(frame);
        searchOffset += HeaderSize;
        return TryRead(fileId, searchOffset, FrameWordsSize, &DecodeTimeSpaceX200::OnFrameWords);
    }
    if (type == PassedBlock) {
        searchOffset += HeaderSize;
        passSize = size;
        return TryRead(fileId, searchOffset, PassedBlockRead, &DecodeTimeSpaceX200::OnPassedBlock);
    }
    Log(LogTraceFine, "X200: XBAFRAME (type %d) at offset %" PRId64 "\n", static_cast<int32_t>(type),
        static_cast<int64_t>(searchOffset));
    searchOffset += HeaderSize + uint64_t{size};
    return ReadRecordHeader();
}

// A type 0 frame is its camera's key frame for the frames behind it.
DecoderAction DecodeTimeSpaceX200::OnFrameWords(bool ok, ByteView words) {
    if (!ok) {
        Log(LogCore, "DecodeTimeSpaceX200 LoadingReadComplete failed with bad result\n");
        return Close(fileId, &DecodeTimeSpaceX200::OnFileClosed);
    }
    TimeSpaceX200FrameInfo* frame = frames.RecordAt(frames.Count() - 1);
    const uint32_t camera = words.U32LE(0);
    frame->camera.number = static_cast<uint16_t>(camera);
    frame->secondWord = words.U32LE(4);
    frame->keyFrame = -1;
    if (camera < MaxCamera) {
        if (frame->kind == 0) {
            latestKey[camera] = frames.Count() - 1;
            if (firstKey[camera] == -1) {
                firstKey[camera] = latestKey[camera];
            }
        }
        frame->keyFrame = latestKey[camera];
    }
    searchOffset += frame->size;
    return ReadRecordHeader();
}

DecoderAction DecodeTimeSpaceX200::OnPassedBlock(bool ok, ByteView) {
    if (!ok) {
        Log(LogCore, "DecodeTimeSpaceX200 LoadingReadComplete failed with bad result\n");
        return Close(fileId, &DecodeTimeSpaceX200::OnFileClosed);
    }
    searchOffset += passSize;
    return ReadRecordHeader();
}

// An offset past the end is worth a note, not a failure: the frames found stand.
DecoderAction DecodeTimeSpaceX200::EndFile() {
    if (searchOffset > fileSize) {
        Log(LogCore, "DecodeTimeSpaceX200 LoadingReadComplete failed with bad frameSearchOffset\n");
    }
    return Close(fileId, &DecodeTimeSpaceX200::OnFileClosed);
}

DecoderAction DecodeTimeSpaceX200::OnFileClosed(int32_t) {
    fileId = -1;
    fileIndex = -1;
    if (!listedNothing && fileCounter < folderFiles.Count()) {
        return OpenNextFile();
    }
    return Finish();
}

DecoderAction DecodeTimeSpaceX200::Finish() {
    frames.AssignStreamTimes();
    if (frames.Count() == 0) {
        return Fail("Failed to find any frames\n");
    }
    totalFrames = frames.Count();
    imageWidth = Width;
    imageHeight = Height;
    colour = true;
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(totalFrames - 1)));
    uint8_t mask[CameraMaskBytes];
    GetCameras(mask);
    for (int32_t camera = 0; camera < MaxCamera; ++camera) {
        if ((mask[camera / 8] >> (camera % 8) & 1) != 0) {
            references[camera].assign(ReferenceSize, 0);
        }
    }
    picture.assign(size_t{Width} * Height * 3, 0);
    return DDA_COMPLETE;
}

// ---- fetching: from the camera's last decoded frame, or its key frame, up to the frame ----

// The frame to decode next on the way to `frame`: the frame itself when its camera has decoded
// nothing yet, the key frame when the way from the last one leads elsewhere, else the next frame.
int32_t DecodeTimeSpaceX200::StartFrame(int32_t frame) {
    const TimeSpaceX200FrameInfo wanted = frames.GetAt(frame);
    const uint32_t camera = wanted.camera.number;
    const int32_t last = camera < MaxCamera ? lastDecoded[camera] : -1;
    if (last < 0 || last >= frames.Count() || last == frame) {
        return frame;
    }
    if (frames.GetAt(last).keyFrame != wanted.keyFrame || last > frame) {
        return wanted.keyFrame;
    }
    return NextFrameOfCamera(frames, last, camera);
}

DecoderAction DecodeTimeSpaceX200::DecompressingCore() {
    goodPicture = false;
    decoding = StartFrame(currentFrame);
    if (decoding == -1 || decoding > currentFrame) {
        return Fail(
            "DecodeTimeSpaceX200::DecompressingReadComplete failed because no starting frame was found\n");
    }
    return FetchStep();
}

// Reads `decoding` through the file that holds it.
DecoderAction DecodeTimeSpaceX200::FetchStep() {
    const TimeSpaceX200FrameInfo frame = frames.GetAt(decoding);
    if (fileId != -1 && fileIndex == frame.fileIndex) {
        return Read(fileId, frame.offset + HeaderSize + FrameWordsSize, frame.size - FrameWordsSize,
                    &DecodeTimeSpaceX200::OnFrame,
                    "DecodeTimeSpaceX200::DecompressingReadComplete failed with bad result\n");
    }
    if (fileId != -1) {
        return Close(fileId, &DecodeTimeSpaceX200::OnFetchClosed);
    }
    return Open(listedNothing ? loadName : folderFiles.PathAt(frame.fileIndex),
                &DecodeTimeSpaceX200::OnFetchOpened, nullptr);
}

DecoderAction DecodeTimeSpaceX200::OnFetchClosed(int32_t) {
    fileId = fileIndex = -1;
    return FetchStep();
}

DecoderAction DecodeTimeSpaceX200::OnFetchOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize == 0) {
        fileId = newFileId;
        return DecoderFailure();
    }
    fileId = newFileId;
    fileIndex = frames.GetAt(decoding).fileIndex;
    return FetchStep();
}

// A key frame starts from a clear reference; the picture comes out bottom line first and is
// turned the right way up in place.
DecoderAction DecodeTimeSpaceX200::OnFrame(ByteView data) {
    const TimeSpaceX200FrameInfo frame = frames.GetAt(decoding);
    const uint32_t camera = frame.camera.number;
    TimeSpaceFrameDecoder decode = GetTimeSpaceFrameDecoder();
    if (decode == nullptr) {
        Log(LogCore, "DecodeTimeSpaceX200 no frame decoder installed: the maker's codec is needed\n");
    }
    if (camera >= MaxCamera || references[camera].empty() || decode == nullptr) {
        return DecoderFailure();
    }
    std::vector<uint8_t>& reference = references[camera];
    if (frame.kind == 0) {
        std::fill(reference.begin(), reference.end(), 0);
    }
    goodPicture = decode(frame.kind, frame.secondWord, data.Data(), static_cast<uint32_t>(data.Size()),
                         reference.data(), picture.data()) == 0;
    lastDecoded[camera] = decoding;
    const size_t line = size_t{Width} * 3;
    uint8_t held[size_t{Width} * 3];
    for (int32_t top = 0, bottom = Height - 1; top < bottom; ++top, --bottom) {
        uint8_t* upper = picture.data() + top * line;
        uint8_t* lower = picture.data() + bottom * line;
        std::memcpy(held, upper, line);
        std::memcpy(upper, lower, line);
        std::memcpy(lower, held, line);
    }
    if (decoding == currentFrame) {
        return DDA_COMPLETE;
    }
    // Each step must move on towards the wanted frame: damaged key-frame links could otherwise
    // send the walk back to a frame it has already decoded, for ever.
    const int32_t done = decoding;
    decoding = StartFrame(currentFrame);
    if (decoding <= done || decoding > currentFrame) {
        return Fail(
            "DecodeTimeSpaceX200::DecompressingReadComplete failed because no starting frame was found\n");
    }
    return FetchStep();
}

bool DecodeTimeSpaceX200::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!goodPicture || buffer == nullptr || bufferSize < static_cast<int64_t>(picture.size())) {
        return false;
    }
    std::memcpy(buffer, picture.data(), picture.size());
    return true;
}

} // namespace Vorn::Vorncast::Decoders
