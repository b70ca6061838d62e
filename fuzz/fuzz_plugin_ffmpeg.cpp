// Fuzz target for the "FFmpeg container" import plug-in, loaded by the library from the plug-ins of
// its build: the first byte of the input chooses the file's extension, the rest is the file. It is
// autodetected, loaded, walked frame by frame with pictures and sought, through the exported
// functions, as a player would.
#include <vorncast/VorncastDecoders.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

constexpr const char* Extensions[] = {"dav", "ts", "h264", "mkv", "mp4", "mov", "flv", "mpg"};
constexpr int MaxFramesWalked = 60;

int NeverAbort() {
    return 0;
}

// A collection with the plug-ins of the build, made once for the run.
int Collection() {
    static const int collection = [] {
        VcInitRecord record{};
        record.importPluginsEnabled = 1;
        InitVorncastDecoders(record);
        int made = 0;
        DecoderCollection_Create(FFMPEG_PLUGIN_ROOT, &made);
        return made;
    }();
    return collection;
}

void Walk(int stream) {
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = 1;
    VcSample sample{};
    for (int frame = 0;
         frame < MaxFramesWalked && Stream_GetNextSample(stream, request, &sample) == VC_Success; ++frame) {
        Stream_ReleaseSample(stream, sample);
    }
    if (Stream_GetPreviousSample(stream, request, &sample) == VC_Success) {
        Stream_ReleaseSample(stream, sample);
    }
    VcSeekRequest seek{};
    seek.abort = NeverAbort;
    seek.wantData = 1;
    seek.targetTime = sample.time.streamTime / 2;
    if (Stream_GoToTime(stream, seek, &sample) == VC_Success) {
        Stream_ReleaseSample(stream, sample);
    }
}

void WalkDecoder(int decoder) {
    int tracks = 0, track = 0;
    Decoder_GetTrackCount(decoder, &tracks);
    if (tracks < 1 || Decoder_GetTrack(decoder, 0, &track) != VC_Success) {
        return;
    }
    VcTrackInfo info{};
    Track_GetInfo(track, &info);
    for (int index = 0; index < info.streamCount; ++index) {
        int stream = 0;
        if (Track_GetStream(track, index, &stream) == VC_Success) {
            Walk(stream);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const int collection = Collection();
    const std::string path = "/tmp/fuzz_plugin_ffmpeg_" + std::to_string(getpid()) + "." +
                             Extensions[data[0] % (sizeof Extensions / sizeof *Extensions)];
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return 0;
    }
    std::fwrite(data + 1, 1, size - 1, file);
    std::fclose(file);
    // Only the plug-in's decoder: the built-in ones have targets of their own.
    VcPublicDecoderInfo entry{};
    DecoderCollection_FindDecoderInfoByName(collection, "FFmpeg container", -1, -1, 0, 0, 0, &entry);
    int decoder = 0, resources = 0;
    VcQueryResult query{};
    if (Decoder_Create(collection, entry.guid, -1, -1, &decoder) == VC_Success) {
        if (Decoder_Query(decoder, static_cast<int>(path.size()), path.c_str(), 1, &query) == VC_Success &&
            query.canLoad != 0 &&
            Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) == VC_Success) {
            WalkDecoder(decoder);
        }
        Decoder_Close(decoder);
        Decoder_Release(decoder);
    }
    std::remove(path.c_str());
    return 0;
}
