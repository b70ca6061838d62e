#include "model/decoder/Decoder.h"

#include "interface/LibraryFrame.h"
#include "model/support/Path.h"

#include <cstring>

namespace Vorn::Vorncast {
namespace {
constexpr const char* SourceFile = "Decoders\\Decoder";

bool SameText(const Buffer& a, const Buffer& b) {
    std::string_view left;
    std::string_view right;
    return Path::TextOf(a, &left) && Path::TextOf(b, &right) && left == right;
}
} // namespace

Decoder::Decoder() : info(new DecoderInfo{}) {}

Decoder::~Decoder() {
    DeleteTracks();
    delete info;
}

void Decoder::AddTrack(Track* track) {
    tracks.Add(Box<Track>(track));
}

void Decoder::DeleteTracks() {
    for (auto* node = tracks.Head(); node != nullptr; node = node->next) {
        delete node->item->Get();
    }
    tracks.Clear();
}

Buffer Decoder::GetResourceURL(int32_t index) {
    if (index < 0 || index >= resources.Count()) {
        SetLastError(InvalidArgument, SourceFile, __LINE__, "resourceIndex out of range");
        return Buffer();
    }
    return resources.GetItemPointer(index)->url;
}

Buffer Decoder::GetQueryDescription() {
    return Buffer();
}

int Decoder::GetTrackCount(int32_t* count) {
    if (count == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "count");
    }
    *count = tracks.Count();
    return Success;
}

int Decoder::GetTrack(int32_t index, Track** track) {
    if (track == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "track");
    }
    if (index < 0 || index >= tracks.Count()) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "trackIndex out of range");
    }
    *track = tracks.GetItemPointer(index)->Get();
    return Success;
}

int Decoder::Initialise() {
    return Success;
}

int Decoder::AddResource(const Buffer& url, int32_t kind) {
    resources.Add(Resource{url, kind});
    return Success;
}

int Decoder::RemoveResource(const Buffer& url) {
    for (int32_t index = 0; index < resources.Count(); ++index) {
        if (SameText(resources.GetItemPointer(index)->url, url)) {
            resources.RemoveAt(index);
            return Success;
        }
    }
    return SetLastError(GeneralFailure, SourceFile, __LINE__, "Resource was not found in resource list");
}

int Decoder::ClearResources() {
    resources.Clear();
    return Success;
}

int32_t Decoder::GetResourceCount() {
    return resources.Count();
}

int Decoder::SetDecoderInfo(const DecoderInfo& entry, int32_t collectionHandle) {
    *info = entry;
    if (collectionHandle != 0) {
        collection = collectionHandle;
    }
    return Initialise();
}

} // namespace Vorn::Vorncast
