#include "formats/iso/IsoSampleEntries.h"

#include "formats/iso/IsoBoxTypes.h"
#include "formats/iso/IsoParsing.h"

namespace Vorn::Vorncast::Decoders {

namespace {

// Descriptor tags of an "esds" payload.
constexpr uint8_t EsDescriptorTag = 3;
constexpr uint8_t DecoderConfigTag = 4;
constexpr uint8_t DecoderSpecificInfoTag = 5;
constexpr uint8_t SyncLayerConfigTag = 6;

// ES descriptor flags.
constexpr uint8_t StreamDependenceFlag = 0x80;
constexpr uint8_t UrlFlag = 0x40;
constexpr uint8_t OcrStreamFlag = 0x20;

// Bytes of a DecoderConfigDescriptor before its DecoderSpecificInfo.
constexpr size_t DecoderConfigFixedBytes = 13;
// A descriptor length has at most four 7-bit groups.
constexpr int MaxLengthGroups = 4;

constexpr size_t EsdsVersionAndFlags = 4;
constexpr size_t MinimumEsdsLength = 7;
constexpr size_t MinimumD263Length = 7;
constexpr size_t MinimumDamrLength = 9;

// A cursor over the descriptors that counts the bytes it may still read apart from its position,
// since the URL of an ES descriptor takes bytes from the count without moving the position.
struct DescriptorCursor {
    ByteView data;
    size_t at = 0;
    size_t left = 0;

    bool Skip(size_t count) {
        if (count > left) {
            return false;
        }
        at += count;
        left -= count;
        return true;
    }

    // A tag and its length; false when they, or the length's bytes, pass the end.
    bool ReadHeader(uint8_t* tag, size_t* length) {
        if (left < 2) {
            return false;
        }
        *tag = data.U8(at);
        Skip(1);
        size_t value = 0;
        for (int group = 0; group < MaxLengthGroups; ++group) {
            if (left == 0) {
                return false;
            }
            const uint8_t byte = data.U8(at);
            Skip(1);
            value = value << 7 | (byte & 0x7F);
            if ((byte & 0x80) == 0) {
                *length = value;
                return value <= left;
            }
        }
        return false;
    }

    bool ReadHeaderWithTag(uint8_t wanted, size_t* length) {
        uint8_t tag = 0;
        return ReadHeader(&tag, length) && tag == wanted;
    }
};

// The ES descriptor from its first byte: its optional fields, then the decoder configuration with
// the DecoderSpecificInfo, then the sync layer configuration. False where one is missing.
bool ReadEsDescriptor(DescriptorCursor& cursor, size_t length, OwnedBytes* config) {
    if (length < 3 || cursor.left < 3) {
        return false;
    }
    const uint8_t flags = cursor.data.U8(cursor.at + 2);
    cursor.Skip(3);
    if ((flags & StreamDependenceFlag) != 0 && cursor.left >= 3) {
        cursor.Skip(2);
    }
    if ((flags & UrlFlag) != 0 && cursor.left >= 3) {
        // Only the length byte is stepped over; the URL's bytes are taken from the count alone.
        const size_t urlLength = cursor.data.U8(cursor.at);
        if (urlLength + 1 > cursor.left) {
            return false;
        }
        cursor.at += 1;
        cursor.left -= urlLength + 1;
    }
    if ((flags & OcrStreamFlag) != 0 && cursor.left >= 3) {
        cursor.Skip(2);
    }
    size_t configLength = 0;
    if (!cursor.ReadHeaderWithTag(DecoderConfigTag, &configLength) ||
        configLength < DecoderConfigFixedBytes) {
        return false;
    }
    cursor.Skip(DecoderConfigFixedBytes);
    size_t infoLength = 0;
    if (!cursor.ReadHeaderWithTag(DecoderSpecificInfoTag, &infoLength)) {
        return false;
    }
    config->Assign(cursor.data.Bytes(cursor.at, infoLength), infoLength);
    cursor.Skip(infoLength);
    size_t syncLayerLength = 0;
    if (!cursor.ReadHeaderWithTag(SyncLayerConfigTag, &syncLayerLength)) {
        return false;
    }
    return cursor.Skip(syncLayerLength);
}

void PrintConfig(std::ostream& out, const OwnedBytes& config) {
    out << "    Config: " << config.Length() << " bytes\n";
}

} // namespace

OwnedBytes ParseEsDescriptors(ByteView descriptors) {
    DescriptorCursor cursor{descriptors, 0, descriptors.Size()};
    OwnedBytes config;
    uint8_t tag = 0;
    size_t length = 0;
    while (cursor.ReadHeader(&tag, &length)) {
        if (tag != EsDescriptorTag) {
            cursor.Skip(length);
            continue;
        }
        if (!ReadEsDescriptor(cursor, length, &config)) {
            break;
        }
    }
    return config;
}

void VisualSampleEntry::ReadFields(ByteView entry) {
    dataReferenceIndex = entry.U16BE(14);
    width = entry.U16BE(32);
    height = entry.U16BE(34);
    depth = entry.U16BE(82);
    lastField = entry.I16BE(84);
}

void VisualSampleEntry::ParseChildBox(uint32_t, const uint8_t*, size_t) {}

void VisualSampleEntry::Print(std::ostream& out) const {
    out << "  Visual sample entry ";
    PrintFourCC(out, GetFormat());
    out << "\n    Data reference index: " << dataReferenceIndex << "\n    Size: " << width << " x " << height
        << "\n    Depth: " << depth << "\n";
    PrintConfig(out, config);
}

void MP4SampleEntry::ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) {
    if (type == IsoBox::Esds && length >= MinimumEsdsLength) {
        config = ParseEsDescriptors(ByteView(bytes, length).From(EsdsVersionAndFlags));
    }
}

uint32_t MP4SampleEntry::GetFormat() const {
    return IsoBox::Mp4v;
}

uint32_t AVC1SampleEntry::GetFormat() const {
    return IsoBox::Avc1;
}

uint32_t JPEGSampleEntry::GetFormat() const {
    return IsoBox::Jpeg;
}

void H263SampleEntry::ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) {
    if (type == IsoBox::D263 && length >= MinimumD263Length) {
        ByteView box(bytes, length);
        level = box.U8(5);
        profile = box.U8(6);
    }
}

uint32_t H263SampleEntry::GetFormat() const {
    return IsoBox::H263;
}

void H263SampleEntry::Print(std::ostream& out) const {
    VisualSampleEntry::Print(out);
    out << "    Level: " << static_cast<int>(level) << "\n    Profile: " << static_cast<int>(profile) << "\n";
}

void AudioSampleEntry::ReadFields(ByteView entry) {
    dataReferenceIndex = entry.U16BE(14);
    channelCount = entry.U16BE(24);
    sampleSize = entry.U16BE(26);
    sampleRate = entry.U16BE(32);
}

void AudioSampleEntry::ParseChildBox(uint32_t, const uint8_t*, size_t) {}

void AudioSampleEntry::Print(std::ostream& out) const {
    out << "  Audio sample entry ";
    PrintFourCC(out, GetFormat());
    out << "\n    Data reference index: " << dataReferenceIndex << "\n    Channels: " << channelCount
        << "\n    Sample size: " << sampleSize << "\n    Sample rate: " << sampleRate << "\n";
    PrintConfig(out, config);
}

// The audio "esds" is left unread: this family does not decode AAC.
void Mp4aSampleEntry::ParseChildBox(uint32_t, const uint8_t*, size_t) {}

uint32_t Mp4aSampleEntry::GetFormat() const {
    return IsoBox::Mp4a;
}

void AMRSampleEntry::ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) {
    if (type != IsoBox::Damr || length < MinimumDamrLength) {
        return;
    }
    ByteView box(bytes, length);
    amr = {};
    amr.vendor = box.U32BE(0);
    amr.decoderVersion = box.U8(4);
    amr.modeSet = box.U16BE(5);
    amr.modeChangePeriod = box.U8(7);
    amr.framesPerSample = box.U8(8);
    config.Assign(reinterpret_cast<const uint8_t*>(&amr), sizeof amr);
}

uint32_t AMRSampleEntry::GetFormat() const {
    return IsoBox::Samr;
}

void AMRSampleEntry::Print(std::ostream& out) const {
    AudioSampleEntry::Print(out);
    out << "    AMR vendor: ";
    PrintFourCC(out, amr.vendor);
    out << "\n    Mode set: " << amr.modeSet
        << "\n    Frames per sample: " << static_cast<int>(amr.framesPerSample) << "\n";
}

} // namespace Vorn::Vorncast::Decoders
