#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/NewWavestoreWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* WavestoreGuid = "516B281A-ACBD-4a40-BB1F-25A2D6D89E4B";
constexpr int64_t EpochTicks = 621355968000000000;

using NewWavestoreTest = RecorderTest;

// Two cameras, each in a file of its own deep in the tree, their frames alternating in time: every
// field of both with its time in 1/300 s (900 units are 3 s after 1970, and 901 truncate to
// 3.0033333 s).
TEST_F(NewWavestoreTest, FieldsOfATreeOfFilesComeOutPerCameraInTimeOrderAndDamageFailsTheLoad) {
    const std::vector<Adv601TestPicture> pictures = {Adv601Gradient(true), Adv601ColourBars(true),
                                                     Adv601Edges(true)};
    std::vector<std::vector<uint8_t>> fields;
    for (const Adv601TestPicture& picture : pictures) {
        fields.push_back(EncodeAdv601(picture.bgr.data()));
    }
    std::vector<WavestoreFrame> front, back;
    for (int64_t index = 0; index < 3; ++index) {
        front.push_back({1, "Front", 900 + index * 60, fields[index]});
        back.push_back({2, "Back", 901 + index * 60, fields[2 - index]});
    }
    AddFile("/ws/export.dat", {0});
    AddFile("/ws/a/b/c/0001.v", WriteWavestoreFile(front).bytes);
    AddFile("/ws/a/b/d/0002.v", WriteWavestoreFile(back, false).bytes);
    ASSERT_EQ(Load(WavestoreGuid, "/ws/export.dat"), 0) << LastError();
    const std::vector<int> streams = ExpectStreamNames({"Front", "Back"});
    for (int64_t index = 0; index < 3; ++index) {
        for (int camera = 0; camera < 2; ++camera) {
            const Delivered frame = Next(streams[camera]);
            ASSERT_EQ(frame.status, 0);
            const int64_t units = 900 + camera + index * 60;
            EXPECT_EQ(frame.time.recordedTime, EpochTicks + units * 100000 / 3) << units;
            EXPECT_GT(Adv601Psnr(pictures[camera == 0 ? index : 2 - index].bgr, frame.data), 40.0) << units;
        }
    }
    EXPECT_EQ(Next(streams[0]).status, 4);

    const WavestoreFile good = WriteWavestoreFile(front);
    const std::string badResult = "DecodeNewWavestore::LoadingReadComplete failed with bad result\n";
    const DamagedFile cases[] = {
        {WithWord(good.bytes, 0, 0), "DecodeNewWavestore::LoadingReadComplete() - not a valid file header\n"},
        {WithWord(good.bytes, 40, 0x7FFFFFFF),
         "DecodeNewWavestore::LoadingReadComplete() - index past end of file\n"},
        {WithWord(good.bytes, 36, 0x7FFFFFFF),
         "DecodeNewWavestore::LoadingReadComplete failed with no frames in sequence\n"},
        {WithWord(good.bytes, good.frameStarts[0] + 8, 0x00FFFFFF), badResult},
        {CutTo(good.bytes, 1000), badResult},
        {{}, "DecodeNewWavestore::LoadingFileListComplete failed with no files found\n"},
    };
    int folder = 0;
    for (const auto& [bytes, text] : cases) {
        LoggedTexts().clear();
        const std::string root = "/bad" + std::to_string(folder++) + "/";
        AddFile(root + "export.dat", {0});
        if (!bytes.empty()) {
            AddFile(root + "x/1.v", bytes);
        }
        const int status = Load(WavestoreGuid, root + "export.dat");
        EXPECT_TRUE(status != 0 || !bytes.empty());
        EXPECT_TRUE(WasLogged(text)) << text;
    }
}

} // namespace
