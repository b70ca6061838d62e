// The damage sweep over recordings of the recorder formats, read by their rows of the decoder
// table.
#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/AviWriter.h"
#include "fixtures/formats/BaxallVividWriter.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/CathexisWriter.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/FaiveleyWriter.h"
#include "fixtures/formats/GeutebruckWriter.h"
#include "fixtures/formats/IRecordWriter.h"
#include "fixtures/formats/IndigoVisionWriter.h"
#include "fixtures/formats/LjdLeviathanWriter.h"
#include "fixtures/formats/LorikanWriter.h"
#include "fixtures/formats/NewWavestoreWriter.h"
#include "fixtures/formats/ParVuWriter.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "fixtures/formats/PelcoPnsWriter.h"
#include "fixtures/formats/SanyoWriter.h"
#include "fixtures/formats/SyneticsWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/TimeSpaceWriter.h"
#include "fixtures/formats/UvmsWriter.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "fixtures/formats/VigilantMpeg2Writer.h"
#include "fixtures/formats/ViseumWriter.h"
#include "fixtures/jpeg/JpegTestSupport.h"
#include "fixtures/jpeg/LosslessJpegWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

using namespace Hardening;
using namespace Vorn::Vorncast::Decoders::Testing;

TEST(RecorderFormatSweep, BaxallVivid) {
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(16, 8), 16, 8);
    SweepRecording recording;
    for (uint8_t file = 0; file < 2; ++file) {
        std::vector<BaxallFrame> frames(3);
        for (uint8_t index = 0; index < 3; ++index) {
            frames[index].camera = index % 2;
            frames[index].second = static_cast<uint8_t>(file * 3 + index);
            frames[index].codestream = Jpeg2000Testing::Encode(planes, 16, 8, {});
        }
        BaxallFile written = WriteBaxallVivid(frames, 16, 8);
        recording.files.push_back({"vivid" + std::to_string(file) + ".vdf",
                                   std::string(written.bytes.begin(), written.bytes.end())});
        recording.frameStarts.push_back(written.blockStarts);
        recording.damagePlaces.push_back({file, 0});
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeBaxallVivid"), recording);
}

TEST(RecorderFormatSweep, PelcoEndura) {
    std::vector<EnduraFrame> frames = EncodeEnduraClip(48, 32, 6, 3);
    ASSERT_FALSE(frames.empty());
    EnduraFile written = WritePelcoEndura(frames, "Gate", 48, 32);
    SweepRecording recording;
    recording.files = {{"cam.pef", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.sectionStarts};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodePelcoEndura"), recording);
}

// An incident with its camera list and two channels.
TEST(RecorderFormatSweep, IndigoVision) {
    std::vector<IndigoFrame> clip = EncodeIndigoClip("mpeg4", 48, 32, 6, 3, 1700000000000);
    ASSERT_FALSE(clip.empty());
    Vorn::Vorncast::Decoders::TimeZoneInformation zone{};
    zone.Bias = 60;
    IndigoFootage first = WriteIndigoFootage(clip, &zone);
    IndigoFootage second = WriteIndigoFootage(clip, nullptr, 0x20);
    auto text = [](const auto& bytes) { return std::string(bytes.begin(), bytes.end()); };
    SweepRecording recording;
    recording.files = {{"case.ivi", IndigoIncident("db", "Footage")},
                       {"db/sites.vdb", IndigoSites({{1, "Gate"}, {2, "local:Yard"}})},
                       {"Footage/Gate.vmf", text(first.bytes)},
                       {"Footage/Yard.vmf", text(second.bytes)}};
    recording.frameStarts = {{0}, {0}, first.recordStarts, second.recordStarts};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeIndigoVision"), recording);
}

TEST(RecorderFormatSweep, BoschArchive) {
    std::vector<BoschFrame> clip = EncodeBoschClip(32, 16, 6, 3, false);
    ASSERT_FALSE(clip.empty());
    SweepRecording recording;
    for (const auto& [path, bytes] : WriteBoschArchive(
             "", "Export", {{"B1", "Gate", "", {{"T", clip}}}, {"B2", "Yard", "", {{"T", clip}}}}, 32, 16)) {
        recording.files.push_back({path.substr(1), std::string(bytes.begin(), bytes.end())});
        recording.frameStarts.push_back({0});
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeBoschArchive"), recording);
}

TEST(RecorderFormatSweep, Cathexis) {
    SweepRecording recording;
    for (uint32_t file = 0; file < 2; ++file) {
        std::vector<CathexisFrame> frames;
        for (uint16_t index = 0; index < 3; ++index) {
            frames.push_back({static_cast<uint16_t>(index % 2), 1700000000 + file * 3 + index, 0, 32, 16,
                              EncodeTestJpeg(MakeQuadrantPicture(32, 16, index))});
        }
        CathexisFile written = WriteCathexis(frames);
        recording.files.push_back(
            {"c" + std::to_string(file) + ".sjpg", std::string(written.bytes.begin(), written.bytes.end())});
        recording.frameStarts.push_back(written.blockStarts);
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeCathexis"), recording);
}

TEST(RecorderFormatSweep, PelcoPns) {
    const BgrPicture key = MakeQuadrantPicture(32, 32, 0);
    const BgrPicture update = MakeQuadrantPicture(32, 32, 1);
    const std::vector<std::pair<uint8_t, uint8_t>> places = {{0, 0}, {1, 1}};
    PnsFile written = WritePelcoPns({{true, 1000, {}, EncodeTestJpeg(key)},
                                     {false, 1040, places, EncodeTestJpeg(TileStrip(update, places))},
                                     {true, 1080, {}, EncodeTestJpeg(update)},
                                     {false, 1120, {{1, 0}}, EncodeTestJpeg(TileStrip(key, {{1, 0}}))}},
                                    32, 32, 1, 0);
    SweepRecording recording;
    recording.files = {{"cam.pns", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.blockStarts};
    recording.damagePlaces = {{0, 80}, {0, 88}, {0, 96}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodePelco"), recording);
}

TEST(RecorderFormatSweep, Viseum) {
    std::vector<ViseumFrame> frames;
    for (uint16_t index = 0; index < 4; ++index) {
        frames.push_back({static_cast<uint16_t>(index % 2), 17000000000000u + index * 4000u,
                          EncodeTestJpeg(MakeQuadrantPicture(32, 16, index))});
    }
    ViseumFile written = WriteViseum({{0, "Door"}, {1, "Till"}}, frames);
    SweepRecording recording;
    recording.files = {{"case.vis", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.chunkStarts};
    recording.damagePlaces = {{0, written.bytes.size() - 4}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeViseum"), recording);
}

TEST(RecorderFormatSweep, IRecord) {
    SweepRecording recording;
    for (int file = 0; file < 2; ++file) {
        std::vector<IRecordFrame> frames;
        for (int index = 0; index < 3; ++index) {
            frames.push_back({"2024031415" + std::to_string(26 + file) + "1" + std::to_string(index) + "250",
                              EncodeTestJpeg(MakeQuadrantPicture(32, 16, index))});
        }
        std::vector<uint8_t> bytes = WriteIRecord(frames);
        recording.files.push_back(
            {"2024031415" + std::to_string(26 + file) + ".mjp", std::string(bytes.begin(), bytes.end())});
        recording.frameStarts.push_back({0});
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeIRecord"), recording);
}

// Two cameras in two slices, each a key frame, a delta frame and a key frame.
TEST(RecorderFormatSweep, ViconNet) {
    const ViconNetArchive archive = SmallViconNetArchive(true);
    SweepRecording recording;
    for (const auto& [path, bytes] : WriteViconNet(archive)) {
        recording.files.push_back({path, std::string(bytes.begin(), bytes.end())});
        recording.frameStarts.push_back({0});
    }
    recording.damagePlaces = {{0, 12}, {0, 20}, {1, 8}, {1, 12}, {2, 24}, {2, 28}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeViconNet"), recording);
}

TEST(RecorderFormatSweep, Sanyo) {
    std::vector<SanyoFrame> frames;
    for (uint32_t index = 0; index < 4; ++index) {
        frames.push_back({765000000 + index, static_cast<int32_t>(index % 2), index + 1,
                          EncodeTestJpeg(MakeQuadrantPicture(32, 16, static_cast<int32_t>(index)))});
    }
    SweepRecording recording;
    for (const auto& [path, bytes] : WriteSanyo("SANYO", "00001", {"Door", "Till"}, frames, false)) {
        recording.files.push_back({path, std::string(bytes.begin(), bytes.end())});
        recording.frameStarts.push_back({0});
    }
    recording.frameStarts[0] = {1024, 1040, 1056, 1072};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeSanyo"), recording);
}

TEST(RecorderFormatSweep, Geutebruck) {
    std::vector<GeutebruckFrame> frames;
    for (uint32_t index = 0; index < 3; ++index) {
        std::vector<uint8_t> jpeg =
            EncodeJpeg(MakeColourBars(704, 288), {.sampling = Sampling::S422, .recorderQuality = 25});
        frames.push_back(
            {index % 2, 738000, 0x00E30000 + index * 40, static_cast<uint8_t>(index == 1 ? 128 : 0), 100,
             std::vector<uint8_t>(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end())});
    }
    GeutebruckFile written = WriteGeutebruck({{0, "Door"}, {1, "Till"}}, frames);
    SweepRecording recording;
    recording.files = {{"rec.mbf", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.entryStarts};
    recording.damagePlaces = {{0, 28800 + 28}, {0, written.entryStarts[0] - 128 + 24}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeGeutebruck"), recording);
}

TEST(RecorderFormatSweep, Faiveley) {
    std::vector<uint8_t> jpeg =
        EncodeJpeg(MakeColourBars(352, 288), {.sampling = Sampling::S422, .recorderQuality = 24});
    const std::vector<uint8_t> scan(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end());
    std::vector<FaiveleyFrame> frames;
    for (int32_t index = 0; index < 3; ++index) {
        frames.push_back({static_cast<uint8_t>(index % 2), 2024, 3, 14, 15, 26, index, 0, 'P', 1, scan});
    }
    FaiveleyFile written = WriteFaiveley("Depot", {{0, "Cab"}, {1, "Platform"}}, frames, true);
    SweepRecording recording;
    recording.files = {{"train.arc", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.frameStarts};
    recording.damagePlaces = {{0, 196 + 8}, {0, 288 + 8}, {0, 472 + 8}, {0, written.bytes.size() - 512 + 70}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeFaiveley"), recording);
}

// A vix index with its companion text and data files, frames running on from one file into the next.
TEST(RecorderFormatSweep, LorikanVix) {
    VixLayout layout;
    layout.width = 32;
    layout.height = 16;
    layout.cameras = {{1, "Gate"}, {2, "Yard"}};
    layout.dataFileCapacity = 600;
    std::vector<VixPicture> pictures;
    for (uint16_t index = 0; index < 4; ++index) {
        pictures.push_back({638000000000000000 + index * 5000000, static_cast<uint16_t>(1 + index % 2),
                            EncodeTestJpeg(MakeQuadrantPicture(32, 16, index))});
    }
    const VixRecording vix = WriteVix(layout, pictures);
    const std::vector<uint8_t> text = VixCompanionText("/sweep/data");
    SweepRecording recording;
    recording.files = {{"clip.vix", std::string(vix.index.begin(), vix.index.end())},
                       {"clip.txt", std::string(text.begin(), text.end())}};
    recording.frameStarts = {vix.recordStarts};
    recording.damagePlaces = {{0, 12}, {0, vix.headerBoxAt}, {0, vix.headerBoxAt + 8}, {0, vix.frameIndexAt}};
    for (size_t file = 0; file < vix.dataFiles.size(); ++file) {
        recording.files.push_back({"data/" + vix.dataNames[file],
                                   std::string(vix.dataFiles[file].begin(), vix.dataFiles[file].end())});
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeLorikanVix"), recording);
}

// The ix and mix indexes over one data file of lossless JPEG frames.
TEST(RecorderFormatSweep, LorikanIndexes) {
    for (bool master : {false, true}) {
        std::vector<LorikanIndexFrame> frames;
        for (uint16_t index = 0; index < 4; ++index) {
            frames.push_back({638000000000000000 + index * 5000000, static_cast<uint16_t>(index % 2), "Gate",
                              EncodeLosslessJpeg(MakeGradient(32, 16, 3))});
        }
        const LorikanIndexRecording written =
            WriteLorikanIndex({master, false, "clip.dat", 32, 16, true}, frames);
        SweepRecording recording;
        recording.files = {
            {master ? "clip.mix" : "clip.ix", std::string(written.index.begin(), written.index.end())},
            {"clip.dat", std::string(written.data.begin(), written.data.end())}};
        recording.frameStarts = {written.recordStarts, written.frameOffsets};
        recording.damagePlaces = {{0, 132}, {0, 136}, {0, 140}};
        ExpectDecoderSurvivesDamage(DecoderRowIndex(master ? "DecodeLorikanMaster" : "DecodeLorikan"),
                                    recording);
    }
}

// A Wavestore export of two cameras in two files of a tree.
TEST(RecorderFormatSweep, NewWavestore) {
    Adv601EncoderOptions coarse;
    coarse.detailScale = 512;
    const std::vector<uint8_t> bars = EncodeAdv601(Adv601ColourBars(true).bgr.data(), coarse);
    const std::vector<uint8_t> edges = EncodeAdv601(Adv601Edges(true).bgr.data(), coarse);
    const WavestoreFile front = WriteWavestoreFile({{1, "Front", 900, bars}});
    const WavestoreFile back = WriteWavestoreFile({{2, "Back", 930, edges}}, false);
    SweepRecording recording;
    recording.files = {{"export.dat", "x"},
                       {"a/b/1.v", std::string(front.bytes.begin(), front.bytes.end())},
                       {"a/c/2.v", std::string(back.bytes.begin(), back.bytes.end())}};
    recording.frameStarts = {{}, front.frameStarts, back.frameStarts};
    recording.damagePlaces = {{1, 36}, {1, 40}, {2, 36}};
    SweepOptions options;
    options.maxCutsPerFile = 8;
    options.maxDamagePerFile = 8;
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeNewWavestore"), recording, options);
}

// A Darlex image of two files, a frame running over from the first into the second, where the
// track's directory stands.
TEST(RecorderFormatSweep, Darlex) {
    Adv601EncoderOptions coarse;
    coarse.detailScale = 4096;
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Edges(true).bgr.data(), coarse);
    DarlexImage image;
    image.tracks = {{{{{2021, 3, 4, 5, 6, 7}, 1, field}, {{2021, 3, 4, 5, 6, 8}, 2, field}}}};
    image.fileSizes = {4096};
    DarlexWritten written = WriteDarlex(image, "disk");
    SweepRecording recording;
    recording.frameStarts.resize(2);
    for (const DarlexFramePlace& place : written.places[0]) {
        recording.frameStarts[static_cast<size_t>(place.file)].push_back(place.fileOffset);
    }
    for (const DarlexFileImage& file : written.files) {
        std::vector<uint8_t> bytes = DarlexFileBytes(file);
        recording.files.push_back({file.name, std::string(bytes.begin(), bytes.end())});
    }
    // The directory, the last piece written: its sectors and its bias.
    const uint64_t directory = written.files[1].pieces.back().first;
    recording.damagePlaces = {{1, directory + 44}, {1, directory + 56}, {1, directory + 3302}};
    SweepOptions options;
    options.maxCutsPerFile = 6;
    options.maxDamagePerFile = 6;
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeDarlex"), recording, options);
}

// A TimeSpace X100 file of two cameras, pictures painted by the tests' stand-in codec.
TEST(RecorderFormatSweep, TimeSpaceX100) {
    const uint16_t date = (2024 - 1980) << 9 | 3 << 5 | 14;
    std::vector<X100Frame> frames;
    for (uint16_t index = 0; index < 6; ++index) {
        const bool key = index < 2 || index == 4;
        frames.push_back(
            {static_cast<uint16_t>(index % 2),
             key,
             {{static_cast<uint16_t>(index * 20), 10, key ? uint16_t{624} : uint16_t{30}, 40, 1, 2, 3}},
             date,
             static_cast<uint16_t>(10 << 11 | index)});
    }
    const X100File written = WriteTimeSpaceX100(frames, false);
    SweepRecording recording;
    recording.files = {{"rec.oba", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts = {written.frameStarts};
    recording.damagePlaces = {{0, 0}, {0, 4}, {0, written.directoryAt}, {0, written.directoryAt + 4}};
    Vorn::Vorncast::Decoders::SetTimeSpacePictureDecoder(PaintTimeSpaceUpdate);
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeTimeSpaceX100"), recording);
    Vorn::Vorncast::Decoders::SetTimeSpacePictureDecoder(nullptr);
}

// Two TimeSpace X200 files of two cameras with a block to pass over, the tests' stand-in codec.
TEST(RecorderFormatSweep, TimeSpaceX200) {
    SweepRecording recording;
    for (uint32_t file = 0; file < 2; ++file) {
        std::vector<X200Record> records(5);
        for (uint32_t index = 0; index < 5; ++index) {
            records[index].type = index == 2 ? 254 : index == 4 && file == 0 ? 0 : index > 1;
            records[index].camera = index % 2;
            records[index].update = {{static_cast<uint16_t>(index * 30), 20, 40, 40, 1, 2, 3}};
            records[index].second = static_cast<uint8_t>(file * 5 + index);
        }
        const X200File written = WriteTimeSpaceX200(records);
        recording.files.push_back(
            {"r" + std::to_string(file) + ".xba", std::string(written.bytes.begin(), written.bytes.end())});
        recording.frameStarts.push_back(written.recordStarts);
    }
    Vorn::Vorncast::Decoders::SetTimeSpaceFrameDecoder(PaintTimeSpaceFrame);
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeTimeSpaceX200"), recording);
    Vorn::Vorncast::Decoders::SetTimeSpaceFrameDecoder(nullptr);
}

// An LJD Leviathan export of two cameras. The tests' stand-in for the maker's library, loaded first
// so that the library's search finds it by name, reads the damaged store from the sweep's files.
TEST(RecorderFormatSweep, LjdLeviathan) {
    void* standIn = dlopen(VDBFILE_STANDIN, RTLD_NOW);
    ASSERT_NE(standIn, nullptr) << dlerror();
    std::vector<LjdFrame> frames;
    for (uint8_t index = 0; index < 6; ++index) {
        frames.push_back({static_cast<uint8_t>(index % 2), index < 2 || index == 4, 45000.5 + index / 86400.0,
                          16, 8, MakeQuadrantPicture(16, 8, index).bgr});
    }
    const LjdRecording written = WriteLjdLeviathan(frames, {{0, "Gate"}, {1, "Yard"}});
    SweepRecording recording;
    recording.files = {{"rec.vdb", std::string(written.index.begin(), written.index.end())},
                       {"rec.vmb", std::string(written.store.begin(), written.store.end())},
                       {"rec.vdd", written.settings}};
    recording.frameStarts = {{}, written.imageStarts};
    for (uint64_t record = 0; record < frames.size(); ++record) {
        recording.frameStarts[0].push_back(53 + record * 23);
    }
    recording.damagePlaces = {{0, 0}, {2, 0}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeLjdLeviathan"), recording);
    dlclose(standIn);
}

// The recorders of the AVI family, each in its dialect. An AVI cut before its index waits for the
// host to end its load, as a player's abort would.
class AviFamilySweep : public ::testing::TestWithParam<const char*> {};

TEST_P(AviFamilySweep, SurvivesDamage) {
    const std::vector<AviRecordingFile> written = WriteAviMemberRecording(GetParam());
    if (written.empty()) {
        GTEST_SKIP() << "no encoder for " << GetParam();
    }
    SweepRecording recording;
    for (const AviRecordingFile& file : written) {
        recording.files.push_back({file.name, std::string(file.bytes.begin(), file.bytes.end())});
        recording.frameStarts.push_back(file.chunkStarts);
    }
    SweepOptions options;
    options.hostAbortsLongLoads = true;
    ExpectDecoderSurvivesDamage(DecoderRowIndex(GetParam()), recording, options);
}

INSTANTIATE_TEST_SUITE_P(RecorderFormatSweep, AviFamilySweep,
                         ::testing::Values("DecodeDV25AVI", "DecodeDV", "DecodeCieffeLinearis",
                                           "DecodeGeoVision", "DecodeOmniVisionOVR2200",
                                           "DecodeAVerMediaUSBPlayback", "DecodeBTPDivX",
                                           "DecodeLoronixCCTVWare", "DecodeOctarIESS",
                                           "DecodeVisimetricsMPEG"));

// Visimetrics JPEG 2000 files in their date and hour folders.
TEST(RecorderFormatSweep, VisimetricsJpeg2000) {
    const auto planes = Jpeg2000Testing::RgbPlanes(Jpeg2000Testing::MakeRgbPicture(16, 8), 16, 8);
    AviStreamSpec video;
    video.format = AviVideoFormat(Vorn::Vorncast::Decoders::FourCCLE("MJ2C"), 16, 8);
    video.chunks.assign(3, Jpeg2000Testing::Encode(planes, 16, 8, {}));
    const AviFile file = WriteAvi({video});
    SweepRecording recording;
    recording.files = {{"2021/03/04/05/18367_C01.avi", std::string(file.bytes.begin(), file.bytes.end())}};
    recording.frameStarts.emplace_back();
    for (const AviChunkPlace& place : file.chunks) {
        recording.frameStarts.back().push_back(place.offset);
    }
    SweepOptions options;
    options.hostAbortsLongLoads = true;
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeVisimetricsJPEG2000"), recording, options);
}

// A pair of one camera: damage to the index records reaches their offsets, sizes and months (a
// time outside any calendar), and cuts shorten the groups of pictures.
TEST(RecorderFormatSweep, Synetics) {
    CodecTest::EncodedVideo video;
    ASSERT_TRUE(EncodeSyneticsVideo(32, 16, 8, 4, &video));
    const SyneticsPair pair =
        WriteSyneticsPair("Gate", SyneticsPictures(video, {2024, 3, 0, 12, 9, 30, 0, 0}, 40));
    SweepRecording recording;
    for (const std::vector<uint8_t>* file : {&pair.iFrames, &pair.otherFrames}) {
        const std::string name = file == &pair.iFrames ? "mpeg2_0001_1.dat" : "mpeg2_0001_2.dat";
        recording.files.push_back({name, std::string(file->begin(), file->end())});
        std::vector<uint64_t> starts;
        const uint32_t records = static_cast<uint32_t>((*file)[44]);
        for (uint32_t record = 0; record < records; ++record) {
            const size_t at = 2288 + record * 36;
            starts.push_back(at);
            starts.push_back((*file)[at] | (*file)[at + 1] << 8 | (*file)[at + 2] << 16);
            recording.damagePlaces.push_back({recording.files.size() - 1, at + 22});
        }
        recording.frameStarts.push_back(starts);
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeSynetics"), recording);
}

// A vid file of JPEG pictures with and without their headers and its idx file.
TEST(RecorderFormatSweep, ParVu) {
    const std::vector<uint8_t> whole =
        EncodeJpeg(MakeColourBars(32, 16), {.sampling = Sampling::S422, .recorderQuality = 30});
    ParVuPicture scan{0, 1700000000, 8192, 1, 0, 30, 32, 16, "Door", {}};
    scan.data.assign(whole.begin() + static_cast<long>(ScanDataOffset(whole)), whole.end() - 2);
    const ParVuPair pair =
        WriteParVuPair({scan, {1, 1700000000, 8192, 0, 0, 0, 32, 16, "Till", whole}, scan});
    SweepRecording recording;
    recording.files = {{"vid00001.vid", std::string(pair.vid.begin(), pair.vid.end())},
                       {"vid00001.idx", std::string(pair.idx.begin(), pair.idx.end())}};
    recording.frameStarts = {pair.headerOffsets, {0, 12, 24}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeParVu"), recording);
}

// A Vigilant MPEG-2 export: cuts inside groups and pictures, broken start codes and time records.
TEST(RecorderFormatSweep, VigilantMpeg2) {
    VigilantMpeg2File written = EncodeVigilantMpeg2Clip(32, 7, {"Depot", "Gate", 60, {1700000000}});
    ASSERT_FALSE(written.bytes.empty());
    SweepRecording recording;
    recording.files = {{"clip.mpg", std::string(written.bytes.begin(), written.bytes.end())}};
    recording.frameStarts.emplace_back();
    for (const auto& picture : written.pictures) {
        recording.frameStarts.back().push_back(picture.offset);
    }
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeVigilantMpeg2"), recording);
}

// A UVMS tree: cut and broken media headers, indexes and image headers, and a broken configuration.
TEST(RecorderFormatSweep, Uvms) {
    SweepRecording recording;
    for (const auto& [path, bytes] : WriteUvmsJpegTree(16, 8)) {
        recording.files.push_back({path, std::string(bytes.begin(), bytes.end())});
        recording.frameStarts.push_back({0, 112, 144});
    }
    recording.damagePlaces = {{0, 40}, {1, 88}};
    ExpectDecoderSurvivesDamage(DecoderRowIndex("DecodeUVMS"), recording);
}
