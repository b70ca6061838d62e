#pragma once

#include "core/client/DecoderRows.h"
#include "core/decoder/BaseDecoder.h"

namespace Vorn::Vorncast::Decoders {

// Stands in a row of the decoder table whose format decoder is not built yet: it reports the
// row's identity (name, GUID, extensions, patterns, flags), answers a query by extension like any
// decoder, and fails every load with a log line that names the format.
class PlaceholderDecoder : public BaseDecoder {
public:
    explicit PlaceholderDecoder(const DecoderRow& row);

    bool GetImage(int32_t bufferSize, uint8_t* buffer) override;
    int32_t GetFrameAtOrBefore(int32_t, int32_t) override { return -1; }
    int32_t GetPreviousFrame(int32_t, int32_t) override { return -1; }
    int32_t GetNextFrame(int32_t, int32_t) override { return -1; }
    void Reset() override {}
    const char* GetDecoderName() override { return row.name; }
    void GetDecoderGuid(const char** guid) override { *guid = row.guid; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;
    const char* GetPathPattern(int32_t index) override;

    const DecoderRow& Row() const { return row; }

protected:
    DecoderAction LoadingCore() override;
    DecoderAction PositioningCore() override { return DecoderFailure(); }
    DecoderAction DecompressingCore() override { return DecoderFailure(); }
    DecoderAction UnloadingCore() override { return DDA_COMPLETE; }

private:
    const DecoderRow& row;
};

BaseDecoder* CreatePlaceholderDecoder(const DecoderRow& row);

// Number of ';'-separated items of an extension list; 0 for a null or empty text.
int32_t CountExtensions(const char* extensions);
// Whether `extension` equals one item of `extensions`, case ignored.
bool ExtensionListHas(const char* extensions, const char* extension);

} // namespace Vorn::Vorncast::Decoders
