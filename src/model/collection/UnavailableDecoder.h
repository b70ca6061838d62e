#pragma once

#include "model/decoder/Decoder.h"

namespace Vorn::Vorncast {

// Stands for a decoder of the table whose implementation this build does not have yet: it takes no
// URL and its load fails with a text naming the decoder.
class UnavailableDecoder : public Decoder {
public:
    int Query(const Buffer& url, int32_t detail, QueryResult* result) override;
    int Load(const Buffer& url, ProgressCallback progress, MessageCallback message, AbortOperation abort,
             int32_t* resourceCount) override;
    int Close() override;

    static Decoder* Create() { return new UnavailableDecoder; }
};

} // namespace Vorn::Vorncast
