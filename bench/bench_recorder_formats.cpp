// Recorder formats through the exported functions.
//
// LoadBoschArchive and LoadIndigoVision load (Query + Load) an export of 100 000 frames over 16
// cameras from memory; the items per second are frames indexed per second (aim: at least a million
// with the files in memory). Both formats read each record with a read of its own, as their layouts
// leave no other way: 100 000 reads a load.
//
// LoadCathexis and LoadViconNet load a Cathexis folder and a ViconNet archive of 100 000 frames the
// same way. Cathexis has no index: its load reads every block's header, one read a frame (100 000
// reads). ViconNet reads its index files in batches of 4096 entries.
//
// StepPelcoPns steps through a 720 x 576 Pelco PNS recording of key frames each followed by tile
// updates; PnsPicturesAlone decodes the same key frames and tile strips with libjpeg-turbo and
// nothing else. The line printed at the end divides the two processor times (aim: at most 1.10, an
// update costing no more than its own tiles); a second line sets the stepping against the key
// frames alone (aim: one and the share of the pictures' pixels that the tiles cover). A step hands
// the decoder's running picture to the host's sample without copying it, and the next step updates
// it in place once the sample is let go.
// LoadAVerMediaSet loads a set of 16 AVI files of 4 cameras with the same 100 000 frames: the AVI
// family reads a file's whole index in one read.
//
// GoToTimeEndura seeks to random times in a 25 fps MPEG-4 recording with a key frame every 50
// frames; Mpeg4RunAlone decodes the same runs of frames, from the key frame to the target, with
// libavcodec and converts the last picture to blue-first pixels. The line printed at the end divides
// the two processor times (aim: at most 1.10).
#include "CpuTimeRatio.h"
#include "codecs/jpeg/JpegCodec.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/CathexisWriter.h"
#include "fixtures/formats/IndigoVisionWriter.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "fixtures/formats/PelcoPnsWriter.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "model/files/MemoryFileSource.h"
#include "model/support/Guid.h"

#include <vorncast/VorncastDecoders.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Vorncast::Decoders::FourCCLE;

namespace {

constexpr int32_t Cameras = 16;
constexpr int32_t FramesPerCamera = 6250;
constexpr int32_t EnduraFrames = 250;
constexpr int32_t EnduraGop = 50;
constexpr int32_t EnduraWidth = 320;
constexpr int32_t EnduraHeight = 240;
constexpr int32_t Seeks = 16;
constexpr int32_t PnsWidth = 720;
constexpr int32_t PnsHeight = 576;
constexpr int32_t PnsKeys = 8;
constexpr int32_t PnsUpdatesPerKey = 9;
constexpr int32_t PnsTilesPerUpdate = 24;

int NeverAbort() {
    return 0;
}

VcGuid GuidOf(const char* text) {
    VcGuid guid{};
    Vorn::ParseGuid(text, &guid);
    return guid;
}

Vorn::MemoryFileSource& Files() {
    static Vorn::MemoryFileSource files;
    return files;
}

void AddBoschArchive() {
    std::vector<BoschFrame> clip = EncodeBoschClip(32, 16, 2, 1, false);
    std::vector<BoschBackup> backups;
    for (int32_t camera = 0; camera < Cameras; ++camera) {
        std::vector<BoschFrame> frames;
        for (int32_t index = 0; index < FramesPerCamera; ++index) {
            BoschFrame frame = clip[static_cast<size_t>(index % 2)];
            int32_t milliseconds = index * 40 + camera;
            frame.hour = milliseconds / 3600000;
            frame.minute = milliseconds / 60000 % 60;
            frame.second = milliseconds / 1000 % 60;
            frame.milliseconds = milliseconds % 1000;
            frames.push_back(frame);
        }
        backups.push_back(
            {"B" + std::to_string(camera), "Camera " + std::to_string(camera), "", {{"T", frames}}});
    }
    for (auto& [path, bytes] : WriteBoschArchive("/bosch", "Export", backups, 32, 16)) {
        Files().AddFile(path, bytes.data(), bytes.size());
    }
}

void AddIndigoExport() {
    std::vector<IndigoFrame> clip = EncodeIndigoClip("mpeg4", 32, 16, 2, 1, 0);
    std::string incident = IndigoIncident("db", "Footage");
    Files().AddFile("/indigo/case.ivi", incident.data(), incident.size());
    std::vector<std::pair<int, std::string>> cameras;
    for (int32_t camera = 0; camera < Cameras; ++camera) {
        std::vector<IndigoFrame> frames;
        for (int32_t index = 0; index < FramesPerCamera; ++index) {
            frames.push_back(clip[static_cast<size_t>(index % 2)]);
            frames.back().milliseconds = 1700000000000 + static_cast<uint64_t>(index * 40 + camera);
        }
        std::string name = "Cam" + std::to_string(camera + 100);
        cameras.emplace_back(camera, name);
        IndigoFootage footage = WriteIndigoFootage(frames, nullptr);
        Files().AddFile("/indigo/Footage/" + name + ".vmf", footage.bytes.data(), footage.bytes.size());
    }
    std::string sites = IndigoSites(cameras);
    Files().AddFile("/indigo/db/sites.vdb", sites.data(), sites.size());
}

// Sixteen AverMedia files of 6 250 frames, a minute apart, of four cameras in turn.
void AddAVerMediaSet() {
    const AviStreamSpec clip = EncodeAviVideo("mpeg4", FourCCLE("XVID"), 32, 16, 2);
    if (clip.chunks.size() < 2) {
        return;
    }
    AviStreamSpec video = clip;
    video.chunks.clear();
    video.flags.clear();
    for (int32_t index = 0; index < FramesPerCamera; ++index) {
        video.chunks.push_back(clip.chunks[static_cast<size_t>(index % 2)]);
        video.flags.push_back(clip.flags[static_cast<size_t>(index % 2)]);
    }
    AviLayout layout;
    layout.riffMagic = FourCCLE("AVF0");
    const std::vector<uint8_t> bytes = WriteAvi({video}, layout).bytes;
    for (int32_t file = 0; file < Cameras; ++file) {
        char name[64];
        std::snprintf(name, sizeof(name), "/avf/2021_03_04_05_%02d_00_CH%d.avf", file, file % 4);
        Files().AddFile(name, bytes.data(), bytes.size());
    }
}

std::vector<EnduraFrame>& EnduraClip() {
    static std::vector<EnduraFrame> clip =
        EncodeEnduraClip(EnduraWidth, EnduraHeight, EnduraFrames, EnduraGop);
    return clip;
}

void AddEnduraRecording() {
    std::vector<uint8_t> bytes = WritePelcoEndura(EnduraClip(), "Bench", EnduraWidth, EnduraHeight).bytes;
    Files().AddFile("/endura/cam.pef", bytes.data(), bytes.size());
}

// Ten files of 10 000 frames, the cameras taking turns.
void AddCathexisFolder() {
    const std::vector<uint8_t> jpeg = EncodeTestJpeg(MakeQuadrantPicture(16, 8), 50);
    for (int32_t file = 0; file < 10; ++file) {
        std::vector<CathexisFrame> frames;
        for (int32_t index = 0; index < Cameras * FramesPerCamera / 10; ++index) {
            frames.push_back({static_cast<uint16_t>(index % Cameras),
                              static_cast<uint32_t>(1700000000 + file * 1000 + index / 25), 0, 16, 8, jpeg});
        }
        std::vector<uint8_t> bytes = WriteCathexis(frames).bytes;
        Files().AddFile("/cathexis/c" + std::to_string(file) + ".sjpg", bytes.data(), bytes.size());
    }
}

// One video file for each camera in two slices: a key frame, then deltas without blocks.
void AddViconNetArchive() {
    const BlockJpegWriter writer(32, 16, 50);
    const ViconNetFrame key = ViconNetKeyFrame(writer, MakeGradient(32, 16, 3), 0);
    const ViconNetFrame delta = ViconNetDeltaFrame(writer, MakeGradient(32, 16, 3), std::vector<bool>(4), 0);
    ViconNetArchive archive;
    archive.parent = "/vicon/";
    archive.slices = {{1, {}}, {2, {}}};
    for (int32_t camera = 0; camera < Cameras; ++camera) {
        ViconNetVideoFile file{"cam_" + std::to_string(camera + 1), {}};
        for (int32_t index = 0; index < FramesPerCamera; ++index) {
            file.frames.push_back(index == 0 ? key : delta);
            file.frames.back().fileTime = 133500000000000000 + int64_t{index} * 400000 + camera;
        }
        archive.slices[static_cast<size_t>(camera % 2)].files.push_back(file);
    }
    for (auto& [path, bytes] : WriteViconNet(archive)) {
        Files().AddFile(path, bytes.data(), bytes.size());
    }
}

// Key frames of camera scenes, each followed by updates of tiles from the next scene.
struct PnsRecording {
    std::vector<PnsFrame> frames;
};

PnsRecording& Pns() {
    static PnsRecording recording = [] {
        PnsRecording made;
        int64_t milliseconds = 1000;
        for (int32_t key = 0; key < PnsKeys; ++key) {
            const BgrPicture scene = MakeScenePicture(PnsWidth, PnsHeight, static_cast<uint32_t>(key));
            made.frames.push_back({true, milliseconds += 40, {}, EncodeTestJpeg(scene)});
            const BgrPicture next = MakeScenePicture(PnsWidth, PnsHeight, static_cast<uint32_t>(key + 100));
            for (int32_t update = 0; update < PnsUpdatesPerKey; ++update) {
                std::vector<std::pair<uint8_t, uint8_t>> places;
                for (int32_t tile = 0; tile < PnsTilesPerUpdate; ++tile) {
                    places.emplace_back((update * 5 + tile * 7) % (PnsWidth / 16),
                                        (update * 3 + tile) % (PnsHeight / 16));
                }
                made.frames.push_back(
                    {false, milliseconds += 40, places, EncodeTestJpeg(TileStrip(next, places))});
            }
        }
        return made;
    }();
    return recording;
}

void AddPnsRecording() {
    std::vector<uint8_t> bytes = WritePelcoPns(Pns().frames, PnsWidth, PnsHeight, 1, 0).bytes;
    Files().AddFile("/pns/cam.pns", bytes.data(), bytes.size());
}

// A loaded decoder of the library, released at the end of its scope.
struct Loaded {
    Loaded(const char* guid, const std::string& path) {
        DecoderCollection_Create(nullptr, &collection);
        int resources = 0;
        if (Decoder_Create(collection, GuidOf(guid), -1, -1, &decoder) == 0 &&
            Decoder_Load(decoder, static_cast<int>(path.size()), path.c_str(), nullptr, nullptr, NeverAbort,
                         &resources) == 0) {
            loaded = true;
        }
    }
    ~Loaded() {
        Decoder_Close(decoder);
        Decoder_Release(decoder);
        DecoderCollection_Release(collection);
    }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;

    int collection = 0;
    int decoder = 0;
    bool loaded = false;
};

void Load(benchmark::State& state, const char* guid, const char* path) {
    for (auto _ : state) {
        Loaded decoder(guid, path);
        if (!decoder.loaded) {
            state.SkipWithError("the export did not load");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * Cameras * FramesPerCamera);
}

void LoadBoschArchive(benchmark::State& state) {
    Load(state, "{E1211BCF-C494-4b02-8C21-48F131069DF3}", "/bosch/Export.info");
}

void LoadIndigoVision(benchmark::State& state) {
    Load(state, "{CF20DCA0-3A9A-497f-8CB0-8A765E4CD802}", "/indigo/case.ivi");
}

void LoadCathexis(benchmark::State& state) {
    Load(state, "{E1FFF4E6-C217-4289-BF0C-11B146D0481A}", "/cathexis/c0.sjpg");
}

void LoadViconNet(benchmark::State& state) {
    Load(state, "{0CA09FC6-4112-4318-9DEE-46BC96B37612}", "/vicon/Archive 24-03-14 15.26.00/storecfg.vsb");
}

// Every frame in turn from the first, with its picture.
void StepPelcoPns(benchmark::State& state) {
    Loaded decoder("{60BEC8E3-18C2-441b-875F-1316554AB394}", "/pns/cam.pns");
    int track = 0, stream = 0;
    if (!decoder.loaded || Decoder_GetTrack(decoder.decoder, 0, &track) != 0 ||
        Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the recording did not load");
        return;
    }
    // The first frame plays half a frame period after its stamp, 1040 ms.
    constexpr int64_t FirstStreamTime = 10400000 + 200000;
    const auto frames = static_cast<int32_t>(Pns().frames.size());
    for (auto _ : state) {
        VcSeekRequest seek{};
        seek.abort = NeverAbort;
        seek.wantData = 1;
        seek.targetTime = FirstStreamTime;
        VcSample sample{};
        int32_t stepped = 0;
        for (int status = Stream_GoToTime(stream, seek, &sample); status == 0 && ++stepped < frames;) {
            Stream_ReleaseSample(stream, sample);
            VcSampleRequest request{};
            request.abort = NeverAbort;
            request.wantData = 1;
            status = Stream_GetNextSample(stream, request, &sample);
        }
        Stream_ReleaseSample(stream, sample);
        if (stepped != frames) {
            state.SkipWithError("the walk ended early");
            return;
        }
    }
}

// libjpeg-turbo alone on the key frames, and with `strips` on the tile strips too.
void DecodePnsPictures(benchmark::State& state, bool strips) {
    std::vector<uint8_t> picture(size_t{PnsWidth} * PnsHeight * 3);
    Vorn::Vorncast::Decoders::JpegDecoderScratch scratch;
    for (auto _ : state) {
        for (const PnsFrame& frame : Pns().frames) {
            if (frame.key || strips) {
                Vorn::Vorncast::Decoders::JpegDecodeToBuffer(
                    scratch, frame.jpeg.data(), static_cast<int32_t>(frame.jpeg.size()), picture.data(),
                    static_cast<int32_t>(picture.size()));
            }
        }
        benchmark::DoNotOptimize(picture.data());
    }
}

void PnsPicturesAlone(benchmark::State& state) {
    DecodePnsPictures(state, true);
}

void PnsKeyFramesAlone(benchmark::State& state) {
    DecodePnsPictures(state, false);
}

void LoadAVerMediaSet(benchmark::State& state) {
    Load(state, "{11BB9C9E-0073-4cd3-92FE-57EE56F49387}", "/avf/2021_03_04_05_00_00_CH0.avf");
}

// The targets of the seeks: spread over the recording, never on a key frame.
std::vector<int32_t> SeekTargets() {
    std::vector<int32_t> targets;
    for (int32_t seek = 0; seek < Seeks; ++seek) {
        targets.push_back((seek * 97 + 13) % EnduraFrames | 1);
    }
    return targets;
}

int64_t EnduraTime(int32_t frame) {
    const EnduraFrame& record = EnduraClip()[static_cast<size_t>(frame)];
    return ((int64_t{record.seconds} + 62135596800) * 1000000 + record.microseconds) * 10;
}

void GoToTimeEndura(benchmark::State& state) {
    Loaded decoder("{F1532EFF-6CF0-4897-922B-AC284D95F38D}", "/endura/cam.pef");
    int track = 0, stream = 0;
    if (!decoder.loaded || Decoder_GetTrack(decoder.decoder, 0, &track) != 0 ||
        Track_GetStream(track, 0, &stream) != 0) {
        state.SkipWithError("the recording did not load");
        return;
    }
    std::vector<int32_t> targets = SeekTargets();
    for (auto _ : state) {
        for (int32_t target : targets) {
            VcSeekRequest seek{};
            seek.abort = NeverAbort;
            seek.wantData = 1;
            seek.targetTime = EnduraTime(target);
            VcSample sample{};
            if (Stream_GoToTime(stream, seek, &sample) != 0) {
                state.SkipWithError("a seek failed");
                return;
            }
            Stream_ReleaseSample(stream, sample);
        }
    }
}

// libavcodec alone: each run from its key frame to the target, the last picture in blue-first
// pixels.
void Mpeg4RunAlone(benchmark::State& state) {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_MPEG4);
    AVCodecContext* context = avcodec_alloc_context3(codec);
    context->thread_count = 1;
    avcodec_open2(context, codec, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    SwsContext* scaler = sws_getContext(EnduraWidth, EnduraHeight, AV_PIX_FMT_YUV420P, EnduraWidth,
                                        EnduraHeight, AV_PIX_FMT_BGR24, SWS_POINT, nullptr, nullptr, nullptr);
    std::vector<uint8_t> picture(EnduraWidth * EnduraHeight * 3);
    uint8_t* planes[1] = {picture.data()};
    int strides[1] = {EnduraWidth * 3};
    std::vector<int32_t> targets = SeekTargets();
    for (auto _ : state) {
        for (int32_t target : targets) {
            avcodec_flush_buffers(context);
            for (int32_t index = target / EnduraGop * EnduraGop; index <= target; ++index) {
                const std::vector<uint8_t>& data = EnduraClip()[static_cast<size_t>(index)].data;
                av_new_packet(packet, static_cast<int>(data.size()));
                std::copy(data.begin(), data.end(), packet->data);
                avcodec_send_packet(context, packet);
                av_packet_unref(packet);
                while (avcodec_receive_frame(context, frame) == 0) {
                }
            }
            sws_scale(scaler, frame->data, frame->linesize, 0, EnduraHeight, planes, strides);
            benchmark::DoNotOptimize(picture.data());
        }
    }
    sws_freeContext(scaler);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
}

} // namespace

BENCHMARK(LoadBoschArchive)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadIndigoVision)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadCathexis)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadViconNet)->Unit(benchmark::kMillisecond);
BENCHMARK(StepPelcoPns)->Unit(benchmark::kMillisecond);
BENCHMARK(PnsPicturesAlone)->Unit(benchmark::kMillisecond);
BENCHMARK(PnsKeyFramesAlone)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadAVerMediaSet)->Unit(benchmark::kMillisecond);
BENCHMARK(GoToTimeEndura)->Unit(benchmark::kMillisecond);
BENCHMARK(Mpeg4RunAlone)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    VcInitRecord record{};
    InitVorncastDecoders(record);
    AddBoschArchive();
    AddIndigoExport();
    AddAVerMediaSet();
    AddEnduraRecording();
    AddCathexisFolder();
    AddViconNetArchive();
    AddPnsRecording();
    Vorn::FileSource::SetCurrent(&Files());
    CpuTimeRatioReporter reporter;
    if (!RunBenchmarks(argc, argv, reporter)) {
        return 1;
    }
    reporter.PrintRatio("GoToTimeEndura", "Mpeg4RunAlone", "GoToTime against libavcodec alone", 1.10);
    reporter.PrintRatio("StepPelcoPns", "PnsPicturesAlone", "Pelco PNS steps against its pictures alone",
                        1.10);
    reporter.PrintRatio("StepPelcoPns", "PnsKeyFramesAlone", "Pelco PNS steps against its key frames alone",
                        1.0 + static_cast<double>(PnsUpdatesPerKey) * PnsTilesPerUpdate * 256 /
                                  (PnsWidth * PnsHeight));
    return 0;
}
