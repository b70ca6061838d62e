#include "legacy/LegacyDecoderHost.h"

#include "core/client/DecoderTable.h"
#include "core/filelists/DirectoryWalk.h"
#include "interface/LibraryFrame.h"
#include "legacy/LegacyDecoderAudioStream.h"
#include "legacy/LegacyDecoderVideoStream.h"
#include "model/collection/DecoderCollection.h"

#include <cstddef>
#include <cstring>

namespace Vorn::Vorncast {
namespace {

constexpr const char* SourceFile = "Decoders\\LegacyDecoderHost\\LegacyDecoderHost";
namespace Client = Decoders::MasDigitalCAPI;
using Decoders::AudioInfo;
using Decoders::ImageInfo;
using Decoders::TrackTimes;

constexpr int32_t QueryFlags = 0;
constexpr int32_t LoadAllTracks = -1;
constexpr int32_t BeforeFirstFrame = -1;
constexpr int32_t AudioChannel = 0;

// Display names of the Darlex variants whose query says yes whatever the core answers.
constexpr const char* AlwaysLoadableNames[] = {"Tecton Darlex (Tracked frames only)",
                                               "Tecton Darlex (All frames)"};

const char* UrlText(const Buffer& url) {
    return url.Data() != nullptr ? url.Text() : "";
}

// The span record is packed: its first times are copied out rather than read in place.
FrameTimes FirstTimesOf(const TrackTimes& span) {
    FrameTimes first;
    std::memcpy(&first, reinterpret_cast<const uint8_t*>(&span) + offsetof(TrackTimes, first), sizeof first);
    return first;
}

FrameTimes LastTimesOf(const TrackTimes& span) {
    FrameTimes last{};
    last.recordedTime = span.lastRecordedTime;
    last.streamTime = span.lastStreamTime;
    last.zoneBias = span.lastZoneBias;
    last.zoneKnown = span.lastZoneKnown;
    last.zoneFlag = span.lastZoneFlag;
    return last;
}

// The ten description words of a query: picture format, audio format, the core's confidence.
void DescribeQuery(const ImageInfo& image, const AudioInfo& audio, int32_t confidence, uint32_t* words) {
    const int32_t values[10] = {image.width,         image.height,   image.planes,
                                image.aspectX,       image.aspectY,  audio.samplesPerSecond,
                                audio.bitsPerSample, audio.channels, audio.frameBytes,
                                confidence};
    std::memcpy(words, values, sizeof values);
}

bool ChannelIsSet(const uint8_t* mask, int32_t channel) {
    return (mask[channel / 8] & (1u << (channel % 8))) != 0;
}

} // namespace

LegacyDecoderHost* LegacyDecoderHost::currentHost = nullptr;

// A host made without its collection's handle takes the collection made last.
LegacyDecoderHost::LegacyDecoderHost() {
    DecoderCollection* current = DecoderCollection::Current();
    collection = current != nullptr ? current->Handle() : 0;
}

LegacyDecoderHost::~LegacyDecoderHost() {
    if (legacyHandle != nullptr) {
        // The table's decoder is shared by every client: a loaded one is unloaded before its
        // client goes, so that the next host of this format finds it idle.
        if (clientLoaded) {
            Client::Close(legacyHandle);
        }
        Client::DestroyClient(legacyHandle);
    }
    Client::SetProgressCallback(nullptr);
    if (currentHost == this) {
        currentHost = nullptr;
    }
    DeleteTracks();
}

int LegacyDecoderHost::Initialise() {
    currentHost = this;
    Client::SetProgressCallback(ProgressHook);
    Client::SetLogCallback(LogHook);
    Client::SetStatusCallback(StatusHook);
    Client::SetListCallback(ListHook);
    if (legacyHandle == nullptr) {
        Client::CreateClient(&legacyHandle);
    }
    if (legacyHandle == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__,
                            "legacyHandle is null, legacy client was not created!");
    }
    return Success;
}

DecoderCollection* LegacyDecoderHost::Collection() const {
    return DynamicClass::FromHandle<DecoderCollection>(collection);
}

bool LegacyDecoderHost::GuidInCollection(DecoderCollection& owner) const {
    DecoderInfo found{};
    return owner.FindByGUID(info->guid, info->variant, info->subVariant, &found);
}

bool LegacyDecoderHost::AcceptsAnyUrl() const {
    if (info->name == nullptr) {
        return false;
    }
    for (const char* name : AlwaysLoadableNames) {
        if (std::strcmp(info->name, name) == 0) {
            return true;
        }
    }
    return false;
}

void LegacyDecoderHost::GuidWords(uint32_t words[4]) const {
    Decoders::WordsFromGuid(info->guid, words);
}

int LegacyDecoderHost::Query(const Buffer& url, int32_t detail, QueryResult* result) {
    if (result == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "queryResult");
    }
    result->hasFrameCount = 0;
    result->reserved = 0;
    if (legacyHandle == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "legacyHandle");
    }
    if (detail == 0) {
        // The digital decoders have no cheap test: the quick level reads nothing and says yes.
        result->canLoad = 1;
        result->hasTimes = 0;
        return Success;
    }
    DecoderCollection* owner = Collection();
    if (owner == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "Decoder collection handle is invalid");
    }
    if (!GuidInCollection(*owner)) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__,
                            "LegacyDecoderHost > Could not retrieve previously specified decoder info\n");
    }
    return QueryCore(url, result);
}

int LegacyDecoderHost::QueryCore(const Buffer& url, QueryResult* result) {
    uint32_t guid[4];
    GuidWords(guid);
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t frames = 0;
    int32_t audioFrames = 0;
    int64_t duration = 0;
    bool hasVideo = false;
    bool hasAudio = false;
    int32_t reserved = 0;
    int32_t confidence = 0;
    int32_t answer = Client::OpenWithDecoder(legacyHandle, guid[0], guid[1], guid[2], guid[3], QueryFlags,
                                             UrlText(url), &image, &audio, &span, &frames, &audioFrames,
                                             &duration, &hasVideo, &hasAudio, &reserved, &confidence);
    // The abort callback lives in the table's decoder, which the open has just chosen.
    Client::RegisterAbortCallback(legacyHandle, AbortHook);

    bool coreAccepts = answer == Decoders::FCR_SUCCESS && confidence > 0;
    result->canLoad = AcceptsAnyUrl() || coreAccepts ? 1 : 0;
    // A failed open reports its audio count as -1, which counts here as a count given.
    if (frames > 0 || audioFrames != 0 || duration > 0) {
        result->hasFrameCount = 1;
        result->pictureCount = -1;
        result->frameCountLow = static_cast<uint32_t>(frames);
        result->frameCountHigh = static_cast<uint32_t>(audioFrames);
        DescribeQuery(image, audio, confidence, result->description);
    }
    FrameTimes first = FirstTimesOf(span);
    if (first.recordedTime > 0 || span.lastRecordedTime > 0) {
        result->startTime = first;
        result->endTime = LastTimesOf(span);
        result->hasTimes = 1;
    }
    return Success;
}

Buffer LegacyDecoderHost::GetQueryDescription() {
    return Buffer();
}

int LegacyDecoderHost::Load(const Buffer& url, ProgressCallback progressCallback,
                            MessageCallback messageCallback, AbortOperation abortCallback,
                            int32_t* /*resourceCount*/) {
    if (legacyHandle == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "legacyHandle");
    }
    if (Collection() == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "Decoder collection handle is invalid");
    }
    progress = progressCallback;
    message = messageCallback;
    abort = abortCallback;
    loaded = 1;

    uint32_t guid[4];
    GuidWords(guid);
    OpenReport open{};
    // Kept by the client for the decoder the open chooses: a load without a query before it polls
    // the host's abort from its first step.
    Client::RegisterAbortCallback(legacyHandle, AbortHook);
    int32_t result = Client::OpenWithDecoder(legacyHandle, guid[0], guid[1], guid[2], guid[3], LoadAllTracks,
                                             UrlText(url), &open.image, &open.audio, &open.span, &open.frames,
                                             &open.audioFrames, &open.duration, &open.hasAudio);
    if (result == Decoders::FCR_SUCCESS) {
        clientLoaded = true;
        Client::RegisterAbortCallback(legacyHandle, AbortHook);
        BuildTracks(open);
    }
    return StatusOfOpen(result);
}

void LegacyDecoderHost::BuildTracks(const OpenReport& open) {
    int32_t count = Client::TotalTracks(legacyHandle);
    // A format without tracks of its own has one.
    if (count <= 0) {
        count = 1;
    }
    bool multiTrack = count > 1;
    for (int32_t number = 0; number < count; ++number) {
        AddTrack(BuildTrack(open, number, multiTrack));
    }
    trackCount = tracks.Count();
}

Track* LegacyDecoderHost::BuildTrack(const OpenReport& open, int32_t trackNumber, bool multiTrack) {
    int32_t frameCount = open.frames;
    if (multiTrack) {
        char name[Decoders::TrackNameLength] = {};
        TrackTimes span{};
        bool hasAudio = false;
        Client::GetTrackInfo(legacyHandle, trackNumber, name, &span, &frameCount, &hasAudio);
        Client::SelectTrack(legacyHandle, trackNumber);
    }
    uint8_t cameras[Decoders::CameraMaskBytes] = {};
    Client::GetCameras(legacyHandle, cameras);

    auto* track = new Track;
    track->startTime = FirstTimesOf(open.span);
    track->endTime = LastTimesOf(open.span);
    track->SetName(Buffer("Unnamed track"));
    for (int32_t channel = 0; channel < Decoders::MaxCameras; ++channel) {
        if (ChannelIsSet(cameras, channel)) {
            AddVideoStream(track, open, trackNumber, multiTrack, frameCount, channel);
        }
    }
    if (open.hasAudio && open.audioFrames > 0) {
        AddAudioStream(track, open, trackNumber, multiTrack);
    }
    return track;
}

void LegacyDecoderHost::AddVideoStream(Track* track, const OpenReport& open, int32_t trackNumber,
                                       bool multiTrack, int32_t frameCount, int32_t channel) {
    LegacyStreamSetup setup{legacyHandle, multiTrack, trackNumber, channel, frameCount, {}, {}, {}};
    // The name of the channel's last frame names the stream.
    char name[Decoders::CameraNameLength + 1] = {};
    int64_t lastTime = 0;
    int32_t total = 0;
    uint64_t period = 0;
    int32_t camera = 0;
    int32_t first = Client::GetNextFrame(legacyHandle, BeforeFirstFrame, channel);
    if (first >= 0) {
        Client::GetFrameInfo(legacyHandle, first, &setup.firstTimes, &lastTime, &total, &period, &camera,
                             name);
    }
    int32_t last = Client::GetPreviousFrame(legacyHandle, frameCount, channel);
    if (last >= 0) {
        Client::GetFrameInfo(legacyHandle, last, &setup.lastTimes, &lastTime, &total, &period, &camera, name);
    }
    setup.name = Buffer(name);
    track->AddStream(new LegacyDecoderVideoStream(setup, open.image));
}

void LegacyDecoderHost::AddAudioStream(Track* track, const OpenReport& open, int32_t trackNumber,
                                       bool multiTrack) {
    LegacyStreamSetup setup{legacyHandle,     multiTrack, trackNumber, AudioChannel,
                            open.audioFrames, {},         {},          {}};
    char name[Decoders::CameraNameLength + 1] = {};
    int32_t total = 0;
    int32_t unused = 0;
    int32_t camera = 0;
    int32_t first = Client::GetNextAudioFrame(legacyHandle, BeforeFirstFrame, AudioChannel);
    if (first >= 0) {
        Client::GetAudioFrameInfo(legacyHandle, first, &setup.firstTimes, &total, &unused, &camera, name);
    }
    int32_t last = Client::GetPreviousAudioFrame(legacyHandle, open.audioFrames, AudioChannel);
    if (last >= 0) {
        Client::GetAudioFrameInfo(legacyHandle, last, &setup.lastTimes, &total, &unused, &camera, name);
    }
    setup.name = Buffer(name);
    track->AddStream(new LegacyDecoderAudioStream(setup, open.audio));
}

int LegacyDecoderHost::StatusOfOpen(int32_t result) {
    switch (result) {
    case Decoders::FCR_SUCCESS:
        return Success;
    case Decoders::FCR_FAILURE:
    case 2:
        return SetLastError(GeneralFailure, SourceFile, __LINE__, "FileClientResult %d", result);
    case Decoders::FCR_CATASTROPHIC:
        return SetLastError(CatastrophicFailure, SourceFile, __LINE__, "FileClientResult %d", result);
    case 3:
        return SetLastError(UserAborted, SourceFile, __LINE__, "UserAborted");
    default:
        return SetLastError(GeneralFailure, SourceFile, __LINE__, "General failure?");
    }
}

int LegacyDecoderHost::Close() {
    if (legacyHandle == nullptr) {
        return SetLastError(InvalidHandle, SourceFile, __LINE__, "legacyHandle");
    }
    if (loaded != 0) {
        Client::Abort(legacyHandle);
    }
    Client::Close(legacyHandle);
    clientLoaded = false;
    return Success;
}

int LegacyDecoderHost::GetTrackCount(int32_t* count) {
    if (count == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "count");
    }
    *count = trackCount;
    return Success;
}

int LegacyDecoderHost::GetTrack(int32_t index, Track** track) {
    if (track == nullptr) {
        return SetLastError(InvalidArgument, SourceFile, __LINE__, "track");
    }
    if (index < 0 || index >= tracks.Count()) {
        return SetLastError(GeneralFailure, SourceFile, __LINE__,
                            "Could not get track pointer for track number %d", index);
    }
    *track = tracks.GetItemPointer(index)->Get();
    return Success;
}

// ---- the core's callbacks ----

void LegacyDecoderHost::ProgressHook(double fraction) {
    if (currentHost != nullptr && currentHost->progress != nullptr) {
        currentHost->progress(fraction);
    }
}

// The host's message callback takes one 32-bit word, which on this platform cannot carry a text's
// address. The core's texts therefore go to the library log, and the message callback hears the
// level of the line each one was written at.
void LegacyDecoderHost::LogHook(int32_t severity, const char* text) {
    Client::LibraryLogForwarder(severity, text);
    if (currentHost != nullptr && currentHost->message != nullptr) {
        currentHost->message(severity);
    }
}

void LegacyDecoderHost::StatusHook(const char* text) {
    if (currentHost != nullptr && currentHost->message != nullptr) {
        Client::LibraryLogForwarder(LogEvent, text);
        currentHost->message(LogEvent);
    }
}

int32_t LegacyDecoderHost::AbortHook() {
    if (currentHost == nullptr || currentHost->abort == nullptr) {
        return 0;
    }
    return currentHost->abort();
}

void LegacyDecoderHost::ListHook(const char* directory, const char* filter, int32_t maxDepth, bool* ok,
                                 uint32_t* size, char** text) {
    Decoders::ListFiles(directory, filter, maxDepth, ok, size, text);
}

} // namespace Vorn::Vorncast
