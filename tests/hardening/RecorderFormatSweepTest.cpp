// The damage sweep over recordings of the recorder formats, read by their rows of the decoder
// table.
#include "fixtures/formats/BaxallVividWriter.h"
#include "fixtures/formats/BoschArchiveWriter.h"
#include "fixtures/formats/CathexisWriter.h"
#include "fixtures/formats/IRecordWriter.h"
#include "fixtures/formats/IndigoVisionWriter.h"
#include "fixtures/formats/PelcoEnduraWriter.h"
#include "fixtures/formats/PelcoPnsWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/ViseumWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "hardening/DamageSweep.h"

#include <gtest/gtest.h>

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
