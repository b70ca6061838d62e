#include "formats/pelco/DecodePelcoEndura.h"

#include "core/binary/FourCC.h"
#include "core/framelists/StreamTimes.h"
#include "core/time/Ticks.h"
#include "formats/shared/IndexRows.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Vorn::Vorncast::Decoders {

namespace {

using namespace std::string_view_literals;

constexpr uint32_t SectionHeaderSize = 8;
constexpr uint32_t MaxTailSize = 512;
constexpr uint32_t UserDataHeaderSize = 12;
constexpr int32_t MaxPictureSide = 2048;
constexpr uint8_t UndecodedFill = 143;

// A section begins with its tag and its size, header included, big-endian.
struct SectionHeader {
    uint32_t tag;
    uint32_t size;
};

SectionHeader ReadSectionHeader(ByteView bytes) {
    ByteReader r(bytes);
    SectionHeader header;
    header.tag = r.U32BE();
    header.size = r.U32BE();
    return header;
}

// The recorder's stamp, packed with a run-length code for zeros.
struct Stamp {
    uint32_t seconds;      // since 1970
    uint32_t microseconds; // within the second
    int32_t timeOffset;
};

constexpr size_t StampSize = 20;

// With the flag clear a byte is copied, and a 0 sets the flag; with it set, a 0 is copied and
// the flag stays, and any other byte c stands for c - 1 zeros and clears the flag.
bool UnpackStamp(ByteView packed, Stamp* stamp) {
    uint8_t unpacked[StampSize] = {};
    size_t length = 0;
    bool afterZero = false;
    for (size_t at = 0; at < packed.Size() && length < StampSize; ++at) {
        uint8_t byte = packed.U8(at);
        if (!afterZero || byte == 0) {
            unpacked[length++] = byte;
            afterZero = byte == 0;
            continue;
        }
        length = std::min(StampSize, length + byte - 1); // the zeros are there already
        afterZero = false;
    }
    if (length < StampSize) {
        return false;
    }
    ByteView bytes(unpacked, StampSize);
    stamp->seconds = bytes.U32BE(8);
    stamp->microseconds = bytes.U32BE(12);
    // A first byte of 255 marks a small negative offset in the second byte.
    stamp->timeOffset = bytes.U8(16) < 255 ? bytes.I32BE(16) : -static_cast<int32_t>(bytes.I8(17));
    return true;
}

int64_t TicksOfStamp(const Stamp& stamp) {
    return ((int64_t{stamp.seconds} + UnixEpochSeconds) * 1000000 + stamp.microseconds) * 10;
}

} // namespace

const DecodePelcoEndura::MetadataStep DecodePelcoEndura::MetadataSteps[] = {
    {&DecodePelcoEndura::ParseCameraName, FourCCBE("vtok"),
     "DecodePelcoEndura::LoadingReadComplete failed Unexpected file section\n"},
    {&DecodePelcoEndura::ParseNothing, FourCCBE("vdcl"),
     "DecodePelcoEndura::LoadingReadComplete failed No vdcl file section found\n"},
    {&DecodePelcoEndura::ParseCodec, FourCCBE("ifof"),
     "DecodePelcoEndura::LoadingReadComplete failed No ifof file section found\n"},
    {&DecodePelcoEndura::ParseKeyFrames, FourCCBE("siof"),
     "DecodePelcoEndura::LoadingReadComplete failed No siof file section found\n"},
};

void DecodePelcoEndura::ForgetRecording() {
    frames.Clear();
    cameraTag = {};
    fileId = -1;
    fileSize = 0;
    sectionPosition = 0;
    sectionSize = 0;
    sectionTag = 0;
    tailSize = 0;
    metadataStep = 0;
    decodedFrame = -1;
    walkFrame = -1;
    picture.reset();
    pictureSize = 0;
}

// ---- loading: the frame sections from their tails, then the metadata sections ----

DecoderAction DecodePelcoEndura::LoadingCore() {
    Reset();
    return Open(loadName, &DecodePelcoEndura::OnOpened, nullptr);
}

DecoderAction DecodePelcoEndura::OnOpened(int32_t newFileId, uint64_t newFileSize) {
    if (newFileId == -1 || newFileSize < SectionHeaderSize) {
        return Fail("DecodePelcoEndura::LoadingOpenComplete failed with bad fileId or fileSize\n");
    }
    fileId = newFileId;
    fileSize = newFileSize;
    return ReadForLoad(0, SectionHeaderSize, &DecodePelcoEndura::OnFirstHeader);
}

DecoderAction DecodePelcoEndura::ReadForLoad(uint64_t offset, uint32_t size,
                                             ReadStep<DecodePelcoEndura> step) {
    ReportProgress(static_cast<double>(offset) / static_cast<double>(fileSize));
    return Read(fileId, offset, size, step,
                "DecodePelcoEndura::LoadingReadComplete failed with bad result\n");
}

DecoderAction DecodePelcoEndura::OnFirstHeader(ByteView header) {
    if (ReadSectionHeader(header).tag != FourCCBE("vdat")) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed No vdat found at start\n");
    }
    sectionPosition = 0;
    sectionSize = 0;
    if (!TakeNextSection(header)) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed File too short\n");
    }
    return ReadFrameTail();
}

bool DecodePelcoEndura::TakeNextSection(ByteView bytes) {
    SectionHeader next = ReadSectionHeader(bytes.From(bytes.Size() - SectionHeaderSize));
    sectionPosition += sectionSize;
    sectionTag = next.tag;
    sectionSize = next.size;
    return sectionPosition + sectionSize + SectionHeaderSize <= fileSize;
}

// The last bytes of the section (at most 512) and the header of the next one.
DecoderAction DecodePelcoEndura::ReadFrameTail() {
    tailSize = std::min(sectionSize, MaxTailSize);
    return ReadForLoad(sectionPosition + sectionSize - tailSize, tailSize + SectionHeaderSize,
                       &DecodePelcoEndura::OnFrameTail);
}

// The recorder's user data block is the first user data start code of the tail.
DecoderAction DecodePelcoEndura::OnFrameTail(ByteView tail) {
    size_t userData =
        tailSize > UserDataHeaderSize ? tail.Sub(0, tailSize).Find("\x00\x00\x01\xB2"sv) : ByteView::npos;
    if (userData == ByteView::npos || userData > tailSize - UserDataHeaderSize) {
        return Fail(
            "DecodePelcoEndura::LoadingReadComplete failed No user_data_start_code at end of vdat section\n");
    }
    if (std::optional<DecoderAction> failed = AddFrame(tail, userData)) {
        return *failed;
    }
    if (!TakeNextSection(tail)) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed File too short\n");
    }
    if (sectionTag == FourCCBE("vdat")) {
        return ReadFrameTail();
    }
    if (sectionTag == FourCCBE("mnhd")) {
        return ReadMetadata();
    }
    return Fail("DecodePelcoEndura::LoadingReadComplete failed Unexpected file section\n");
}

// User data block: start code, "PLCO", 3 bytes not read, the packed stamp's length and the stamp.
// The frame's bytes end where the block begins, so that the codec never sees it.
std::optional<DecoderAction> DecodePelcoEndura::AddFrame(ByteView tail, size_t userData) {
    if (!tail.Matches(userData + 4, "PLCO")) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed No PLCO user data found\n");
    }
    uint8_t packedLength = tail.U8(userData + 11);
    if (userData + UserDataHeaderSize + packedLength > tailSize) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed Bad PLCO user data length\n");
    }
    Stamp stamp{};
    if (!UnpackStamp(tail.Sub(userData + UserDataHeaderSize, packedLength), &stamp)) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed Bad PLCO user data compression\n");
    }
    EnduraFrame frame{};
    frame.recordedTime = TicksOfStamp(stamp);
    frame.streamTime = frame.recordedTime;
    frame.offset = static_cast<uint32_t>(sectionPosition + SectionHeaderSize);
    frame.size = static_cast<uint32_t>(sectionSize - SectionHeaderSize - (tailSize - userData));
    frame.keyFrame = -1;
    frame.timeOffset = stamp.timeOffset;
    frames.Append(frame);
    return std::nullopt;
}

// A metadata section's payload and the header behind it.
DecoderAction DecodePelcoEndura::ReadMetadata() {
    return ReadForLoad(sectionPosition + SectionHeaderSize, sectionSize, &DecodePelcoEndura::OnMetadata);
}

DecoderAction DecodePelcoEndura::OnMetadata(ByteView section) {
    const MetadataStep& step = MetadataSteps[metadataStep];
    if (std::optional<DecoderAction> failed = (this->*step.parse)(section)) {
        return *failed;
    }
    bool last = ++metadataStep == std::size(MetadataSteps);
    // The last section may end the file without room for a header behind it.
    if (!TakeNextSection(section) && !last) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed File too short\n");
    }
    if (sectionTag != step.nextTag) {
        return Fail("%s", step.unexpectedNext);
    }
    return last ? FinishIndex() : ReadMetadata();
}

// From byte 30: a 16-bit text, 2 bytes, an 8-bit text, then the camera name in 16-bit characters
// of which the low bytes are kept. Nothing is read past 4 bytes before the section's size.
std::optional<DecoderAction> DecodePelcoEndura::ParseCameraName(ByteView section) {
    ByteReader r(section.Sub(0, sectionSize > 4 ? sectionSize - 4 : 0), 30);
    while (r.Ok() && r.U16LE() != 0) {
    }
    r.Skip(2);
    while (r.Ok() && r.U8() != 0) {
    }
    for (int index = 0; index < CameraNameLength - 1; ++index) {
        uint16_t character = r.U16LE();
        if (!r.Ok() || character == 0) {
            break;
        }
        cameraTag.name[index] = static_cast<char>(character & 0xFF);
    }
    return std::nullopt;
}

std::optional<DecoderAction> DecodePelcoEndura::ParseCodec(ByteView payload) {
    if (!payload.Matches(28, "Mpeg-4\0"sv)) {
        return Fail("DecodePelcoEndura::DecompressingReadComplete failed Not MPEG4 compression\n");
    }
    int32_t width = payload.I32BE(35);
    int32_t height = payload.I32BE(39);
    if (width < 0 || width >= MaxPictureSide || height < 0 || height >= MaxPictureSide) {
        return Fail("DecodePelcoEndura::DecompressingReadComplete failed Bad image size %d x %d\n", width,
                    height);
    }
    SetImageFormat(width, height, aspectX, aspectY, true, frames.Count());
    return std::nullopt;
}

// 12 bytes, then 8-byte entries whose first word numbers a key frame from 1. Every other frame
// decodes from the last key frame before it.
std::optional<DecoderAction> DecodePelcoEndura::ParseKeyFrames(ByteView payload) {
    int64_t entryBytes = int64_t{sectionSize} - SectionHeaderSize - 12;
    if (entryBytes <= 0) {
        return Fail("DecodePelcoEndura::DecompressingReadComplete failed I frame index too small\n");
    }
    IndexRows entries(payload, 12, static_cast<uint64_t>(entryBytes) / 8, 8);
    for (uint32_t index = 0; index < entries.Count(); ++index) {
        int64_t frame = int64_t{entries.Row(index).U32BE()} - 1;
        EnduraFrame* record =
            frames.GetItemPointer(frame < 0 || frame > INT32_MAX ? -1 : static_cast<int32_t>(frame));
        if (record == nullptr) {
            return Fail("DecodePelcoEndura::DecompressingReadComplete failed bad I frame index\n");
        }
        record->keyFrame = static_cast<int32_t>(frame);
    }
    int32_t keyFrame = -1;
    for (EnduraFrame& record : frames) {
        keyFrame = record.keyFrame >= 0 ? record.keyFrame : keyFrame;
        record.keyFrame = keyFrame;
    }
    return std::nullopt;
}

DecoderAction DecodePelcoEndura::FinishIndex() {
    if (frames.Count() == 0) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed No images found\n");
    }
    SetTimeSpan(frames.ItemAt(0).recordedTime, frames.ItemAt(frames.Count() - 1).recordedTime);
    const EnduraFrame& first = frames.ItemAt(0);
    return ReadForLoad(first.offset, first.size, &DecodePelcoEndura::OnFirstFrame);
}

// The first frame carries the codec's configuration.
DecoderAction DecodePelcoEndura::OnFirstFrame(ByteView frame) {
    if (!mpeg4.Initialise(imageWidth, imageHeight, 3, false, frame.Data(),
                          static_cast<int32_t>(frame.Size()))) {
        return Fail("DecodePelcoEndura::LoadingReadComplete failed Failed to initialise decoder\n");
    }
    pictureSize = imageWidth * imageHeight * 3;
    picture = std::make_unique<uint8_t[]>(static_cast<size_t>(pictureSize));
    std::memset(picture.get(), UndecodedFill, static_cast<size_t>(pictureSize));
    ReportProgress(1.0);
    return DDA_COMPLETE;
}

// ---- fetching a frame: a walk from its key frame, or on from the last decoded ----

DecoderAction DecodePelcoEndura::DecompressingCore() {
    if (currentFrame < 0 || currentFrame >= frames.Count()) {
        return Fail("DecodePelcoEndura::DecompressingCore failed with bad frame %d\n", currentFrame);
    }
    if (currentFrame == decodedFrame) {
        return DDA_COMPLETE;
    }
    walkFrame = std::max(frames.ItemAt(currentFrame).keyFrame, 0);
    if (decodedFrame >= walkFrame && decodedFrame < currentFrame) {
        walkFrame = decodedFrame + 1;
    } else {
        mpeg4.Reset();
    }
    return ReadWalkFrame();
}

DecoderAction DecodePelcoEndura::ReadWalkFrame() {
    const EnduraFrame& frame = frames.ItemAt(walkFrame);
    return Read(fileId, frame.offset, frame.size, &DecodePelcoEndura::OnWalkFrame,
                "DecodePelcoEndura::DecompressingReadComplete failed while positioning\n");
}

// Only the frame asked for makes a picture; one that does not decode leaves it black. A frame on
// the way that does not decode is passed, and the walk goes on.
DecoderAction DecodePelcoEndura::OnWalkFrame(ByteView frame) {
    decodedFrame = walkFrame;
    if (walkFrame < currentFrame) {
        mpeg4.DecodeSkippingPicture(frame.Data(), static_cast<int32_t>(frame.Size()));
    } else {
        if (!mpeg4.Decode(frame.Data(), static_cast<int32_t>(frame.Size()), picture.get(), pictureSize)) {
            std::memset(picture.get(), 0, static_cast<size_t>(pictureSize));
        }
        return DDA_COMPLETE;
    }
    ++walkFrame;
    return ReadWalkFrame();
}

bool DecodePelcoEndura::GetImage(int32_t bufferSize, uint8_t* buffer) {
    if (buffer != nullptr && picture != nullptr) {
        std::memcpy(buffer, picture.get(), static_cast<size_t>(std::min(bufferSize, pictureSize)));
    }
    return true;
}

// ---- frames ----

FrameTimes DecodePelcoEndura::GetFrameTimes() {
    const EnduraFrame& frame = frames.ItemAt(currentFrame);
    FrameTimes times{};
    times.recordedTime = frame.recordedTime;
    times.streamTime = frame.streamTime;
    times.zoneBias = static_cast<int64_t>(JoinWords(static_cast<uint32_t>(frame.timeOffset), 0));
    times.zoneFlag = 1;
    return times;
}

uint64_t DecodePelcoEndura::GetFramePeriod() {
    int32_t count = frames.Count();
    if (count < 2) {
        return DefaultFramePeriod;
    }
    return static_cast<uint64_t>(frames.ItemAt(count - 1).recordedTime - frames.ItemAt(0).recordedTime) /
           static_cast<uint64_t>(count - 1);
}

int32_t DecodePelcoEndura::GetPreviousFrame(int32_t frame, int32_t) {
    return StreamTimes::PreviousIndex(frame, frames.Count());
}

int32_t DecodePelcoEndura::GetNextFrame(int32_t frame, int32_t) {
    return StreamTimes::NextIndex(frame, frames.Count());
}

} // namespace Vorn::Vorncast::Decoders
