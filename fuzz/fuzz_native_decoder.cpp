// Fuzz target for a native decoder chosen at build time (FUZZ_NATIVE_KODICOM or
// FUZZ_NATIVE_DARLEX): the input is its file set (the files named by the pieces of the input)
// served from memory, queried, loaded and played through the exported functions as a player would:
// every stream stepped forward, sought to its ends and middle, and stepped back.
#include "fixtures/FileSetBytes.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

#include <string>

namespace {

#if defined(FUZZ_NATIVE_KODICOM)
constexpr const char* Guid = "{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}";
constexpr int Variant = 2;
constexpr const char* Stem = "KD";
constexpr const char* Extension = "bix";
constexpr const char* Url = "/fuzz/KD.bix";
constexpr bool CheapPictures = true;
#else
constexpr const char* Guid = "{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}";
constexpr int Variant = 1;
constexpr const char* Stem = "REC";
constexpr const char* Extension = "VID";
constexpr const char* Url = "/fuzz/REC.VID";
// An ADV601 field takes seconds with the fuzzer's instrumentation: one picture a run.
constexpr bool CheapPictures = false;
#endif
constexpr size_t MaxFiles = 6;
constexpr int MaxSteps = 60;
constexpr int MaxStreams = 4;

int NeverAbort() {
    return 0;
}

// A step's sample is released at once; its time is kept. Few calls decode their picture, as an
// ADV601 field takes long in a sanitizer build; the codecs have targets of their own.
int Step(int stream, int direction, int64_t* time, bool picture) {
    VcSampleRequest request{};
    request.abort = NeverAbort;
    request.wantData = picture ? 1 : 0;
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
    request.wantData = picture ? 1 : 0;
    request.targetTime = target;
    VcSample sample{};
    if (Stream_GoToTime(stream, request, &sample) == VC_Success && sample.uncompressedData != nullptr) {
        Stream_ReleaseSample(stream, sample);
    }
}

void PlayStream(int stream, const VcTrackInfo& track, bool firstStream) {
    int64_t first = 0;
    int64_t last = 0;
    for (int step = 0; step < MaxSteps && Step(stream, 1, step == 0 ? &first : &last,
                                               step == 0 && (CheapPictures || firstStream)) == VC_Success;
         ++step) {
    }
    for (int64_t target : {track.startTime.streamTime, (first + last) / 2, last, track.endTime.streamTime}) {
        GoTo(stream, target, CheapPictures && target == (first + last) / 2);
    }
    for (int step = 0; step < 3; ++step) {
        Step(stream, -1, &last, CheapPictures && step == 0);
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
        files.AddFile("/fuzz/" + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&files);
    VcGuid guid{};
    Vorn::ParseGuid(Guid, &guid);
    int decoder = 0;
    if (Decoder_Create(collection, guid, Variant, -1, &decoder) == VC_Success) {
        const std::string url = Url;
        VcQueryResult query{};
        int resources = 0;
        int track = 0;
        VcTrackInfo info{};
        Decoder_Query(decoder, static_cast<int>(url.size()), url.c_str(), 1, &query);
        if (Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) == VC_Success &&
            Decoder_GetTrack(decoder, 0, &track) == VC_Success && Track_GetInfo(track, &info) == VC_Success) {
            for (int number = 0; number < info.streamCount && number < MaxStreams; ++number) {
                int stream = 0;
                if (Track_GetStream(track, number, &stream) == VC_Success) {
                    PlayStream(stream, info, number == 0);
                }
            }
        }
        Decoder_Close(decoder);
        Decoder_Release(decoder);
    }
    Vorn::FileSource::SetCurrent(nullptr);
    return 0;
}
