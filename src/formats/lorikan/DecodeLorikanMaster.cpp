#include "formats/lorikan/DecodeLorikanMaster.h"

#include "core/framelists/TimeComparer.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr const char* BadOpen =
    "DecodeLorikanMaster::LoadingOpenComplete failed because fileId or fileSize was invalid\n";

constexpr LorikanIndexFormat IndexFormat = {
    "LKVL",
    86,
    BadOpen,
    "DecodeLorikanMaster::LoadingReadComplete failing because of bad result\n",
    "DecodeLorikanMaster::LoadingReadComplete failed because file has invalid header\n",
    "DecodeLorikanMaster::DecompressingReadComplete failing due to invalid result\n",
};

// The data file's header: longer for colour pictures.
constexpr int64_t ColourFramesStart = 125;
constexpr int64_t GreyFramesStart = 59;

} // namespace

DecodeLorikanMaster::DecodeLorikanMaster(const DecoderRow& row) : LorikanIndexDecoder(row, IndexFormat) {}

void DecodeLorikanMaster::ForgetRecording() {
    LorikanIndexDecoder::ForgetRecording();
    runningOffset = -1;
}

// The records hold no offset: each frame starts where the one before ended.
FrameInfo DecodeLorikanMaster::ReadRecord(ByteView record) {
    if (runningOffset < 0) {
        runningOffset = colour ? ColourFramesStart : GreyFramesStart;
    }
    ByteReader r(record);
    FrameInfo frame{};
    frame.camera.number = r.U16LE();
    frame.recordedTime = r.I64LE();
    r.Skip(8); // not read
    const int32_t size = r.I32LE();
    r.Text(CameraNameLength, frame.camera.name);
    frame.size = static_cast<uint32_t>(size);
    frame.offset = static_cast<uint64_t>(runningOffset);
    runningOffset += size;
    return frame;
}

DecoderAction DecodeLorikanMaster::FinishRecords() {
    TimeComparer<FrameInfo> byTime;
    frames.Sort(byTime);
    SetTimeSpan(frames.GetFirstTime(), frames.GetLastTime());
    return Close(indexFileId, &DecodeLorikanMaster::OnIndexClosed);
}

DecoderAction DecodeLorikanMaster::OnIndexClosed(int32_t) {
    indexFileId = -1;
    return Open(DataPath(), &DecodeLorikanMaster::OnDataOpened, nullptr);
}

DecoderAction DecodeLorikanMaster::OnDataOpened(int32_t fileId, uint64_t fileSize) {
    if (fileId == -1 || fileSize < LorikanIndexHeader::ReadSize) {
        return Fail("%s", BadOpen);
    }
    dataFileId = fileId;
    return PublishFrames();
}

} // namespace Vorn::Vorncast::Decoders
