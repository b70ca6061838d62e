#include "formats/irecord/DecodeIRecord.h"

#include "core/binary/DecimalText.h"
#include "core/framelists/StreamTimes.h"
#include "model/support/Calendar.h"
#include "model/support/Limits.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr size_t NameLength = 16;
constexpr size_t MinimumHeaderLength = 23;
constexpr const char* ReadFailure = "DecodeIRecord::LoadingReadComplete failed with bad result\n";

// `count` decimal digits at `at`, every one of them a digit.
bool Digits(std::string_view text, size_t at, size_t count, int32_t* value) {
    if (at + count > text.size()) {
        return false;
    }
    *value = 0;
    for (char c : text.substr(at, count)) {
        if (c < '0' || c > '9') {
            return false;
        }
        *value = *value * 10 + (c - '0');
    }
    return true;
}

// yyyyMMddhhmm.mjp, with every field in its range.
bool IsRecordingName(std::string_view path) {
    std::string_view name = path.substr(path.find_last_of("/\\") + 1);
    int32_t year = 0, month = 0, day = 0, hour = 0, minute = 0;
    return name.size() == NameLength && name.substr(12) == ".mjp" && Digits(name, 0, 4, &year) &&
           Digits(name, 4, 2, &month) && Digits(name, 6, 2, &day) && Digits(name, 8, 2, &hour) &&
           Digits(name, 10, 2, &minute) && year - 1980 >= 0 && year - 1980 < 121 && month >= 1 &&
           month <= 12 && day >= 1 && day <= 31 && hour < 24 && minute < 60;
}

// "TS=yyyyMMddhhmmssmmm: size": the picture's time in ticks and its size.
bool ParsePictureHeader(std::string_view text, int64_t* ticks, int64_t* size) {
    SystemTime time{};
    int32_t fields[7] = {};
    constexpr size_t widths[7] = {4, 2, 2, 2, 2, 2, 3};
    size_t at = 3;
    for (int field = 0; field < 7; ++field) {
        if (!Digits(text, at, widths[field], &fields[field])) {
            return false;
        }
        at += widths[field];
    }
    time.wYear = static_cast<uint16_t>(fields[0]);
    time.wMonth = static_cast<uint16_t>(fields[1]);
    time.wDay = static_cast<uint16_t>(fields[2]);
    time.wHour = static_cast<uint16_t>(fields[3]);
    time.wMinute = static_cast<uint16_t>(fields[4]);
    time.wSecond = static_cast<uint16_t>(fields[5]);
    time.wMilliseconds = static_cast<uint16_t>(fields[6]);
    uint64_t fileTime = 0;
    if (!text.starts_with("TS=") || fields[0] - 1980 > 120 || !SystemTimeToFileTime(time, &fileTime) ||
        !ParseDecimal(text.substr(22), size) || *size < 0) {
        return false;
    }
    *ticks = static_cast<int64_t>(fileTime) + FileTimeEpochTicks;
    return true;
}

std::string_view TrimLineEnds(std::string_view text) {
    while (!text.empty() && (text.front() == '\r' || text.front() == '\n')) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace

void DecodeIRecord::ForgetRecording() {
    folderFiles.Clear();
    frames.Clear();
    fileIndex = 0;
    fileId = -1;
    fileSize = 0;
    readOffset = 0;
    picture.clear();
    imageValid = false;
}

// ---- loading: every picture header of every recording of the folder ----

DecoderAction DecodeIRecord::LoadingCore() {
    Reset();
    std::string_view path(loadName);
    size_t point = path.find_last_of('.');
    if (point == std::string_view::npos || !IsExtension(std::string(path.substr(point + 1, 10)).c_str())) {
        return DDA_FAILED;
    }
    return ListFiles(folderFiles.ListingDirectoryOf(loadName), "*.mjp", 0, &DecodeIRecord::OnListed);
}

DecoderAction DecodeIRecord::OnListed(bool ok, FileList& listed) {
    if (!ok) {
        return Fail("DecodeIRecord LoadingFileListComplete failed\n");
    }
    FileList names;
    for (auto* node = listed.Head(); node != nullptr; node = node->next) {
        if (IsRecordingName(node->item->path)) {
            names.Add(*node->item);
        }
    }
    folderFiles.Take(names);
    folderFiles.SortByName();
    if (folderFiles.Count() == 0) {
        return Fail("DecodeIRecord LoadingFileListComplete failed - no files\n");
    }
    return OpenFile(0);
}

DecoderAction DecodeIRecord::OpenFile(int32_t index) {
    fileIndex = index;
    ReportProgress(static_cast<double>(index) / folderFiles.Count());
    return Open(folderFiles.PathAt(index), &DecodeIRecord::OnOpened,
                "DecodeIRecord::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeIRecord::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    fileId = newFileId;
    fileSize = newFileSize;
    readOffset = 0;
    return ReadBlock();
}

DecoderAction DecodeIRecord::ReadBlock() {
    return Read(fileId, readOffset, BlockSize, &DecodeIRecord::OnBlock, ReadFailure);
}

// The picture starts at the first start-of-image marker of the block, and the line before it
// says when it was taken and how long it is. A block without a header line of full length holds
// no picture.
DecoderAction DecodeIRecord::OnBlock(ByteView block) {
    size_t marker = block.Sub(0, BlockSize - 1).Find("\xFF\xD8"sv);
    marker = marker == ByteView::npos ? 0 : marker;
    std::string_view header =
        TrimLineEnds(std::string_view(reinterpret_cast<const char*>(block.Data()), marker));
    if (header.size() < MinimumHeaderLength) {
        readOffset += std::max<size_t>(marker, BlockSize);
    } else {
        int64_t ticks = 0, size = 0;
        if (!ParsePictureHeader(header, &ticks, &size)) {
            return Fail("DecodeIRecord::LoadingReadComplete failed with bad image header\n");
        }
        MultiFileFrameInfo frame{};
        frame.recordedTime = ticks;
        frame.streamTime = ticks;
        frame.offset = readOffset + marker;
        frame.size = static_cast<uint32_t>(std::min<int64_t>(size, UINT32_MAX));
        frame.fileNumber = fileIndex;
        frames.Append(frame);
        readOffset += marker + static_cast<uint64_t>(size);
        if (readOffset > fileSize) {
            return Fail("DecodeIRecord::LoadingReadComplete failed with bad image size\n");
        }
    }
    return readOffset + BlockSize > fileSize ? Close(fileId, &DecodeIRecord::OnFileDone) : ReadBlock();
}

DecoderAction DecodeIRecord::OnFileDone(int32_t) {
    fileId = -1;
    if (fileIndex + 1 < folderFiles.Count()) {
        return OpenFile(fileIndex + 1);
    }
    if (frames.Count() == 0) {
        return Fail("DecodeIRecord LoadingFileListComplete failed - no files\n");
    }
    fileIndex = frames.GetAt(0).fileNumber;
    return Open(folderFiles.PathAt(fileIndex), &DecodeIRecord::OnFirstFileOpened,
                "DecodeIRecord::LoadingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeIRecord::OnFirstFileOpened(int32_t newFileId, uint64_t) {
    fileId = newFileId;
    MultiFileFrameInfo first = frames.GetAt(0);
    return Read(fileId, first.offset, first.size, &DecodeIRecord::OnFirstFrame, ReadFailure);
}

// The first picture gives the size of all.
DecoderAction DecodeIRecord::OnFirstFrame(ByteView jpeg) {
    int32_t width = 0, height = 0, planes = 0;
    if (!JpegReadHeader(jpeg.Data(), static_cast<int32_t>(jpeg.Size()), &width, &height, &planes) ||
        planes != 3 || int64_t{width} * height * 3 > MaxPictureBytes) {
        return Fail("DecodeIRecord::LoadingReadComplete failed with bad JPEG image\n");
    }
    picture.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 3, 0);
    SetImageFormat(width, height, aspectX, aspectY, true, frames.Count());
    SetTimeSpan(TimesOfFrame(frames.GetAt(0)), TimesOfFrame(frames.GetAt(frames.Count() - 1)));
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: in its own file ----

DecoderAction DecodeIRecord::DecompressingCore() {
    imageValid = false;
    const MultiFileFrameInfo* frame = frames.RecordAt(currentFrame);
    if (frame == nullptr) {
        return DecoderFailure();
    }
    if (frame->fileNumber == fileIndex && fileId != -1) {
        return ReadCurrentFrame();
    }
    return fileId != -1 ? Close(fileId, &DecodeIRecord::OnFetchClosed) : OpenFetchFile();
}

DecoderAction DecodeIRecord::OnFetchClosed(int32_t) {
    fileId = -1;
    return OpenFetchFile();
}

DecoderAction DecodeIRecord::OpenFetchFile() {
    fileIndex = frames.GetAt(currentFrame).fileNumber;
    return Open(folderFiles.PathAt(fileIndex), &DecodeIRecord::OnFetchOpened,
                "DecodeIRecord::DecompressingOpenComplete failed with bad fileId or fileSize\n");
}

DecoderAction DecodeIRecord::OnFetchOpened(int32_t newFileId, uint64_t) {
    fileId = newFileId;
    return ReadCurrentFrame();
}

DecoderAction DecodeIRecord::ReadCurrentFrame() {
    MultiFileFrameInfo frame = frames.GetAt(currentFrame);
    return Read(fileId, frame.offset, frame.size, &DecodeIRecord::OnFrame,
                "DecodeIRecord::DecompressingReadComplete failed with bad result\n");
}

DecoderAction DecodeIRecord::OnFrame(ByteView jpeg) {
    imageValid = JpegDecodeToBuffer(jpegScratch, jpeg.Data(), static_cast<int32_t>(jpeg.Size()),
                                    picture.data(), static_cast<int32_t>(picture.size()));
    return DDA_COMPLETE;
}

bool DecodeIRecord::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (buffer == nullptr || bufferSize <= 0) {
        return false;
    }
    if (!imageValid) {
        std::memset(buffer, 0, static_cast<size_t>(bufferSize));
        return false;
    }
    std::memcpy(buffer, picture.data(), std::min(picture.size(), static_cast<size_t>(bufferSize)));
    return true;
}

int32_t DecodeIRecord::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, frames.Count());
}

int32_t DecodeIRecord::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, frames.Count());
}

} // namespace Vorn::Vorncast::Decoders
