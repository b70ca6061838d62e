#pragma once

#include "model/decoder/Decoder.h"
#include "model/files/CompositeFile.h"
#include "native/darlex/DarlexBlocks.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// Reads a Tecton Darlex disk image (".000", ".001" and ".VID" beside each other, one stream of
// sectors) without indexing it: a track for each track directory, a stream for each camera of the
// track, which finds its frames by time when asked.
class DarlexDecoder : public Decoder {
public:
    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    int Close() override;
    int GetTrack(int32_t index, Track** track) override;

    static Decoder* Create() { return new DarlexDecoder; }

private:
    struct TrackRecord {
        DarlexDirectory directory;
        int64_t start = 0;
        int64_t end = 0;
    };

    int AppendFiles(const Buffer& url, int32_t* resourceCount);
    int WalkFromStart(AbortOperation abort);
    int FindDirectoriesAtEnd(AbortOperation abort);
    int FindDirectoriesBefore(int64_t lowest, int64_t end, AbortOperation abort);
    void AddDirectory(const uint8_t* bytes, int64_t at);
    int ReadAt(int64_t position, int32_t count, std::vector<uint8_t>* bytes, uint32_t* read);
    int MakeTracks(AbortOperation abort);
    std::set<int32_t> ChannelsOf(const TrackRecord& record, AbortOperation abort);
    void ProbeChannels(int64_t first, int64_t count, std::set<int32_t>* channels);

    CompositeFile image;
    std::vector<std::string> paths;
    std::vector<int64_t> fileEnds;              // in the image, file by file
    std::map<int64_t, TrackRecord> directories; // by place in the image
    std::map<int64_t, int32_t> walkedFrames;    // position of each frame the walk met, and its camera
};

} // namespace Vorn::Vorncast
