#include "formats/GenericFormatFixture.h"

#include "codecs/jpeg/JpegOutput.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"

using namespace GenericFormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int32_t Width = 48;
constexpr int32_t Height = 32;

class FolderOfJpegsTest : public GenericFormatTest {
protected:
    // Numbered files 001.jpg to <count>.jpg in /cam, added in reverse order: the listing sorts them.
    std::vector<BgrPicture> AddFolder(int32_t count) {
        std::vector<BgrPicture> pictures;
        for (int32_t turn = 0; turn < count; ++turn) {
            pictures.push_back(MakeQuadrantPicture(Width, Height, turn));
        }
        for (int32_t index = count - 1; index >= 0; --index) {
            AddNumberedJpegs(files, "/cam", {EncodeTestJpeg(pictures[static_cast<size_t>(index)])},
                             index + 1);
        }
        return pictures;
    }

    void ExpectFrame(int32_t index, const BgrPicture& expected) {
        Frame frame = GetFrame(index);
        ASSERT_EQ(frame.result, FCR_SUCCESS) << "frame " << index;
        PictureDifference difference = CompareBgr(expected, frame.picture.data(), JpegLineStep(Width, 3));
        EXPECT_LT(difference.meanAbsolute, 4.0) << "frame " << index;
        EXPECT_GT(difference.psnr, 30.0) << "frame " << index;
        EXPECT_EQ(frame.times.recordedTime, 0);
        EXPECT_EQ(frame.times.streamTime, 0);
        EXPECT_EQ(frame.camera, 0);
        EXPECT_EQ(client->OpenFileCount(), 0) << "each fetch closes its file";
    }
};

} // namespace

TEST_F(FolderOfJpegsTest, EveryJpgOfTheFolderIsOneFrameInListingOrder) {
    std::vector<BgrPicture> pictures = AddFolder(3);
    // Neither other extensions nor subfolders count; the extension's case does not matter.
    std::vector<uint8_t> fourth = EncodeTestJpeg(MakeQuadrantPicture(Width, Height, 3));
    AddFile("/cam/004.JPG", fourth);
    AddFile("/cam/notes.txt", {'h', 'i'});
    AddFile("/cam/000.jpeg", fourth);
    AddFile("/cam/sub/000.jpg", fourth);
    pictures.push_back(MakeQuadrantPicture(Width, Height, 3));

    ASSERT_EQ(Load(FolderOfJpegsGuid, "/cam/002.jpg"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 4);
    EXPECT_EQ(image.width, Width);
    EXPECT_EQ(image.height, Height);
    EXPECT_EQ(image.planes, 3);
    EXPECT_EQ(client->OpenFileCount(), 0) << "the folder keeps no file open while loaded";

    for (int32_t index : {0, 1, 2, 3, 1, 1}) {
        ExpectFrame(index, pictures[static_cast<size_t>(index)]);
    }
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 987654321), 0) << "the folder has no times";
    EXPECT_EQ(Capi::GetNextFrame(client, 3, 0), -1);
    EXPECT_EQ(Capi::GetNextFrame(client, -1, 0), 0);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 7, 0), 3);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 0, 0), -1);
    uint8_t mask[CameraMaskBytes] = {};
    Capi::GetCameras(client, mask);
    EXPECT_EQ(mask[0], 1);

    EXPECT_TRUE(Capi::Close(client));
    EXPECT_TRUE(NoFileWasLeftOpen());
}

TEST_F(FolderOfJpegsTest, FolderPathsMayUseEitherSeparatorOrBeTheRoot) {
    std::vector<BgrPicture> pictures = AddFolder(2);
    ASSERT_EQ(Load(FolderOfJpegsGuid, "\\cam\\001.jpg"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 2);
    ExpectFrame(1, pictures[1]);
    ASSERT_TRUE(Capi::Close(client));

    AddNumberedJpegs(files, "", {EncodeTestJpeg(pictures[1])}, 7);
    ASSERT_EQ(Load(FolderOfJpegsGuid, "/007.jpg"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 1);
    ExpectFrame(0, pictures[1]);
}

TEST_F(FolderOfJpegsTest, QueryAndPatternsGoByTheJpgExtension) {
    EXPECT_EQ(QueryConfidence(FolderOfJpegsGuid, "/cam/a.JPG"), 50);
    EXPECT_EQ(QueryConfidence(FolderOfJpegsGuid, "/cam/a.png"), 0);
    uint32_t words[4];
    Words(FolderOfJpegsGuid, words);
    EXPECT_STREQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 0), "<a:n><b:+d1,0>.jpg");
    EXPECT_STREQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 1), "");
}

TEST_F(FolderOfJpegsTest, ACorruptFirstFileStillLoadsWithoutAPictureSize) {
    AddFolder(3);
    std::vector<uint8_t> junk(300, 0x5A);
    AddFile("/cam/001.jpg", junk);
    ASSERT_EQ(Load(FolderOfJpegsGuid, "/cam/003.jpg"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 3);
    EXPECT_EQ(image.width, 0);
    EXPECT_EQ(image.height, 0);
    EXPECT_EQ(GetFrame(2).result, FCR_SUCCESS) << "times and camera without a picture";
}
