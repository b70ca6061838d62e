// DVD-Video: the VOBU index of a one-hour title set (NAV packs read a second, a synthetic set of
// NAV packs served from memory, so that the reads alone bound it); seeks to random times in a
// full-size disc authored by ffmpeg and dvdauthor (aim: under 150 ms each, the decoding from the
// VOBU's start included); and stepping forward with pictures against libavformat, libavcodec and
// libswscale doing what `ffmpeg -threads 1 -i VTS_01_1.VOB -pix_fmt bgr24 -f null -` does, in this
// process (aim: a ratio of processor time of at most 1.15).

#include "CpuTimeRatio.h"
#include "FfmpegReference.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "model/files/MemoryFileSource.h"
#include "native/dvd/VOBUIndex.h"

#include <vorncast/VorncastDecoders.h>

#include <random>
#include <string>
#include <vector>

namespace {

constexpr int32_t HourOfVobus = 7200; // half a second each
constexpr size_t Sector = 2048;

void PutBigEndian(std::string& bytes, size_t at, uint32_t value) {
    for (size_t index = 0; index < 4; ++index) {
        bytes[at + index] = static_cast<char>(value >> (24 - 8 * index));
    }
}

// A title set's IFO file with one program chain of one cell and an address map of `count` VOBUs
// one sector apart, and the VOB of their NAV packs.
Vorn::MemoryFileSource& SyntheticTitleSet(int32_t count) {
    static Vorn::MemoryFileSource files;
    static bool made = false;
    if (made) {
        return files;
    }
    std::string ifo(3 * Sector + 4 * static_cast<size_t>(count), '\0');
    ifo.replace(0, 12, "DVDVIDEO-VTS");
    PutBigEndian(ifo, 0xCC, 1);         // program chain table in sector 1
    PutBigEndian(ifo, 0xE4, 2);         // address map in sector 2
    ifo[Sector + 1] = 1;                // one program chain
    PutBigEndian(ifo, Sector + 12, 16); // at 16 into the table
    ifo[Sector + 16 + 3] = 1;           // of one cell
    ifo[Sector + 16 + 0xE8] = 0;
    ifo[Sector + 16 + 0xE9] = static_cast<char>(0xEC); // whose playback table follows its head
    PutBigEndian(ifo, 2 * Sector, 4 * static_cast<uint32_t>(count) + 3);
    std::string vob(Sector * static_cast<size_t>(count), '\0');
    for (int32_t index = 0; index < count; ++index) {
        PutBigEndian(ifo, 2 * Sector + 4 + 4 * static_cast<size_t>(index), static_cast<uint32_t>(index));
        const size_t at = Sector * static_cast<size_t>(index);
        PutBigEndian(vob, at + 38, 0x000001BF);
        vob[at + 42] = 0x03;
        vob[at + 43] = static_cast<char>(0xD4);
        PutBigEndian(vob, at + 57, static_cast<uint32_t>(index) * 45000);
        PutBigEndian(vob, at + 61, static_cast<uint32_t>(index + 1) * 45000);
        vob[at + 72] = 0x40;
    }
    files.AddFile("/bench/VIDEO_TS/VTS_01_0.IFO", ifo);
    files.AddFile("/bench/VIDEO_TS/VTS_01_1.VOB", vob);
    made = true;
    return files;
}

void VobuIndexOfAnHour(benchmark::State& state) {
    Vorn::FileSource::SetCurrent(&SyntheticTitleSet(HourOfVobus));
    const char* vob = "/bench/VIDEO_TS/VTS_01_1.VOB";
    for (auto _ : state) {
        Vorn::CompositeFile chain;
        chain.Append(vob);
        Vorn::Vorncast::VOBUIndex index;
        if (index.Load(vob, &chain, {}, nullptr) != 0 || index.Count() != HourOfVobus) {
            state.SkipWithError("the index did not load");
            break;
        }
    }
    Vorn::FileSource::SetCurrent(nullptr);
    state.SetItemsProcessed(state.iterations() * HourOfVobus);
    state.counters["NAVPacks/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * HourOfVobus,
                                                      benchmark::Counter::kIsRate);
}
BENCHMARK(VobuIndexOfAnHour)->Unit(benchmark::kMillisecond);

// A real disc's title set followed by NAV packs alone up to an hour: what a load reads of an hour's
// title set, the streams found in the real part, without an hour of pictures in memory.
Vorn::MemoryFileSource& SparseHour(const Vorn::Testing::DvdFolder& disc) {
    static Vorn::MemoryFileSource files;
    static bool made = false;
    if (made) {
        return files;
    }
    auto bytesOf = [&](const std::string& name) {
        for (const auto& file : disc.files) {
            if (file.name == name) {
                return file.bytes;
            }
        }
        return std::string();
    };
    std::string ifo = bytesOf("VTS_01_0.IFO");
    std::string vob = bytesOf("VTS_01_1.VOB");
    const size_t map = (static_cast<uint8_t>(ifo[0xE6]) << 8 | static_cast<uint8_t>(ifo[0xE7])) * Sector;
    const uint32_t real = (static_cast<uint8_t>(ifo[map + 2]) << 8 | static_cast<uint8_t>(ifo[map + 3])) / 4;
    const auto realSectors = static_cast<uint32_t>(vob.size() / Sector);
    ifo.resize(map + 4 + 4 * size_t{HourOfVobus});
    PutBigEndian(ifo, map, 4 * HourOfVobus + 3);
    vob.resize(vob.size() + Sector * (HourOfVobus - real), '\0');
    for (uint32_t index = real; index < HourOfVobus; ++index) {
        const uint32_t sector = realSectors + index - real;
        PutBigEndian(ifo, map + 4 + 4 * size_t{index}, sector);
        PutBigEndian(vob, sector * Sector + 38, 0x000001BF);
        vob[sector * Sector + 42] = 0x03;
        vob[sector * Sector + 43] = static_cast<char>(0xD4);
        PutBigEndian(vob, sector * Sector + 57, (index + 100) * 45000);
        PutBigEndian(vob, sector * Sector + 61, (index + 101) * 45000);
    }
    files.AddFile("/hour/VIDEO_TS/VIDEO_TS.IFO", bytesOf("VIDEO_TS.IFO"));
    files.AddFile("/hour/VIDEO_TS/VTS_01_0.IFO", ifo);
    files.AddFile("/hour/VIDEO_TS/VTS_01_1.VOB", vob);
    made = true;
    return files;
}

const Vorn::Testing::DvdFolder* Disc();
int NeverAbort();

void QueryAndLoadOfAnHour(benchmark::State& state) {
    if (Disc() == nullptr) {
        state.SkipWithError("no disc: ffmpeg or dvdauthor is missing");
        return;
    }
    Vorn::FileSource::SetCurrent(&SparseHour(*Disc()));
    VcInitRecord record{};
    InitVorncastDecoders(record);
    int collection = 0;
    DecoderCollection_Create(nullptr, &collection);
    const VcGuid dvd = {0x508C3FE8, 0x0034, 0x4216, {0x8E, 0x06, 0x00, 0x20, 0xB1, 0x61, 0x93, 0x31}};
    const std::string url = "/hour/VIDEO_TS/VIDEO_TS.IFO";
    for (auto _ : state) {
        int decoder = 0, resources = 0;
        VcQueryResult query{};
        Decoder_Create(collection, dvd, -1, -1, &decoder);
        Decoder_Query(decoder, static_cast<int>(url.size()), url.c_str(), 1, &query);
        if (Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) != 0) {
            state.SkipWithError("the hour did not load");
        }
        Decoder_Release(decoder);
    }
    DecoderCollection_Release(collection);
    Vorn::FileSource::SetCurrent(nullptr);
    state.counters["NAVPacks/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * HourOfVobus,
                                                      benchmark::Counter::kIsRate);
}
BENCHMARK(QueryAndLoadOfAnHour)->Unit(benchmark::kMillisecond);

// ---- a disc decoded ----

const Vorn::Testing::DvdFolder* Disc() {
    static const Vorn::Testing::DvdFolder* folder = [] {
        const Vorn::Testing::DvdFolder& made = Vorn::Testing::AuthorDvd({false, {{12.0}}, 1, true});
        return made.error.empty() ? &made : nullptr;
    }();
    return folder;
}

int NeverAbort() {
    return 0;
}

// The disc loaded through the exported functions, and its video stream.
struct LoadedDisc {
    int collection = 0;
    int decoder = 0;
    int stream = 0;
    VcTrackInfo track{};

    LoadedDisc() {
        VcInitRecord record{};
        InitVorncastDecoders(record);
        DecoderCollection_Create(nullptr, &collection);
        const VcGuid dvd = {0x508C3FE8, 0x0034, 0x4216, {0x8E, 0x06, 0x00, 0x20, 0xB1, 0x61, 0x93, 0x31}};
        const std::string url = Disc()->directory + "/VIDEO_TS.IFO";
        int resources = 0;
        int trackHandle = 0;
        if (Decoder_Create(collection, dvd, -1, -1, &decoder) != 0 ||
            Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) != 0 ||
            Decoder_GetTrack(decoder, 0, &trackHandle) != 0 || Track_GetInfo(trackHandle, &track) != 0 ||
            Track_GetStream(trackHandle, 0, &stream) != 0) {
            stream = 0;
        }
    }
    ~LoadedDisc() {
        Decoder_Close(decoder);
        Decoder_Release(decoder);
        DecoderCollection_Release(collection);
    }
};

void GoToRandomTime(benchmark::State& state) {
    if (Disc() == nullptr) {
        state.SkipWithError("no disc: ffmpeg or dvdauthor is missing");
        return;
    }
    LoadedDisc disc;
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int64_t> times(disc.track.startTime.streamTime,
                                                 disc.track.endTime.streamTime - 1);
    for (auto _ : state) {
        VcSeekRequest request{};
        request.abort = NeverAbort;
        request.wantData = 1;
        request.targetTime = times(random);
        VcSample sample{};
        if (Stream_GoToTime(disc.stream, request, &sample) != 0) {
            state.SkipWithError("a seek failed");
            break;
        }
        Stream_ReleaseSample(disc.stream, sample);
    }
}
BENCHMARK(GoToRandomTime)->Unit(benchmark::kMillisecond);

void StepForwardWithPictures(benchmark::State& state) {
    if (Disc() == nullptr) {
        state.SkipWithError("no disc: ffmpeg or dvdauthor is missing");
        return;
    }
    LoadedDisc disc;
    for (auto _ : state) {
        VcSeekRequest start{};
        start.wantData = 1;
        start.targetTime = disc.track.startTime.streamTime;
        VcSample sample{};
        Stream_GoToTime(disc.stream, start, &sample);
        Stream_ReleaseSample(disc.stream, sample);
        const VcSampleRequest request{NeverAbort, {0, 0}, 1, 0};
        while (Stream_GetNextSample(disc.stream, request, &sample) == 0) {
            Stream_ReleaseSample(disc.stream, sample);
        }
    }
}
BENCHMARK(StepForwardWithPictures)->Unit(benchmark::kMillisecond);

// The reference: what the ffmpeg program does with the title set's first VOB.
void FfmpegDecodeToBgr(benchmark::State& state) {
    if (Disc() == nullptr) {
        state.SkipWithError("no disc: ffmpeg or dvdauthor is missing");
        return;
    }
    for (auto _ : state) {
        FfmpegDecodeFileToBgr(Disc()->titleVobs[0][0]);
    }
}
BENCHMARK(FfmpegDecodeToBgr)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("StepForwardWithPictures", "FfmpegDecodeToBgr",
                        "Stepping forward with pictures against libavcodec alone", 1.15);
    return 0;
}
