#pragma once

#include "model/decoder/Decoder.h"
#include "native/kodicom/BixBoxFile.h"

#include <memory>
#include <string>
#include <vector>

namespace Vorn::Vorncast {

using BixBoxFiles = std::vector<std::unique_ptr<BixBoxFile>>;

// Reads a folder of Kodicom recording spans (`.bix` index and `.box` records, one pair a span):
// one track, a stream for each channel that any span holds, the spans in time order.
class KodicomDecoder : public Decoder {
public:
    ~KodicomDecoder() override;

    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    int Close() override;

    static Decoder* Create() { return new KodicomDecoder; }

private:
    // The `.bix` files of the folder that have a `.box` beside them, by name.
    static BixBoxFiles GatherPairs(const std::string& directory);
    int SummariseSpans(BixBoxFiles gathered, ProgressCallback progress, AbortOperation abort,
                       int32_t* resourceCount);
    int MakeTrack();

    BixBoxFiles files;
};

} // namespace Vorn::Vorncast
