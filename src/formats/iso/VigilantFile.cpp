#include "formats/iso/VigilantFile.h"

#include "core/time/Ticks.h"
#include "formats/iso/IsoBoxTypes.h"

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr size_t CreationLowWord = 4;
constexpr size_t CreationHighWord = 8;

bool IsVideo(uint32_t mediaKind) {
    return mediaKind == IsoBox::Vmhd;
}

} // namespace

bool VigilantTrack::ParseTrackHeader(const uint8_t* bytes, size_t length) {
    ByteView header(bytes, length);
    if (header.U8(0) == 0) {
        return ISOMediaTrack::ParseTrackHeader(bytes, length);
    }
    if (!ReadTrackHeaderFields(header)) {
        return false;
    }
    const uint64_t fileTime = JoinWords(header.U32BE(CreationHighWord), header.U32BE(CreationLowWord));
    creationTime = static_cast<int64_t>(fileTime + static_cast<uint64_t>(FileTimeEpochTicks));
    return true;
}

bool VigilantFile::ParseMovieBox(const uint8_t* bytes, size_t length) {
    return WalkMovie(ByteView(bytes, length), false);
}

bool VigilantFile::ParseTrackBox(const uint8_t* bytes, size_t length) {
    return ParseTrackInto(new VigilantTrack(log), ByteView(bytes, length), IsVideo);
}

void VigilantFile::Print(std::ostream& out) const {
    PrintMovie(out);
    for (int32_t index = 0; ISOMediaTrack* track = GetTrack(index); ++index) {
        track->Print(out);
    }
}

} // namespace Vorn::Vorncast::Decoders
