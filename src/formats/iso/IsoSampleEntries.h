#pragma once

#include "core/binary/ByteView.h"
#include "formats/iso/IsoTable.h"

#include <cstdint>
#include <ostream>

namespace Vorn::Vorncast::Decoders {

// One visual sample description of "stsd": the fields every visual entry has and the decoder
// configuration its child boxes may carry. Subclasses read the child boxes of their format.
class VisualSampleEntry {
public:
    // Bytes of the fixed part of a visual entry; its child boxes follow.
    static constexpr size_t FixedBytes = 86;

    VisualSampleEntry() = default;
    virtual ~VisualSampleEntry() = default;

    virtual VisualSampleEntry* Clone() const { return new VisualSampleEntry(*this); }
    virtual void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length);
    virtual uint32_t GetFormat() const { return 0; }
    virtual void Print(std::ostream& out) const;

    // Reads the fixed fields from the whole entry (header included).
    void ReadFields(ByteView entry);
    void SetConfig(const uint8_t* bytes, size_t length) { config.Assign(bytes, length); }

    uint16_t dataReferenceIndex = 0;
    uint16_t width = 0;
    uint16_t height = 0;
    uint16_t depth = 0;
    int16_t lastField = 0;
    OwnedBytes config;

protected:
    VisualSampleEntry(const VisualSampleEntry&) = default;
};

// MPEG-4 part 2 video ("mp4v", "xmp4"): the VOL header comes from "esds".
class MP4SampleEntry : public VisualSampleEntry {
public:
    MP4SampleEntry() = default;
    VisualSampleEntry* Clone() const override { return new MP4SampleEntry(*this); }
    void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) override;
    uint32_t GetFormat() const override;

protected:
    MP4SampleEntry(const MP4SampleEntry&) = default;
};

// H.264 ("avc1"). Only an "esds" child gives it a configuration; its "avcC" is not read, so the
// parameter sets must come in-band.
class AVC1SampleEntry : public MP4SampleEntry {
public:
    AVC1SampleEntry() = default;
    VisualSampleEntry* Clone() const override { return new AVC1SampleEntry(*this); }
    uint32_t GetFormat() const override;

protected:
    AVC1SampleEntry(const AVC1SampleEntry&) = default;
};

class JPEGSampleEntry : public VisualSampleEntry {
public:
    JPEGSampleEntry() = default;
    VisualSampleEntry* Clone() const override { return new JPEGSampleEntry(*this); }
    uint32_t GetFormat() const override;

protected:
    JPEGSampleEntry(const JPEGSampleEntry&) = default;
};

// H.263 ("s263"), with level and profile from "d263".
class H263SampleEntry : public VisualSampleEntry {
public:
    H263SampleEntry() = default;
    VisualSampleEntry* Clone() const override { return new H263SampleEntry(*this); }
    void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) override;
    uint32_t GetFormat() const override;
    void Print(std::ostream& out) const override;

    uint8_t level = 0;
    uint8_t profile = 0;

protected:
    H263SampleEntry(const H263SampleEntry&) = default;
};

// One audio sample description of "stsd".
class AudioSampleEntry {
public:
    // Bytes of the fixed part of an audio entry; its child boxes follow.
    static constexpr size_t FixedBytes = 36;

    AudioSampleEntry() = default;
    virtual ~AudioSampleEntry() = default;

    virtual AudioSampleEntry* Clone() const { return new AudioSampleEntry(*this); }
    virtual void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length);
    virtual uint32_t GetFormat() const { return 0; }
    virtual void Print(std::ostream& out) const;

    void ReadFields(ByteView entry);

    uint16_t dataReferenceIndex = 0;
    uint16_t channelCount = 0;
    uint16_t sampleSize = 0;
    uint16_t sampleRate = 0;
    OwnedBytes config;

protected:
    AudioSampleEntry(const AudioSampleEntry&) = default;
};

// AAC ("mp4a"). Its "esds" is not read: this family does not decode AAC audio.
class Mp4aSampleEntry : public AudioSampleEntry {
public:
    Mp4aSampleEntry() = default;
    AudioSampleEntry* Clone() const override { return new Mp4aSampleEntry(*this); }
    void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) override;
    uint32_t GetFormat() const override;

protected:
    Mp4aSampleEntry(const Mp4aSampleEntry&) = default;
};

// What "damr" says of an AMR narrow-band track, as one 12-byte record (which is also the entry's
// configuration).
struct AmrDecoderConfig {
    uint32_t vendor;
    uint8_t decoderVersion;
    uint8_t padding;
    uint16_t modeSet;
    uint8_t modeChangePeriod;
    uint8_t framesPerSample;
    uint8_t tail[2];
};
static_assert(sizeof(AmrDecoderConfig) == 12);

// AMR narrow band ("samr").
class AMRSampleEntry : public AudioSampleEntry {
public:
    AMRSampleEntry() = default;
    AudioSampleEntry* Clone() const override { return new AMRSampleEntry(*this); }
    void ParseChildBox(uint32_t type, const uint8_t* bytes, size_t length) override;
    uint32_t GetFormat() const override;
    void Print(std::ostream& out) const override;

    AmrDecoderConfig amr = {};

protected:
    AMRSampleEntry(const AMRSampleEntry&) = default;
};

// The decoder configuration (the bytes of the DecoderSpecificInfo) of an "esds" payload behind its
// version and flags; empty when the descriptors do not reach it.
OwnedBytes ParseEsDescriptors(ByteView descriptors);

} // namespace Vorn::Vorncast::Decoders
