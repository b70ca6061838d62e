#include "vorncast/Library.h"

#include "support/Terminal.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace VorncastTool {

namespace {

bool verboseLog = false;

void PrintLog(const char* sourceFile, int line, int level, const char* message) {
    if (verboseLog) {
        std::fprintf(stderr, "[library %d %s:%d] %s", level, sourceFile, line, message);
        const size_t length = std::strlen(message);
        if (length == 0 || message[length - 1] != '\n') {
            std::fputc('\n', stderr);
        }
    }
}

int ReportCandidate(VcPublicDecoderInfo info, int index, int count) {
    if (verboseLog) {
        std::fprintf(stderr, "trying decoder %d of %d: %s\n", index + 1, count, info.name ? info.name : "?");
    }
    return 0;
}

void OnLoadProgress(double fraction) {
    ReportLoadProgress(fraction);
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool AllDigits(const std::string& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

// A text that the library hands out in two calls: first its size, then the bytes.
template <class Call> std::string TwoCallText(Call call, const std::string& what) {
    int size = 0;
    Check(call(&size, nullptr), what);
    if (size <= 0) {
        return {};
    }
    std::string text(static_cast<size_t>(size), '\0');
    Check(call(&size, text.data()), what);
    text.resize(std::strlen(text.c_str()));
    return text;
}

void RequireReadablePath(const std::string& path) {
    if (access(path.c_str(), R_OK) != 0) {
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    }
}

// The entry of `folder` named `name` whatever its case, or an empty path.
std::filesystem::path EntryNamed(const std::filesystem::path& folder, const std::string& name) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (Lower(entry.path().filename().string()) == Lower(name)) {
            return entry.path();
        }
    }
    return {};
}

// A DVD-Video folder, or the disc's folder above it, is read through its VIDEO_TS.IFO; any other
// path is read as it is.
std::string RecordingEntry(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
        return path;
    }
    std::filesystem::path manager = EntryNamed(path, "VIDEO_TS.IFO");
    if (manager.empty()) {
        const std::filesystem::path videoFolder = EntryNamed(path, "VIDEO_TS");
        manager = videoFolder.empty() ? videoFolder : EntryNamed(videoFolder, "VIDEO_TS.IFO");
    }
    return manager.empty() ? path : manager.string();
}

} // namespace

LibraryError::LibraryError(const std::string& what, int status) : std::runtime_error(what), status(status) {}

std::string LastErrorText() {
    uint32_t size = 0;
    GetVcLastError(&size, nullptr);
    if (size == 0) {
        return {};
    }
    std::string text(size, '\0');
    GetVcLastError(&size, text.data());
    text.resize(std::strlen(text.c_str()));
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

void Check(int status, const std::string& what) {
    if (status != VC_Success) {
        const std::string detail = LastErrorText();
        throw LibraryError(what + " failed (status " + std::to_string(status) + "): " + detail, status);
    }
}

std::string GuidText(const VcGuid& guid) {
    char text[40];
    std::snprintf(text, sizeof(text), "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.data1,
                  guid.data2, guid.data3, guid.data4[0], guid.data4[1], guid.data4[2], guid.data4[3],
                  guid.data4[4], guid.data4[5], guid.data4[6], guid.data4[7]);
    return text;
}

std::optional<VcGuid> ParseGuidText(const std::string& text) {
    std::string bare = text;
    if (bare.size() == 38 && bare.front() == '{' && bare.back() == '}') {
        bare = bare.substr(1, 36);
    }
    if (bare.size() != 36 || bare[8] != '-' || bare[13] != '-' || bare[18] != '-' || bare[23] != '-') {
        return std::nullopt;
    }
    std::string hex;
    for (size_t index = 0; index < bare.size(); ++index) {
        if (index == 8 || index == 13 || index == 18 || index == 23) {
            continue;
        }
        if (!std::isxdigit(static_cast<unsigned char>(bare[index]))) {
            return std::nullopt;
        }
        hex += bare[index];
    }
    auto field = [&](size_t start, size_t digits) {
        return std::stoul(hex.substr(start, digits), nullptr, 16);
    };
    VcGuid guid = {};
    guid.data1 = static_cast<uint32_t>(field(0, 8));
    guid.data2 = static_cast<uint16_t>(field(8, 4));
    guid.data3 = static_cast<uint16_t>(field(12, 4));
    for (size_t index = 0; index < 8; ++index) {
        guid.data4[index] = static_cast<uint8_t>(field(16 + index * 2, 2));
    }
    return guid;
}

Library::Library(bool verbose) {
    verboseLog = verbose;
    VcInitRecord record;
    std::memset(&record, 0, sizeof(record));
    record.importPluginsEnabled = 1; // installed plug-ins offer their decoders behind the built-in ones
    record.logCallback = PrintLog;
    InitVorncastDecoders(record);
}

Library::~Library() {
    CloseVorncastDecoders();
}

std::string Library::Version() {
    uint32_t major = 0, minor = 0, revision = 0, build = 0;
    GetSDKVersion(&major, &minor, &revision, &build);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(revision) + "." +
           std::to_string(build);
}

Collection::Collection() {
    Check(DecoderCollection_Create(nullptr, &handle), "creating the decoder collection");
}

Collection::~Collection() {
    DecoderCollection_Release(handle);
}

DecoderEntry Collection::EntryAt(int index) const {
    char name[1024] = {}, extensions[1024] = {}, patterns[1100] = {};
    VcPublicDecoderInfo info;
    std::memset(&info, 0, sizeof(info));
    info.name = name;
    info.extensions = extensions;
    info.patterns = patterns;
    Check(DecoderCollection_GetDecoderInfoByIndex(handle, index, sizeof(name) - 1, sizeof(extensions) - 1,
                                                  sizeof(patterns) - 1, &info),
          "reading decoder " + std::to_string(index));
    DecoderEntry entry;
    entry.index = index;
    entry.guid = info.guid;
    entry.variant = info.variant;
    entry.subVariant = info.subVariant;
    entry.name = name;
    entry.extensions = extensions;
    entry.patterns = patterns;
    entry.available = info.available != 0;
    entry.container = info.container != 0;
    entry.manualOnly = info.manualOnly != 0;
    entry.priority = info.priority;
    entry.kind = info.kind;
    return entry;
}

std::vector<DecoderEntry> Collection::Entries() const {
    int count = 0;
    Check(DecoderCollection_DecoderCount(handle, &count), "counting the decoders");
    std::vector<DecoderEntry> entries;
    for (int index = 0; index < count; ++index) {
        entries.push_back(EntryAt(index));
    }
    return entries;
}

DecoderEntry Collection::Resolve(const std::string& wanted) const {
    const std::vector<DecoderEntry> entries = Entries();
    if (AllDigits(wanted)) {
        const size_t index = std::stoul(wanted);
        if (index < entries.size()) {
            return entries[index];
        }
        throw std::runtime_error("there is no decoder " + wanted + " (see `vorncast decoders`)");
    }
    if (const std::optional<VcGuid> guid = ParseGuidText(wanted)) {
        for (const DecoderEntry& entry : entries) {
            if (std::memcmp(&entry.guid, &*guid, sizeof(VcGuid)) == 0) {
                return entry;
            }
        }
        throw std::runtime_error("no decoder has the GUID " + wanted + " (see `vorncast decoders`)");
    }
    VcPublicDecoderInfo exact;
    std::memset(&exact, 0, sizeof(exact));
    if (DecoderCollection_FindDecoderInfoByName(handle, wanted.c_str(), -1, -1, 0, 0, 0, &exact) ==
        VC_Success) {
        for (const DecoderEntry& entry : entries) {
            if (std::memcmp(&entry.guid, &exact.guid, sizeof(VcGuid)) == 0 &&
                entry.variant == exact.variant) {
                return entry;
            }
        }
    }
    const std::string lowered = Lower(wanted);
    std::vector<const DecoderEntry*> partial;
    for (const DecoderEntry& entry : entries) {
        if (Lower(entry.name) == lowered) {
            return entry;
        }
        if (Lower(entry.name).find(lowered) != std::string::npos) {
            partial.push_back(&entry);
        }
    }
    if (partial.size() == 1) {
        return *partial.front();
    }
    if (partial.empty()) {
        throw std::runtime_error("no decoder is named \"" + wanted + "\" (see `vorncast decoders`)");
    }
    std::string names;
    for (const DecoderEntry* entry : partial) {
        names += "\n  " + entry->name;
    }
    throw std::runtime_error("\"" + wanted + "\" fits several decoders:" + names);
}

Recording::Recording(std::string path, DecoderEntry decoder, int handle, int resourceCount,
                     const VcQueryResult& query)
    : path(std::move(path)), decoder(std::move(decoder)), handle(handle), resourceCount(resourceCount),
      query(query) {}

Recording::~Recording() {
    Decoder_Close(handle);
    Decoder_Release(handle);
}

namespace {

// A load the watch ended. The AVI family's loads stand still this way on files whose movi list has
// no index, which is what a recovered or cut-short AVI file usually lacks.
LibraryError StalledLoadError(const std::string& path) {
    const std::string extension = Lower(std::filesystem::path(path).extension().string());
    if (extension == ".avi" || extension == ".avf") {
        return LibraryError(
            path + ": the AVI file has no usable index (no idx1 or OpenDML index behind its movi "
                   "list, as in a file cut short), so its frames cannot be found",
            VC_GeneralFailure);
    }
    return LibraryError("loading " + path + " made no progress for " +
                            std::to_string(static_cast<int>(StalledLoadSeconds)) + " seconds and was ended",
                        VC_GeneralFailure);
}

int Autodetect(const Collection& collection, const std::string& path, DecoderEntry& chosen,
               VcQueryResult& query, int& resourceCount) {
    int ordered = 0;
    Check(DecoderCollection_GetAutodetectCollection(collection.Handle(), path.c_str(), &ordered),
          "ordering the decoders for " + path);
    VcDecoderInfoValue info;
    std::memset(&info, 0, sizeof(info));
    int decoder = 0;
    const int status = DecoderCollection_Autodetect(
        ordered, static_cast<int>(path.size()), path.c_str(), ReportCandidate, OnLoadProgress, nullptr,
        AbortLoadRequested, &decoder, &info, &query, &resourceCount);
    DecoderCollection_Release(ordered);
    if (LoadStalled()) {
        if (status == VC_Success) {
            Decoder_Release(decoder);
        }
        throw StalledLoadError(path);
    }
    if (Interrupted()) {
        if (status == VC_Success) {
            Decoder_Release(decoder);
        }
        throw LibraryError("loading " + path + " was interrupted", VC_UserAborted);
    }
    if (status != VC_Success) {
        throw NoDecoderError("no decoder takes " + path +
                             " (decoders that autodetection leaves out, such as \"Generic JPEG\", are chosen "
                             "with --decoder)");
    }
    chosen.name = info.name != nullptr ? info.name : "";
    chosen.guid = info.guid;
    chosen.variant = info.variant;
    for (const DecoderEntry& entry : collection.Entries()) {
        if (std::memcmp(&entry.guid, &info.guid, sizeof(VcGuid)) == 0 && entry.variant == info.variant) {
            chosen = entry;
            break;
        }
    }
    return decoder;
}

int LoadWith(const Collection& collection, const DecoderEntry& entry, const std::string& path,
             VcQueryResult& query, int& resourceCount) {
    int decoder = 0;
    Check(Decoder_Create(collection.Handle(), entry.guid, entry.variant, entry.subVariant, &decoder),
          "creating decoder \"" + entry.name + "\"");
    try {
        const int length = static_cast<int>(path.size());
        for (int detail = 0; detail <= 1; ++detail) {
            std::memset(&query, 0, sizeof(query));
            Check(Decoder_Query(decoder, length, path.c_str(), detail, &query),
                  "decoder \"" + entry.name + "\" examining " + path);
            if (query.canLoad == 0) {
                throw LibraryError("decoder \"" + entry.name + "\" does not take " + path, VC_GeneralFailure);
            }
        }
        const int status = Decoder_Load(decoder, length, path.c_str(), OnLoadProgress, nullptr,
                                        AbortLoadRequested, &resourceCount);
        if (LoadStalled()) {
            throw StalledLoadError(path);
        }
        if (Interrupted()) {
            throw LibraryError("loading " + path + " was interrupted", VC_UserAborted);
        }
        Check(status, "decoder \"" + entry.name + "\" loading " + path);
    } catch (...) {
        Decoder_Release(decoder);
        throw;
    }
    return decoder;
}

} // namespace

std::unique_ptr<Recording> Recording::Open(const Collection& collection, const std::string& given,
                                           const std::optional<std::string>& decoderSpec) {
    const std::string path = RecordingEntry(given);
    RequireReadablePath(path);
    ProgressBar bar("loading");
    SetLoadProgressBar(&bar);
    StartLoadWatch();
    DecoderEntry entry;
    VcQueryResult query = {};
    int resourceCount = 0;
    int decoder = 0;
    try {
        if (decoderSpec) {
            entry = collection.Resolve(*decoderSpec);
            decoder = LoadWith(collection, entry, path, query, resourceCount);
        } else {
            decoder = Autodetect(collection, path, entry, query, resourceCount);
        }
    } catch (...) {
        SetLoadProgressBar(nullptr);
        throw;
    }
    SetLoadProgressBar(nullptr);
    std::unique_ptr<Recording> recording(new Recording(path, entry, decoder, resourceCount, query));
    recording->ReadTracks();
    return recording;
}

void Recording::ReadTracks() {
    int trackCount = 0;
    Check(Decoder_GetTrackCount(handle, &trackCount), "counting the tracks");
    for (int index = 0; index < trackCount; ++index) {
        TrackRef track;
        track.index = index;
        Check(Decoder_GetTrack(handle, index, &track.handle), "reading track " + std::to_string(index));
        Check(Track_GetInfo(track.handle, &track.info), "reading track " + std::to_string(index));
        track.name =
            TwoCallText([&](int* size, char* text) { return Track_GetName(track.handle, size, text); },
                        "reading the name of track " + std::to_string(index));
        for (int streamIndex = 0; streamIndex < track.info.streamCount; ++streamIndex) {
            StreamRef stream;
            stream.index = static_cast<int>(streams.size());
            stream.trackIndex = index;
            stream.trackName = track.name;
            Check(Track_GetStream(track.handle, streamIndex, &stream.handle), "reading a stream");
            VcStreamInfo info = {};
            Check(Stream_GetInfo(stream.handle, &info), "reading a stream");
            stream.streamNumber = info.streamNumber;
            stream.type = info.type;
            stream.name =
                TwoCallText([&](int* size, char* text) { return Stream_GetName(stream.handle, size, text); },
                            "reading a stream name");
            streams.push_back(stream);
        }
        tracks.push_back(track);
    }
}

std::vector<std::string> Recording::Resources() const {
    std::vector<std::string> urls;
    for (int index = 0; index < resourceCount; ++index) {
        uint32_t size = 0;
        Check(Decoder_GetResourceURL(handle, index, &size, nullptr),
              "reading resource " + std::to_string(index));
        std::string url(size + 1, '\0');
        Check(Decoder_GetResourceURL(handle, index, &size, url.data()),
              "reading resource " + std::to_string(index));
        url.resize(std::strlen(url.c_str()));
        if (!url.empty()) {
            urls.push_back(url);
        }
    }
    return urls;
}

const StreamRef& Recording::StreamAt(int64_t index) const {
    if (index < 0 || index >= static_cast<int64_t>(streams.size())) {
        throw std::runtime_error("the recording has no stream " + std::to_string(index) + " (it has " +
                                 std::to_string(streams.size()) + "; see `vorncast probe`)");
    }
    return streams[static_cast<size_t>(index)];
}

void Sample::Release() {
    if (raw.uncompressedData != nullptr) {
        Stream_ReleaseSample(stream, raw);
        raw.uncompressedData = nullptr;
    }
}

void StreamReader::Rewind() {
    VcSeekRequest request;
    std::memset(&request, 0, sizeof(request));
    request.abort = AbortRequested;
    request.targetTime = VC_TIME_MIN;
    Sample sample(stream.handle);
    const int status = Stream_GoToTime(stream.handle, request, sample.Raw());
    if (status == VC_EndOfStreamBeforeStart) {
        return;
    }
    if (status != VC_Success && status != VC_EndOfStreamAfterEnd) {
        Check(status, "seeking to the start of stream " + std::to_string(stream.index));
    }
    sample.Release();
    while (Previous(false, sample)) {
        sample.Release();
    }
}

bool StreamReader::Next(bool wantData, Sample& sample) {
    return Step(true, wantData, sample);
}

bool StreamReader::Previous(bool wantData, Sample& sample) {
    return Step(false, wantData, sample);
}

bool StreamReader::Step(bool forward, bool wantData, Sample& sample) {
    sample.Release();
    VcSampleRequest request;
    std::memset(&request, 0, sizeof(request));
    request.abort = AbortRequested;
    request.wantData = wantData ? 1 : 0;
    const int status = forward ? Stream_GetNextSample(stream.handle, request, sample.Raw())
                               : Stream_GetPreviousSample(stream.handle, request, sample.Raw());
    if (status == (forward ? VC_EndOfStreamAfterEnd : VC_EndOfStreamBeforeStart)) {
        return false;
    }
    if (Interrupted()) {
        throw LibraryError("interrupted", VC_UserAborted);
    }
    Check(status, std::string(forward ? "stepping forward" : "stepping back") + " in stream " +
                      std::to_string(stream.index));
    return true;
}

VcPublicVideoDescription StreamReader::VideoDescription(int descriptionHandle) const {
    VcPublicVideoDescription description = {};
    Check(Stream_GetVideoSampleDescription(stream.handle, descriptionHandle, &description),
          "reading the picture format of stream " + std::to_string(stream.index));
    return description;
}

VcPublicAudioDescription StreamReader::AudioDescription(int descriptionHandle) const {
    VcPublicAudioDescription description = {};
    Check(Stream_GetAudioSampleDescription(stream.handle, descriptionHandle, &description),
          "reading the audio format of stream " + std::to_string(stream.index));
    return description;
}

} // namespace VorncastTool
