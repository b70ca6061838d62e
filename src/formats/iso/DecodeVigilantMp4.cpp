#include "formats/iso/DecodeVigilantMp4.h"

#include "core/time/TimeZoneInformation.h"
#include "formats/iso/IsoBoxTypes.h"
#include "formats/iso/IsoTimes.h"
#include "formats/iso/VigilantFile.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

const DecodeISOMedia::LoadTexts VigilantTexts = {
    "DecodeVigilantMp4 LoadingReadComplete failed while loading\n",
    {"DecodeVigilantMp4 Box ends after file 1\n", "DecodeVigilantMp4 Box ends after file 2\n"},
    "DecodeVigilantMp4 Bad movie box\n",
    "DecodeVigilantMp4 Bad file type box\n",
};

// Where the recorder's "free" payload keeps its texts and its zone.
constexpr size_t CameraTextOffset = 8;
constexpr size_t CameraTextUnits = 39;
constexpr size_t ZoneOffset = 540;
constexpr size_t SecondTextOffset = 717;
constexpr size_t SecondTextUnits = 21;

// The recorder's interlaced exports: their frames hold one field of this width.
constexpr int32_t FieldExportWidth = 704;
constexpr int32_t PalFrameHeight = 576;
constexpr int32_t NtscFrameHeight = 480;
constexpr int32_t NtscFieldHeight = 240;
constexpr int32_t DisplayAspectX = 352;
constexpr int32_t DisplayAspectY = 288;

// The MPEG-4 stream header (visual object sequence, visual object, video object and video object
// layer) that fits the field pictures of 704 x 288. The 240-line form differs in the two bytes
// that hold the layer's height, 0x84 0x82.
constexpr uint8_t FieldStreamHeader[] = {0x00, 0x00, 0x01, 0xB0, 0x21, 0x00, 0x00, 0x01, 0xB5, 0x0C, 0x8F,
                                         0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x01, 0x20, 0x02, 0x04, 0x48,
                                         0xCA, 0x30, 0x00, 0x62, 0xC0, 0x84, 0x82, 0x92, 0x00};
constexpr size_t FieldHeightBytes = 27;
constexpr uint8_t NtscFieldHeightBytes[] = {0x83, 0xC2};

// Biases are minutes that the zone rules negate; one that has no negation is no zone a recorder
// wrote.
bool HasUsableBiases(const TimeZoneInformation& zone) {
    for (int32_t bias : {zone.Bias, zone.StandardBias, zone.DaylightBias}) {
        if (bias == INT32_MIN) {
            return false;
        }
    }
    return true;
}

// UTF-16 text units with their low bytes kept, at most `units`, ended by a zero unit.
size_t ReadLowBytes(ByteView payload, size_t at, size_t units, char* out) {
    size_t length = 0;
    while (length < units) {
        const uint16_t unit = payload.U16LE(at + 2 * length);
        if (unit == 0) {
            break;
        }
        out[length++] = static_cast<char>(unit & 0xFF);
    }
    out[length] = '\0';
    return length;
}

} // namespace

DecodeVigilantMp4::DecodeVigilantMp4(const DecoderRow& row) : DecodeISOMedia(row, new VigilantFile) {}

const DecodeISOMedia::LoadTexts& DecodeVigilantMp4::Texts() const {
    return VigilantTexts;
}

void DecodeVigilantMp4::ForgetRecording() {
    DecodeISOMedia::ForgetRecording();
    zoneRules = TimeZoneRules();
    offsetTicks = 0;
    cameraName[0] = '\0';
}

bool DecodeVigilantMp4::RefusesBox(uint32_t type, int32_t fromState) {
    if (type != IsoBox::Ftyp) {
        return false;
    }
    Log(LogCore, "DecodeVigilantMp4 File type box should not be present %d\n", fromState);
    return true;
}

void DecodeVigilantMp4::ParseFreeBox(ByteView payload) {
    const uint32_t size = payload.U32LE(0);
    if (size != payload.Size() || (size != ShortFreeSize && size != LongFreeSize)) {
        return;
    }
    char first[CameraTextUnits + 1];
    char second[SecondTextUnits + 1];
    ReadLowBytes(payload, CameraTextOffset, CameraTextUnits, first);
    ReadZone(payload);
    ReadLowBytes(payload, SecondTextOffset, SecondTextUnits, second);
    std::snprintf(cameraName, sizeof cameraName, "%s - %s", first, second);
}

void DecodeVigilantMp4::ReadZone(ByteView payload) {
    const ISOMediaTrack* first = movie->GetTrack(0);
    TimeZoneInformation zone = {};
    if (first == nullptr || !ReadTimeZoneInformation(payload, ZoneOffset, &zone) || !HasUsableBiases(zone)) {
        return;
    }
    const int64_t movieTicks =
        TicksFromMediaUnits(static_cast<int64_t>(movie->GetDuration()), movie->GetTimescale());
    const int64_t start = first->creationTime;
    if (zoneRules.Build(start, SaturatingAdd(start, movieTicks), zone)) {
        offsetTicks = zoneRules.BaseBiasTicks();
    }
}

FrameTimes DecodeVigilantMp4::InZone(FrameTimes times) const {
    times.recordedTime = SaturatingAdd(times.recordedTime, offsetTicks);
    times.streamTime = times.recordedTime;
    bool enabled = false;
    times.zoneBias = zoneRules.GetOffset(times.recordedTime, &enabled);
    times.zoneKnown = enabled ? 1 : 0;
    return times;
}

FrameTimes DecodeVigilantMp4::GetFirstTimes() {
    return InZone(DecodeISOMedia::GetFirstTimes());
}

FrameTimes DecodeVigilantMp4::GetLastTimes() {
    return InZone(DecodeISOMedia::GetLastTimes());
}

FrameTimes DecodeVigilantMp4::GetFrameTimes() {
    return InZone(DecodeISOMedia::GetFrameTimes());
}

int32_t DecodeVigilantMp4::IndexOfFrameAtStreamTime(int64_t streamTime) {
    return DecodeISOMedia::IndexOfFrameAtStreamTime(SaturatingSubtract(streamTime, offsetTicks));
}

void DecodeVigilantMp4::GetFrameCamera(CameraTag* camera) {
    camera->number = 0;
    std::memcpy(camera->name, cameraName, sizeof camera->name);
}

void DecodeVigilantMp4::SetAspectRatio() {
    Log(LogEvent, "DecodeVigilantMp4::SetAspectRatio\n");
    aspectX = DisplayAspectX;
    aspectY = DisplayAspectY;
}

DecoderAction DecodeVigilantMp4::SetCodec() {
    const ISOMediaTrack* first = movie->GetTrack(0);
    if (first == nullptr || first->GetSampleFormat(currentDescription) != IsoBox::Mp4v) {
        return DDA_FAILED;
    }
    const uint8_t* config = nullptr;
    int32_t configSize = 0;
    first->GetDecoderConfig(currentDescription, &config, &configSize);
    uint8_t fieldHeader[sizeof FieldStreamHeader];
    if (imageWidth == FieldExportWidth && (imageHeight == PalFrameHeight || imageHeight == NtscFrameHeight)) {
        imageHeight /= 2;
        std::memcpy(fieldHeader, FieldStreamHeader, sizeof fieldHeader);
        if (imageHeight == NtscFieldHeight) {
            std::memcpy(fieldHeader + FieldHeightBytes, NtscFieldHeightBytes, sizeof NtscFieldHeightBytes);
        }
        config = fieldHeader;
        configSize = sizeof fieldHeader;
    }
    return StartVideo(recorderAdapter, config, configSize) ? DDA_COMPLETE : DDA_FAILED;
}

} // namespace Vorn::Vorncast::Decoders
