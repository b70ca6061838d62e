#pragma once

#include "formats/lorikan/LorikanIndexDecoder.h"

namespace Vorn::Vorncast::Decoders {

// The index of several cameras: "LKVL", then records of 86 bytes (camera, time, size, camera
// name). The frames lie one after the other in the data file, which stays open from the load on.
class DecodeLorikanMaster : public LorikanIndexDecoder {
public:
    explicit DecodeLorikanMaster(const DecoderRow& row);

protected:
    void ForgetRecording() override;
    // The version test compares the digits with the numbers 0 and 1, which no digit equals: only
    // the old layout loads.
    bool TakesLayout(const LorikanIndexHeader& header) const override { return !header.newLayout; }
    FrameInfo ReadRecord(ByteView record) override;
    DecoderAction FinishRecords() override;

private:
    DecoderAction OnIndexClosed(int32_t fileId);
    DecoderAction OnDataOpened(int32_t fileId, uint64_t fileSize);

    int64_t runningOffset = -1;
};

} // namespace Vorn::Vorncast::Decoders
