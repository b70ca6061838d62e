#include "formats/lorikan/DecodeLorikan.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr LorikanIndexFormat IndexFormat = {
    "Vorn",
    28,
    "DecodeLorikan::LoadingOpenComplete failed because fileId or fileSize was invalid\n",
    "DecodeLorikan::LoadingReadComplete failed with bad result\n",
    "DecodeLorikan::LoadingReadComplete failed because file has invalid header\n",
    "DecodeLorikan::DecompressingReadComplete failed with bad result\n",
};

} // namespace

DecodeLorikan::DecodeLorikan(const DecoderRow& row) : LorikanIndexDecoder(row, IndexFormat) {}

FrameInfo DecodeLorikan::ReadRecord(ByteView record) {
    ByteReader r(record);
    FrameInfo frame{};
    frame.recordedTime = r.I64LE();
    frame.offset = r.U64LE();
    r.Skip(8); // not read
    frame.size = r.U32LE();
    return frame;
}

// The frames stay in the order of the index; the time span runs from its first to its last.
DecoderAction DecodeLorikan::FinishRecords() {
    SetTimeSpan(frames.GetFirstTime(), frames.GetLastTime());
    return Close(indexFileId, &DecodeLorikan::OnIndexClosed);
}

DecoderAction DecodeLorikan::OnIndexClosed(int32_t) {
    indexFileId = -1;
    return PublishFrames();
}

DecoderAction DecodeLorikan::PositioningCore() {
    if (dataFileId != -1) {
        return DDA_COMPLETE;
    }
    return Open(DataPath(), &DecodeLorikan::OnDataOpened, nullptr);
}

DecoderAction DecodeLorikan::OnDataOpened(int32_t fileId, uint64_t fileSize) {
    if (fileId == -1 || fileSize == 0) {
        return Fail("DecodeLorikan::PositioningOpenComplete failed with invalid fileId or fileSize\n");
    }
    dataFileId = fileId;
    return DDA_COMPLETE;
}

} // namespace Vorn::Vorncast::Decoders
