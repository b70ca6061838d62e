#include "codecs/adv601/ADV601Decoder.h"
#include "codecs/jpeg/JpegOutput.h"
#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "core/decoder/ReadBuffer.h"
#include "core/framelists/FrameInfoList.h"
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/FaiveleyWriter.h"
#include "fixtures/formats/GenericRecordings.h"
#include "fixtures/formats/GeutebruckWriter.h"
#include "fixtures/formats/SanyoWriter.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/formats/ViconNetWriter.h"
#include "formats/DecodeGenericADV601.h"
#include "formats/RecordingFixture.h"
#include "formats/shared/FrameListQueries.h"

#include <algorithm>
#include <functional>
#include <memory>

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using FormatTests::Bytes;
using FormatTests::GuidOf;
using FormatTests::LoggedTexts;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;

namespace {

constexpr const char* GenericJpegGuid = "8923E98A-F163-4ae9-815A-FFB2D3FFF934";
constexpr const char* FolderOfJpegsGuid = "4568BFE6-5117-490c-961C-2A7A91579834";
constexpr const char* GenericAdv601Guid = "E2FA1771-9E5B-4349-94E2-018A2939E6EA";
constexpr int64_t FortyMilliseconds = 400000;

std::vector<double> reportedProgress;

struct Frame {
    FileClientResult result = FCR_FAILURE;
    FrameTimes times = {};
    int32_t camera = -1;
    Bytes picture;
};

// A frame of a recording as the decoder must give it: failed, close to a picture, or exactly the
// bytes the codec makes of it on its own.
struct ExpectedFrame {
    bool damaged = false;
    BgrPicture close = {};
    Bytes exact = {};
};

struct Recording {
    std::vector<std::pair<std::string, Bytes>> files;
    std::string path;
    std::vector<ExpectedFrame> frames;
};

// The client's progress collected; its log reaches the library's.
class GenericFormatTest : public FormatTests::RecordingTest {
protected:
    void SetUp() override {
        RecordingTest::SetUp();
        reportedProgress.clear();
        Capi::SetProgressCallback([](double fraction) { reportedProgress.push_back(fraction); });
        Capi::CreateClient(&client);
    }

    void TearDown() override {
        Capi::Close(client);
        Capi::DestroyClient(client);
        Capi::SetProgressCallback(nullptr);
        RecordingTest::TearDown();
    }

    FileClientResult Load(const char* guid, const std::string& path) {
        uint32_t words[4];
        WordsFromGuid(GuidOf(guid), words);
        return Capi::OpenWithDecoder(client, words[0], words[1], words[2], words[3], -1, path.c_str(), &image,
                                     &audio, &span, &totalFrames, &totalAudioFrames, &duration, &hasAudio);
    }

    FileClientResult LoadRecording(const char* guid, const Recording& recording) {
        for (const auto& [path, bytes] : recording.files) {
            AddFile(path, bytes);
        }
        return Load(guid, recording.path);
    }

    Frame GetFrame(int32_t index) {
        Frame frame;
        frame.picture.assign(static_cast<size_t>(std::max(0, image.width * image.height * image.planes)), 0);
        int64_t frameDuration = 0;
        int32_t frames = 0;
        uint64_t period = 0;
        char name[CameraNameLength] = {};
        frame.result = Capi::GetFrame(client, index, &frame.times, static_cast<int32_t>(frame.picture.size()),
                                      frame.picture.empty() ? nullptr : frame.picture.data(), &frameDuration,
                                      &frames, &period, &frame.camera, name);
        return frame;
    }

    // The frame against what the recording says of it; a damaged one fails with "Bad image N"
    // logged where `logsBadImage`.
    Frame ExpectFrame(int32_t index, const ExpectedFrame& expected, bool logsBadImage = true) {
        Frame frame = GetFrame(index);
        if (expected.damaged) {
            EXPECT_EQ(frame.result, FCR_FAILURE) << "frame " << index;
            EXPECT_TRUE(!logsBadImage || WasLogged("Bad image " + std::to_string(index) + "\n"));
        } else if (!expected.exact.empty()) {
            EXPECT_TRUE(frame.picture == expected.exact) << "frame " << index;
        } else if (frame.result != FCR_SUCCESS) {
            ADD_FAILURE() << "frame " << index << " failed";
        } else {
            const PictureDifference difference =
                CompareBgr(expected.close, frame.picture.data(), JpegLineStep(expected.close.width, 3));
            EXPECT_LT(difference.meanAbsolute, 4.0) << "frame " << index;
            EXPECT_GT(difference.psnr, 30.0) << "frame " << index;
        }
        return frame;
    }

    // No file stayed open behind the decoder's back: the client swept none.
    void ExpectNothingLeftOpen() {
        EXPECT_EQ(client->OpenFileCount(), 0);
        EXPECT_TRUE(std::none_of(LoggedTexts().begin(), LoggedTexts().end(), [](const std::string& line) {
            return line.find("Dangling file handle") != std::string::npos;
        }));
    }

    Capi::ClientHandle client = nullptr;
    ImageInfo image = {};
    AudioInfo audio = {};
    TrackTimes span = {};
    int32_t totalFrames = 0;
    int32_t totalAudioFrames = 0;
    int64_t duration = 0;
    bool hasAudio = false;
};

// A fresh decoder in the format's row of the decoder table for the life of a case: the state an
// earlier case left the shared one in has no say.
class FreshRow {
public:
    explicit FreshRow(const char* guid) : row(DecoderTable::IndexOf(GuidOf(guid))) {
        decoder.reset(DecoderTable::RowAt(row)->create(*DecoderTable::RowAt(row)));
        previous = DecoderTable::Swap(row, decoder.get());
    }
    ~FreshRow() { DecoderTable::Swap(row, previous); }
    FreshRow(const FreshRow&) = delete;
    FreshRow& operator=(const FreshRow&) = delete;

private:
    int32_t row;
    std::unique_ptr<BaseDecoder> decoder;
    BaseDecoder* previous = nullptr;
};

template <class Case>
class GenericCase : public GenericFormatTest, public ::testing::WithParamInterface<Case> {
protected:
    FreshRow row{this->GetParam().guid};
};

template <class Case> std::string CaseName(const ::testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

Bytes Filler(size_t count, Bytes start = {}) {
    AppendFiller(start, count);
    return start;
}

Bytes DecodeAdv601Directly(Bytes field) {
    Bytes picture(ADV601Decoder::OutputSize(true));
    ADV601Decoder decoder;
    EXPECT_TRUE(
        decoder.Decode(true, false, field.data(), static_cast<int32_t>(field.size()), picture.data()));
    return picture;
}

// Encoded once for every case.
const std::vector<Bytes>& Adv601Fields() {
    static const std::vector<Bytes> fields = [] {
        std::vector<Bytes> encoded;
        for (const Adv601TestPicture& picture : {Adv601Gradient(true), Adv601ColourBars(true),
                                                 Adv601Edges(true), Adv601Flat(true, 40, 160, 220)}) {
            encoded.push_back(EncodeAdv601(picture.bgr.data()));
        }
        return encoded;
    }();
    return fields;
}

std::vector<ExpectedFrame> Adv601Expected(const std::vector<Bytes>& fields) {
    std::vector<ExpectedFrame> frames;
    for (const Bytes& field : fields) {
        frames.push_back({false, {}, DecodeAdv601Directly(field)});
    }
    return frames;
}

// A format's intact recording and what its walk must show.
struct GoodCase {
    const char* name;
    const char* guid;
    std::function<Recording()> make;
    int32_t width;
    int32_t height;
    int64_t frameStep;       // stream time between frames
    int32_t indexAtLateTime; // the frame a search far past the end finds
    int32_t openWhileLoaded; // files the loaded decoder keeps open
};

// Four images with filler between, padded to whole blocks.
Recording JpegStream() {
    Recording recording{{}, "/rec/clip.mjp", {}};
    std::vector<Bytes> images;
    for (int32_t turn = 0; turn < 4; ++turn) {
        recording.frames.push_back({false, MakeQuadrantPicture(64, 48, turn)});
        images.push_back(EncodeTestJpeg(recording.frames.back().close));
    }
    recording.files = {{recording.path, Concatenate(images, 37, 4096).bytes}};
    return recording;
}

// Numbered files added out of order, the fourth with its extension in capitals; neither other
// extensions nor subfolders count. The load names a file in the middle, with the other separator.
Recording JpegFolder() {
    Recording recording{{}, "\\cam\\002.jpg", {}};
    for (int32_t turn = 3; turn >= 0; --turn) {
        const BgrPicture picture = MakeQuadrantPicture(48, 32, turn);
        recording.frames.insert(recording.frames.begin(), {false, picture});
        const std::string name = "/cam/00" + std::to_string(turn + 1) + (turn == 3 ? ".JPG" : ".jpg");
        recording.files.push_back({name, EncodeTestJpeg(picture)});
    }
    const Bytes stray = recording.files[0].second;
    recording.files.insert(
        recording.files.end(),
        {{"/cam/notes.txt", {'h', 'i'}}, {"/cam/000.jpeg", stray}, {"/cam/sub/000.jpg", stray}});
    return recording;
}

// Fields with filler between, the third stored with its words reversed.
Recording Adv601Stream() {
    std::vector<Bytes> fields = Adv601Fields();
    const std::vector<ExpectedFrame> frames = Adv601Expected(fields);
    fields[2] = EncodeAdv601(Adv601Edges(true).bgr.data(), {}, true);
    return {{{"/rec/stream.601", Concatenate(fields, 12).bytes}}, "/rec/stream.601", frames};
}

using GenericWalk = GenericCase<GoodCase>;

TEST_P(GenericWalk, EveryFrameIsItsPictureOnOneCameraAtItsTime) {
    const GoodCase& good = GetParam();
    const Recording recording = good.make();
    ASSERT_EQ(LoadRecording(good.guid, recording), FCR_SUCCESS);
    EXPECT_EQ(image.width, good.width);
    EXPECT_EQ(image.height, good.height);
    EXPECT_EQ(image.planes, 3);
    const int32_t count = static_cast<int32_t>(recording.frames.size());
    ASSERT_EQ(totalFrames, count);
    EXPECT_EQ(client->OpenFileCount(), good.openWhileLoaded);
    for (int32_t index : {0, 1, 2, 3, 1, 3, 0}) {
        const Frame frame = ExpectFrame(index, recording.frames[static_cast<size_t>(index)]);
        EXPECT_EQ(frame.times.recordedTime, 0);
        EXPECT_EQ(frame.times.streamTime, index * good.frameStep);
        EXPECT_EQ(frame.camera, 0);
        EXPECT_EQ(client->OpenFileCount(), good.openWhileLoaded);
    }
    EXPECT_EQ(Capi::GetNextFrame(client, -5, 0), 0);
    EXPECT_EQ(Capi::GetNextFrame(client, 1, 0), 2);
    EXPECT_EQ(Capi::GetNextFrame(client, count - 1, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 0, 0), -1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, 2, 0), 1);
    EXPECT_EQ(Capi::GetPreviousFrame(client, count + 5, 0), count - 1);
    EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 987654321), good.indexAtLateTime);
    if (good.frameStep > 0) {
        EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 0), 0);
        EXPECT_EQ(Capi::IndexOfFrameAtStreamTime(client, 2 * good.frameStep + 1), 2);
    }
    uint8_t mask[CameraMaskBytes];
    std::fill(std::begin(mask), std::end(mask), 0xAA);
    Capi::GetCameras(client, mask);
    EXPECT_EQ(mask[0], 1);
    EXPECT_TRUE(std::all_of(mask + 1, std::end(mask), [](uint8_t byte) { return byte == 0; }));
    EXPECT_TRUE(Capi::Close(client));
    ExpectNothingLeftOpen();
}

// Every stream time of the JPEG formats is 0: the image stream finds its last frame for any time
// from 0 on, the folder its first.
INSTANTIATE_TEST_SUITE_P(
    Formats, GenericWalk,
    ::testing::Values(GoodCase{"JpegStream", GenericJpegGuid, JpegStream, 64, 48, 0, 3, 1},
                      GoodCase{"JpegFolder", FolderOfJpegsGuid, JpegFolder, 48, 32, 0, 0, 0},
                      GoodCase{"Adv601Stream", GenericAdv601Guid, Adv601Stream, 720, 288, FortyMilliseconds,
                               3, 1}),
    CaseName<GoodCase>);

struct LoadFailure {
    const char* name;
    const char* guid;
    std::vector<std::pair<const char*, Bytes>> files;
    const char* path;
    FileClientResult result;
    std::vector<const char*> texts;
};

using GenericLoadFailure = GenericCase<LoadFailure>;

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
    ExpectNothingLeftOpen();
}

const char* const EmptyJpegText =
    "DecodeGenericJPEG::LoadingOpenComplete failed with bad fileId or fileSize\n";
const char* const NoJpgFilesText = "DecodeGenericFolderOfJpegs Failed to find any jpg files in the folder.\n";
const char* const TooFewFieldsText = "DecodeGenericADV601 Insufficient good frames\n";

Bytes JpegBehindFiller() {
    Bytes file = Filler(100);
    Bytes jpeg = EncodeTestJpeg(MakeQuadrantPicture(64, 48));
    file.insert(file.end(), jpeg.begin(), jpeg.end());
    return file;
}

// Fields laid end to end, `fill` filler bytes behind field 1: so much makes its frame exceed the
// largest field.
Bytes Adv601StreamOf(size_t count, size_t fill = 0) {
    const std::vector<Bytes>& fields = Adv601Fields();
    Bytes stream;
    for (size_t index = 0; index < count; ++index) {
        stream.insert(stream.end(), fields[index].begin(), fields[index].end());
        AppendFiller(stream, index == 1 ? fill : 0);
    }
    return stream;
}

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
            "/empty/a.png", FCR_FAILURE, {NoJpgFilesText}},
        // A missing folder lists as an empty one.
        LoadFailure{"FolderMissing", FolderOfJpegsGuid, {}, "/missing/001.jpg", FCR_FAILURE, {NoJpgFilesText}},
        LoadFailure{"FolderWithAnEmptyFirstFile", FolderOfJpegsGuid, {{"/zero/001.jpg", {}}}, "/zero/001.jpg",
            FCR_FAILURE, {"DecodeGenericFolderOfJpegs::LoadingOpenComplete failed with bad fileId or fileSize\n"}},
        LoadFailure{"Adv601WithoutDelimiter", GenericAdv601Guid, {{"/rec/stream.601", Filler(5000)}}, "/rec/stream.601",
            FCR_FAILURE, {"DecodeGenericADV601::LoadingReadComplete failed with framesInSequence <= 0\n"}},
        LoadFailure{"Adv601EmptyFile", GenericAdv601Guid, {{"/rec/stream.601", {}}}, "/rec/stream.601", FCR_FAILURE,
            {"DecodeGenericADV601::LoadingOpenComplete failed with bad fileId or fileSize\n"}},
        // Three good fields are the least that load; a clamped oversized one does not count.
        LoadFailure{"Adv601TwoFields", GenericAdv601Guid, {{"/rec/stream.601", Adv601StreamOf(2)}}, "/rec/stream.601",
            FCR_FAILURE, {TooFewFieldsText}},
        LoadFailure{"Adv601ThreeFieldsOneOversized", GenericAdv601Guid,
            {{"/rec/stream.601", Adv601StreamOf(3, DecodeGenericADV601::MaxFrameSize)}}, "/rec/stream.601",
            FCR_FAILURE, {TooFewFieldsText}}),
    CaseName<LoadFailure>);
// clang-format on

struct DamagedCase {
    const char* name;
    const char* guid;
    std::function<Recording()> make;
    bool logsBadImage;
};

Recording DamagedJpegStream() {
    // Large enough that each damaged frame is read into a buffer of its own size: nothing of an
    // earlier read lies behind it for the decoder to run on into.
    Recording recording{{}, "/rec/clip.mjp", {}};
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

// A thumbnail inside the second image starts a frame of its own: the image ends where it starts.
Recording JpegThumbnailStream() {
    Recording recording{{}, "/rec/thumb.mjp", {}};
    const int32_t shapes[4][3] = {{64, 48, 1}, {64, 48, 2}, {16, 16, 3}, {64, 48, 0}};
    for (const auto& [width, height, turn] : shapes) {
        recording.frames.push_back({recording.frames.size() == 1, MakeQuadrantPicture(width, height, turn)});
    }
    const std::vector<Bytes> images = {
        EncodeTestJpeg(recording.frames[0].close),
        EncodeJpegWithThumbnail(recording.frames[1].close, recording.frames[2].close),
        EncodeTestJpeg(recording.frames[3].close)};
    recording.files = {{recording.path, Concatenate(images, 0, 4096).bytes}};
    return recording;
}

// At the root of the file system.
Recording DamagedJpegFolder() {
    Recording recording{{}, "/001.jpg", {}};
    for (int32_t turn = 0; turn < 3; ++turn) {
        BgrPicture picture = MakeQuadrantPicture(48, 32, turn);
        recording.frames.push_back({turn == 1, picture});
        Bytes file = turn == 1 ? Bytes(300, 0x5A) : EncodeTestJpeg(picture);
        recording.files.push_back({"/00" + std::to_string(turn + 1) + ".jpg", file});
    }
    return recording;
}

Recording DamagedAdv601Stream() {
    Adv601Field badMarker = EncodeAdv601Field(Adv601ColourBars(true).bgr.data());
    badMarker.blocks[ADV601StreamOrder[5]].marker = 0x85;
    Adv601Field runPastEnd = EncodeAdv601Field(Adv601Edges(true).bgr.data());
    // A zero run of 4372 values in a block of 828.
    runPastEnd.blocks[39].marker = ADV601MarkerTable0;
    runPastEnd.blocks[39].tokens = {{4, 4095, 12}};
    std::vector<Bytes> fields = Adv601Fields();
    std::vector<ExpectedFrame> frames = Adv601Expected(fields);
    fields[1] = WriteAdv601Field(badMarker);
    fields[2] = WriteAdv601Field(runPastEnd);
    frames[1] = frames[2] = {true};
    return {{{"/rec/stream.601", Concatenate(fields).bytes}}, "/rec/stream.601", frames};
}

using GenericDamagedFrame = GenericCase<DamagedCase>;

TEST_P(GenericDamagedFrame, FailsAloneAndTheFramesAroundItDecode) {
    const Recording recording = GetParam().make();
    ASSERT_EQ(LoadRecording(GetParam().guid, recording), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, static_cast<int32_t>(recording.frames.size()));
    // In order: a damaged frame read right behind its neighbour could run on into the bytes of that read.
    for (int32_t index = 0; index < totalFrames; ++index) {
        ExpectFrame(index, recording.frames[static_cast<size_t>(index)], GetParam().logsBadImage);
    }
    EXPECT_EQ(client->GetDecoder()->GetState(), DDS_LOADED);
    EXPECT_TRUE(Capi::Close(client));
    ExpectNothingLeftOpen();
}

INSTANTIATE_TEST_SUITE_P(
    Formats, GenericDamagedFrame,
    ::testing::Values(DamagedCase{"JpegStream", GenericJpegGuid, DamagedJpegStream, true},
                      DamagedCase{"JpegThumbnail", GenericJpegGuid, JpegThumbnailStream, true},
                      DamagedCase{"JpegFolder", FolderOfJpegsGuid, DamagedJpegFolder, false},
                      DamagedCase{"Adv601Stream", GenericAdv601Guid, DamagedAdv601Stream, true}),
    CaseName<DamagedCase>);

// A good JPEG at offset 0 followed by filler up to `size` bytes, with the given bytes set.
Bytes JpegThenFiller(size_t size, std::initializer_list<std::pair<size_t, uint8_t>> bytes) {
    Bytes file = EncodeTestJpeg(MakeQuadrantPicture(64, 48));
    AppendFiller(file, size - file.size());
    for (const auto& [offset, value] : bytes) {
        file[offset] = value;
    }
    return file;
}

using GenericJpegTest = GenericFormatTest;

TEST_F(GenericJpegTest, ScanningReportsProgressFromZeroToOne) {
    AddFile(
        "/rec/clip.mjp",
        Concatenate(std::vector<Bytes>(2, EncodeTestJpeg(MakeQuadrantPicture(64, 48))), 3000, 4096).bytes);
    ASSERT_EQ(Load(GenericJpegGuid, "/rec/clip.mjp"), FCR_SUCCESS);
    ASSERT_GE(reportedProgress.size(), 3u);
    EXPECT_EQ(reportedProgress.front(), 0.0);
    EXPECT_EQ(reportedProgress.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(reportedProgress.begin(), reportedProgress.end()));
}

TEST_F(GenericJpegTest, AStartMarkerSplitAcrossTwoBlocksIsMissed) {
    AddFile("/rec/split.mjp", JpegThenFiller(8192, {{4095, 0xFF}, {4096, 0xD8}}));
    ASSERT_EQ(Load(GenericJpegGuid, "/rec/split.mjp"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 1) << "the image before the split marker simply grows";
    EXPECT_EQ(GetFrame(0).result, FCR_SUCCESS);

    ASSERT_TRUE(Capi::Close(client));
    AddFile("/rec/inside.mjp", JpegThenFiller(8192, {{4094, 0xFF}, {4095, 0xD8}}));
    ASSERT_EQ(Load(GenericJpegGuid, "/rec/inside.mjp"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 2) << "the same pair inside one block counts";
}

TEST_F(GenericJpegTest, MarkersLeftBehindAShortLastBlockGiveFramesBeyondTheEnd) {
    // Image A at 0 and image B at 2000 inside the first block; the second block holds 100 bytes,
    // and behind them the buffer still holds the first block, B's marker included.
    const BgrPicture first = MakeQuadrantPicture(64, 48, 0);
    Bytes file = EncodeTestJpeg(first);
    AppendFiller(file, 2000 - file.size());
    const Bytes second = EncodeTestJpeg(MakeQuadrantPicture(64, 48, 1));
    file.insert(file.end(), second.begin(), second.end());
    AppendFiller(file, 4196 - file.size());
    AddFile("/rec/clip.mjp", file);
    ASSERT_EQ(Load(GenericJpegGuid, "/rec/clip.mjp"), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 3) << "a third frame at 6096, past the end of the file";

    ExpectFrame(0, {false, first});
    EXPECT_EQ(GetFrame(1).result, FCR_FAILURE) << "B reaches to 6096";
    EXPECT_TRUE(WasLogged("ExecuteRead() decoder tried to read past the end of the file\n"));
    EXPECT_TRUE(WasLogged("DecodeGenericJPEG::DecompressingReadComplete failed with bad result\n"));
    EXPECT_EQ(GetFrame(2).result, FCR_FAILURE);
    ExpectFrame(0, {false, first});
}

TEST_F(GenericJpegTest, AFailedLoadLeavesNothingBehindForTheNext) {
    AddFile("/rec/empty.mjp", {});
    EXPECT_EQ(Load(GenericJpegGuid, "/rec/empty.mjp"), FCR_FAILURE);
    ASSERT_EQ(LoadRecording(GenericJpegGuid, JpegStream()), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 4);
}

using GenericAdv601Test = GenericFormatTest;

TEST_F(GenericAdv601Test, DelimitersCountOnWordPositionsAlsoAcrossTwoReads) {
    const std::vector<Bytes>& fields = Adv601Fields();
    // Field 0's all-ones word ends one read and its type word begins the next; field 2 lies two
    // bytes off the word grid and is taken for a part of field 1.
    Bytes stream = Filler(1020);
    for (size_t index = 0; index < fields.size(); ++index) {
        AppendFiller(stream, index >= 2 ? 2 : 0);
        stream.insert(stream.end(), fields[index].begin(), fields[index].end());
    }
    AddFile("/rec/stream.601", stream);
    ASSERT_EQ(Load(GenericAdv601Guid, "/rec/stream.601"), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 3);
    const std::vector<ExpectedFrame> expected = Adv601Expected(fields);
    ExpectFrame(0, expected[0]);
    ExpectFrame(1, expected[1]);
    ExpectFrame(2, expected[3]);
}

TEST_F(GenericAdv601Test, ThreeFieldsLoadAndAnOversizedFrameIsClampedToItsFirstBytes) {
    AddFile("/rec/three.601", Adv601StreamOf(3));
    ASSERT_EQ(Load(GenericAdv601Guid, "/rec/three.601"), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 3);
    ASSERT_TRUE(Capi::Close(client));
    AddFile("/rec/stream.601", Adv601StreamOf(4, DecodeGenericADV601::MaxFrameSize));
    ASSERT_EQ(Load(GenericAdv601Guid, "/rec/stream.601"), FCR_SUCCESS);
    ASSERT_EQ(totalFrames, 4);
    ExpectFrame(1, Adv601Expected(Adv601Fields())[1]);
}

using FolderOfJpegsTest = GenericFormatTest;

TEST_F(FolderOfJpegsTest, QueryGoesByTheJpgExtension) {
    uint32_t words[4];
    WordsFromGuid(GuidOf(FolderOfJpegsGuid), words);
    for (const auto& [path, expected] : {std::pair{"/cam/a.JPG", 50}, std::pair{"/cam/a.png", 0}}) {
        int32_t reserved = 0, confidence = -1;
        bool video = false;
        Capi::OpenWithDecoder(client, words[0], words[1], words[2], words[3], 0, path, &image, &audio, &span,
                              &totalFrames, &totalAudioFrames, &duration, &video, &hasAudio, &reserved,
                              &confidence);
        EXPECT_EQ(confidence, expected) << path;
    }
}

TEST_F(FolderOfJpegsTest, ACorruptFirstFileStillLoadsWithoutAPictureSize) {
    Recording recording = DamagedJpegFolder();
    std::swap(recording.files[0], recording.files[1]);
    recording.files[0].first = "/001.jpg";
    recording.files[1].first = "/002.jpg";
    ASSERT_EQ(LoadRecording(FolderOfJpegsGuid, recording), FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 3);
    EXPECT_EQ(image.width, 0);
    EXPECT_EQ(image.height, 0);
    EXPECT_EQ(GetFrame(2).result, FCR_SUCCESS) << "times and camera without a picture";
}

using JpegRecorderAutodetectTest = FormatTests::RecordingTest;

// Each recording is found by its extension, also where other decoders claim the same one.
TEST_F(JpegRecorderAutodetectTest, EachRecordingFindsItsDecoder) {
    const std::vector<uint8_t> scan = [] {
        std::vector<uint8_t> jpeg =
            EncodeJpeg(MakeGradient(352, 288, 3), {.sampling = Sampling::S422, .recorderQuality = 24});
        return std::vector<uint8_t>(jpeg.begin() + static_cast<long>(ScanDataOffset(jpeg)), jpeg.end());
    }();
    AddFile("/a/train.arc",
            WriteFaiveley("Depot", {}, {{1, 2024, 3, 14, 15, 26, 0, 0, 0, 1, scan}}, false).bytes);
    AddFile("/a/rec.mbf", WriteGeutebruck({}, {{1, 738000, 0, 0, 100, scan}}).bytes);
    for (const auto& [path, bytes] :
         WriteSanyo("/a/SANYO", "00001", {}, {{765000000, 0, 1, EncodeTestJpeg(MakeQuadrantPicture(32, 16))}},
                    false)) {
        AddFile(path, bytes);
    }
    ViconNetArchive archive;
    archive.slices = {
        {1, {{"cam_01", {ViconNetKeyFrame(BlockJpegWriter(32, 16, 50), MakeGradient(32, 16, 3), 0)}}}}};
    for (const auto& [path, bytes] : WriteViconNet(archive)) {
        AddFile(path, bytes);
    }
    EXPECT_EQ(Autodetected("/a/train.arc"), "Faiveley X Track");
    EXPECT_EQ(Autodetected("/a/rec.mbf"), "Geutebruck");
    EXPECT_EQ(Autodetected("/a/SANYO/00001/IMG00001/00000001.jpg"), "Sanyo");
    EXPECT_EQ(Autodetected("/site/Archive 24-03-14 15.26.00/Video1/cam_01.2"), "ViconNet");
}

TEST(ReadBufferTest, AnImplausibleSizeLeavesTheBufferEmpty) {
    ReadBuffer buffer;
    ASSERT_TRUE(buffer.Resize(64));
    EXPECT_FALSE(buffer.Resize(ReadBuffer::MaxCapacity + 1));
    EXPECT_EQ(buffer.Capacity(), 0u);
    EXPECT_EQ(buffer.Data(), nullptr);
    EXPECT_TRUE(buffer.Resize(64)) << "a plausible size afterwards is served again";
}

TEST(FrameListQueriesTest, CameraMaskHasABitForEachCameraUpTo127) {
    FrameInfoList list;
    for (uint16_t number : {0, 9, 9, 127, 128, 300}) {
        FrameInfo frame{};
        frame.camera.number = number;
        list.Append(frame);
    }
    uint8_t mask[CameraMaskBytes];
    std::fill(std::begin(mask), std::end(mask), 0xEE);
    MarkFrameCameras(list, mask);
    uint8_t expected[CameraMaskBytes] = {};
    expected[0] = 0x01;
    expected[1] = 0x02;
    expected[15] = 0x80;
    EXPECT_TRUE(std::equal(std::begin(mask), std::end(mask), std::begin(expected)));
}

} // namespace
