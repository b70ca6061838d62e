#include "formats/GenericFormatFixture.h"

#include "codecs/jpeg/JpegOutput.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "formats/DecodeGenericJPEG.h"

#include <cstdlib>

using namespace GenericFormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

constexpr int32_t Width = 64;
constexpr int32_t Height = 48;
constexpr const char* Path = "/rec/clip.mjp";

class GenericJpegTest : public GenericFormatTest {
protected:
    FileClientResult LoadFile(const std::vector<uint8_t>& bytes) {
        AddFile(Path, bytes);
        return Load(GenericJpegGuid, Path);
    }

    static void ExpectPicture(const Frame& frame, const BgrPicture& expected, int32_t index) {
        ASSERT_EQ(frame.result, FCR_SUCCESS) << "frame " << index;
        PictureDifference difference =
            CompareBgr(expected, frame.picture.data(), JpegLineStep(expected.width, 3));
        EXPECT_LT(difference.meanAbsolute, 4.0) << "frame " << index;
        EXPECT_GT(difference.psnr, 30.0) << "frame " << index;
    }

    void ExpectNoFileOpen() {
        EXPECT_EQ(client->OpenFileCount(), 0);
        EXPECT_TRUE(NoFileWasLeftOpen());
    }
};

std::vector<BgrPicture> QuadrantFrames(int32_t count, int32_t width = Width, int32_t height = Height) {
    std::vector<BgrPicture> pictures;
    for (int32_t turn = 0; turn < count; ++turn) {
        pictures.push_back(MakeQuadrantPicture(width, height, turn));
    }
    return pictures;
}

std::vector<std::vector<uint8_t>> EncodeAll(const std::vector<BgrPicture>& pictures) {
    std::vector<std::vector<uint8_t>> jpegs;
    for (const BgrPicture& picture : pictures) {
        jpegs.push_back(EncodeTestJpeg(picture));
    }
    return jpegs;
}

// A good JPEG at offset 0 followed by filler up to `size` bytes, with the given bytes set.
std::vector<uint8_t> JpegThenFiller(size_t size, std::initializer_list<std::pair<size_t, uint8_t>> bytes) {
    std::vector<uint8_t> file = EncodeTestJpeg(MakeQuadrantPicture(Width, Height));
    AppendFiller(file, size - file.size());
    for (const auto& [offset, value] : bytes) {
        file[offset] = value;
    }
    return file;
}

} // namespace

TEST_F(GenericJpegTest, ConcatenatedImagesComeBackFrameByFrameInAnyOrder) {
    std::vector<BgrPicture> pictures = QuadrantFrames(4);
    ASSERT_EQ(LoadFile(Concatenate(EncodeAll(pictures), 37, 4096).bytes), FCR_SUCCESS);
    EXPECT_EQ(image.width, Width);
    EXPECT_EQ(image.height, Height);
    EXPECT_EQ(image.planes, 3);
    EXPECT_EQ(totalFrames, 4);
    const TrackTimes loadedSpan = span;
    EXPECT_EQ(int64_t{loadedSpan.first.recordedTime}, 0);
    EXPECT_EQ(int64_t{loadedSpan.lastStreamTime}, 0);
    EXPECT_EQ(client->OpenFileCount(), 1) << "the file stays open while loaded";

    for (int32_t index : {0, 3, 1, 2, 2, 0}) {
        Frame frame = GetFrame(index);
        ExpectPicture(frame, pictures[static_cast<size_t>(index)], index);
        EXPECT_EQ(frame.times.recordedTime, 0);
        EXPECT_EQ(frame.times.streamTime, 0);
        EXPECT_EQ(frame.camera, 0);
    }

    // Blue first: the top left quadrant of frame 0 is blue, the bottom left one red.
    Frame first = GetFrame(0);
    const uint8_t* blue = &first.picture[(10 * Width + 10) * 3];
    const uint8_t* red = &first.picture[((Height - 10) * Width + 10) * 3];
    EXPECT_GT(blue[0], 150);
    EXPECT_LT(blue[2], 80);
    EXPECT_GT(red[2], 150);
    EXPECT_LT(red[0], 80);

    EXPECT_TRUE(Capi::Close(client));
    ExpectNoFileOpen();
}

TEST_F(GenericJpegTest, FramesAreSteppedByIndexOnOneCameraWithEveryTimeZero) {
    ASSERT_EQ(LoadFile(Concatenate(EncodeAll(QuadrantFrames(3)), 0, 4096).bytes), FCR_SUCCESS);
    EXPECT_EQ(Capi::GetNextFrame(client, -5, 0), 0);
    EXPECT_EQ(Capi::GetNextFrame(client, 0, 0), 1);
    EXPECT_EQ(Capi::GetNextFrame(client, 1, 0), 2);
    EXPECT_EQ(Capi::GetNextFrame(client, 2, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 0, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 2, 0), 1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 9, 0), 2);

    // Every stream time is 0: the search answers the last frame for any time from 0 on.
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 0), 2);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 123456789), 2);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, -1), -1);

    uint8_t mask[CameraMaskBytes];
    std::fill(std::begin(mask), std::end(mask), 0xAA);
    Capi::GetCameras(client, mask);
    EXPECT_EQ(mask[0], 1);
    EXPECT_TRUE(std::all_of(mask + 1, std::end(mask), [](uint8_t byte) { return byte == 0; }));
}

TEST_F(GenericJpegTest, ScanningReportsProgressFromZeroToOne) {
    ASSERT_EQ(LoadFile(Concatenate(EncodeAll(QuadrantFrames(2)), 3000, 4096).bytes), FCR_SUCCESS);
    const std::vector<double>& progress = ReportedProgress();
    ASSERT_GE(progress.size(), 3u);
    EXPECT_EQ(progress.front(), 0.0);
    EXPECT_EQ(progress.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
}

TEST_F(GenericJpegTest, AStartMarkerSplitAcrossTwoBlocksIsMissed) {
    ASSERT_EQ(LoadFile(JpegThenFiller(8192, {{4095, 0xFF}, {4096, 0xD8}})), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 1) << "the image before the split marker simply grows";
    EXPECT_EQ(GetFrame(0).result, FCR_SUCCESS);

    ASSERT_TRUE(Capi::Close(client));
    ASSERT_EQ(LoadFile(JpegThenFiller(8192, {{4094, 0xFF}, {4095, 0xD8}})), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 2) << "the same pair inside one block counts";
}

TEST_F(GenericJpegTest, AThumbnailInsideAnImageStartsAFrameOfItsOwn) {
    BgrPicture before = MakeQuadrantPicture(Width, Height, 1);
    BgrPicture main = MakeQuadrantPicture(Width, Height, 2);
    BgrPicture thumbnail = MakeQuadrantPicture(16, 16, 3);
    BgrPicture after = MakeQuadrantPicture(Width, Height, 0);
    std::vector<std::vector<uint8_t>> images = {
        EncodeTestJpeg(before), EncodeJpegWithThumbnail(main, thumbnail), EncodeTestJpeg(after)};
    ASSERT_EQ(LoadFile(Concatenate(images, 0, 4096).bytes), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 4);

    ExpectPicture(GetFrame(0), before, 0);
    EXPECT_EQ(GetFrame(1).result, FCR_FAILURE) << "the image ends where its thumbnail starts";
    EXPECT_TRUE(WasLogged("Bad image 1\n"));
    ExpectPicture(GetFrame(2), thumbnail, 2);
    ExpectPicture(GetFrame(3), after, 3);
}

TEST_F(GenericJpegTest, MarkersLeftBehindAShortLastBlockGiveFramesBeyondTheEnd) {
    // Image A at 0 and image B at 2000 inside the first block; the second block holds 100 bytes,
    // and behind them the buffer still holds the first block, B's marker included.
    std::vector<uint8_t> file = EncodeTestJpeg(MakeQuadrantPicture(Width, Height, 0));
    AppendFiller(file, 2000 - file.size());
    std::vector<uint8_t> second = EncodeTestJpeg(MakeQuadrantPicture(Width, Height, 1));
    file.insert(file.end(), second.begin(), second.end());
    AppendFiller(file, 4196 - file.size());
    ASSERT_EQ(LoadFile(file), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 3) << "a third frame at 6096, past the end of the file";

    ExpectPicture(GetFrame(0), MakeQuadrantPicture(Width, Height, 0), 0);
    EXPECT_EQ(GetFrame(1).result, FCR_FAILURE) << "B reaches to 6096";
    EXPECT_TRUE(WasLogged("ExecuteRead() decoder tried to read past the end of the file\n"));
    EXPECT_TRUE(WasLogged("DecodeGenericJPEG::DecompressingReadComplete failed with bad result\n"));
    EXPECT_EQ(GetFrame(2).result, FCR_FAILURE);
    ExpectPicture(GetFrame(0), MakeQuadrantPicture(Width, Height, 0), 0);
}

TEST_F(GenericJpegTest, AFailedLoadLeavesNothingBehindForTheNext) {
    EXPECT_EQ(LoadFile({}), FCR_FAILURE);
    ASSERT_EQ(LoadFile(Concatenate(EncodeAll(QuadrantFrames(2)), 0, 4096).bytes), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 2);
}
