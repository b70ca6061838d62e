// Fuzz target for one row of the digital decoder table (chosen at build time by FUZZ_ROW): the input
// is a small file set that is served from memory, queried, loaded and walked frame by frame
// through the client functions, as a player would.
#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "fixtures/FileSetBytes.h"
#include "fixtures/formats/TimeSpaceWriter.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Limits.h"

#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using Vorn::Vorncast::MaxPictureBytes;
namespace Client = MasDigitalCAPI;

namespace {

constexpr int32_t MaxFramesWalked = 300;
// Enough for the archives whose recordings are folders: an index, a table and its data, per camera.
constexpr size_t MaxFiles = 8;
// Actions one client operation may take: a base and a few for every byte of the file set, since a
// walk over samples of one byte may read the file a byte at a time. A decoder that goes beyond is
// taken to loop without end, and the run stops there as a crash.
constexpr int64_t ActionBase = 4096;
constexpr int64_t ActionsPerByte = 4;

void RequireEnded(Client::ClientHandle client) {
    if (client->ActionLimitReached()) {
        __builtin_trap();
    }
}

#ifdef FUZZ_HOST_ABORTS_LONG_LOADS
int64_t abortPolls = 0;
int64_t abortPollLimit = 0;

int32_t AbortLongLoad() {
    return ++abortPolls > abortPollLimit ? 1 : 0;
}
#endif

struct Row {
    uint32_t guid[4];
    std::string extension;
};

Row DescribeRow() {
    char name[256];
    char extensions[256];
    char guidText[Client::GuidTextSize];
    int32_t nameLength = 0, extensionCount = 0, patternCount = 0;
    Client::DecoderDescriptionFlags flags{};
    Client::GetDecoderDescription(FUZZ_ROW, name, sizeof name, &nameLength, extensions, sizeof extensions,
                                  &extensionCount, &patternCount, &flags, guidText);
    Row row{};
    Vorn::Guid guid;
    Vorn::ParseGuid("{" + std::string(guidText) + "}", &guid);
    WordsFromGuid(guid, row.guid);
    std::string list(extensions);
    row.extension = list.substr(0, list.find(';'));
    if (row.extension.empty() || row.extension.find('?') != std::string::npos) {
        row.extension = "bin";
    }
    return row;
}

void GetVideoFrame(Client::ClientHandle client, int32_t frame, std::vector<uint8_t>& picture) {
    FrameTimes times{};
    int64_t duration = 0;
    int32_t total = 0, camera = 0;
    uint64_t period = 0;
    char cameraName[64];
    Client::GetFrame(client, frame, &times, static_cast<int32_t>(picture.size()),
                     picture.empty() ? nullptr : picture.data(), &duration, &total, &period, &camera,
                     cameraName);
    RequireEnded(client);
}

void GetAudioFrame(Client::ClientHandle client, int32_t frame, std::vector<uint8_t>& sound) {
    FrameTimes times{};
    int32_t bytes = 0, total = 0, camera = 0;
    char cameraName[64];
    Client::GetAudioFrame(client, frame, &times, static_cast<int32_t>(sound.size()),
                          sound.empty() ? nullptr : sound.data(), &bytes, &total, &camera, cameraName);
    RequireEnded(client);
}

void WalkFrames(Client::ClientHandle client, const ImageInfo& image, int32_t totalFrames, int32_t audioFrames,
                const AudioInfo& audio) {
    int64_t pictureBytes = 0;
    bool sized = !__builtin_mul_overflow(int64_t{image.width}, int64_t{image.height}, &pictureBytes) &&
                 !__builtin_mul_overflow(pictureBytes, int64_t{image.planes}, &pictureBytes);
    std::vector<uint8_t> picture(sized && pictureBytes > 0 && pictureBytes <= MaxPictureBytes ? pictureBytes
                                                                                              : 0);
    for (int32_t frame = 0; frame < totalFrames && frame < MaxFramesWalked; ++frame) {
        GetVideoFrame(client, frame, picture);
    }
    // Jumps as a player makes them, each of which starts again from a key frame: to the last
    // frame, however far the walk above stopped short of it, back to the middle and to the first.
    if (totalFrames > 0) {
        for (int32_t frame : {totalFrames - 1, totalFrames / 2, 0}) {
            GetVideoFrame(client, frame, picture);
        }
    }
    std::vector<uint8_t> sound(audio.frameBytes > 0 && audio.frameBytes < (1 << 24) ? audio.frameBytes : 0);
    for (int32_t frame = 0; frame < audioFrames && frame < MaxFramesWalked; ++frame) {
        GetAudioFrame(client, frame, sound);
    }
    if (audioFrames > 0) {
        GetAudioFrame(client, audioFrames - 1, sound);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Row row = DescribeRow();
    // The picture decoders that the TimeSpace recorders' frames need come from the host.
    SetTimeSpacePictureDecoder(Testing::PaintTimeSpaceUpdate);
    SetTimeSpaceFrameDecoder(Testing::PaintTimeSpaceFrame);
    Vorn::MemoryFileSource files;
    std::vector<Vorn::Testing::FileSetFile> set =
        Vorn::Testing::SplitFileSet(data, size, "rec", row.extension, MaxFiles);
    for (const auto& file : set) {
        files.AddFile("/fuzz/" + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    const std::string path = "/fuzz/" + set.front().name;

    Client::ClientHandle client = nullptr;
    Client::CreateClient(&client);
    client->SetActionLimit(ActionBase + static_cast<int64_t>(size) * ActionsPerByte);
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t totalFrames = 0, audioFrames = 0, reserved = 0, confidence = 0;
    int64_t duration = 0;
    bool hasVideo = false, hasAudio = false;
    Client::OpenWithDecoder(client, row.guid[0], row.guid[1], row.guid[2], row.guid[3], 0, path.c_str(),
                            &image, &audio, &span, &totalFrames, &audioFrames, &duration, &hasVideo,
                            &hasAudio, &reserved, &confidence);
    RequireEnded(client);
#ifdef FUZZ_HOST_ABORTS_LONG_LOADS
    // The query has made the decoder: a load that waits on the host ends at half the action limit.
    abortPolls = 0;
    abortPollLimit = (ActionBase + static_cast<int64_t>(size) * ActionsPerByte) / 2;
    Client::RegisterAbortCallback(client, AbortLongLoad);
#endif
    FileClientResult loaded =
        Client::OpenWithDecoder(client, row.guid[0], row.guid[1], row.guid[2], row.guid[3], -1, path.c_str(),
                                &image, &audio, &span, &totalFrames, &audioFrames, &duration, &hasAudio);
    RequireEnded(client);
    if (loaded == FCR_SUCCESS) {
        int32_t tracks = Client::TotalTracks(client);
        for (int32_t track = 0; track < (tracks > 0 ? tracks : 1) && track < 8; ++track) {
            if (tracks > 0) {
                Client::SelectTrack(client, track);
            }
            WalkFrames(client, image, totalFrames, audioFrames, audio);
        }
    }
    Client::Close(client);
    RequireEnded(client);
    Client::DestroyClient(client);
    Vorn::FileSource::SetCurrent(nullptr);
    return 0;
}
