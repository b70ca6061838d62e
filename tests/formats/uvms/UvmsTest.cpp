#include "MissingTool.h"
#include "core/time/Ticks.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/formats/UvmsWriter.h"
#include "formats/RecorderChecks.h"

namespace {

using namespace FormatTests;

constexpr const char* UvmsGuid = "5B2F805E-A54E-4e45-B25F-19AFD53305FD";
constexpr int64_t StartMilliseconds = 1700000000000;

int64_t Ticks(int64_t unixMilliseconds) {
    return (unixMilliseconds + Vorn::Vorncast::Decoders::UnixEpochMilliseconds) * 10000;
}

std::vector<UvmsImage> Slice(const std::vector<UvmsImage>& images, size_t from, size_t to) {
    return {images.begin() + static_cast<std::ptrdiff_t>(from),
            images.begin() + static_cast<std::ptrdiff_t>(to)};
}

class UvmsTest : public RecorderTest {
protected:
    void AddMedia(const std::string& path, const UvmsMediaFile& file) {
        AddFile(path, WriteUvmsMediaFile(file));
    }
    void ExpectStream(int stream, const std::vector<CodecTest::Picture>& reference,
                      int64_t offsetMilliseconds, bool back) {
        auto check = [&](const Delivered& frame, size_t index) {
            ExpectDecoded(reference[index], frame);
            EXPECT_EQ(frame.time.recordedTime,
                      Ticks(StartMilliseconds + offsetMilliseconds + static_cast<int64_t>(index) * 40));
        };
        StepThrough(stream, reference.size(), check, back);
    }
};

// The first input lies in two files whose image numbers overlap; the tree reads the same from its
// configuration and from one of its media files.
TEST_F(UvmsTest, MediaTreePlaysEachInputInDisplayOrder) {
    CodecTest::EncodedVideo video;
    if (!CodecTest::HasEncoder("mpeg2video") ||
        !CodecTest::EncodeVideo(
            {.encoder = "mpeg2video", .width = 704, .height = 288, .frames = 10, .bFrames = 2, .gop = 6},
            &video)) {
        SKIP_OR_FAIL_FOR_MISSING("the mpeg2video encoder");
    }
    const std::vector<CodecTest::Picture> reference =
        CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, false);
    std::vector<UvmsImage> first = UvmsImagesFromVideo(video, 704, 288, StartMilliseconds, 40);
    std::vector<UvmsImage> second = UvmsImagesFromVideo(video, 704, 288, StartMilliseconds + 20, 40);
    ASSERT_EQ(first.size(), reference.size());
    const std::string config = WriteUvmsConfig({{1, "Gate"}, {2, "Yard"}}, "UVMSMedia");
    AddFile("/site/Configs/site.ocf", Bytes(config.begin(), config.end()));
    AddMedia("/site/UVMSMedia/000001/000001/0001", {1, 0, Slice(first, 0, 6)});
    AddMedia("/site/UVMSMedia/000001/000002/0002", {1, 4, Slice(first, 4, first.size())});
    AddMedia("/site/UVMSMedia/000001/000002/0003", {2, 0, second});
    for (const std::string url : {"/site/Configs/site.ocf", "/site/UVMSMedia/000001/000002/0003"}) {
        ASSERT_EQ(Load(UvmsGuid, url), 0) << url << ": " << LastError();
        const std::vector<int> streams =
            ExpectStreamNames({"Input Number: 1, Gate", "Input Number: 2, Yard"});
        ExpectStream(streams[1], reference, 20, false);
        ExpectStream(streams[0], reference, 0, url.ends_with("0003"));
    }
    for (size_t frame : {7u, 2u, 5u}) {
        SCOPED_TRACE(frame);
        ExpectDecoded(
            reference[frame],
            GoTo(VideoStreams()[0], Ticks(StartMilliseconds + static_cast<int64_t>(frame) * 40 + 10)));
    }
}

// Without a configuration in the tree a media file reads its own folder; its inputs have their numbers
// for names.
TEST_F(UvmsTest, MediaFileWithoutConfigurationReadsItsFolderAndBrokenTreesFail) {
    AddMedia("/site/UVMSMedia/000001/000001/0001",
             {7, 0, {UvmsJpegImage(64, 48, 0), UvmsJpegImage(64, 48, 1)}});
    AddMedia("/site/UVMSMedia/000001/000002/0002", {9, 0, {UvmsJpegImage(64, 48, 0)}});
    ASSERT_EQ(Load(UvmsGuid, "/site/UVMSMedia/000001/000001/0001"), 0) << LastError();
    ExpectStreamNames({"Input Number: 7"});
    ExpectWalks({{0, 1}}, [&](const Delivered& frame, size_t index) {
        ExpectNear(MakeQuadrantPicture(64, 48, static_cast<int32_t>(index)), frame);
        EXPECT_EQ(frame.time.recordedTime, Ticks(StartMilliseconds + static_cast<int64_t>(index) * 40));
    });

    const std::string config = WriteUvmsConfig({{1, "Gate"}}, "UVMSMedia");
    UvmsImage unknown = UvmsJpegImage(64, 48, 0);
    unknown.data.assign(64, 0x11);
    AddMedia("/a/UVMSMedia/000001/000001/0002", {2, 0, {UvmsJpegImage(32, 16, 0)}});
    EXPECT_TRUE(FileFailsWith(UvmsGuid, "/a/UVMSMedia/000001/000001/0001",
                              WriteUvmsMediaFile({1, 0, {UvmsJpegImage(64, 48, 0)}}),
                              "UVMSLoadingDelegateReadingImageHeaders image sizes differ across channels\n"));
    EXPECT_TRUE(FileFailsWith(UvmsGuid, "/b/UVMSMedia/000001/000001/0001",
                              WriteUvmsMediaFile({1, 0, {unknown}}),
                              "UVMSLoadingDelegateReadingImageHeaders Unrecognised compression\n"));
    EXPECT_TRUE(FileFailsWith(UvmsGuid, "/c/notes.txt", Bytes(4, 'x'),
                              "UVMSLoadingDelegateReadingChannelInfo Not an ocf file\n"));
    EXPECT_TRUE(FileFailsWith(UvmsGuid, "/d/Configs/site.ocf", Bytes(config.begin(), config.end()),
                              "DecodeUVMS:  No image files\n"));
    EXPECT_TRUE(FileFailsWith(UvmsGuid, "/e/Configs/site.ocf", Bytes(1048577, ' '),
                              "DecodeUVMS channel info file is larger than 1MB (1048577)\n"));
}

} // namespace
