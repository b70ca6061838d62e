// Loads of the three generic image formats that must fail: each names its cause in the log, ends
// with the decoder idle and leaves no file open.
#include "formats/GenericFormatFixture.h"

#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"

using namespace GenericFormatTests;
using namespace Vorn::Vorncast::Decoders::Testing;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Filler(size_t count, Bytes start = {}) {
    AppendFiller(start, count);
    return start;
}

Bytes JpegBehindFiller() {
    Bytes file = Filler(100);
    Bytes jpeg = EncodeTestJpeg(MakeQuadrantPicture(64, 48));
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    return file;
}

struct LoadFailure {
    const char* what;
    const char* guid;
    std::vector<std::pair<const char*, Bytes>> files;
    const char* path;
    FileClientResult result;
    std::vector<const char*> texts;
};

void PrintTo(const LoadFailure& failure, std::ostream* out) {
    *out << failure.what;
}

class GenericLoadFailure : public GenericFormatTest, public ::testing::WithParamInterface<LoadFailure> {};

TEST_P(GenericLoadFailure, NamesItsCauseAndLeavesNothingOpen) {
    const LoadFailure& failure = GetParam();
    for (const auto& [path, bytes] : failure.files) {
        AddFile(path, bytes);
    }
    EXPECT_EQ(Load(failure.guid, failure.path), failure.result);
    for (const char* text : failure.texts) {
        EXPECT_TRUE(WasLogged(text)) << text;
    }
    if (failure.result == FCR_FAILURE) {
        EXPECT_TRUE(WasLogged("Load failed\n"));
    }
    EXPECT_EQ(client->GetDecoder()->GetState(), DDS_IDLE);
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_TRUE(NoFileWasLeftOpen());
}

const char* const EmptyJpegText =
    "DecodeGenericJPEG::LoadingOpenComplete failed with bad fileId or fileSize\n";

INSTANTIATE_TEST_SUITE_P(
    Formats, GenericLoadFailure,
    ::testing::Values(
        // One image at offset 100: the scan asks for the whole file size from there.
        LoadFailure{"JpegBehindFiller",
                    GenericJpegGuid,
                    {{"/rec/clip.mjp", JpegBehindFiller()}},
                    "/rec/clip.mjp",
                    FCR_FAILURE,
                    {"ExecuteRead() decoder tried to read past the end of the file\n",
                     "DecodeGenericJPEG::LoadingReadComplete failed with bad result\n",
                     "Generic JPEG DecoderFailure - DDS_LOADING\n"}},
        LoadFailure{"JpegWithoutStartMarker",
                    GenericJpegGuid,
                    {{"/rec/clip.mjp", Filler(10000)}},
                    "/rec/clip.mjp",
                    FCR_FAILURE,
                    {"DecodeGenericJPEG::LoadingReadComplete failed with no frames detected\n"}},
        LoadFailure{"JpegFirstHeaderUnreadable",
                    GenericJpegGuid,
                    {{"/rec/clip.mjp", Filler(500, {0xFF, 0xD8, 0x12, 0x34})}},
                    "/rec/clip.mjp",
                    FCR_FAILURE,
                    {"DecompressGenericJPEG failed to decode first frame header.\n"}},
        LoadFailure{"JpegEmptyFile",
                    GenericJpegGuid,
                    {{"/rec/clip.mjp", {}}},
                    "/rec/clip.mjp",
                    FCR_FAILURE,
                    {EmptyJpegText}},
        // The client counts a failed open as catastrophic.
        LoadFailure{
            "JpegMissingFile", GenericJpegGuid, {}, "/rec/missing.mjp", FCR_CATASTROPHIC, {EmptyJpegText}},
        LoadFailure{"FolderWithoutJpgFiles",
                    FolderOfJpegsGuid,
                    {{"/empty/a.png", {1, 2, 3}}, {"/empty/b.jpeg", {1, 2, 3}}},
                    "/empty/a.png",
                    FCR_FAILURE,
                    {"DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n"}},
        LoadFailure{"FolderMissing",
                    FolderOfJpegsGuid,
                    {},
                    "001.jpg",
                    FCR_FAILURE,
                    {"DecodeGenericFolderOfJpegs LoadingFileListComplete failed with bad result\n"}},
        LoadFailure{"FolderWithAnEmptyFirstFile",
                    FolderOfJpegsGuid,
                    {{"/zero/001.jpg", {}}},
                    "/zero/001.jpg",
                    FCR_FAILURE,
                    {"DecodeGenericFolderOfJpegs::LoadingOpenComplete failed with bad fileId or fileSize\n"}},
        LoadFailure{"Adv601WithoutDelimiter",
                    GenericAdv601Guid,
                    {{"/rec/stream.601", Filler(5000)}},
                    "/rec/stream.601",
                    FCR_FAILURE,
                    {"DecodeGenericADV601::LoadingReadComplete failed with framesInSequence <= 0\n"}},
        LoadFailure{"Adv601EmptyFile",
                    GenericAdv601Guid,
                    {{"/rec/stream.601", {}}},
                    "/rec/stream.601",
                    FCR_FAILURE,
                    {"DecodeGenericADV601::LoadingOpenComplete failed with bad fileId or fileSize\n"}}),
    [](const ::testing::TestParamInfo<LoadFailure>& info) { return std::string(info.param.what); });

} // namespace
