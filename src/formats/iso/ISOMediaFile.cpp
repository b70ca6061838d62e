#include "formats/iso/ISOMediaFile.h"

#include "formats/iso/IsoBoxTypes.h"
#include "formats/iso/IsoTimes.h"

namespace Vorn::Vorncast::Decoders {

namespace {

struct MovieHeaderLayout {
    size_t minimum; // payload bytes
    size_t modification;
    size_t timescale;
    size_t duration;
    bool wideTimes;
};

constexpr MovieHeaderLayout MovieHeaderVersion0{20, 8, 12, 16, false};
constexpr MovieHeaderLayout MovieHeaderVersion1{32, 12, 20, 24, true};
// Version and flags must be there before the version can choose a layout.
constexpr size_t MovieHeaderVersionBytes = 4;
constexpr size_t MovieTimesOffset = 4;

constexpr size_t FileTypeMinimum = 8;
constexpr size_t CompatibleBrandsOffset = 8;

bool IsVideoOrSound(uint32_t mediaKind) {
    return mediaKind == IsoBox::Vmhd || mediaKind == IsoBox::Smhd;
}

uint64_t ReadTime(ByteView view, size_t at, bool wide) {
    return wide ? view.U64BE(at) : view.U32BE(at);
}

} // namespace

ISOMediaFile::ISOMediaFile(IsoLog log) : log(log) {}

ISOMediaFile::~ISOMediaFile() {
    ISOMediaFile::Clear();
}

bool ISOMediaFile::ParseMovieBox(const uint8_t* bytes, size_t length) {
    return WalkMovie(ByteView(bytes, length), true);
}

bool ISOMediaFile::WalkMovie(ByteView payload, bool withUserData) {
    return WalkChildBoxes(payload, [this, withUserData](uint32_t type, ByteView child) {
        bool parsed = true;
        if (type == IsoBox::Mvhd) {
            parsed = ParseMovieHeader(child);
        } else if (type == IsoBox::Trak) {
            parsed = ParseTrackBox(child.Data(), child.Size());
        } else if (type == IsoBox::Udta && withUserData) {
            parsed = ParseUserDataBox(child.Data(), child.Size());
        }
        return parsed ? ChildStep::Next : ChildStep::Fail;
    });
}

bool ISOMediaFile::ParseMovieHeader(ByteView header) {
    if (header.Size() < MovieHeaderVersionBytes) {
        return false;
    }
    const MovieHeaderLayout& layout = header.U8(0) == 0 ? MovieHeaderVersion0 : MovieHeaderVersion1;
    if (header.Size() < layout.minimum) {
        return false;
    }
    creationTime = TicksFromBoxTime(ReadTime(header, MovieTimesOffset, layout.wideTimes));
    modificationTime = TicksFromBoxTime(ReadTime(header, layout.modification, layout.wideTimes));
    timescale = header.U32BE(layout.timescale);
    duration = ReadTime(header, layout.duration, layout.wideTimes);
    return true;
}

bool ISOMediaFile::ParseTrackBox(const uint8_t* bytes, size_t length) {
    return ParseTrackInto(new ISOMediaTrack(log), ByteView(bytes, length), IsVideoOrSound);
}

bool ISOMediaFile::ParseTrackInto(ISOMediaTrack* track, ByteView payload, bool (*keep)(uint32_t mediaKind)) {
    const bool walked = WalkChildBoxes(payload, [track](uint32_t type, ByteView child) {
        bool parsed = true;
        if (type == IsoBox::Tkhd) {
            parsed = track->ParseTrackHeader(child.Data(), child.Size());
        } else if (type == IsoBox::Mdia) {
            parsed = track->ParseMediaBox(child.Data(), child.Size());
        }
        return parsed ? ChildStep::Next : ChildStep::Fail;
    });
    if (!walked || !keep(track->GetMediaKind())) {
        delete track;
        return walked;
    }
    track->SetMovieTimescale(timescale);
    tracks.Add(track);
    return true;
}

bool ISOMediaFile::ParseUserDataBox(const uint8_t* bytes, size_t length) {
    return WalkChildBoxes(ByteView(bytes, length), [this](uint32_t type, ByteView child) {
        if (type == IsoBox::Swr) {
            software.AssignText(child);
        }
        return ChildStep::Next;
    });
}

bool ISOMediaFile::ParseFileTypeBox(const uint8_t* bytes, size_t length) {
    ByteView payload(bytes, length);
    if (length < FileTypeMinimum) {
        return false;
    }
    majorBrand = payload.U32BE(0);
    minorVersion = payload.U32BE(4);
    compatibleBrands.Clear();
    const size_t count = (length - CompatibleBrandsOffset) / 4;
    compatibleBrands.Reserve(count);
    for (size_t index = 0; index < count; ++index) {
        compatibleBrands.Add(payload.U32BE(CompatibleBrandsOffset + index * 4));
    }
    return true;
}

void ISOMediaFile::Clear() {
    for (size_t index = 0; index < tracks.Count(); ++index) {
        delete tracks[index];
    }
    tracks.Clear();
    ClearFields();
}

void ISOMediaFile::ClearFields() {
    majorBrand = 0;
    minorVersion = 0;
    compatibleBrands.Clear();
    creationTime = 0;
    modificationTime = 0;
    timescale = 0;
    duration = 0;
    software.Clear();
}

double ISOMediaFile::GetDurationSeconds() const {
    if (timescale == 0) {
        return 0;
    }
    return static_cast<double>(duration) / static_cast<double>(timescale);
}

ISOMediaTrack* ISOMediaFile::GetTrack(int32_t index) const {
    ISOMediaTrack* const* track = tracks.At(index);
    return track != nullptr ? *track : nullptr;
}

} // namespace Vorn::Vorncast::Decoders
