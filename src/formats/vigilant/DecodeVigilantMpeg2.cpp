#include "formats/vigilant/DecodeVigilantMpeg2.h"

#include "core/binary/ByteOrder.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t ChunkSize = 2048;
// Bytes kept ahead of the scan, so that user data can be read without a bounds test per field.
constexpr size_t Carry = 512;
// The time record of a group: 32-bit seconds since 1970 at byte 8 behind the start code.
constexpr size_t GroupTimeAt = 8;
constexpr size_t GroupUserDataSize = 12;
// The first user data: the recorder's time zone offset in minutes, then the camera's two text runs.
constexpr size_t ZoneOffsetAt = 52;
constexpr size_t TextRunsAt = 60;

constexpr uint8_t PictureStartCode = 0x00;
constexpr uint8_t SliceStartCode = 0x01;
constexpr uint8_t UserDataCode = 0xB2;
constexpr uint8_t SequenceHeaderCode = 0xB3;
constexpr uint8_t ExtensionCode = 0xB5;
constexpr uint8_t SequenceEndCode = 0xB7;
constexpr uint8_t GroupStartCode = 0xB8;

bool IsStartCode(ByteView bytes, size_t at) {
    return bytes.U8(at) == 0 && bytes.U8(at + 1) == 0 && bytes.U8(at + 2) == 1;
}

// A text run: 0xFF, a byte not read, then four bytes a character (char, 00, FF, FF) so that no
// start code can arise, until a zero character. False when a byte breaks the pattern.
bool ReadTextRun(ByteView data, size_t* at, std::string* text) {
    if (data.U8(*at) != 0xFF || !data.Has(*at, 2)) {
        return false;
    }
    for (*at += 2;; *at += 4) {
        if (!data.Has(*at, 4)) {
            return false;
        }
        uint8_t character = data.U8(*at);
        if (character == 0) {
            *at += 4;
            return true;
        }
        if (data.U8(*at + 1) != 0 || data.U8(*at + 2) != 0xFF || data.U8(*at + 3) != 0xFF) {
            return false;
        }
        text->push_back(static_cast<char>(character));
    }
}

PictureKind KindOfCodingType(uint8_t codingType) {
    switch (codingType) {
    case 1:
        return PictureKind::I;
    case 2:
        return PictureKind::P;
    case 3:
        return PictureKind::B;
    default:
        return PictureKind::Other;
    }
}

} // namespace

void DecodeVigilantMpeg2::ForgetRecording() {
    frames.clear();
    displayMap.clear();
    scan.clear();
    fileId = -1;
    fileSize = 0;
    readPosition = 0;
    bufferStart = 0;
    filled = 0;
    scanPos = 0;
    state = MS_SEQUENCE_HEADER_EXPECTED;
    groupTime = 0;
    pictureOffset = -1;
    pictureType = PictureKind::Other;
    anchorsSeen = 0;
    largestPicture = 0;
    camera = CameraTag{};
    biasMinutes = 0;
    decompressor.Release();
    references.Clear();
    decodedFrame = targetFrame = fetchFrame = -1;
    picture = nullptr;
    imageGood = false;
}

// ---- loading: one pass over the file in small reads, start code by start code ----

DecoderAction DecodeVigilantMpeg2::LoadingCore() {
    Reset();
    return Open(loadName, &DecodeVigilantMpeg2::OnOpened, nullptr);
}

DecoderAction DecodeVigilantMpeg2::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1) {
        return Fail("DecodeVigilantMpeg2 failed to open file\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    scan.assign(ChunkSize + Carry, 0);
    return fileSize == 0 ? Finish() : ReadNextChunk();
}

DecoderAction DecodeVigilantMpeg2::ReadNextChunk() {
    auto size = static_cast<uint32_t>(std::min<uint64_t>(fileSize - readPosition, ChunkSize));
    return Read(fileId, readPosition, size, &DecodeVigilantMpeg2::OnChunk,
                "DecodeVigilantMpeg2::LoadingReadComplete failed with bad result\n");
}

// The first read fills the buffer from its start, later ones land behind the carried bytes. The
// scan stops Carry bytes before the end of what is read, except on the last read.
DecoderAction DecodeVigilantMpeg2::OnChunk(ByteView bytes) {
    const size_t at = readPosition == 0 ? 0 : Carry;
    std::memcpy(scan.data() + at, bytes.Data(), bytes.Size());
    filled = at + bytes.Size();
    readPosition += bytes.Size();
    const bool last = readPosition >= fileSize || bytes.Empty();
    if (!ScanTo(last ? filled : filled - Carry)) {
        return DecoderFailure();
    }
    if (last) {
        return Finish();
    }
    const size_t shift = filled - Carry;
    std::memmove(scan.data(), scan.data() + shift, Carry);
    scanPos -= shift;
    bufferStart += shift;
    ReportProgress(static_cast<double>(readPosition) / static_cast<double>(fileSize));
    return ReadNextChunk();
}

bool DecodeVigilantMpeg2::ScanTo(size_t limit) {
    ByteView buffer(scan.data(), filled);
    while (scanPos < limit && scanPos + 5 <= filled) {
        if (!IsStartCode(buffer, scanPos)) {
            ++scanPos;
            continue;
        }
        const size_t codeAt = scanPos + 3;
        scanPos = codeAt + 1;
        if (!OnStartCode(buffer.U8(codeAt), codeAt)) {
            return false;
        }
    }
    return true;
}

// The code each scan state wants; the last state also takes a picture start. Any other code fails,
// so a picture of more than one slice is refused.
constexpr uint8_t WantedCode[] = {SequenceHeaderCode, UserDataCode,   GroupStartCode, UserDataCode,
                                  PictureStartCode,   SliceStartCode, GroupStartCode};
constexpr const char* WrongCode[] = {
    "DecodeVigilantMpeg2 MS_SEQUENCE_HEADER_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_FIRST_USER_DATA_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_FIRST_GROUP_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_USER_DATA_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_PICTURE_START_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_SLICE_START_EXPECTED\n",
    "DecodeVigilantMpeg2 MS_GROUP_OR_PICTURE_START_EXPECTED\n",
};

// Extensions and the end of the sequence carry nothing the index needs; they stay inside the
// header or picture they follow.
bool DecodeVigilantMpeg2::OnStartCode(uint8_t code, size_t codeAt) {
    if (code == ExtensionCode || code == SequenceEndCode) {
        return true;
    }
    if (code != WantedCode[state] &&
        !(state == MS_GROUP_OR_PICTURE_START_EXPECTED && code == PictureStartCode)) {
        Log(LogCore, "%s", WrongCode[state]);
        return false;
    }
    ByteView behind = ByteView(scan.data(), filled).From(codeAt + 1);
    switch (state) {
    case MS_SEQUENCE_HEADER_EXPECTED:
        return OnSequenceHeader(codeAt);
    case MS_FIRST_USER_DATA_EXPECTED:
        ReadFirstUserData(behind);
        state = MS_FIRST_GROUP_EXPECTED;
        break;
    case MS_FIRST_GROUP_EXPECTED:
        state = MS_USER_DATA_EXPECTED;
        break;
    case MS_USER_DATA_EXPECTED:
        groupTime = (int64_t{behind.U32BE(GroupTimeAt)} + UnixEpochSeconds) * TicksPerSecond;
        scanPos = codeAt + 1 + GroupUserDataSize;
        state = MS_PICTURE_START_EXPECTED;
        break;
    case MS_PICTURE_START_EXPECTED:
        StartPicture(codeAt);
        break;
    case MS_SLICE_START_EXPECTED:
        state = MS_GROUP_OR_PICTURE_START_EXPECTED;
        break;
    case MS_GROUP_OR_PICTURE_START_EXPECTED:
        ClosePicture(bufferStart + codeAt + 1 - 4);
        if (code == GroupStartCode) {
            state = MS_USER_DATA_EXPECTED;
        } else {
            StartPicture(codeAt);
        }
        break;
    }
    return true;
}

// The decompressor takes the sequence header with its extensions as configuration: the bytes up
// to the next start code of another kind.
bool DecodeVigilantMpeg2::OnSequenceHeader(size_t codeAt) {
    ByteView buffer(scan.data(), filled);
    const size_t headerAt = codeAt - 3;
    size_t end = codeAt + 1;
    while (end + 4 <= filled && !(IsStartCode(buffer, end) && buffer.U8(end + 3) != ExtensionCode)) {
        ++end;
    }
    int32_t width = 0, height = 0, planes = 0;
    IppDecoderMPEG2::ParseImageFormat(buffer.Data() + headerAt, static_cast<int32_t>(filled - headerAt),
                                      &width, &height, &planes);
    colour = planes > 1;
    if (!decompressor.Initialise(width, height, planes, false, buffer.Data() + headerAt,
                                 static_cast<int32_t>(end - headerAt))) {
        Log(LogCore, "DecodeVigilantMpeg2 Decompressor didn't initialise\n");
        return false;
    }
    imageWidth = width;
    imageHeight = height;
    state = MS_FIRST_USER_DATA_EXPECTED;
    return true;
}

// The camera's name is the two runs joined with " - " where that fits a camera tag, else the
// second alone. A run that breaks its pattern leaves the name empty.
void DecodeVigilantMpeg2::ReadFirstUserData(ByteView data) {
    biasMinutes = -int32_t{data.I16LE(ZoneOffsetAt)};
    std::string first, second;
    size_t at = TextRunsAt;
    if (!ReadTextRun(data, &at, &first) || !ReadTextRun(data, &at, &second)) {
        return;
    }
    std::string name =
        first.size() + second.size() + 3 < CameraNameLength + 1 ? first + " - " + second : second;
    name.resize(std::min<size_t>(name.size(), CameraNameLength - 1));
    std::memcpy(camera.name, name.c_str(), name.size() + 1);
}

// The picture starts at its start code; picture_coding_type sits in bits 3 and 4 of the second
// byte behind the code.
void DecodeVigilantMpeg2::StartPicture(size_t codeAt) {
    const uint8_t codingType = (ByteView(scan.data(), filled).U8(codeAt + 2) >> 3) & 3;
    pictureType = KindOfCodingType(codingType);
    pictureOffset = static_cast<int64_t>(bufferStart + codeAt + 1) - 4;
    state = MS_SLICE_START_EXPECTED;
}

// A B frame with fewer than two references before it cannot be shown and is left out.
void DecodeVigilantMpeg2::ClosePicture(uint64_t end) {
    if (pictureOffset < 0) {
        return;
    }
    Mpeg2FrameInfo frame{};
    frame.recordedTime = groupTime;
    frame.streamTime = groupTime;
    frame.offset = static_cast<uint64_t>(pictureOffset);
    frame.size = static_cast<uint32_t>(end - frame.offset);
    frame.type = pictureType;
    pictureOffset = -1;
    if (pictureType != PictureKind::B) {
        ++anchorsSeen;
    } else if (anchorsSeen < 2) {
        return;
    }
    frames.push_back(frame);
    largestPicture = std::max(largestPicture, frame.size);
}

DecoderAction DecodeVigilantMpeg2::Finish() {
    ClosePicture(fileSize);
    if (frames.empty() || imageWidth <= 0 || imageHeight <= 0) {
        return Fail("DecodeVigilantMpeg2 No frames or bad image size\n");
    }
    displayMap =
        DisplayOrder(static_cast<int32_t>(frames.size()), [this](int32_t frame) { return KindOf(frame); });
    references.Allocate(static_cast<size_t>(imageWidth) * static_cast<size_t>(imageHeight) * 3);
    totalFrames = static_cast<int32_t>(frames.size());
    SetTimeSpan(TimesOf(frames[static_cast<size_t>(displayMap.front())]),
                TimesOf(frames[static_cast<size_t>(displayMap.back())]));
    AssignGroupStreamTimes();
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// In display order, the frames of one group time are spread up to the next group's time, so that
// the last of them reaches it. A time that runs backwards stays in the group before; the last
// group keeps its one time.
void DecodeVigilantMpeg2::AssignGroupStreamTimes() {
    size_t groupStart = 0;
    int64_t time = frames[static_cast<size_t>(displayMap[0])].recordedTime;
    for (size_t position = 1; position < displayMap.size(); ++position) {
        const int64_t next = frames[static_cast<size_t>(displayMap[position])].recordedTime;
        if (next <= time) {
            continue;
        }
        const size_t count = position - groupStart;
        if (count > 1) {
            const int64_t step = (next - time) / static_cast<int64_t>(count - 1);
            for (size_t member = 0; member < count; ++member) {
                frames[static_cast<size_t>(displayMap[groupStart + member])].streamTime =
                    time + static_cast<int64_t>(member) * step;
            }
        }
        groupStart = position;
        time = next;
    }
}

FrameTimes DecodeVigilantMpeg2::TimesOf(const Mpeg2FrameInfo& frame) const {
    FrameTimes times{};
    times.recordedTime = frame.recordedTime;
    times.streamTime = frame.streamTime;
    // The bias stands in the upper word of the zone field, with the second flag set.
    times.zoneBias = static_cast<int64_t>(JoinWords(static_cast<uint32_t>(biasMinutes), 0));
    times.zoneFlag = 1;
    return times;
}

// ---- frame numbers are display positions ----

FrameTimes DecodeVigilantMpeg2::GetFrameTimes() {
    if (currentFrame < 0 || currentFrame >= totalFrames) {
        return FrameTimes{};
    }
    return TimesOf(frames[static_cast<size_t>(displayMap[static_cast<size_t>(currentFrame)])]);
}

void DecodeVigilantMpeg2::GetFrameCamera(CameraTag* tag) {
    *tag = camera;
    tag->number = 0;
}

uint64_t DecodeVigilantMpeg2::GetFramePeriod() {
    if (totalFrames < 2) {
        return 400000;
    }
    const int64_t first = frames[static_cast<size_t>(displayMap.front())].recordedTime;
    const int64_t last = frames[static_cast<size_t>(displayMap.back())].recordedTime;
    // Times that run backwards give no period of their own.
    return last > first ? static_cast<uint64_t>((last - first) / (totalFrames - 1)) : 400000;
}

// With fewer than three frames the search answers the first frame for any time inside the span.
int32_t DecodeVigilantMpeg2::IndexOfFrameAtStreamTime(int64_t streamTime) {
    auto streamTimeAt = [this](int32_t position) {
        return frames[static_cast<size_t>(displayMap[static_cast<size_t>(position)])].streamTime;
    };
    if (totalFrames <= 0 || streamTime < streamTimeAt(0)) {
        return -1;
    }
    if (streamTime >= streamTimeAt(totalFrames - 1)) {
        return totalFrames - 1;
    }
    if (totalFrames < 3) {
        return 0;
    }
    return StreamTimes::SearchStreamTime(totalFrames, streamTime, streamTimeAt);
}

int32_t DecodeVigilantMpeg2::GetFrameAtOrBefore(int32_t frame, int32_t) {
    return frame >= 0 && frame < totalFrames ? frame : -1;
}

int32_t DecodeVigilantMpeg2::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, totalFrames);
}

int32_t DecodeVigilantMpeg2::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, totalFrames);
}

// ---- fetching: decode forward from the references the target needs ----

DecoderAction DecodeVigilantMpeg2::DecompressingCore() {
    if (currentFrame < 0 || currentFrame >= totalFrames) {
        return Delivered(nullptr, false);
    }
    targetFrame = displayMap[static_cast<size_t>(currentFrame)];
    if (targetFrame == decodedFrame) {
        imageGood = true;
        return DDA_COMPLETE;
    }
    const int32_t count = static_cast<int32_t>(frames.size());
    auto kindAt = [this](int32_t frame) { return KindOf(frame); };
    const int32_t start = IsAnchor(KindOf(targetFrame)) && references.Held(targetFrame) != nullptr
                              ? targetFrame
                              : WalkStart(targetFrame, count, references, kindAt, [this] {
                                    Log(LogCore, "DecodeVigilantMpeg2::FindPreviousIorP() No such frame\n");
                                });
    if (start < 0) {
        imageGood = false;
        decodedFrame = -1;
        return DDA_COMPLETE;
    }
    return FetchFrom(start);
}

// Anchors a reference buffer holds are passed over without a read where the decoder's own
// references stay right.
DecoderAction DecodeVigilantMpeg2::FetchFrom(int32_t frame) {
    auto kindAt = [this](int32_t index) { return KindOf(index); };
    const int32_t count = static_cast<int32_t>(frames.size());
    while (IsAnchor(KindOf(frame))) {
        uint8_t* held = references.Held(frame);
        if (held == nullptr) {
            break;
        }
        if (frame == targetFrame) {
            return Delivered(held, true);
        }
        if (!references.CanPassOver(frame, NextAnchor(frame, count, kindAt))) {
            break;
        }
        frame = NextOnWalk(frame, targetFrame, kindAt);
    }
    fetchFrame = frame;
    const Mpeg2FrameInfo& info = frames[static_cast<size_t>(frame)];
    return Read(fileId, info.offset, info.size, &DecodeVigilantMpeg2::OnPicture,
                "DecodeVigilantMpeg2::DecompressingReadComplete failed while positioning\n");
}

DecoderAction DecodeVigilantMpeg2::OnPicture(ByteView bytes) {
    const bool anchor = IsAnchor(KindOf(fetchFrame));
    uint8_t* output = anchor ? references.DecodeAnchor(fetchFrame) : references.BPicture();
    const int32_t outputSize = imageWidth * imageHeight * 3;
    const bool good =
        decompressor.Decode(bytes.Data(), static_cast<int32_t>(bytes.Size()), output, outputSize) &&
        decompressor.HasNewPicture();
    if (anchor && !good) {
        references.Forget(fetchFrame);
    }
    if (fetchFrame == targetFrame) {
        return Delivered(output, good);
    }
    auto kindAt = [this](int32_t index) { return KindOf(index); };
    return FetchFrom(NextOnWalk(fetchFrame, targetFrame, kindAt));
}

DecoderAction DecodeVigilantMpeg2::Delivered(uint8_t* delivered, bool good) {
    picture = delivered;
    imageGood = good;
    decodedFrame = good ? targetFrame : -1;
    return DDA_COMPLETE;
}

bool DecodeVigilantMpeg2::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (!imageGood || picture == nullptr) {
        return false;
    }
    const int32_t pictureSize = imageWidth * imageHeight * 3;
    if (bufferSize < pictureSize) {
        Log(LogCore, "DecodeVigilantMpeg2::GetImage() uncompressed Buffer too small\n");
        return false;
    }
    std::memcpy(buffer, picture, static_cast<size_t>(pictureSize));
    return true;
}

} // namespace Vorn::Vorncast::Decoders
