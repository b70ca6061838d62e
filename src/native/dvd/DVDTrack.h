#pragma once

#include "model/decoder/Track.h"
#include "native/dvd/FFMpegFile.h"
#include "native/dvd/VOBUIndex.h"

#include <string>
#include <vector>

namespace Vorn::Vorncast {

class DVDDecoder;

// One title set of a DVD-Video folder: its title VOBs joined into one chain, the VOBU index of the
// chain, and a stream for every elementary stream FFmpeg finds in it that can be decoded.
class DVDTrack : public Track {
public:
    // `files` are the set's title VOBs in order.
    int Load(DVDDecoder* owner, const std::vector<std::string>& files, IndexProgress progress,
             AbortOperation abort);
    // Ends the reading of the set: the streams' decoders and files, and the track's own.
    void Close();

private:
    int OpenStreams(DVDDecoder* owner, AbortOperation abort);

    FFMpegFile file;
    VOBUIndex vobuIndex;
    std::string fileSet;
};

} // namespace Vorn::Vorncast
