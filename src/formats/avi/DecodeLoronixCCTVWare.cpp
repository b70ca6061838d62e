#include "formats/avi/DecodeLoronixCCTVWare.h"

#include "core/time/Ticks.h"

#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t StartChunkBytes = 148;
constexpr uint32_t ZoneChunkBytes = 508;
constexpr size_t ZonePlace = 20;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// "nnn-" and a "--" further on.
bool IsRecorderName(const char* name) {
    return std::strlen(name) > 4 && IsDigit(name[0]) && IsDigit(name[1]) && IsDigit(name[2]) &&
           name[3] == '-' && std::strstr(name + 4, "--") != nullptr;
}

} // namespace

void DecodeLoronixCCTVWare::ForgetRecording() {
    BaseAVIDecoder::ForgetRecording();
    step = Start;
    position = 0;
    startSeconds = 0;
    hasZone = false;
    zone = {};
}

bool DecodeLoronixCCTVWare::ValidateFourCC(uint32_t code) {
    return code == FourCCLE("SN40") || code == FourCCLE("ADV1") || code == FourCCLE("TJPG");
}

uint32_t DecodeLoronixCCTVWare::CodecFourCC(uint32_t code) {
    switch (code) {
    case FourCCLE("SN40"):
        return FourCCLE("lkz0");
    case FourCCLE("TJPG"):
        return FourCCLE("lkz7");
    case FourCCLE("ADV1"):
        return FourCCLE("lkz6");
    default:
        return code;
    }
}

// Names that are not the recorder's give neither times nor cameras.
DecoderAction DecodeLoronixCCTVWare::OnFilesListed(bool ok, FileList& listed) {
    hasTimeStamps = true;
    hasCameraInfo = true;
    const DecoderAction action = BaseAVIDecoder::OnFilesListed(ok, listed);
    for (int32_t index = 0; index < files.Count(); ++index) {
        if (!IsRecorderName(files.Names().GetAt(index))) {
            hasTimeStamps = false;
            hasCameraInfo = false;
        }
    }
    return action;
}

void DecodeLoronixCCTVWare::MetaDataReadParameters(uint64_t* offset, uint32_t* size) {
    if (step == Start) {
        AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
        const AVIMultiFileFrameInfo last = frames != nullptr && frames->Count() > 0
                                               ? frames->GetAt(frames->Count() - 1)
                                               : AVIMultiFileFrameInfo{};
        position = last.offset + last.size + 1;
        step = FindStart;
    }
    *offset = position;
    *size = step == StartChunk ? StartChunkBytes : step == ZoneChunk ? ZoneChunkBytes : 4;
}

DecoderAction DecodeLoronixCCTVWare::ProcessMetaData(ByteView bytes) {
    switch (step) {
    case FindStart:
        if (bytes.Matches(0, "LRX2")) {
            position += 4;
            step = StartSize;
            return DDA_READ;
        }
        return SearchOn(Camera);
    case StartSize:
        if (bytes.U32LE(0) != StartChunkBytes) {
            return Fail("DecodeLoronixCCTVWare: Decode Failure (found LRX2 chunk, but size is incorrect)\n");
        }
        position += 4;
        step = StartChunk;
        return DDA_READ;
    case StartChunk:
        startSeconds = bytes.U32LE(36);
        position += StartChunkBytes;
        step = FindZone;
        return DDA_READ;
    case FindZone:
        if (bytes.Matches(0, "LRX3")) {
            position += 4;
            step = ZoneSize;
            return DDA_READ;
        }
        return SearchOn(Times);
    case ZoneSize:
        if (bytes.U32LE(0) != ZoneChunkBytes) {
            return Fail("DecodeLoronixCCTVWare: Decode Failure (found LRX3 chunk, but size is incorrect)\n");
        }
        position += 4;
        step = ZoneChunk;
        return DDA_READ;
    case ZoneChunk:
        hasZone = ReadTimeZoneInformation(bytes, ZonePlace, &zone);
        return SetTimes();
    default:
        return DDA_NO_ACTION;
    }
}

// One byte further; at the end of the file the walk goes on at `atEnd`.
DecoderAction DecodeLoronixCCTVWare::SearchOn(TrailerStep atEnd) {
    if (++position + 4 <= currentFileSize) {
        return DDA_READ;
    }
    if (atEnd == Camera) {
        hasTimeStamps = false;
        return SetCamera();
    }
    return SetTimes();
}

// The start and each frame's place in the file, on the recorder's local clock.
DecoderAction DecodeLoronixCCTVWare::SetTimes() {
    AVIMultiFileFrameInfoList* frames = CurrentFileFrames();
    if (frames == nullptr) {
        return SetCamera();
    }
    const int64_t start = TicksFromUnixSeconds(static_cast<int32_t>(startSeconds));
    for (AVIMultiFileFrameInfo& frame : *frames) {
        int64_t time = SaturatingAdd(start, frame.recordedTime == -1 ? 0 : frame.recordedTime);
        SystemTime universal{}, local{};
        if (hasZone && SystemTimeFromTicks(time, &universal) &&
            SystemTimeToTzSpecificLocalTime(zone, universal, &local)) {
            time = TicksFromSystemTime(local);
        }
        frame.recordedTime = time;
        frame.streamTime = time;
    }
    return SetCamera();
}

// The number before the first '-' of the name, the text up to the next '-' the camera's name.
DecoderAction DecodeLoronixCCTVWare::SetCamera() {
    step = Start;
    if (!hasCameraInfo) {
        SetCurrentFileCamera(currentFileIndex, "");
        return DDA_NO_ACTION;
    }
    const char* name = CurrentFileName();
    if (!IsDigit(name[0]) || !IsDigit(name[1]) || !IsDigit(name[2])) {
        return Fail(
            "DecodeLoronixCCTVWare: Decode Failure (Non-numeric character found where camera number should "
            "be)\n");
    }
    const char* dash = std::strchr(name + 4, '-');
    if (dash == nullptr) {
        return Fail(
            "DecodeLoronixCCTVWare: Decode Failure (error when parsing for dash after camera number in "
            "filename)\n");
    }
    char camera[CameraNameLength] = {};
    std::snprintf(camera, sizeof(camera), "%.*s", static_cast<int>(dash - name - 4), name + 4);
    SetCurrentFileCamera((name[0] - '0') * 100 + (name[1] - '0') * 10 + (name[2] - '0'), camera);
    return DDA_NO_ACTION;
}

} // namespace Vorn::Vorncast::Decoders
