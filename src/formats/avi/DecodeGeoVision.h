#pragma once

#include "formats/avi/BaseAVIDecoder.h"
#include "model/support/Calendar.h"

namespace Vorn::Vorncast::Decoders {

// GeoVision AVI files: a "txts" stream holds one text frame a video frame with its time, and the
// date in the long form; the file's name names the camera.
class DecodeGeoVision : public BaseAVIDecoder {
public:
    using BaseAVIDecoder::BaseAVIDecoder;

    // "GeoVision", and its FourCC once known.
    const char* GetDecoderName() override {
        return fourCC != 0 ? BaseAVIDecoder::GetDecoderName() : Row().name;
    }

protected:
    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t code) override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;

private:
    DecoderAction ReadShortForm(ByteView bytes);
    DecoderAction ReadLongForm(ByteView bytes);
    // Reads "h:m:s" or "h:m:s.f" into `date`; the failure's text when it does not parse.
    const char* ParseTime(std::string_view text);
    const char* ParseDate(std::string_view text);
    DecoderAction TakeFrameTime();

    SystemTime date = {};
};

} // namespace Vorn::Vorncast::Decoders
