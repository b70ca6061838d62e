#pragma once

#include "formats/lorikan/LorikanIndexDecoder.h"

namespace Vorn::Vorncast::Decoders {

// The index of one camera: "Vorn", then records of 28 bytes (time, offset in the data file,
// size). The data file is opened when the first frame is positioned.
class DecodeLorikan : public LorikanIndexDecoder {
public:
    explicit DecodeLorikan(const DecoderRow& row);

protected:
    bool TakesLayout(const LorikanIndexHeader&) const override { return true; }
    FrameInfo ReadRecord(ByteView record) override;
    DecoderAction FinishRecords() override;
    DecoderAction PositioningCore() override;

private:
    DecoderAction OnIndexClosed(int32_t fileId);
    DecoderAction OnDataOpened(int32_t fileId, uint64_t fileSize);
};

} // namespace Vorn::Vorncast::Decoders
