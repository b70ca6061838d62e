#include "MissingTool.h"
#include "codecs/jpeg/JpegCodec.h"
#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/ParVuWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::JpegDecodeToBuffer;
using Vorn::Vorncast::Decoders::TicksFromUnixSeconds;

constexpr const char* ParVuGuid = "BE387767-631F-4d6a-BAB1-518FE0D0D974";
constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr uint32_t Start = 1700000000;

struct Expected {
    int64_t time;
    CodecTest::Picture picture;
};

class ParVuTest : public RecorderTest {
protected:
    // A JPEG picture of camera 0 stored without its headers, or of camera 2 whole; the expected
    // picture is the whole JPEG as the library's JPEG decoder gives it.
    ParVuPicture JpegPicture(int32_t index, bool headerless) {
        const int32_t quality = 20 + index;
        const Bytes whole = EncodeJpeg(MakeColourBars(Width, Height),
                                       {.sampling = Sampling::S422, .recorderQuality = quality});
        const Bytes scan(whole.begin() + static_cast<long>(ScanDataOffset(whole)), whole.end() - 2);
        const auto seconds = Start + static_cast<uint32_t>(index);
        const auto scale = static_cast<uint32_t>(quality);
        const ParVuPicture picture =
            headerless ? ParVuPicture{0, seconds, 8192, 1, 0, scale, Width, Height, "Door", scan}
                       : ParVuPicture{2, seconds, 8192, 0, 0, scale, Width, Height, "Till", whole};
        CodecTest::Picture decoded{Width, Height, Bytes(static_cast<size_t>(Width * Height * 3))};
        EXPECT_TRUE(JpegDecodeToBuffer(whole.data(), static_cast<int32_t>(whole.size()), decoded.bgr.data(),
                                       static_cast<int32_t>(decoded.Bytes())));
        expected[picture.camera].push_back(
            {TicksFromUnixSeconds(static_cast<int32_t>(picture.seconds)), decoded});
        return picture;
    }
    void ExpectCamera(int stream, const std::vector<Expected>& pictures) {
        StepThrough(stream, pictures.size(), [&](const Delivered& delivered, size_t index) {
            EXPECT_EQ(delivered.time.recordedTime, pictures[index].time);
            ExpectDecoded(pictures[index].picture, delivered);
        });
    }

    std::map<uint16_t, std::vector<Expected>> expected;
};

class ParVuRecordingTest : public ParVuTest, public testing::WithParamInterface<bool> {};

// Two files with three cameras: JPEG scans without headers, whole JPEG images and MPEG-4 frames
// with a key frame every third.
TEST_P(ParVuRecordingTest, CamerasOfJpegAndMpeg4Play) {
    CodecTest::VideoSettings settings{.encoder = "mpeg4", .width = Width, .height = Height, .gop = 3};
    CodecTest::EncodedVideo video;
    if (!CodecTest::HasEncoder("mpeg4") || !CodecTest::EncodeVideo(settings, &video)) {
        SKIP_OR_FAIL_FOR_MISSING("the mpeg4 encoder");
    }
    const std::vector<CodecTest::Picture> reference =
        CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, video, false);
    for (int32_t file = 0; file < 2; ++file) {
        std::vector<ParVuPicture> pictures;
        for (int32_t index = file * 3; index < file * 3 + 3; ++index) {
            pictures.push_back(JpegPicture(index, true));
            pictures.push_back(JpegPicture(index, false));
            const CodecTest::EncodedFrame& frame = video.frames[static_cast<size_t>(index)];
            const auto seconds = Start + static_cast<uint32_t>(index);
            pictures.push_back({1, seconds, static_cast<uint16_t>(frame.key ? 8193 : 1), 0, 0, 0, Width,
                                Height, "Yard", frame.data});
            expected[1].push_back(
                {TicksFromUnixSeconds(static_cast<int32_t>(seconds)), reference[static_cast<size_t>(index)]});
        }
        const std::string stem = "/dm/vid0000" + std::to_string(file);
        if (GetParam()) {
            AddFile(stem + ".par", WriteParVuPartition(pictures).vid);
        } else {
            const ParVuPair pair = WriteParVuPair(pictures, file == 0 ? 0xDECADE10 : 0xDECADE11);
            AddFile(stem + ".idx", pair.idx);
            AddFile(stem + ".vid", pair.vid);
        }
    }
    ASSERT_EQ(Load(ParVuGuid, GetParam() ? "/dm/vid00001.par" : "/dm/vid00001.vid"), 0) << LastError();
    const std::vector<int> streams = ExpectStreamNames({"Door", "Yard", "Till"});
    for (uint16_t camera = 0; camera < 3; ++camera) {
        ExpectCamera(streams[camera], expected[camera]);
    }
}

INSTANTIATE_TEST_SUITE_P(IdxAndVidFilesOrPartitions, ParVuRecordingTest, testing::Bool());

TEST_F(ParVuTest, FileSetsThatCannotLoadSayWhy) {
    auto fails = [&](const char* path, const std::string& text) {
        return LoadFailsWith(ParVuGuid, path, "DecodeParVu::" + text + "\n");
    };
    ParVuPicture picture = JpegPicture(0, false);
    const ParVuPair pair = WriteParVuPair({picture});
    AddFile("/a/vid00001.idx", pair.idx);
    EXPECT_TRUE(fails("/a/vid00001.idx", "LoadingFileListComplete failed with empty VID list"));
    AddFile("/a/vid00002.idx", pair.idx);
    AddFile("/a/vid00001.vid", pair.vid);
    EXPECT_TRUE(fails("/a/vid00001.vid",
                      "LoadingFileListComplete idx file list length does not match vid file list length"));
    AddFile("/a/vid00003.vid", pair.vid);
    EXPECT_TRUE(fails("/a/vid00001.vid", "LoadingFileListComplete idx file list entry 1 (vid00002.idx) does "
                                         "not match vid file list entry (vid00003.vid)"));
    AddFile("/b/vid00001.idx", pair.idx);
    AddFile("/b/vid00001.vid", Bytes(pair.vid.begin(), pair.vid.end() - 1));
    EXPECT_TRUE(
        fails("/b/vid00001.idx", "LoadingReadComplete (LS_VID_FILE) Failing due to Invalid last image"));
    EXPECT_TRUE(fails("/b/vid00001.vi", "LoadingCore failed because file extension is too short."));
    Bytes partition = WriteParVuPartition({picture}).vid;
    partition[28] = 2;
    AddFile("/c/disk.par", partition);
    EXPECT_TRUE(fails("/c/disk.par",
                      "LoadingReadComplete failed because partitionIndexEntry has wrong section type"));
    partition[0] = 'Q';
    AddFile("/d/disk.par", partition);
    EXPECT_TRUE(fails("/d/disk.par", "LoadingReadComplete failed with bad magic in partitionHeader"));
}

} // namespace
