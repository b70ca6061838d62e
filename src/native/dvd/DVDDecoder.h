#pragma once

#include "model/decoder/Decoder.h"
#include "native/dvd/VideoTS.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

// Reads a DVD-Video folder: one track for each title set that VIDEO_TS.IFO names, decoded by
// FFmpeg over the set's chain of title VOBs.
class DVDDecoder : public Decoder {
public:
    DVDDecoder();
    ~DVDDecoder() override;

    int Initialise() override;
    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    Buffer GetQueryDescription() override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    int Close() override;
    int GetTrack(int32_t index, Track** track) override;

    static Decoder* Create() { return new DVDDecoder; }
    // The decoder inside a Query or Load, whose log FFmpeg's messages go to; null otherwise.
    static DVDDecoder* Current() { return currentDVDDecoder; }

private:
    // Title set number to its title VOBs, in part order.
    using TitleSetFiles = std::map<int32_t, std::vector<std::string>>;

    int LoadTitleSets(const std::string& directory, ProgressCallback progress, AbortOperation abort,
                      int32_t* resourceCount);
    static TitleSetFiles ListTitleSets(const std::string& directory);
    int DescribeQuery(const char* format, const std::string& path);

    // Makes the decoder the current one for the life of a Query or Load.
    class CurrentScope {
    public:
        explicit CurrentScope(DVDDecoder* decoder);
        ~CurrentScope();
        CurrentScope(const CurrentScope&) = delete;
        CurrentScope& operator=(const CurrentScope&) = delete;
    };

    static DVDDecoder* currentDVDDecoder;

    Buffer url;
    int32_t trackCount = 0;
    VideoTS videoTS;
    uint8_t busy = 0;
    Buffer queryDescription;
};

} // namespace Vorn::Vorncast
