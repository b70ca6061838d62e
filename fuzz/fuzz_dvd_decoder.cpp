// Fuzz target for the DVD Video decoder: the input is a DVD-Video folder (the manager's IFO file,
// the title sets' IFO files and their VOBs, named by the pieces of the input) served from memory,
// queried, loaded and played through the exported functions, as a player would: every stream
// stepped forward, sought to its middle and its ends, and stepped back.
#include "fixtures/FileSetBytes.h"
#include "model/files/MemoryFileSource.h"

#include <vorncast/VorncastDecoders.h>

#include <string>
#include <vector>

namespace {

constexpr const char* Folder = "/fuzz/VIDEO_TS/";
constexpr size_t MaxFiles = 8;
constexpr int MaxSteps = 120;
constexpr int MaxTracks = 4;
constexpr int MaxStreams = 4;

int NeverAbort() {
    return 0;
}

VcSampleRequest Request() {
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = 1;
    return request;
}

// One step's sample is released at once; the time of the last good one is kept.
void Take(int stream, int status, VcSample& sample, int64_t* time) {
    if (status == VC_Success) {
        *time = sample.time.streamTime;
        Stream_ReleaseSample(stream, sample);
    }
}

void GoTo(int stream, int64_t target) {
    VcSeekRequest request{};
    request.abort = NeverAbort;
    request.wantData = 1;
    request.targetTime = target;
    VcSample sample{};
    int64_t time = 0;
    Take(stream, Stream_GoToTime(stream, request, &sample), sample, &time);
}

void PlayStream(int stream, const VcTrackInfo& track) {
    int64_t first = 0;
    int64_t last = 0;
    for (int step = 0; step < MaxSteps; ++step) {
        VcSample sample{};
        int status = Stream_GetNextSample(stream, Request(), &sample);
        Take(stream, status, sample, step == 0 ? &first : &last);
        if (status != VC_Success) {
            break;
        }
    }
    for (int64_t target : {track.startTime.streamTime, (first + last) / 2, last, track.endTime.streamTime}) {
        GoTo(stream, target);
    }
    for (int step = 0; step < 3; ++step) {
        VcSample sample{};
        int64_t time = 0;
        Take(stream, Stream_GetPreviousSample(stream, Request(), &sample), sample, &time);
    }
}

void PlayDecoder(int decoder) {
    int tracks = 0;
    Decoder_GetTrackCount(decoder, &tracks);
    for (int index = 0; index < tracks && index < MaxTracks; ++index) {
        int track = 0;
        VcTrackInfo info{};
        if (Decoder_GetTrack(decoder, index, &track) != VC_Success ||
            Track_GetInfo(track, &info) != VC_Success) {
            continue;
        }
        for (int number = 0; number < info.streamCount && number < MaxStreams; ++number) {
            int stream = 0;
            if (Track_GetStream(track, number, &stream) == VC_Success) {
                PlayStream(stream, info);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool initialised = [] {
        VcInitRecord record{};
        return InitVorncastDecoders(record) == VC_Success;
    }();
    static int collection = 0;
    if (!initialised || (collection == 0 && DecoderCollection_Create(nullptr, &collection) != VC_Success)) {
        return 0;
    }
    Vorn::MemoryFileSource files;
    for (const auto& file : Vorn::Testing::SplitFileSet(data, size, "VIDEO_TS", "IFO", MaxFiles)) {
        files.AddFile(Folder + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    int decoder = 0;
    const VcGuid dvd = {0x508C3FE8, 0x0034, 0x4216, {0x8E, 0x06, 0x00, 0x20, 0xB1, 0x61, 0x93, 0x31}};
    if (Decoder_Create(collection, dvd, -1, -1, &decoder) == VC_Success) {
        const std::string url = std::string(Folder) + "VIDEO_TS.IFO";
        VcQueryResult query{};
        int resources = 0;
        Decoder_Query(decoder, static_cast<int>(url.size()), url.c_str(), 1, &query);
        if (Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) == VC_Success) {
            PlayDecoder(decoder);
        }
        Decoder_Close(decoder);
        Decoder_Release(decoder);
    }
    Vorn::FileSource::SetCurrent(nullptr);
    return 0;
}
