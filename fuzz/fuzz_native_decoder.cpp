// Fuzz target for a native decoder chosen at build time (FUZZ_NATIVE_KODICOM, FUZZ_NATIVE_DARLEX or
// FUZZ_NATIVE_DVD): the input is its file set (the files named by the pieces of the input) served from
// memory, queried, loaded and played through the exported functions as a player would: every stream
// stepped forward, sought to its ends and middle, and stepped back.
#include "fixtures/FileSetBytes.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <string>

namespace {

// Few calls decode their picture where pictures are slow in a sanitizer build (an ADV601 field takes
// seconds with the fuzzer's instrumentation); the codecs have targets of their own.
enum class Pictures { FirstOnly, FirstSeekAndBack, Every };

#if defined(FUZZ_NATIVE_KODICOM)
constexpr const char* Guid = "{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}";
constexpr int Variant = 2;
constexpr const char* Folder = "/fuzz/";
constexpr const char* Stem = "KD";
constexpr const char* Extension = "bix";
constexpr Pictures Decoded = Pictures::FirstSeekAndBack;
constexpr int MaxSteps = 60;
#elif defined(FUZZ_NATIVE_DARLEX)
constexpr const char* Guid = "{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}";
constexpr int Variant = 1;
constexpr const char* Folder = "/fuzz/";
constexpr const char* Stem = "REC";
constexpr const char* Extension = "VID";
constexpr Pictures Decoded = Pictures::FirstOnly;
constexpr int MaxSteps = 60;
#else
// The manager's IFO file, the title sets' IFO files and their VOBs.
constexpr const char* Guid = "{508C3FE8-0034-4216-8E06-0020B1619331}";
constexpr int Variant = -1;
constexpr const char* Folder = "/fuzz/VIDEO_TS/";
constexpr const char* Stem = "VIDEO_TS";
constexpr const char* Extension = "IFO";
constexpr Pictures Decoded = Pictures::Every;
constexpr int MaxSteps = 120;
#endif
constexpr size_t MaxFiles = 8;
constexpr int MaxTracks = 4;
constexpr int MaxStreams = 4;

int NeverAbort() {
    return 0;
}

// A step's sample is released at once; its time is kept.
int Step(int stream, int direction, int64_t* time, bool picture) {
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = picture || Decoded == Pictures::Every ? 1 : 0;
    VcSample sample{};
    const int status = direction > 0 ? Stream_GetNextSample(stream, request, &sample)
                                     : Stream_GetPreviousSample(stream, request, &sample);
    if (status == VC_Success) {
        *time = sample.time.streamTime;
        if (sample.uncompressedData != nullptr) {
            Stream_ReleaseSample(stream, sample);
        }
    }
    return status;
}

void GoTo(int stream, int64_t target, bool picture) {
    VcSeekRequest request{};
    request.abort = NeverAbort;
    request.wantData = picture || Decoded == Pictures::Every ? 1 : 0;
    request.targetTime = target;
    VcSample sample{};
    if (Stream_GoToTime(stream, request, &sample) == VC_Success && sample.uncompressedData != nullptr) {
        Stream_ReleaseSample(stream, sample);
    }
}

void PlayStream(int stream, const VcTrackInfo& track, bool firstStream) {
    const bool cheap = Decoded != Pictures::FirstOnly;
    int64_t first = 0;
    int64_t last = 0;
    for (int step = 0; step < MaxSteps && Step(stream, 1, step == 0 ? &first : &last,
                                               step == 0 && (cheap || firstStream)) == VC_Success;
         ++step) {
    }
    for (int64_t target : {track.startTime.streamTime, (first + last) / 2, last, track.endTime.streamTime}) {
        GoTo(stream, target, cheap && target == (first + last) / 2);
    }
    for (int step = 0; step < 3; ++step) {
        Step(stream, -1, &last, cheap && step == 0);
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
                PlayStream(stream, info, index == 0 && number == 0);
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
    for (const auto& file : Vorn::Testing::SplitFileSet(data, size, Stem, Extension, MaxFiles)) {
        files.AddFile(Folder + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    VcGuid guid{};
    Vorn::ParseGuid(Guid, &guid);
    int decoder = 0;
    if (Decoder_Create(collection, guid, Variant, -1, &decoder) == VC_Success) {
        const std::string url = std::string(Folder) + Stem + "." + Extension;
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
