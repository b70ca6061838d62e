#include "native/dvd/DVDDecoder.h"

#include "codecs/video/FfmpegSetup.h"
#include "interface/LibraryFrame.h"
#include "model/files/FileSource.h"
#include "model/support/Path.h"
#include "native/dvd/DVDTrack.h"
#include "native/dvd/DvdFiles.h"

#include <cstdio>
#include <cstring>
#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\DVD\\DVDDecoder";
constexpr const char* ManagerName = "VIDEO_TS.IFO";
constexpr size_t QueryDescriptionBytes = 512;

// FFmpeg's messages go to the library's log while a DVD decoder queries or loads; otherwise FFmpeg
// keeps its own handling, which the library keeps quiet.
void ForwardFfmpegLog(void* context, int level, const char* format, va_list arguments) {
    if (DVDDecoder::Current() == nullptr) {
        av_log_default_callback(context, level, format, arguments);
        return;
    }
    if (level > AV_LOG_WARNING) {
        return;
    }
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    Log(SourceFile, __LINE__, level <= AV_LOG_ERROR ? LogEvent : LogTrace, "%s", text);
}

void InstallFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        Decoders::QuietFfmpegLog();
        av_log_set_callback(ForwardFfmpegLog);
    });
}

} // namespace

DVDDecoder* DVDDecoder::currentDVDDecoder = nullptr;

DVDDecoder::CurrentScope::CurrentScope(DVDDecoder* decoder) {
    currentDVDDecoder = decoder;
    decoder->busy = 1;
}

DVDDecoder::CurrentScope::~CurrentScope() {
    currentDVDDecoder->busy = 0;
    currentDVDDecoder = nullptr;
}

DVDDecoder::DVDDecoder() = default;

DVDDecoder::~DVDDecoder() {
    DeleteTracks();
}

int DVDDecoder::Initialise() {
    try {
        InstallFfmpegLog();
    } catch (...) {
        return DvdFail(SourceFile, __LINE__, CatastrophicFailure,
                       "DVDDecoder > Access Violation Exception during initialisation of FFMpeg");
    }
    return Success;
}

// ---- query ----

int DVDDecoder::DescribeQuery(const char* format, const std::string& path) {
    char text[QueryDescriptionBytes];
    const int length = std::snprintf(text, sizeof text, format, path.c_str());
    if (length < 0 || static_cast<size_t>(length) >= sizeof text) {
        queryDescription = Buffer();
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDDecoder > Query Description buffer is full");
    }
    queryDescription = Buffer(text);
    return Success;
}

int DVDDecoder::Query(const Buffer& queried, int32_t, QueryResult* result) {
    if (result == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "queryResult");
    }
    std::memset(result, 0, sizeof *result);
    CurrentScope scope(this);
    const std::string text = UrlText(queried);
    if (!Path::ExtensionIs(text, "ifo") && !Path::ExtensionIs(text, "vob")) {
        return DescribeQuery("DVDDecoder > %s is neither an IFO nor a VOB file", text);
    }
    const std::string manager = Path::Join(UrlText(Path::GetDirectory(queried)), ManagerName).Text();
    result->canLoad = FileSource::Current().Exists(manager) ? 1 : 0;
    return DescribeQuery(result->canLoad != 0 ? "DVDDecoder > DVD-Video folder of %s"
                                              : "DVDDecoder > No VIDEO_TS.IFO found as %s",
                         manager);
}

Buffer DVDDecoder::GetQueryDescription() {
    return queryDescription;
}

// ---- load ----

DVDDecoder::TitleSetFiles DVDDecoder::ListTitleSets(const std::string& directory) {
    TitleSetFiles sets;
    std::vector<DirectoryEntry> entries;
    if (!FileSource::Current().List(directory, &entries)) {
        return sets;
    }
    std::map<int32_t, std::map<int32_t, std::string>> parts;
    for (const DirectoryEntry& entry : entries) {
        int32_t titleSet = 0;
        int32_t part = 0;
        if (!entry.isDirectory && ParseTitleVobName(entry.name, &titleSet, &part)) {
            parts[titleSet][part] = Path::Join(directory, entry.name).Text();
        }
    }
    for (const auto& [titleSet, files] : parts) {
        for (const auto& [part, path] : files) {
            sets[titleSet].push_back(path);
        }
    }
    return sets;
}

int DVDDecoder::Load(const Buffer& loaded, ProgressCallback progress, MessageCallback, AbortOperation abort,
                     int32_t* resourceCount) {
    CurrentScope scope(this);
    url = loaded;
    const std::string text = UrlText(loaded);
    if (!Path::ExtensionIs(text, "ifo")) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDDecoder > File doesn't have IFO extension");
    }
    // A bare file name lies in the present folder, which an empty path would not list.
    std::string directory = UrlText(Path::GetDirectory(loaded));
    directory = directory.empty() ? "./" : directory;
    const std::string manager = Path::Join(directory, ManagerName).Text();
    if (videoTS.Load(manager.c_str()) != Success) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDDecoder::Load > videoTS failed to load url %s", manager.c_str());
    }
    if (videoTS.TitleSetCount() == 0) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDDecoder::Load > VIDEO_TS yielded no unique title sets");
    }
    return LoadTitleSets(directory, progress, abort, resourceCount);
}

int DVDDecoder::LoadTitleSets(const std::string& directory, ProgressCallback progress, AbortOperation abort,
                              int32_t* resourceCount) {
    const TitleSetFiles sets = ListTitleSets(directory);
    if (sets.empty()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "DVDDecoder::Load > File set yielded no tracks");
    }
    if (static_cast<int32_t>(sets.size()) != videoTS.TitleSetCount()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "DVDDecoder::Load > File set and VIDEO_TS had mismatched track count");
    }
    DeleteTracks();
    trackCount = 0;
    for (int32_t index = 0; index < videoTS.TitleSetCount(); ++index) {
        auto files = sets.find(videoTS.TitleSet(index));
        if (files == sets.end()) {
            return DvdFail(SourceFile, __LINE__, GeneralFailure,
                           "DVDDecoder::Load > Failed to get fileset for track %d", index);
        }
        auto* track = new DVDTrack;
        const IndexProgress share{progress, index, videoTS.TitleSetCount()};
        int status = track->Load(this, files->second, share, abort);
        if (status != Success) {
            delete track;
            return status == UserAborted ? status
                                         : DvdFail(SourceFile, __LINE__, GeneralFailure,
                                                   "DVDDecoder::Load > Track failed to load");
        }
        AddTrack(track);
        ++trackCount;
        for (const std::string& path : files->second) {
            AddResource(Buffer(path.c_str()), 0);
            if (resourceCount != nullptr) {
                ++*resourceCount;
            }
        }
    }
    return Success;
}

int DVDDecoder::Close() {
    for (auto* node = tracks.Head(); node != nullptr; node = node->next) {
        static_cast<DVDTrack*>(node->item->Get())->Close();
    }
    return Success;
}

int DVDDecoder::GetTrack(int32_t index, Track** track) {
    if (track == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "track");
    }
    if (index < 0 || index >= tracks.Count()) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "Wrong track number requested");
    }
    *track = tracks.GetItemPointer(index)->Get();
    return Success;
}

} // namespace Vorn::Vorncast
