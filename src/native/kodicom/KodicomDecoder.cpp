#include "native/kodicom/KodicomDecoder.h"

#include "interface/LibraryFrame.h"
#include "model/files/FileSource.h"
#include "model/support/Path.h"
#include "native/NativeFailure.h"
#include "native/kodicom/KodicomStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\Kodicom\\KodicomDecoder";

std::string TextOf(const Buffer& buffer) {
    std::string_view text;
    return Path::TextOf(buffer, &text) ? std::string(text) : std::string();
}

// The name without its extension.
std::string StemOf(const std::string& name) {
    const size_t point = name.find_last_of('.');
    return point == std::string::npos ? name : name.substr(0, point);
}

FrameTimes TimesAt(int64_t time) {
    FrameTimes times{};
    times.recordedTime = time;
    times.streamTime = time;
    return times;
}

} // namespace

KodicomDecoder::~KodicomDecoder() {
    // The streams leave their spans before the spans go.
    DeleteTracks();
}

int KodicomDecoder::Query(const Buffer& url, int32_t, QueryResult* result) {
    if (result == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "queryResult");
    }
    std::memset(result, 0, sizeof *result);
    const std::string text = TextOf(url);
    if (!Path::ExtensionIs(text, "kif;bix;box")) {
        return Success;
    }
    const std::string directory = TextOf(Path::GetDirectory(url));
    if (Path::ExtensionIs(text, "kif")) {
        result->canLoad = GatherPairs(directory).empty() ? 0 : 1;
        return Success;
    }
    const std::string stem = StemOf(TextOf(Path::GetName(url)));
    FileSource& source = FileSource::Current();
    result->canLoad = source.Exists(Path::Join(directory, stem + ".bix").Text()) &&
                              source.Exists(Path::Join(directory, stem + ".box").Text())
                          ? 1
                          : 0;
    return Success;
}

BixBoxFiles KodicomDecoder::GatherPairs(const std::string& directory) {
    BixBoxFiles pairs;
    std::vector<DirectoryEntry> entries;
    if (!FileSource::Current().List(directory.empty() ? "./" : directory, &entries)) {
        return pairs;
    }
    for (const DirectoryEntry& bix : entries) {
        if (bix.isDirectory || !Path::ExtensionIs(bix.name, "bix")) {
            continue;
        }
        const std::string stem = StemOf(bix.name);
        for (const DirectoryEntry& box : entries) {
            if (!box.isDirectory && Path::ExtensionIs(box.name, "box") &&
                strcasecmp(StemOf(box.name).c_str(), stem.c_str()) == 0) {
                pairs.push_back(std::make_unique<BixBoxFile>(Path::Join(directory, bix.name).Text(),
                                                             Path::Join(directory, box.name).Text()));
                break;
            }
        }
    }
    return pairs;
}

int KodicomDecoder::Load(const Buffer& url, ProgressCallback progress, MessageCallback, AbortOperation abort,
                         int32_t* resourceCount) {
    const std::string text = TextOf(url);
    if (!Path::ExtensionIs(text, "kif;bix;box")) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "KodicomDecoder: URL has invalid file extension. Wanted .kif, .bix or .box file");
    }
    BixBoxFiles gathered = GatherPairs(TextOf(Path::GetDirectory(url)));
    if (gathered.empty()) {
        return NativeFail(SourceFile, __LINE__, GeneralFailure,
                          "KodicomDecoder: could not find any bix and box files");
    }
    int status = SummariseSpans(std::move(gathered), progress, abort, resourceCount);
    return status == Success ? MakeTrack() : status;
}

// Each span's index is read once, for its channels and times; a span whose index cannot be read is
// left out. The spans are kept in time order.
int KodicomDecoder::SummariseSpans(BixBoxFiles gathered, ProgressCallback progress, AbortOperation abort,
                                   int32_t* resourceCount) {
    int status = GeneralFailure;
    files.clear();
    for (size_t index = 0; index < gathered.size(); ++index) {
        if (abort != nullptr && abort() != 0) {
            return NativeFail(SourceFile, __LINE__, UserAborted, "KodicomDecoder: User abort");
        }
        const int spanStatus = gathered[index]->Summarise();
        if (spanStatus == Success && !gathered[index]->Channels().empty()) {
            files.push_back(std::move(gathered[index]));
        } else {
            status = files.empty() ? spanStatus : status;
        }
        if (progress != nullptr) {
            progress(static_cast<double>(index + 1) / static_cast<double>(gathered.size()));
        }
    }
    if (files.empty()) {
        return status != Success ? status
                                 : NativeFail(SourceFile, __LINE__, GeneralFailure,
                                              "KodicomDecoder: no span holds any frame");
    }
    std::stable_sort(files.begin(), files.end(),
                     [](const auto& a, const auto& b) { return a->Earliest() < b->Earliest(); });
    for (const auto& file : files) {
        for (const std::string& path : {file->Url(), file->BoxUrl()}) {
            AddResource(Buffer(path.c_str()), 0);
            if (resourceCount != nullptr) {
                ++*resourceCount;
            }
        }
    }
    return Success;
}

int KodicomDecoder::MakeTrack() {
    std::set<int32_t> channels;
    int64_t first = INT64_MAX;
    int64_t last = INT64_MIN;
    for (const auto& file : files) {
        for (const auto& [channel, span] : file->Channels()) {
            channels.insert(channel);
        }
        first = std::min(first, file->Earliest());
        last = std::max(last, file->Latest());
    }
    auto* track = new Track;
    track->SetName(Buffer("Kodicom"));
    track->startTime = TimesAt(first);
    track->endTime = TimesAt(last);
    AddTrack(track);
    for (int32_t channel : channels) {
        auto* stream = new KodicomStream(&files, channel);
        const int status = stream->Start();
        if (status != Success) {
            delete stream;
            return status;
        }
        char name[32];
        std::snprintf(name, sizeof name, "Camera %d", channel);
        stream->SetName(Buffer(name));
        track->AddStream(stream);
    }
    return Success;
}

// The streams leave their spans, which frees every index; the tracks stay for their handles.
int KodicomDecoder::Close() {
    for (auto* node = tracks.Head(); node != nullptr; node = node->next) {
        for (auto* stream = node->item->Get()->streams.Head(); stream != nullptr; stream = stream->next) {
            static_cast<KodicomStream*>(stream->item->Get())->Leave();
        }
    }
    return Success;
}

} // namespace Vorn::Vorncast
