#pragma once

#include "core/client/DecoderRows.h"
#include "core/decoder/FormatDecoder.h"

namespace Vorn::Vorncast::Decoders {

// Stands in a row of the decoder table whose format decoder is not built yet: it reports the
// row's identity (name, GUID, extensions, patterns, flags), answers a query by extension like any
// decoder, and fails every load with a log line that names the format.
class PlaceholderDecoder : public FormatDecoder {
public:
    using FormatDecoder::FormatDecoder;

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetFrameAtOrBefore(int32_t, int32_t) override { return -1; }
    int32_t GetPreviousFrame(int32_t, int32_t) override { return -1; }
    int32_t GetNextFrame(int32_t, int32_t) override { return -1; }

protected:
    void ForgetRecording() override {}
    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override { return DecoderFailure(); }
    DecoderAction DecompressingCore() override { return DecoderFailure(); }
};

BaseDecoder* CreatePlaceholderDecoder(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
