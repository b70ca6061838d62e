#pragma once

#include "formats/iso/ISOMediaFile.h"
#include "formats/iso/ISOMediaTrack.h"

namespace Vorn::Vorncast::Decoders {

// A track of a Vigilant export. Its wide track header holds a Windows FILETIME as creation time,
// written as two big-endian words with the low word first.
class VigilantTrack : public ISOMediaTrack {
public:
    explicit VigilantTrack(IsoLog log = {}) : ISOMediaTrack(log) {}

    bool ParseTrackHeader(const uint8_t* bytes, size_t length) override;
};

// The movie of a Vigilant export: video tracks only, and no user data.
class VigilantFile : public ISOMediaFile {
public:
    explicit VigilantFile(IsoLog log = {}) : ISOMediaFile(log) {}

    bool ParseMovieBox(const uint8_t* bytes, size_t length) override;
    bool ParseTrackBox(const uint8_t* bytes, size_t length) override;
    void Print(std::ostream& out) const override;
};

} // namespace Vorn::Vorncast::Decoders
