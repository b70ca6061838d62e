#pragma once

#include "core/binary/ByteView.h"
#include "formats/iso/ISOMediaTrack.h"
#include "formats/iso/IsoParsing.h"
#include "formats/iso/IsoTable.h"

#include <cstdint>
#include <ostream>

namespace Vorn::Vorncast::Decoders {

// The movie of an ISO base media file, built from the payloads of its "moov" and "ftyp" boxes.
// It keeps the video and sound tracks and drops the others.
class ISOMediaFile {
public:
    explicit ISOMediaFile(IsoLog log = {});
    virtual ~ISOMediaFile();
    ISOMediaFile(const ISOMediaFile&) = delete;
    ISOMediaFile& operator=(const ISOMediaFile&) = delete;

    // Walks the children of "moov": its header, its tracks and its user data.
    virtual bool ParseMovieBox(const uint8_t* bytes, size_t length);
    // Drops tracks, brands and text, and zeroes the fields.
    virtual void Clear();
    // Makes one track; a track that is neither video nor sound is dropped, and that is no failure.
    virtual bool ParseTrackBox(const uint8_t* bytes, size_t length);
    virtual bool ParseUserDataBox(const uint8_t* bytes, size_t length);
    // The tree as text, for diagnosis.
    virtual void Print(std::ostream& out) const;

    bool ParseFileTypeBox(const uint8_t* bytes, size_t length);
    // Duration over timescale, 0 without a timescale.
    double GetDurationSeconds() const;
    // Null outside the tracks.
    ISOMediaTrack* GetTrack(int32_t index) const;
    int32_t GetTrackCount() const { return static_cast<int32_t>(tracks.Count()); }

    void SetLog(IsoLog newLog) { log = newLog; }

    uint32_t GetMajorBrand() const { return majorBrand; }
    uint32_t GetMinorVersion() const { return minorVersion; }
    size_t GetCompatibleBrandCount() const { return compatibleBrands.Count(); }
    uint32_t GetCompatibleBrand(size_t index) const {
        return index < compatibleBrands.Count() ? compatibleBrands[index] : 0;
    }
    int64_t GetCreationTime() const { return creationTime; }
    int64_t GetModificationTime() const { return modificationTime; }
    uint32_t GetTimescale() const { return timescale; }
    uint64_t GetDuration() const { return duration; }
    // Empty when the file has no "@swr" text.
    const char* GetSoftware() const {
        return software.Empty() ? "" : reinterpret_cast<const char*>(software.Data());
    }

protected:
    bool ParseMovieHeader(ByteView header);
    // Parses `track` from a "trak" payload and keeps it when `keep` says so (it is freed otherwise,
    // and on failure).
    bool ParseTrackInto(ISOMediaTrack* track, ByteView payload, bool (*keep)(uint32_t mediaKind));
    bool WalkMovie(ByteView payload, bool withUserData);
    void PrintMovie(std::ostream& out) const;
    void ClearFields();

    IsoLog log;

private:
    uint32_t majorBrand = 0;
    uint32_t minorVersion = 0;
    IsoTable<uint32_t> compatibleBrands;
    int64_t creationTime = 0;
    int64_t modificationTime = 0;
    uint32_t timescale = 0;
    uint64_t duration = 0;
    IsoTable<ISOMediaTrack*> tracks{1};
    OwnedBytes software;
};

} // namespace Vorn::Vorncast::Decoders
