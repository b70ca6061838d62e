#pragma once

#include "core/client/DecoderRows.h"
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

    DecodeVigilantMp4();

    int32_t IndexOfFrameAtStreamTime(int64_t streamTime) override;
    void Reset() override;
    const char* GetDecoderName() override { return "Vigilant Export Viewer MP4"; }
    void GetDecoderGuid(const char** guid) override { *guid = "ACEA0A02-8FE5-4770-BBBD-6D6745371F80"; }
    const char* GetExtensions(int32_t* count) override;
    bool IsExtension(const char* extension) override;

protected:
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

BaseDecoder* CreateDecodeVigilantMp4(const DecoderRow& row);

} // namespace Vorn::Vorncast::Decoders
