// Exported functions on decoders.
#include "interface/Fence.h"
#include "model/collection/DecoderCollection.h"
#include "model/decoder/Decoder.h"

#include <cstring>

using namespace Vorn::Vorncast;
using Vorn::Buffer;

namespace {

constexpr const char* SourceFile = "DllInterface\\VorncastDecoders_Decoder";

// The URL of an exported call: `length` bytes and a terminator, alive for the call.
bool MakeUrl(int length, const char* url, Buffer* out) {
    if (url == nullptr || length < 0) {
        return false;
    }
    *out = Buffer::FromBytes(url, length);
    return true;
}

} // namespace

extern "C" VC_EXPORT int Decoder_Create(int collection, VcGuid guid, int variant, int subVariant,
                                        int* decoder) {
    return Fence(SourceFile, __LINE__, [&]() -> int {
        auto* object = Resolve<DecoderCollection>(collection);
        if (object == nullptr) {
            return SetLastError(InvalidHandle, SourceFile, __LINE__, "Invalid DecoderCollection handle");
        }
        if (decoder == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "decoder");
        }
        DecoderInfo entry = object->FindByGUID(guid, variant, subVariant);
        if (entry.creator == nullptr) {
            return SetLastError(GeneralFailure, SourceFile, __LINE__, "DecoderInfo has no creator function.");
        }
        Log(SourceFile, __LINE__, LogEvent, "Create decoder %s\n", entry.name != nullptr ? entry.name : "");
        Decoder* created = entry.creator();
        if (created == nullptr) {
            return SetLastError(GeneralFailure, SourceFile, __LINE__,
                                "DecoderInfo Creator function failed to create decoder instance.");
        }
        created->SetDecoderInfo(entry, object->Handle());
        *decoder = created->Handle();
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Decoder_Query(int handle, int urlLength, const char* url, int detail,
                                       VcQueryResult* result) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        Buffer text;
        if (!MakeUrl(urlLength, url, &text) || result == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__,
                                url == nullptr ? "url" : "queryResult");
        }
        return decoder.Query(text, detail, result);
    });
}

extern "C" VC_EXPORT int Decoder_Query_GetDescription(int handle, int* size, char* text) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        if (CopyTextTwoCall(decoder.GetQueryDescription(), size, text) != Success) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "size");
        }
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Decoder_Load(int handle, int urlLength, const char* url, VcProgressCallback progress,
                                      VcMessageCallback message, VcAbortOperation abort, int* resourceCount) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        Buffer text;
        if (!MakeUrl(urlLength, url, &text) || resourceCount == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__,
                                url == nullptr ? "url" : "resourceCount");
        }
        return decoder.Load(text, progress, message, abort, resourceCount);
    });
}

extern "C" VC_EXPORT int Decoder_GetResourceURL(int handle, int index, uint32_t* size, char* text) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        if (size == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "size");
        }
        Buffer url = decoder.GetResourceURL(index);
        int32_t length = url.TerminatedLength();
        *size = static_cast<uint32_t>(length < 0 ? 1 : length + 1);
        if (text != nullptr) {
            // The caller asked for the size first; no capacity is passed.
            std::memcpy(text, length < 0 ? "" : url.Text(), *size);
        }
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Decoder_Close(int handle) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle,
                            [&](Decoder& decoder) -> int { return decoder.Close(); });
}

extern "C" VC_EXPORT int Decoder_Release(int handle) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        delete &decoder;
        return SetSuccess(SourceFile, __LINE__);
    });
}

extern "C" VC_EXPORT int Decoder_GetTrackCount(int handle, int* count) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle,
                            [&](Decoder& decoder) -> int { return decoder.GetTrackCount(count); });
}

extern "C" VC_EXPORT int Decoder_GetTrack(int handle, int index, int* trackHandle) {
    return FenceOn<Decoder>(SourceFile, __LINE__, handle, [&](Decoder& decoder) -> int {
        if (trackHandle == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "track");
        }
        Track* track = nullptr;
        int status = decoder.GetTrack(index, &track);
        if (status != Success || track == nullptr) {
            return SetLastError(status != Success ? status : GeneralFailure, SourceFile, __LINE__,
                                "Failed to retrieve track\n");
        }
        *trackHandle = track->Handle();
        return Success;
    });
}
