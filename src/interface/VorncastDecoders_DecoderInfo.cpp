// Exported functions on decoder collections.
#include "interface/Fence.h"
#include "model/collection/DecoderCollection.h"
#include "model/decoder/Decoder.h"

#include <cstring>

using namespace Vorn::Vorncast;
using Vorn::Buffer;

namespace {

constexpr const char* SourceFile = "DllInterface\\VorncastDecoders_DecoderInfo";

// The caller's buffer is zeroed over its capacity, then the text is copied with its terminator, or
// only its first `capacity` bytes when it is longer.
void CopyText(const char* text, char* buffer, uint32_t capacity) {
    if (buffer == nullptr || capacity == 0) {
        return;
    }
    std::memset(buffer, 0, capacity);
    if (text != nullptr) {
        size_t length = std::strlen(text) + 1;
        std::memcpy(buffer, text, length < capacity ? length : capacity);
    }
}

struct Capacities {
    uint32_t name;
    uint32_t extensions;
    uint32_t patterns;
};

// Fills the caller's record from an entry, text fields into the caller's own buffers.
void CopyOut(const DecoderInfo& entry, Capacities capacities, VcPublicDecoderInfo* out, bool withPriority) {
    char* name = out->name;
    char* extensions = out->extensions;
    char* patterns = out->patterns;
    int32_t priority = out->priority;
    *out = PublicPart(entry);
    out->name = name;
    out->extensions = extensions;
    out->patterns = patterns;
    if (!withPriority) {
        out->priority = priority;
    }
    CopyText(entry.name, name, capacities.name);
    CopyText(entry.extensions, extensions, capacities.extensions);
    CopyText(entry.patterns, patterns, capacities.patterns);
}

int InvalidCollection(int line, const char* text = "Invalid DecoderCollection handle") {
    return SetLastError(InvalidHandle, SourceFile, line, "%s", text);
}

// The fence with the collection handle resolved first.
template <class Body> int FenceOnCollection(int line, FenceSteps steps, int collection, Body&& body) {
    return Fence(SourceFile, line, steps, [&]() -> int {
        auto* object = Resolve<DecoderCollection>(collection);
        if (object == nullptr) {
            return InvalidCollection(line);
        }
        return body(*object);
    });
}

// A lookup whose entry, found or not, is copied into the caller's record; priority stays the caller's.
template <class Find>
int FindInto(int line, int collection, Capacities capacities, VcPublicDecoderInfo* info, Find find) {
    return FenceOnCollection(line, FenceSteps{}, collection, [&](DecoderCollection& object) -> int {
        if (info == nullptr) {
            return SetLastError(InvalidArgument, SourceFile, line, "info");
        }
        DecoderInfo found{};
        bool matched = find(object, &found);
        CopyOut(found, capacities, info, false);
        return matched ? Success : GeneralFailure;
    });
}

} // namespace

extern "C" VC_EXPORT int DecoderCollection_Create(const char* pluginRoot, int* collection) {
    return Fence(SourceFile, __LINE__, FenceSteps{.defaultText = false, .exceptionScope = false},
                 [&]() -> int {
                     auto* created = new DecoderCollection(Library().importPluginsEnabled, pluginRoot);
                     if (collection != nullptr) {
                         *collection = created->Handle();
                     }
                     return Success;
                 });
}

extern "C" VC_EXPORT int DecoderCollection_Release(int collection) {
    return FenceOnCollection(__LINE__, FenceSteps{.defaultText = false}, collection,
                             [&](DecoderCollection& object) -> int {
                                 delete &object;
                                 return Success;
                             });
}

extern "C" VC_EXPORT int DecoderCollection_GetAutodetectCollection(int collection, const char* url,
                                                                   int* autodetectCollection) {
    return FenceOnCollection(
        __LINE__, FenceSteps{.defaultText = false}, collection, [&](DecoderCollection& object) -> int {
            if (autodetectCollection == nullptr) {
                return SetLastError(InvalidArgument, SourceFile, __LINE__, "autodetectCollection");
            }
            *autodetectCollection = object.BuildAutodetectCollection(url != nullptr ? url : "")->Handle();
            return Success;
        });
}

// Outside the fence on purpose: usable before initialisation, and it takes no thread guard.
extern "C" VC_EXPORT int DecoderCollection_DecoderCount(int collection, int* count) {
    GuardRelease release;
    auto* object = Resolve<DecoderCollection>(collection);
    if (object == nullptr) {
        if (count != nullptr) {
            *count = -1;
        }
        return InvalidHandle;
    }
    if (count != nullptr) {
        *count = object->Count();
    }
    return Success;
}

extern "C" VC_EXPORT int DecoderCollection_GetDecoderInfoByIndex(int collection, int index,
                                                                 uint32_t nameCapacity,
                                                                 uint32_t extensionsCapacity,
                                                                 uint32_t patternsCapacity,
                                                                 VcPublicDecoderInfo* info) {
    return FenceOnCollection(__LINE__, FenceSteps{.defaultText = false}, collection,
                             [&](DecoderCollection& object) -> int {
                                 if (info == nullptr) {
                                     return SetLastError(InvalidArgument, SourceFile, __LINE__, "info");
                                 }
                                 CopyOut(object.GetInfoByIndex(index),
                                         {nameCapacity, extensionsCapacity, patternsCapacity}, info, true);
                                 return Success;
                             });
}

extern "C" VC_EXPORT int DecoderCollection_FindDecoderInfoByGUID(int collection, VcGuid guid, int variant,
                                                                 int subVariant, uint32_t nameCapacity,
                                                                 uint32_t extensionsCapacity,
                                                                 uint32_t patternsCapacity,
                                                                 VcPublicDecoderInfo* info) {
    return FindInto(__LINE__, collection, {nameCapacity, extensionsCapacity, patternsCapacity}, info,
                    [&](DecoderCollection& object, DecoderInfo* found) {
                        return object.FindByGUID(guid, variant, subVariant, found);
                    });
}

extern "C" VC_EXPORT int
DecoderCollection_FindDecoderInfoByName(int collection, const char* name, int variant, int subVariant,
                                        uint32_t nameCapacity, uint32_t extensionsCapacity,
                                        uint32_t patternsCapacity, VcPublicDecoderInfo* info) {
    return FindInto(__LINE__, collection, {nameCapacity, extensionsCapacity, patternsCapacity}, info,
                    [&](DecoderCollection& object, DecoderInfo* found) {
                        return object.FindByName(name, variant, subVariant, found);
                    });
}

namespace {

// Queries twice and loads; the decoder is deleted when any step refuses the URL.
bool QueryAndLoad(Decoder* decoder, const Buffer& url, VcProgressCallback progress, VcMessageCallback message,
                  VcAbortOperation abort, VcQueryResult* query, int* resourceCount) {
    for (int detail = 0; detail < 2; ++detail) {
        if (decoder->Query(url, detail, query) != Success || query->canLoad == 0) {
            delete decoder;
            return false;
        }
    }
    if (decoder->Load(url, progress, message, abort, resourceCount) != Success) {
        delete decoder;
        return false;
    }
    return true;
}

} // namespace

extern "C" VC_EXPORT int DecoderCollection_Autodetect(int collection, int urlLength, const char* url,
                                                      VcAutodetectCallback callback,
                                                      VcProgressCallback progress, VcMessageCallback message,
                                                      VcAbortOperation abort, int* decoder,
                                                      VcDecoderInfoValue* info, VcQueryResult* query,
                                                      int* resourceCount) {
    return Fence(SourceFile, __LINE__, [&]() -> int {
        if (decoder == nullptr || resourceCount == nullptr || query == nullptr || info == nullptr ||
            callback == nullptr || url == nullptr || urlLength < 0) {
            return SetLastError(InvalidArgument, SourceFile, __LINE__, "(Autodetect) argument is NULL");
        }
        *decoder = 0;
        *resourceCount = 0;
        std::memset(query, 0, sizeof *query);
        auto* object = Resolve<DecoderCollection>(collection);
        if (object == nullptr) {
            return InvalidCollection(__LINE__, "(Autodetect) Invalid DecoderCollection handle");
        }
        Buffer text = Buffer::FromBytes(url, urlLength);
        int32_t count = object->Count();
        for (int32_t index = 0; index < count; ++index) {
            DecoderInfo entry = object->GetInfoByIndex(index);
            if (entry.creator == nullptr) {
                return SetLastError(GeneralFailure, SourceFile, __LINE__,
                                    "(Autodetect) DecoderInfo has no creator function.");
            }
            Log(SourceFile, __LINE__, LogEvent, "Create decoder %s\n",
                entry.name != nullptr ? entry.name : "");
            callback(PublicPart(entry), index, count);
            Decoder* candidate = entry.creator();
            if (candidate == nullptr) {
                return SetLastError(
                    GeneralFailure, SourceFile, __LINE__,
                    "(Autodetect) DecoderInfo Creator function failed to create decoder instance.");
            }
            candidate->SetDecoderInfo(entry, object->Handle());
            if (QueryAndLoad(candidate, text, progress, message, abort, query, resourceCount)) {
                *info = PublicPart(entry);
                *decoder = candidate->Handle();
                return SetSuccess(SourceFile, __LINE__);
            }
        }
        return SetLastError(GeneralFailure, SourceFile, __LINE__, "Failed to load");
    });
}
