#include "model/collection/UnavailableDecoder.h"

#include "interface/LibraryFrame.h"

namespace Vorn::Vorncast {
namespace {
constexpr const char* SourceFile = "Decoders\\UnavailableDecoder";

const char* NameOf(const DecoderInfo& info) {
    return info.name != nullptr ? info.name : "(unnamed)";
}
} // namespace

int UnavailableDecoder::Query(const Buffer&, int32_t, QueryResult* result) {
    if (result != nullptr) {
        result->canLoad = 0;
    }
    return Success;
}

int UnavailableDecoder::Load(const Buffer&, ProgressCallback, MessageCallback, AbortOperation, int32_t*) {
    Log(SourceFile, __LINE__, LogEvent, "Decoder %s is not available in this build\n", NameOf(Info()));
    return SetLastError(GeneralFailure, SourceFile, __LINE__, "Decoder %s is not available in this build",
                        NameOf(Info()));
}

int UnavailableDecoder::Close() {
    return Success;
}

} // namespace Vorn::Vorncast
