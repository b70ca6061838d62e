#include "core/time/Ticks.h"
#include "fixtures/formats/SanyoWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecorderChecks.h"

#include <cctype>

namespace {

using namespace FormatTests;

constexpr const char* SanyoGuid = "142538A9-0A35-4b82-972E-82A744F380ED";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr uint32_t Start = 765000000; // seconds since 2000

int64_t TicksOf(uint32_t seconds) {
    return (int64_t{seconds} + 946684800 + Vorn::Vorncast::Decoders::UnixEpochSeconds) * 10000000;
}

using SanyoTest = RecorderTest;

// The JPEG 2000 tree's names are all in lower case.
TEST_F(SanyoTest, IndexGivesEachCameraItsJpegOrJpeg2000ImagesAcrossFolders) {
    std::vector<BgrPicture> pictures;
    std::vector<SanyoFrame> frames;
    const uint32_t numbers[] = {1, 2, 199, 200, 201, 202};
    for (uint32_t index = 0; index < 6; ++index) {
        pictures.push_back(MakeQuadrantPicture(Width, Height, static_cast<int32_t>(index)));
        frames.push_back({Start + index / 2, static_cast<int32_t>(index % 2), numbers[index],
                          EncodeTestJpeg(pictures.back())});
    }
    AddFiles(WriteSanyo("/disk/SANYO", "00003", {"Front", "Back"}, frames, false));
    ASSERT_EQ(Load(SanyoGuid, "/disk/SANYO/00003/INFO/00003.inf"), 0) << LastError();
    ExpectStreamNames({"Front", "Back"});
    ExpectWalks(TakingTurns(2, 6), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, TicksOf(frames[index].seconds));
        ExpectNear(pictures[index], frame);
    });

    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    frames.clear();
    for (uint32_t index = 0; index < 3; ++index) {
        frames.push_back({Start + index, 0, index + 1,
                          Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(rgb, Width, Height), Width,
                                                  Height, {.jp2 = index == 1})});
    }
    SanyoFiles lower = WriteSanyo("/disk/SANYO", "00004", {"Lobby"}, frames, true);
    for (auto& [path, bytes] : lower) {
        std::transform(path.begin(), path.end(), path.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    }
    AddFiles(lower, "/lower");
    ASSERT_EQ(Load(SanyoGuid, "/lower/disk/SANYO/00004/IMG00001/00000002.JP2"), 0) << LastError();
    ExpectWalks(TakingTurns(1, 3), [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, TicksOf(Start + static_cast<uint32_t>(index)));
        EXPECT_EQ(frame.data, Jpeg2000Testing::ToBgr(rgb));
    });
}

TEST_F(SanyoTest, DamagedTreesEndTheLoadWithTheirText) {
    const SanyoFiles good = WriteSanyo(
        "/SANYO", "00001", {}, {{Start, 0, 1, EncodeTestJpeg(MakeQuadrantPicture(Width, Height))}}, false);
    SanyoFiles noFrames = good, brokenImage = good, shortIndex = good;
    noFrames[0].second.assign(592, 0);
    brokenImage[1].second.resize(2);
    // The index may name more records than it holds: those it holds load.
    shortIndex[0].second[0] = 9;
    const std::tuple<SanyoFiles, const char*, const char*> cases[] = {
        {noFrames, "00001/INFO/00001.inf", "DecodeSanyo::LoadingReadComplete no frames found\n"},
        {brokenImage, "00001/INFO/00001.inf",
         "DecodeSanyo::LoadReadComplete failed to decode first image header\n"},
        {{good[0]},
         "00001/INFO/00001.inf",
         "DecodeSanyo::LoadingFileListComplete failed because fileList had no entries\n"},
        {good, "00001/INFO/00001.txt", "DecodeSanyo::LoadingCore: extension not recognised\n"},
        {good, "IMG00001/00000001.jpg", "DecodeSanyo::LoadingCore directory not valid\n"},
        {shortIndex, "00001/INFO/00001.inf", nullptr},
    };
    int tree = 0;
    for (const auto& [files, name, text] : cases) {
        const std::string top = "/t" + std::to_string(tree++);
        AddFiles(files, top);
        AddFile(top + "/SANYO/IMG00001/00000001.jpg", files.size() > 1 ? files[1].second : Bytes{});
        if (text != nullptr) {
            EXPECT_TRUE(LoadFailsWith(SanyoGuid, top + "/SANYO/" + name, text));
        } else {
            ASSERT_EQ(Load(SanyoGuid, top + "/SANYO/" + name), 0) << LastError();
            EXPECT_EQ(WalkForward(VideoStream()).size(), 1u);
        }
    }
    EXPECT_TRUE(LoadFailsWith(SanyoGuid, "/t0/sanyo/00001/INFO/00001.inf",
                              "DecodeSanyo::LoadingCore() Not a valid Sanyo file structure\n"));
}

} // namespace
