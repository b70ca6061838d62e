#pragma once

#include "core/binary/ByteView.h"
#include "formats/iso/IsoParsing.h"
#include "formats/iso/IsoSampleEntries.h"
#include "formats/iso/IsoTable.h"
#include "formats/shared/TypeDispatch.h"

#include <cstdint>
#include <memory>
#include <ostream>

namespace Vorn::Vorncast::Decoders {

// Where one sample lies and when it plays.
struct SampleInfo {
    int64_t time;              // ticks since the start of the track
    uint32_t duration;         // ticks
    uint64_t offset;           // in the file
    uint32_t size;             // bytes
    int32_t syncSample;        // 0-based index of the sync sample at or before it
    uint32_t descriptionIndex; // 1-based
};

struct DataReference {
    uint32_t type = 0;
    bool selfContained = false;
    OwnedBytes bytes;
};

struct TimeToSampleRow {
    uint32_t count = 0;
    uint32_t delta = 0;
};

struct SampleToChunkRow {
    uint32_t firstChunk = 0;
    uint32_t samplesPerChunk = 0;
    uint32_t descriptionIndex = 0;
};

// One "trak" of a movie: its headers, its sample tables and sample descriptions, and the lookup
// of each sample's time, place and sync sample from those tables. Every parse operation takes a
// payload and its length and keeps nothing of it but copies.
class ISOMediaTrack {
public:
    explicit ISOMediaTrack(IsoLog log = {});
    virtual ~ISOMediaTrack() = default;
    ISOMediaTrack(const ISOMediaTrack&) = delete;
    ISOMediaTrack& operator=(const ISOMediaTrack&) = delete;

    virtual bool ParseTrackHeader(const uint8_t* bytes, size_t length);
    bool ParseMediaBox(const uint8_t* bytes, size_t length);
    bool ParseMediaHeader(const uint8_t* bytes, size_t length);
    bool ParseHandler(const uint8_t* bytes, size_t length);
    bool ParseMediaInfoBox(const uint8_t* bytes, size_t length);
    bool ParseDataInfoBox(const uint8_t* bytes, size_t length);
    bool ParseDataReferences(const uint8_t* bytes, size_t length);
    bool ParseSampleTableBox(const uint8_t* bytes, size_t length);
    bool ParseSampleDescriptions(const uint8_t* bytes, size_t length);
    bool ParseTimeToSample(const uint8_t* bytes, size_t length);
    bool ParseSampleToChunk(const uint8_t* bytes, size_t length);
    bool ParseSampleSizes(const uint8_t* bytes, size_t length);
    bool ParseCompactSampleSizes(const uint8_t* bytes, size_t length);
    bool ParseChunkOffsets(const uint8_t* bytes, size_t length);
    bool ParseChunkOffsets64(const uint8_t* bytes, size_t length);
    bool ParseSyncSamples(const uint8_t* bytes, size_t length);
    bool ParseChunkOffsetTable(uint32_t type, ByteView payload);

    // "vmhd", "smhd", "hmhd", or 0 before a media header was seen.
    uint32_t GetMediaKind() const { return mediaKind; }
    // The lookup of one sample by its 0-based number; a caller stays below GetSampleCount.
    SampleInfo GetSampleInfo(int32_t sample) const;
    // The format of a sample description (1-based), visual or audio; 0 for none.
    uint32_t GetSampleFormat(uint32_t descriptionIndex) const;
    // The size of a visual sample description (0-based); 0 for none.
    int32_t GetVisualWidth(int32_t index) const;
    int32_t GetVisualHeight(int32_t index) const;
    // The configuration of a visual sample description (1-based). False, with null and 0, for none.
    bool GetDecoderConfig(uint32_t descriptionIndex, const uint8_t** config, int32_t* length) const;
    // Copies the configuration of an audio sample description (1-based) into `buffer`, cut to
    // `capacity`. False, with a length of 0, for none.
    bool GetAudioConfig(uint32_t descriptionIndex, uint8_t* buffer, int32_t capacity, int32_t* length) const;
    uint32_t GetSampleCount() const { return sampleCount; }
    uint32_t GetLargestSampleSize() const;

    void SetMovieTimescale(uint32_t timescale) { movieTimescale = timescale; }
    void Print(std::ostream& out) const;

    const VisualSampleEntry* GetVisualEntry(size_t index) const {
        return index < visualEntries.Count() ? visualEntries[index].get() : nullptr;
    }
    const AudioSampleEntry* GetAudioEntry(size_t index) const {
        return index < audioEntries.Count() ? audioEntries[index].get() : nullptr;
    }
    size_t GetVisualEntryCount() const { return visualEntries.Count(); }
    size_t GetAudioEntryCount() const { return audioEntries.Count(); }
    size_t GetDataReferenceCount() const { return dataReferences.Count(); }
    const DataReference* GetDataReference(size_t index) const { return dataReferences.At(int64_t(index)); }

    int64_t creationTime = 0;
    int64_t modificationTime = 0;
    uint64_t duration = 0;
    uint32_t trackId = 0;
    int32_t layer = 0;
    int32_t alternateGroup = 0;
    double volume = 0;
    double width = 0;
    double height = 0;
    int64_t mediaCreationTime = 0;
    int64_t mediaModificationTime = 0;
    uint32_t movieTimescale = 0;
    uint32_t mediaTimescale = 0;
    uint64_t mediaDuration = 0;
    uint32_t handlerType = 0;

protected:
    // The fields of "tkhd" other than the creation time, by version.
    bool ReadTrackHeaderFields(ByteView header);

    IsoLog log;

private:
    ChildStep ParseMediaChild(uint32_t type, ByteView payload);
    ChildStep ParseMediaInfoChild(uint32_t type, ByteView payload);
    void ParseSampleTableChild(uint32_t type, ByteView payload);
    using TableStep = bool (ISOMediaTrack::*)(uint32_t type, ByteView payload);
    // A table parser of bytes and length as a step of the dispatch table.
    template <bool (ISOMediaTrack::*Parse)(const uint8_t*, size_t)>
    bool ParseTable(uint32_t, ByteView payload) {
        return (this->*Parse)(payload.Data(), payload.Size());
    }
    static const TypeStep<TableStep> SampleTableSteps[];
    void ParseVisualEntry(uint32_t format, ByteView entry);
    void ParseAudioEntry(uint32_t format, ByteView entry);
    void SetSizeRows(uint32_t count);
    void AddSizeRow(uint32_t size);

    uint32_t SampleSize(int64_t sample) const;
    // Bytes of the samples from `first` up to, not including, `last`.
    uint64_t SizesBetween(int64_t first, int64_t last) const;
    void TimeOfSample(int64_t sample, int64_t* units, uint32_t* delta) const;
    void ChunkOfSample(int64_t sample, int64_t* chunk, int64_t* firstOfChunk, uint32_t* description) const;
    uint64_t ChunkOffset(int64_t chunk) const;
    int32_t SyncSampleOf(int64_t sample) const;

    uint32_t mediaKind = 0;
    IsoTable<DataReference> dataReferences;
    IsoTable<uint64_t> chunkOffsets;
    IsoTable<uint32_t> syncSamples;
    bool syncSamplesAscending = true;
    IsoTable<SampleToChunkRow> sampleToChunk;
    IsoTable<uint32_t> sampleSizes;
    // Sum of the sizes of the rows before each row, and of all rows at the end: the bytes between
    // two samples of a chunk in one subtraction.
    IsoTable<uint64_t> sizesBefore;
    uint32_t fixedSampleSize = 0;
    uint32_t sampleCount = 0;
    IsoTable<TimeToSampleRow> timeToSample;
    IsoTable<std::unique_ptr<VisualSampleEntry>> visualEntries;
    IsoTable<std::unique_ptr<AudioSampleEntry>> audioEntries;
};

} // namespace Vorn::Vorncast::Decoders
