#pragma once

#include "core/time/TimeZoneInformation.h"
#include "formats/avi/BaseAVIDecoder.h"

namespace Vorn::Vorncast::Decoders {

// Loronix CCTVWare exports: AVI files in the recorder's private codecs, named
// "<camera number>-<camera name>--...", with a trailer behind the frames: an "LRX2" chunk with the
// recording's start in seconds since 1970 and an "LRX3" chunk with the recorder's time zone.
class DecodeLoronixCCTVWare : public BaseAVIDecoder {
public:
    using BaseAVIDecoder::BaseAVIDecoder;

protected:
    void ForgetRecording() override;
    bool ValidateFourCC(uint32_t code) override;
    uint32_t CodecFourCC(uint32_t code) override;
    DecoderAction OnFilesListed(bool ok, FileList& listed) override;
    void MetaDataReadParameters(uint64_t* offset, uint32_t* size) override;
    DecoderAction ProcessMetaData(ByteView bytes) override;

private:
    // The steps of the trailer's walk.
    enum TrailerStep {
        Start,
        FindStart,
        StartSize,
        StartChunk,
        FindZone,
        ZoneSize,
        ZoneChunk,
        Times,
        Camera
    };

    DecoderAction SearchOn(TrailerStep atEnd);
    DecoderAction SetTimes();
    DecoderAction SetCamera();

    TrailerStep step = Start;
    uint64_t position = 0;
    uint32_t startSeconds = 0;
    bool hasZone = false;
    TimeZoneInformation zone = {};
};

} // namespace Vorn::Vorncast::Decoders
