#include "formats/timespace/DecodeTimeSpaceX100.h"

#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "model/support/Path.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t FrameMagic = 0xDC03F15F;
constexpr uint32_t KeyFrameRecordSize = 32;
constexpr uint32_t MaxKeyFrames = 100000000;
// A directory at this offset lies in front of the frames, which then run to the end of the file.
constexpr uint32_t DirectoryInFront = 512;

// DOS date and time words; the seconds are taken as they stand, not doubled.
int64_t TicksFromDosTime(uint16_t date, uint16_t time) {
    return TicksFromSystemTime(1980 + (date >> 9), date >> 5 & 15, date & 31, time >> 11, time >> 5 & 63,
                               time & 31, 0);
}

} // namespace

void DecodeTimeSpaceX100::ForgetRecording() {
    frames.Clear();
    keyFrames.clear();
    std::fill(std::begin(latestKey), std::end(latestKey), -1);
    for (int32_t camera = 0; camera <= MaxCamera; ++camera) {
        keyPictures[camera] = Picture{};
        currentPictures[camera] = Picture{};
    }
    fileId = -1;
    fileSize = framesEnd = position = 0;
    decoding = -1;
    decodingKey = false;
}

// ---- loading: the key frame directory, then every frame header ----

DecoderAction DecodeTimeSpaceX100::LoadingCore() {
    if (!Path::ExtensionIs(loadName, "oba")) {
        return Fail("DecodeTimeSpaceX100::LoadingCore failed with unsupported file extension\n");
    }
    Reset();
    return Open(loadName, &DecodeTimeSpaceX100::OnOpened, nullptr);
}

DecoderAction DecodeTimeSpaceX100::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize < 32) {
        return Fail(
            "DecodeTimeSpaceX100::LoadingOpenComplete failing because fileId or fileSize was invalid\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return Read(fileId, 0, 32, &DecodeTimeSpaceX100::OnDirectoryHeader, nullptr);
}

DecoderAction DecodeTimeSpaceX100::OnDirectoryHeader(ByteView header) {
    ByteReader r(header);
    const uint32_t directoryOffset = r.U32LE();
    const uint32_t length = r.U32LE();
    const uint8_t type = r.U8();
    if (type != 1) {
        return Fail("DecodeTimeSpaceX100::LoadingReadComplete failed because dirHeader.Type != 1\n");
    }
    if (length > MaxKeyFrames) {
        return Fail("DecodeTimeSpaceX100::LoadingReadComplete failed because dirHeader.Length > 100000000\n");
    }
    if (length < 1) {
        return Fail("DecodeTimeSpaceX100 ReadComplete with no images in KEYFRAMEV2 header\n");
    }
    framesEnd = directoryOffset == DirectoryInFront ? fileSize : directoryOffset;
    return TryRead(fileId, directoryOffset, length * KeyFrameRecordSize, &DecodeTimeSpaceX100::OnDirectory);
}

DecoderAction DecodeTimeSpaceX100::OnDirectory(bool ok, ByteView directory) {
    if (!ok) {
        return DecoderFailure();
    }
    for (size_t at = 0; at + KeyFrameRecordSize <= directory.Size(); at += KeyFrameRecordSize) {
        ByteReader r(directory, at);
        KeyFrame key{};
        key.sequence = r.U32LE();
        key.offset = r.U32LE();
        const uint16_t time = r.U16LE();
        const uint16_t date = r.U16LE();
        key.time = TicksFromDosTime(date, time);
        key.size = r.U32LE();
        key.framePosition = -1;
        if (!keyFrames.empty() && key.sequence != keyFrames.back().sequence + 1) {
            return Fail("DecodeTimeSpaceX100::LoadingReadComplete() KeyFrameV2 headers not sequential\n");
        }
        keyFrames.push_back(key);
    }
    position = keyFrames.front().offset;
    return ReadFrameHeader();
}

// The headers follow one another by their sector counts up to the end of the frames.
DecoderAction DecodeTimeSpaceX100::ReadFrameHeader() {
    if (position + FrameHeaderSize > framesEnd) {
        return TimeFrames();
    }
    ReportProgress(static_cast<double>(position) / static_cast<double>(fileSize));
    return Read(fileId, position, FrameHeaderSize, &DecodeTimeSpaceX100::OnFrameHeader, nullptr);
}

// A header that claims no sectors would hold the walk in place: it ends the frames.
DecoderAction DecodeTimeSpaceX100::OnFrameHeader(ByteView header) {
    ByteReader r(header);
    const uint32_t magic = r.U32LE();
    const uint16_t camera = r.U16LE();
    const uint32_t sectors = r.U32LE();
    r.Skip(2); // not read
    const bool key = r.U32LE() == 1;
    if (magic != FrameMagic) {
        return Fail("TimeSpace LoadingReadComplete() - invalid image header\n");
    }
    if (sectors == 0) {
        return TimeFrames();
    }
    TimeSpaceX100FrameInfo frame{};
    frame.offset = position;
    frame.size = sectors;
    frame.camera.number = static_cast<uint16_t>(camera + 1);
    // Cameras past the fifteenth have no pictures, and so no key frames.
    const int32_t number = camera + 1;
    if (key && number <= MaxCamera) {
        latestKey[number] = frames.Count();
    }
    frame.keyFrame = number <= MaxCamera ? latestKey[number] : -1;
    frames.Append(frame);
    position += uint64_t{sectors} * SectorSize;
    return ReadFrameHeader();
}

// Each key frame finds its frame; the frames between two key frames share out the time between
// them, and those behind the last key frame go on at the step before it.
DecoderAction DecodeTimeSpaceX100::TimeFrames() {
    int32_t from = 0;
    for (KeyFrame& key : keyFrames) {
        while (from < frames.Count() && frames.RecordAt(from)->offset != key.offset) {
            ++from;
        }
        if (from == frames.Count()) {
            return Fail("DecodeTimeSpace::LoadingReadComplete() past end of frameInfoList\n");
        }
        key.framePosition = from++;
    }
    for (size_t k = 1; k < keyFrames.size(); ++k) {
        keyFrames[k - 1].step = (keyFrames[k].time - keyFrames[k - 1].time) /
                                (keyFrames[k].framePosition - keyFrames[k - 1].framePosition);
    }
    keyFrames.back().step = keyFrames.size() > 1 ? keyFrames[keyFrames.size() - 2].step : 0;
    size_t k = 0;
    for (int32_t index = 0; index < frames.Count(); ++index) {
        while (k + 1 < keyFrames.size() && keyFrames[k + 1].framePosition <= index) {
            ++k;
        }
        const uint64_t sinceKey = static_cast<uint64_t>(index - keyFrames[k].framePosition);
        frames.RecordAt(index)->recordedTime = StreamTimes::Add(
            keyFrames[k].time, static_cast<int64_t>(sinceKey * static_cast<uint64_t>(keyFrames[k].step)));
    }
    totalFrames = frames.Count();
    imageWidth = Width;
    imageHeight = Height;
    colour = true;
    SetTimeSpan(frames.GetAt(0).recordedTime, frames.GetAt(totalFrames - 1).recordedTime);
    uint8_t mask[CameraMaskBytes];
    GetCameras(mask);
    for (int32_t camera = 1; camera <= MaxCamera; ++camera) {
        if ((mask[camera / 8] >> (camera % 8) & 1) != 0) {
            keyPictures[camera].pixels.assign(size_t{Width} * Height * 3, 0);
            currentPictures[camera].pixels.assign(size_t{Width} * Height * 3, 0);
        }
    }
    frames.AssignMonotonicStreamTimes();
    return DDA_COMPLETE;
}

// ---- fetching: a camera's key picture, then its frames applied one after the other ----

DecoderAction DecodeTimeSpaceX100::PositioningCore() {
    if (fileId != -1) {
        return DDA_COMPLETE;
    }
    return Open(loadName, &DecodeTimeSpaceX100::OnFetchOpened, nullptr);
}

DecoderAction DecodeTimeSpaceX100::OnFetchOpened(int32_t newFileId, uint64_t) {
    fileId = newFileId;
    return DDA_COMPLETE;
}

DecoderAction DecodeTimeSpaceX100::DecompressingCore() {
    if (fileId == -1) {
        return Fail("TimeSpaceDecoder::DecompressingCore() fileId == -1\n");
    }
    const TimeSpaceX100FrameInfo frame = frames.GetAt(currentFrame);
    const int32_t camera = frame.camera.number;
    if (camera > MaxCamera || frame.keyFrame < 0) {
        return DDA_COMPLETE;
    }
    Picture& current = currentPictures[camera];
    if (current.frame == currentFrame) {
        return DDA_COMPLETE;
    }
    if (current.frame >= frame.keyFrame && current.frame < currentFrame) {
        return ApplyNextFrame(current.frame);
    }
    if (keyPictures[camera].frame != frame.keyFrame) {
        return ReadFrame(frame.keyFrame, true);
    }
    current.pixels = keyPictures[camera].pixels;
    current.frame = frame.keyFrame;
    return current.frame == currentFrame ? DDA_COMPLETE : ApplyNextFrame(current.frame);
}

DecoderAction DecodeTimeSpaceX100::ApplyNextFrame(int32_t after) {
    const int32_t next = NextFrameOfCamera(frames, after, frames.GetCamera(currentFrame));
    if (next == -1) {
        Log(LogCore, "DecodeTimeSpaceX100::DecompressingCore() GetNextFrame() ran past end of file\n");
        currentPictures[frames.GetCamera(currentFrame)].frame = -1;
        return DDA_COMPLETE;
    }
    return ReadFrame(next, frames.GetAt(next).keyFrame == next);
}

DecoderAction DecodeTimeSpaceX100::ReadFrame(int32_t frame, bool intoKey) {
    decoding = frame;
    decodingKey = intoKey;
    const TimeSpaceX100FrameInfo record = frames.GetAt(frame);
    const uint64_t size = uint64_t{record.size} * SectorSize;
    return Read(fileId, record.offset,
                size > ReadBuffer::MaxCapacity ? ReadBuffer::MaxCapacity + 1 : static_cast<uint32_t>(size),
                &DecodeTimeSpaceX100::OnFrame,
                "DecodeTimeSpaceX100::DecompressingReadComplete - Read Failed\n");
}

// A key frame goes to the key picture and is copied to the current one; any other frame is
// applied to the current picture.
DecoderAction DecodeTimeSpaceX100::OnFrame(ByteView bytes) {
    const int32_t camera = frames.GetCamera(currentFrame);
    Picture& target = decodingKey ? keyPictures[camera] : currentPictures[camera];
    TimeSpacePictureDecoder decode = GetTimeSpacePictureDecoder();
    if (decode == nullptr) {
        Log(LogCore, "DecodeTimeSpaceX100 no picture decoder installed: the maker's codec is needed\n");
    }
    if (decode == nullptr || !decode(bytes.Data(), static_cast<uint32_t>(bytes.Size()), target.pixels.data(),
                                     Width, Width, Height, 0.0, 0.0, 1.0, 1.0, 0, 1, 0)) {
        target.frame = -1;
        return DecoderFailure();
    }
    target.frame = decoding;
    if (decodingKey) {
        currentPictures[camera].pixels = target.pixels;
        currentPictures[camera].frame = decoding;
    }
    if (decoding == currentFrame) {
        return DDA_COMPLETE;
    }
    const int32_t next = NextFrameOfCamera(frames, decoding, camera);
    if (next == -1 || next > currentFrame) {
        return Fail("TimeSpacedecode::DecompressingReadComplete decompressingFrame > currentFrame\n");
    }
    return ReadFrame(next, frames.GetAt(next).keyFrame == next);
}

// Lines are kept bottom line first.
bool DecodeTimeSpaceX100::GetImage(int32_t bufferSize, uint8_t* buffer) {
    const int32_t camera = frames.GetCamera(currentFrame);
    const size_t line = size_t{Width} * 3;
    if (buffer == nullptr || bufferSize < static_cast<int64_t>(line * Height)) {
        return false;
    }
    const Picture& current = currentPictures[std::min(camera, MaxCamera)];
    if (camera > MaxCamera || current.frame == -1 || current.pixels.empty()) {
        std::memset(buffer, 0, line * Height);
        return false;
    }
    for (int32_t row = 0; row < Height; ++row) {
        std::memcpy(buffer + row * line, current.pixels.data() + (Height - 1 - row) * line, line);
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
