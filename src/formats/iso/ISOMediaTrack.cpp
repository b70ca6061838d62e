#include "formats/iso/ISOMediaTrack.h"

#include "formats/iso/IsoBoxTypes.h"
#include "formats/iso/IsoTimes.h"
#include "formats/shared/IndexRows.h"

#include <algorithm>
#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

// Where the fields of a track or media header lie in the payload, by version.
struct TrackHeaderLayout {
    size_t minimum;
    size_t modification;
    size_t trackId;
    size_t duration;
    size_t layer;
    size_t alternateGroup;
    size_t volume;
    size_t width;
    size_t height;
    bool wideTimes;
};

constexpr TrackHeaderLayout TrackHeaderVersion0{84, 8, 12, 20, 32, 34, 36, 76, 80, false};
constexpr TrackHeaderLayout TrackHeaderVersion1{96, 12, 20, 28, 44, 46, 48, 88, 92, true};

struct MediaHeaderLayout {
    size_t minimum;
    size_t modification;
    // In the wide form this lies inside the modification time: recorders' files were read so.
    size_t timescale;
    size_t duration;
    bool wideTimes;
};

constexpr MediaHeaderLayout MediaHeaderVersion0{24, 8, 12, 16, false};
constexpr MediaHeaderLayout MediaHeaderVersion1{36, 12, 16, 24, true};

constexpr size_t TimesOffset = 4;
constexpr size_t HandlerMinimum = 12;
constexpr size_t HandlerTypeOffset = 8;
// A "vmhd" box, header included, holds at least this much.
constexpr size_t VideoMediaHeaderMinimum = 20;

constexpr size_t DataReferenceMinimum = 8;
constexpr size_t DataReferenceEntryMinimum = 12;
constexpr uint32_t SelfContainedFlag = 1;

constexpr size_t TableCountOffset = 4;
constexpr size_t TableRowsOffset = 8;
constexpr size_t SizeTableCountOffset = 8;
constexpr size_t SizeTableRowsOffset = 12;
constexpr size_t CompactFieldSizeOffset = 7;
constexpr size_t SampleEntryHeader = 8;

uint64_t ReadTime(ByteView view, size_t at, bool wide) {
    return wide ? view.U64BE(at) : view.U32BE(at);
}

// Whether `length` bytes from `rowsAt` on hold `count` rows of `rowBytes`, counted in signed
// arithmetic as the tables' own tests do.
// The rows of a sample table: a count at TableCountOffset, rows of `rowSize` bytes behind it.
IndexRows TableRows(ByteView payload, size_t rowSize) {
    return IndexRows(payload, TableRowsOffset, payload.U32BE(TableCountOffset), rowSize);
}

VisualSampleEntry* NewVisualEntry(uint32_t format) {
    switch (format) {
    case IsoBox::S263:
        return new H263SampleEntry;
    case IsoBox::Mp4v:
    case IsoBox::Xmp4:
        return new MP4SampleEntry;
    case IsoBox::Avc1:
        return new AVC1SampleEntry;
    case IsoBox::Jpeg:
        return new JPEGSampleEntry;
    default:
        return new VisualSampleEntry;
    }
}

AudioSampleEntry* NewAudioEntry(uint32_t format) {
    switch (format) {
    case IsoBox::Samr:
        return new AMRSampleEntry;
    case IsoBox::Mp4a:
        return new Mp4aSampleEntry;
    default:
        return new AudioSampleEntry;
    }
}

} // namespace

ISOMediaTrack::ISOMediaTrack(IsoLog log) : log(log) {}

bool ISOMediaTrack::ReadTrackHeaderFields(ByteView header) {
    const TrackHeaderLayout& layout = header.U8(0) == 0 ? TrackHeaderVersion0 : TrackHeaderVersion1;
    if (header.Size() < layout.minimum) {
        return false;
    }
    modificationTime = TicksFromBoxTime(ReadTime(header, layout.modification, layout.wideTimes));
    trackId = header.U32BE(layout.trackId);
    duration = ReadTime(header, layout.duration, layout.wideTimes);
    layer = header.I16BE(layout.layer);
    alternateGroup = header.I16BE(layout.alternateGroup);
    volume = header.I16BE(layout.volume) / 256.0;
    width = header.U32BE(layout.width) / 65536.0;
    height = header.U32BE(layout.height) / 65536.0;
    return true;
}

bool ISOMediaTrack::ParseTrackHeader(const uint8_t* bytes, size_t length) {
    ByteView header(bytes, length);
    if (!ReadTrackHeaderFields(header)) {
        return false;
    }
    creationTime = TicksFromBoxTime(ReadTime(header, TimesOffset, header.U8(0) != 0));
    return true;
}

bool ISOMediaTrack::ParseMediaBox(const uint8_t* bytes, size_t length) {
    return WalkChildBoxes(ByteView(bytes, length),
                          [this](uint32_t type, ByteView payload) { return ParseMediaChild(type, payload); });
}

ChildStep ISOMediaTrack::ParseMediaChild(uint32_t type, ByteView payload) {
    bool parsed = true;
    switch (type) {
    case IsoBox::Mdhd:
        parsed = ParseMediaHeader(payload.Data(), payload.Size());
        break;
    case IsoBox::Hdlr:
        parsed = ParseHandler(payload.Data(), payload.Size());
        break;
    case IsoBox::Minf:
        parsed = ParseMediaInfoBox(payload.Data(), payload.Size());
        break;
    default:
        break;
    }
    return parsed ? ChildStep::Next : ChildStep::Fail;
}

bool ISOMediaTrack::ParseMediaHeader(const uint8_t* bytes, size_t length) {
    ByteView header(bytes, length);
    const MediaHeaderLayout& layout = header.U8(0) == 0 ? MediaHeaderVersion0 : MediaHeaderVersion1;
    if (length < layout.minimum) {
        return false;
    }
    mediaCreationTime = TicksFromBoxTime(ReadTime(header, TimesOffset, layout.wideTimes));
    mediaModificationTime = TicksFromBoxTime(ReadTime(header, layout.modification, layout.wideTimes));
    mediaTimescale = header.U32BE(layout.timescale);
    mediaDuration = ReadTime(header, layout.duration, layout.wideTimes);
    return true;
}

bool ISOMediaTrack::ParseHandler(const uint8_t* bytes, size_t length) {
    if (length < HandlerMinimum) {
        return false;
    }
    handlerType = ByteView(bytes, length).U32BE(HandlerTypeOffset);
    return true;
}

bool ISOMediaTrack::ParseMediaInfoBox(const uint8_t* bytes, size_t length) {
    return WalkChildBoxes(ByteView(bytes, length), [this](uint32_t type, ByteView payload) {
        return ParseMediaInfoChild(type, payload);
    });
}

ChildStep ISOMediaTrack::ParseMediaInfoChild(uint32_t type, ByteView payload) {
    switch (type) {
    case IsoBox::Vmhd:
        if (payload.Size() + BoxHeaderSize < VideoMediaHeaderMinimum) {
            return ChildStep::Fail;
        }
        mediaKind = type;
        return ChildStep::Next;
    case IsoBox::Smhd:
        mediaKind = type;
        return ChildStep::Next;
    case IsoBox::Hmhd:
        // A hint track: nothing behind its media header is wanted.
        mediaKind = type;
        return ChildStep::Stop;
    case IsoBox::Dinf:
        return ParseDataInfoBox(payload.Data(), payload.Size()) ? ChildStep::Next : ChildStep::Fail;
    case IsoBox::Stbl:
        return ParseSampleTableBox(payload.Data(), payload.Size()) ? ChildStep::Next : ChildStep::Fail;
    default:
        return ChildStep::Next;
    }
}

bool ISOMediaTrack::ParseDataInfoBox(const uint8_t* bytes, size_t length) {
    return WalkChildBoxes(ByteView(bytes, length), [this](uint32_t type, ByteView payload) {
        if (type == IsoBox::Dref && !ParseDataReferences(payload.Data(), payload.Size())) {
            return ChildStep::Fail;
        }
        return ChildStep::Next;
    });
}

bool ISOMediaTrack::ParseDataReferences(const uint8_t* bytes, size_t length) {
    ByteView payload(bytes, length);
    if (length < DataReferenceMinimum || payload.U32BE(TableCountOffset) == 0) {
        return false;
    }
    size_t at = TableRowsOffset;
    while (length - at >= DataReferenceEntryMinimum) {
        const uint32_t size = payload.U32BE(at);
        const uint32_t type = payload.U32BE(at + 4);
        if (size < DataReferenceEntryMinimum || size > length - at) {
            break;
        }
        if (type == IsoBox::Url || type == IsoBox::Urn || type == IsoBox::Alis) {
            DataReference reference;
            reference.type = type;
            reference.selfContained = (payload.U32BE(at + 8) & SelfContainedFlag) != 0;
            reference.bytes.Assign(payload.Bytes(at + 12, size - 12), size - 12);
            dataReferences.Add(std::move(reference));
        }
        at += size;
    }
    return true;
}

bool ISOMediaTrack::ParseSampleTableBox(const uint8_t* bytes, size_t length) {
    bool zeroSize = false;
    const bool walked = WalkChildBoxes(
        ByteView(bytes, length),
        [this](uint32_t type, ByteView payload) {
            ParseSampleTableChild(type, payload);
            return ChildStep::Next;
        },
        &zeroSize);
    if (!walked && zeroSize) {
        log.Write(0, "Box size is zero - giving up\n");
    }
    return walked;
}

// The boxes of a sample table and the step that reads each; the two chunk offset tables share one.
const TypeStep<ISOMediaTrack::TableStep> ISOMediaTrack::SampleTableSteps[] = {
    {IsoBox::Stsd, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseSampleDescriptions>},
    {IsoBox::Stts, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseTimeToSample>},
    {IsoBox::Stsc, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseSampleToChunk>},
    {IsoBox::Stsz, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseSampleSizes>},
    {IsoBox::Stz2, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseCompactSampleSizes>},
    {IsoBox::Stco, &ISOMediaTrack::ParseChunkOffsetTable},
    {IsoBox::Co64, &ISOMediaTrack::ParseChunkOffsetTable},
    {IsoBox::Stss, &ISOMediaTrack::ParseTable<&ISOMediaTrack::ParseSyncSamples>},
};

// A bad table stays empty or partial and the parse goes on, so the results are not looked at.
void ISOMediaTrack::ParseSampleTableChild(uint32_t type, ByteView payload) {
    if (!DispatchByType(SampleTableSteps, type, [&](auto step) { (this->*step)(type, payload); })) {
        log.Write(1, "Not handled: %4x\n", type);
    }
}

bool ISOMediaTrack::ParseSampleDescriptions(const uint8_t* bytes, size_t length) {
    ByteView payload(bytes, length);
    if (length < TableRowsOffset) {
        return false;
    }
    size_t at = TableRowsOffset;
    while (length - at >= SampleEntryHeader) {
        const uint32_t size = payload.U32BE(at);
        const uint32_t format = payload.U32BE(at + 4);
        if (size < SampleEntryHeader || size > length - at) {
            return false;
        }
        const ByteView entry = payload.Sub(at, size);
        if (handlerType == IsoBox::Vide) {
            if (size < VisualSampleEntry::FixedBytes) {
                return false;
            }
            ParseVisualEntry(format, entry);
        } else if (handlerType == IsoBox::Soun) {
            if (size < AudioSampleEntry::FixedBytes) {
                return false;
            }
            ParseAudioEntry(format, entry);
        }
        at += size;
    }
    return true;
}

void ISOMediaTrack::ParseVisualEntry(uint32_t format, ByteView entry) {
    std::unique_ptr<VisualSampleEntry> parsed(NewVisualEntry(format));
    parsed->ReadFields(entry);
    WalkChildBoxes(entry.From(VisualSampleEntry::FixedBytes), [&parsed](uint32_t type, ByteView child) {
        parsed->ParseChildBox(type, child.Data(), child.Size());
        return ChildStep::Next;
    });
    visualEntries.Add(std::move(parsed));
}

void ISOMediaTrack::ParseAudioEntry(uint32_t format, ByteView entry) {
    std::unique_ptr<AudioSampleEntry> parsed(NewAudioEntry(format));
    parsed->ReadFields(entry);
    WalkChildBoxes(entry.From(AudioSampleEntry::FixedBytes), [&parsed](uint32_t type, ByteView child) {
        parsed->ParseChildBox(type, child.Data(), child.Size());
        return ChildStep::Next;
    });
    audioEntries.Add(std::move(parsed));
}

bool ISOMediaTrack::ParseTimeToSample(const uint8_t* bytes, size_t length) {
    timeToSample.Clear();
    const IndexRows rows = TableRows(ByteView(bytes, length), 8);
    timeToSample.Reserve(rows.Count());
    rows.ForEach([this](ByteReader& row) { timeToSample.Add({row.U32BE(), row.U32BE()}); });
    return rows.Fits();
}

bool ISOMediaTrack::ParseSampleToChunk(const uint8_t* bytes, size_t length) {
    sampleToChunk.Clear();
    const IndexRows rows = TableRows(ByteView(bytes, length), 12);
    sampleToChunk.Reserve(rows.Count());
    rows.ForEach([this](ByteReader& row) { sampleToChunk.Add({row.U32BE(), row.U32BE(), row.U32BE()}); });
    return rows.Fits();
}

void ISOMediaTrack::SetSizeRows(uint32_t count) {
    sampleSizes.Clear();
    sizesBefore.Clear();
    fixedSampleSize = 0;
    sampleCount = count;
    sampleSizes.Reserve(count);
    sizesBefore.Reserve(size_t{count} + 1);
    sizesBefore.Add(0);
}

void ISOMediaTrack::AddSizeRow(uint32_t size) {
    sizesBefore.Add(sizesBefore.Last() + size);
    sampleSizes.Add(size);
}

bool ISOMediaTrack::ParseSampleSizes(const uint8_t* bytes, size_t length) {
    ByteView payload(bytes, length);
    SetSizeRows(0);
    const uint32_t size = payload.U32BE(TableCountOffset);
    const uint32_t count = payload.U32BE(SizeTableCountOffset);
    if (size != 0) {
        fixedSampleSize = size;
        sampleCount = count;
        return true;
    }
    if (!IndexRows::Fit(ByteView(bytes, length), SizeTableRowsOffset, count, 4)) {
        return false;
    }
    SetSizeRows(count);
    for (uint32_t row = 0; row < count; ++row) {
        AddSizeRow(payload.U32BE(SizeTableRowsOffset + size_t{row} * 4));
    }
    return true;
}

bool ISOMediaTrack::ParseCompactSampleSizes(const uint8_t* bytes, size_t length) {
    ByteView payload(bytes, length);
    SetSizeRows(0);
    const uint8_t fieldSize = payload.U8(CompactFieldSizeOffset);
    const uint32_t count = payload.U32BE(SizeTableCountOffset);
    const int64_t packed = static_cast<int64_t>(length) - static_cast<int64_t>(SizeTableRowsOffset);
    int64_t fieldsHeld = 0;
    switch (fieldSize) {
    case 4:
        fieldsHeld = packed * 2;
        break;
    case 8:
        fieldsHeld = packed;
        break;
    case 16:
        fieldsHeld = packed / 2;
        break;
    default:
        return false;
    }
    if (fieldsHeld < static_cast<int64_t>(count)) {
        return false;
    }
    SetSizeRows(count);
    for (uint32_t row = 0; row < count; ++row) {
        uint32_t size = 0;
        if (fieldSize == 4) {
            size = payload.From(SizeTableRowsOffset).U4(row);
        } else if (fieldSize == 8) {
            size = payload.U8(SizeTableRowsOffset + row);
        } else {
            size = payload.U16BE(SizeTableRowsOffset + size_t{row} * 2);
        }
        AddSizeRow(size);
    }
    return true;
}

bool ISOMediaTrack::ParseChunkOffsets(const uint8_t* bytes, size_t length) {
    return ParseChunkOffsetTable(IsoBox::Stco, ByteView(bytes, length));
}

bool ISOMediaTrack::ParseChunkOffsets64(const uint8_t* bytes, size_t length) {
    return ParseChunkOffsetTable(IsoBox::Co64, ByteView(bytes, length));
}

// "stco" holds 32-bit offsets, "co64" 64-bit ones.
bool ISOMediaTrack::ParseChunkOffsetTable(uint32_t type, ByteView payload) {
    chunkOffsets.Clear();
    const bool wide = type == IsoBox::Co64;
    const IndexRows rows = TableRows(payload, wide ? 8 : 4);
    chunkOffsets.Reserve(rows.Count());
    rows.ForEach([this, wide](ByteReader& row) { chunkOffsets.Add(wide ? row.U64BE() : row.U32BE()); });
    return rows.Fits();
}

bool ISOMediaTrack::ParseSyncSamples(const uint8_t* bytes, size_t length) {
    syncSamples.Clear();
    syncSamplesAscending = true;
    const IndexRows rows = TableRows(ByteView(bytes, length), 4);
    syncSamples.Reserve(rows.Count());
    rows.ForEach([this](ByteReader& row) {
        const uint32_t number = row.U32BE();
        if (!syncSamples.Empty() && number < syncSamples.Last()) {
            syncSamplesAscending = false;
        }
        syncSamples.Add(number);
    });
    return rows.Fits();
}

uint32_t ISOMediaTrack::GetSampleFormat(uint32_t descriptionIndex) const {
    if (descriptionIndex == 0) {
        return 0;
    }
    if (const VisualSampleEntry* visual = GetVisualEntry(descriptionIndex - 1)) {
        return visual->GetFormat();
    }
    if (const AudioSampleEntry* audio = GetAudioEntry(descriptionIndex - 1)) {
        return audio->GetFormat();
    }
    return 0;
}

int32_t ISOMediaTrack::GetVisualWidth(int32_t index) const {
    const VisualSampleEntry* entry = index >= 0 ? GetVisualEntry(static_cast<size_t>(index)) : nullptr;
    return entry != nullptr ? entry->width : 0;
}

int32_t ISOMediaTrack::GetVisualHeight(int32_t index) const {
    const VisualSampleEntry* entry = index >= 0 ? GetVisualEntry(static_cast<size_t>(index)) : nullptr;
    return entry != nullptr ? entry->height : 0;
}

bool ISOMediaTrack::GetDecoderConfig(uint32_t descriptionIndex, const uint8_t** config,
                                     int32_t* length) const {
    *config = nullptr;
    *length = 0;
    const VisualSampleEntry* entry = descriptionIndex > 0 ? GetVisualEntry(descriptionIndex - 1) : nullptr;
    if (entry == nullptr) {
        return false;
    }
    *config = entry->config.Data();
    *length = static_cast<int32_t>(entry->config.Length());
    return true;
}

bool ISOMediaTrack::GetAudioConfig(uint32_t descriptionIndex, uint8_t* buffer, int32_t capacity,
                                   int32_t* length) const {
    *length = 0;
    const AudioSampleEntry* entry = descriptionIndex > 0 ? GetAudioEntry(descriptionIndex - 1) : nullptr;
    if (entry == nullptr || buffer == nullptr || capacity < 0) {
        return false;
    }
    const size_t copied = std::min(entry->config.Length(), static_cast<size_t>(capacity));
    if (copied > 0) {
        std::memcpy(buffer, entry->config.Data(), copied);
    }
    *length = static_cast<int32_t>(copied);
    return true;
}

uint32_t ISOMediaTrack::GetLargestSampleSize() const {
    if (fixedSampleSize != 0) {
        return fixedSampleSize;
    }
    uint32_t largest = 0;
    for (size_t row = 0; row < sampleSizes.Count(); ++row) {
        largest = std::max(largest, sampleSizes[row]);
    }
    return largest;
}

} // namespace Vorn::Vorncast::Decoders
