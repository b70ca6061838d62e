#pragma once

#include "core/time/TimeZoneRules.h"
#include "formats/iso/DecodeISOMedia.h"
#include "formats/iso/VigilantMpeg4Decoder.h"

namespace Vorn::Vorncast::Decoders {

// MP4 exports of the Vigilant recorders: no "ftyp", MPEG-4 part 2 video in the first track, a
// FILETIME creation time, and a "free" box with the camera's texts and the recorder's time zone.
// Exports of 704 x 576 (or 480) store fields of half the height behind a stream header that
// claims full frames: they are shown at half height behind a header of the recorder's own.
class DecodeVigilantMp4 : public DecodeISOMedia {
public:
    // The two sizes of the recorder's "free" payload.
    static constexpr uint32_t ShortFreeSize = 819;
    static constexpr uint32_t LongFreeSize = 1741;

    explicit DecodeVigilantMp4(const DecoderRow& row);

    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;

protected:
    void ForgetRecording() override;
    FrameTimes GetFirstTimes() override;
    FrameTimes GetLastTimes() override;
    DecoderAction SetCodec() override;
    void SetAspectRatio() override;
    const LoadTexts& Texts() const override;
    bool RefusesBox(uint32_t type, int32_t fromState) override;
    void BeforeMovieBox() override { cameraName[0] = '\0'; }
    void ParseFreeBox(ByteView payload) override;

    FrameTimes GetFrameTimes() override;
    void GetFrameCamera(CameraTag* camera) override;

private:
    // Adds the zone's base offset and fills in the daylight offset at the time reached.
    FrameTimes InZone(FrameTimes times) const;
    void ReadZone(ByteView payload);

    VigilantMpeg4Decoder recorderAdapter;
    TimeZoneRules zoneRules;
    int64_t offsetTicks = 0;
    char cameraName[CameraNameLength] = {};
};

} // namespace Vorn::Vorncast::Decoders
