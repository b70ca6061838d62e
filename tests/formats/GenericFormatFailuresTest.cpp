// What the three generic image formats do with damage: loads that must fail name their cause in
// the log, end with the decoder idle and leave no file open; a damaged frame fails alone and the
// frames around it decode.
#include "formats/GenericFormatFixture.h"

#include "codecs/adv601/ADV601Decoder.h"
#include "codecs/jpeg/JpegOutput.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/TestJpegPictures.h"

#include <functional>
#include <memory>

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

// A fresh decoder in the format's row of the decoder table for the life of a case: the state an
// earlier case left the shared one in has no say.
class FreshRow {
public:
    explicit FreshRow(const char* guid) {
        Vorn::Guid parsed;
        EXPECT_TRUE(Vorn::ParseGuid(std::string("{") + guid + "}", &parsed));
        row = DecoderTable::IndexOf(parsed);
        decoder.reset(DecoderTable::RowAt(row)->create(*DecoderTable::RowAt(row)));
        previous = DecoderTable::Swap(row, decoder.get());
    }
    ~FreshRow() { DecoderTable::Swap(row, previous); }
    FreshRow(const FreshRow&) = delete;
    FreshRow& operator=(const FreshRow&) = delete;

private:
    int32_t row = 0;
    std::unique_ptr<BaseDecoder> decoder;
    BaseDecoder* previous = nullptr;
};

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

class GenericLoadFailure : public GenericFormatTest, public ::testing::WithParamInterface<LoadFailure> {
protected:
    FreshRow row{GetParam().guid};
};

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

// One failure a line.
// clang-format off
INSTANTIATE_TEST_SUITE_P(
    Formats, GenericLoadFailure,
    ::testing::Values(
        // One image at offset 100: the scan asks for the whole file size from there.
        LoadFailure{"JpegBehindFiller", GenericJpegGuid, {{"/rec/clip.mjp", JpegBehindFiller()}}, "/rec/clip.mjp",
            FCR_FAILURE, {"ExecuteRead() decoder tried to read past the end of the file\n",
                          "DecodeGenericJPEG::LoadingReadComplete failed with bad result\n",
                          "Generic JPEG DecoderFailure - DDS_LOADING\n"}},
        LoadFailure{"JpegWithoutStartMarker", GenericJpegGuid, {{"/rec/clip.mjp", Filler(10000)}}, "/rec/clip.mjp",
            FCR_FAILURE, {"DecodeGenericJPEG::LoadingReadComplete failed with no frames detected\n"}},
        LoadFailure{"JpegFirstHeaderUnreadable", GenericJpegGuid,
            {{"/rec/clip.mjp", Filler(500, {0xFF, 0xD8, 0x12, 0x34})}}, "/rec/clip.mjp", FCR_FAILURE, {"DecompressGenericJPEG failed to decode first frame header.\n"}},
        LoadFailure{"JpegEmptyFile", GenericJpegGuid, {{"/rec/clip.mjp", {}}}, "/rec/clip.mjp", FCR_FAILURE, {EmptyJpegText}},
        // The client counts a failed open as catastrophic.
        LoadFailure{"JpegMissingFile", GenericJpegGuid, {}, "/rec/missing.mjp", FCR_CATASTROPHIC, {EmptyJpegText}},
        LoadFailure{"FolderWithoutJpgFiles", FolderOfJpegsGuid, {{"/empty/a.png", {1, 2, 3}}, {"/empty/b.jpeg", {1, 2, 3}}},
            "/empty/a.png", FCR_FAILURE, {"DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n"}},
        // A missing folder lists as an empty one.
        LoadFailure{"FolderMissing", FolderOfJpegsGuid, {}, "/missing/001.jpg", FCR_FAILURE,
            {"DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n"}},
        LoadFailure{"FolderWithAnEmptyFirstFile", FolderOfJpegsGuid, {{"/zero/001.jpg", {}}}, "/zero/001.jpg",
            FCR_FAILURE, {"DecodeGenericFolderOfJpegs::LoadingOpenComplete failed with bad fileId or fileSize\n"}},
        LoadFailure{"Adv601WithoutDelimiter", GenericAdv601Guid, {{"/rec/stream.601", Filler(5000)}}, "/rec/stream.601",
            FCR_FAILURE, {"DecodeGenericADV601::LoadingReadComplete failed with framesInSequence <= 0\n"}},
        LoadFailure{"Adv601EmptyFile", GenericAdv601Guid, {{"/rec/stream.601", {}}}, "/rec/stream.601", FCR_FAILURE,
            {"DecodeGenericADV601::LoadingOpenComplete failed with bad fileId or fileSize\n"}}),
    [](const ::testing::TestParamInfo<LoadFailure>& info) { return std::string(info.param.what); });
// clang-format on

// A frame of a recording as the decoder must give it: failed, close to a picture, or exactly the
// bytes the codec makes of it on its own.
struct ExpectedFrame {
    bool damaged = false;
    BgrPicture close = {};
    Bytes exact = {};
};

struct DamagedRecording {
    std::vector<std::pair<std::string, Bytes>> files;
    std::string path;
    std::vector<ExpectedFrame> frames;
    bool logsBadImage = true;
};

DamagedRecording JpegStream() {
    // Large enough that each damaged frame is read into a buffer of its own size: nothing of an
    // earlier read lies behind it for the decoder to run on into.
    DamagedRecording recording{{}, "/rec/clip.mjp", {}};
    std::vector<Bytes> images;
    for (uint32_t seed = 1; seed <= 4; ++seed) {
        BgrPicture picture = MakeScenePicture(320, 240, seed);
        images.push_back(EncodeTestJpeg(picture));
        recording.frames.push_back({seed % 2 == 1, picture});
    }
    images[0] = TruncateJpegScan(images[0]);
    images[2] = BreakJpegScan(images[2]);
    recording.files = {{recording.path, Concatenate(images, 0, 4096).bytes}};
    return recording;
}

DamagedRecording JpegFolder() {
    DamagedRecording recording{{}, "/cam/001.jpg", {}, false};
    for (int32_t turn = 0; turn < 3; ++turn) {
        BgrPicture picture = MakeQuadrantPicture(48, 32, turn);
        recording.frames.push_back({turn == 1, picture});
        Bytes file = turn == 1 ? Bytes(300, 0x5A) : EncodeTestJpeg(picture);
        recording.files.push_back({"/cam/00" + std::to_string(turn + 1) + ".jpg", file});
    }
    return recording;
}

Bytes DecodeAdv601Directly(Bytes field) {
    Bytes picture(ADV601Decoder::OutputSize(true));
    ADV601Decoder decoder;
    EXPECT_TRUE(
        decoder.Decode(true, false, field.data(), static_cast<int32_t>(field.size()), picture.data()));
    return picture;
}

DamagedRecording Adv601Stream() {
    Adv601Field badMarker = EncodeAdv601Field(Adv601ColourBars(true).bgr.data());
    badMarker.blocks[ADV601StreamOrder[5]].marker = 0x85;
    Adv601Field runPastEnd = EncodeAdv601Field(Adv601Edges(true).bgr.data());
    // A zero run of 4372 values in a block of 828.
    runPastEnd.blocks[39].marker = ADV601MarkerTable0;
    runPastEnd.blocks[39].tokens = {{4, 4095, 12}};
    std::vector<Bytes> fields = {EncodeAdv601(Adv601Gradient(true).bgr.data()), WriteAdv601Field(badMarker),
                                 WriteAdv601Field(runPastEnd),
                                 EncodeAdv601(Adv601Flat(true, 40, 160, 220).bgr.data())};
    return {{{"/rec/stream.601", Concatenate(fields).bytes}},
            "/rec/stream.601",
            {{false, {}, DecodeAdv601Directly(fields[0])},
             {true},
             {true},
             {false, {}, DecodeAdv601Directly(fields[3])}}};
}

struct DamagedCase {
    const char* name;
    const char* guid;
    std::function<DamagedRecording()> make;
};

void PrintTo(const DamagedCase& damaged, std::ostream* out) {
    *out << damaged.name;
}

class GenericDamagedFrame : public GenericFormatTest, public ::testing::WithParamInterface<DamagedCase> {
protected:
    FreshRow row{GetParam().guid};
};

TEST_P(GenericDamagedFrame, FailsAloneAndTheFramesAroundItDecode) {
    const DamagedRecording recording = GetParam().make();
    for (const auto& [path, bytes] : recording.files) {
        AddFile(path, bytes);
    }
    ASSERT_EQ(Load(GetParam().guid, recording.path), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, static_cast<int32_t>(recording.frames.size()));
    // In order: a damaged frame read right behind its neighbour could run on into the bytes of that read.
    for (int32_t index = 0; index < totalFrames; ++index) {
        const ExpectedFrame& expected = recording.frames[static_cast<size_t>(index)];
        Frame frame = GetFrame(index);
        if (expected.damaged) {
            EXPECT_EQ(frame.result, FCR_FAILURE) << "frame " << index;
            EXPECT_TRUE(!recording.logsBadImage || WasLogged("Bad image " + std::to_string(index) + "\n"));
        } else if (!expected.exact.empty()) {
            EXPECT_TRUE(frame.picture == expected.exact) << "frame " << index;
        } else {
            ASSERT_EQ(frame.result, FCR_SUCCESS) << "frame " << index;
            PictureDifference difference =
                CompareBgr(expected.close, frame.picture.data(), JpegLineStep(expected.close.width, 3));
            EXPECT_LT(difference.meanAbsolute, 4.0) << "frame " << index;
            EXPECT_GT(difference.psnr, 30.0) << "frame " << index;
        }
    }
    EXPECT_EQ(client->GetDecoder()->GetState(), DDS_LOADED);
    EXPECT_TRUE(Capi::Close(client));
    EXPECT_EQ(client->OpenFileCount(), 0);
    EXPECT_TRUE(NoFileWasLeftOpen());
}

INSTANTIATE_TEST_SUITE_P(Formats, GenericDamagedFrame,
                         ::testing::Values(DamagedCase{"JpegStream", GenericJpegGuid, JpegStream},
                                           DamagedCase{"JpegFolder", FolderOfJpegsGuid, JpegFolder},
                                           DamagedCase{"Adv601Stream", GenericAdv601Guid, Adv601Stream}),
                         [](const ::testing::TestParamInfo<DamagedCase>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
