#include "codecs/timespace/TimeSpacePictureDecoder.h"
#include "core/time/Ticks.h"
#include "fixtures/formats/TimeSpaceWriter.h"
#include "formats/RecorderChecks.h"

#include <cstring>

namespace {

using namespace FormatTests;
using namespace Vorn::Vorncast::Decoders;

constexpr const char* X100Guid = "D202EFC5-3C2B-41f4-A28B-0EA2C131CD0D";
constexpr const char* X200Guid = "9BCE62FB-B563-46e1-95FA-AEBBE08C88C8";
constexpr int32_t Width = 624;
constexpr int32_t Height = 468;
constexpr uint16_t Date = (2024 - 1980) << 9 | 3 << 5 | 14;
constexpr uint16_t Ten = 10 << 11;

PaintedRectangle Whole(uint8_t blue, uint8_t green, uint8_t red) {
    return {0, 0, Width, Height, blue, green, red};
}

// Two cameras: key frames 0, 1 and 5 at 10:00:00, 10:00:02 and 10:00:31, updates between them.
std::vector<X100Frame> TwoCameras() {
    return {{0, true, {Whole(200, 0, 0), {5, 5, 50, 20, 9, 9, 9}}, Date, Ten},
            {1, true, {Whole(0, 200, 0)}, Date, Ten | 2},
            {0, false, {{10, 10, 100, 50, 0, 0, 250}}},
            {1, false, {{300, 200, 40, 40, 1, 2, 3}}},
            {0, false, {{60, 30, 100, 300, 0, 250, 250}}},
            {0, true, {Whole(0, 250, 250)}, Date, Ten | 31},
            {1, false, {{0, 400, 624, 68, 90, 90, 90}}},
            {0, false, {{600, 0, 100, 100, 7, 7, 7}}}};
}

class TimeSpaceTest : public RecorderTest {
protected:
    void SetUp() override {
        RecorderTest::SetUp();
        SetTimeSpacePictureDecoder(PaintTimeSpaceUpdate);
        SetTimeSpaceFrameDecoder(PaintTimeSpaceFrame);
    }
    void TearDown() override {
        SetTimeSpacePictureDecoder(nullptr);
        SetTimeSpaceFrameDecoder(nullptr);
        RecorderTest::TearDown();
    }
    // The picture of frame `index`: its camera's key frame and every later frame up to it, lines
    // in the order the stream delivers them.
    static std::vector<uint8_t> Expected(const X100File& file, const std::vector<X100Frame>& frames,
                                         size_t index) {
        std::vector<uint8_t> picture(size_t{Width} * Height * 3, 0);
        size_t key = index;
        while (!frames[key].key || frames[key].camera != frames[index].camera) {
            --key;
        }
        for (size_t at = key; at <= index; ++at) {
            if (frames[at].camera == frames[index].camera) {
                PaintTimeSpaceUpdate(file.bytes.data() + file.frameStarts[at], 512, picture.data(), Width,
                                     Width, Height, 0, 0, 1, 1, 0, 1, 0);
            }
        }
        std::vector<uint8_t> flipped(picture.size());
        for (int32_t row = 0; row < Height; ++row) {
            std::memcpy(&flipped[static_cast<size_t>(row) * Width * 3],
                        &picture[static_cast<size_t>(Height - 1 - row) * Width * 3], Width * 3);
        }
        return flipped;
    }
};

// Each camera's frames come out built on their key frame, timed between the key frames around them
// (31 in the seconds field is 31 seconds); the directory may lie in front of the frames or behind.
// Going back within one key frame's run starts again from the key picture.
TEST_F(TimeSpaceTest, EveryCameraBuildsItsPicturesFromItsKeyFrame) {
    const std::vector<X100Frame> frames = TwoCameras();
    // Each frame's key frame second, and its steps of the 29 s from 10:00:02 to 10:00:31 in four.
    const int64_t keySeconds[] = {0, 2, 2, 2, 2, 31, 31, 31};
    const int64_t steps[] = {0, 0, 1, 2, 3, 0, 1, 2};
    for (bool inFront : {false, true}) {
        SCOPED_TRACE(inFront ? "directory in front" : "directory behind");
        const X100File file = WriteTimeSpaceX100(frames, inFront);
        const std::string path = inFront ? "/front/rec.oba" : "/behind/rec.oba";
        ASSERT_TRUE(LoadsFile(X100Guid, path, file.bytes));
        std::vector<int64_t> streamTimes(frames.size());
        ExpectWalks({{0, 2, 4, 5, 7}, {1, 3, 6}}, [&](const Delivered& frame, size_t index) {
            EXPECT_EQ(frame.time.recordedTime, TicksFromSystemTime(2024, 3, 14, 10, 0, 0, 0) +
                                                   keySeconds[index] * TicksPerSecond +
                                                   steps[index] * 29 * TicksPerSecond / 4);
            EXPECT_TRUE(frame.data == Expected(file, frames, index));
            streamTimes[index] = frame.time.streamTime;
        });
        const int stream = VideoStreams()[0];
        ASSERT_EQ(GoTo(stream, streamTimes[4]).status, 0);
        EXPECT_TRUE(GoTo(stream, streamTimes[2]).data == Expected(file, frames, 2));
    }

    const X100File good = WriteTimeSpaceX100(frames, false);
    ExpectLoadsFail(
        X100Guid, "x.oba",
        {{WithWord(good.bytes, 8, 2),
          "DecodeTimeSpaceX100::LoadingReadComplete failed because dirHeader.Type != 1\n"},
         {WithWord(good.bytes, 4, 100000001),
          "DecodeTimeSpaceX100::LoadingReadComplete failed because dirHeader.Length > 100000000\n"},
         {WithWord(good.bytes, 4, 0),
          "DecodeTimeSpaceX100 ReadComplete with no images in KEYFRAMEV2 header\n"},
         {WithWord(good.bytes, good.directoryAt + 32, 99),
          "DecodeTimeSpaceX100::LoadingReadComplete() KeyFrameV2 headers not sequential\n"},
         {WithWord(good.bytes, good.frameStarts[3], 0),
          "TimeSpace LoadingReadComplete() - invalid image header\n"},
         {WithWord(good.bytes, good.directoryAt + 36, 0x10000),
          "DecodeTimeSpace::LoadingReadComplete() past end of frameInfoList\n"},
         {Bytes(31, 0),
          "DecodeTimeSpaceX100::LoadingOpenComplete failing because fileId or fileSize was invalid\n"}});
    EXPECT_TRUE(FileFailsWith(X100Guid, "/rec.obx", good.bytes,
                              "DecodeTimeSpaceX100::LoadingCore failed with unsupported file extension\n"));
}

// Two files of two cameras, with a block to pass over and a record of another type among the
// frames; camera 0's second key frame lies in the second file.
std::vector<std::vector<X200Record>> TwoFiles() {
    auto frame = [](uint32_t kind, uint32_t camera, PaintedRectangle paint, uint8_t second) {
        return X200Record{kind, camera, {paint}, second, 30, 9, 14, 3};
    };
    const X200Record passed{254}, other{7, 0, {{1, 2, 3, 4, 5, 6, 7}}};
    return {{frame(0, 0, {0, 0, 720, 288, 200, 0, 0}, 0), frame(0, 1, {0, 0, 720, 288, 0, 200, 0}, 0), passed,
             frame(1, 0, {10, 10, 100, 50, 0, 0, 250}, 1), other,
             frame(1, 1, {300, 200, 40, 40, 1, 2, 3}, 1)},
            {frame(1, 0, {60, 30, 100, 300, 0, 250, 250}, 2), frame(0, 0, {0, 100, 720, 10, 9, 9, 9}, 3),
             frame(1, 1, {0, 250, 720, 38, 90, 90, 90}, 3)}};
}

// The pictures of a camera's frames in order: each key frame starts from black.
std::vector<std::vector<uint8_t>> X200Pictures(const std::vector<std::vector<X200Record>>& files,
                                               uint32_t camera) {
    std::vector<std::vector<uint8_t>> pictures;
    std::vector<uint8_t> reference(720 * 288 * 3);
    for (const X200File& file : {WriteTimeSpaceX200(files[0]), WriteTimeSpaceX200(files[1])}) {
        for (uint64_t start : file.recordStarts) {
            const uint8_t* record = file.bytes.data() + start;
            if (record[8] < 2 && record[64] == camera) {
                if (record[8] == 0) {
                    std::fill(reference.begin(), reference.end(), 0);
                }
                std::vector<uint8_t> flipped(reference.size());
                PaintTimeSpaceFrame(0, 0, record + 72, 64, reference.data(), flipped.data());
                pictures.push_back(reference);
            }
        }
    }
    return pictures;
}

TEST_F(TimeSpaceTest, X200CamerasStepThroughTheirFramesAcrossFiles) {
    const std::vector<std::vector<X200Record>> files = TwoFiles();
    AddFile("/x/b.xba", WriteTimeSpaceX200(files[1]).bytes);
    ASSERT_TRUE(LoadsFile(X200Guid, "/x/a.xba", WriteTimeSpaceX200(files[0]).bytes));
    const std::vector<std::vector<uint8_t>> gate = X200Pictures(files, 0), yard = X200Pictures(files, 1);
    const int32_t seconds[] = {0, 1, 2, 3, 0, 1, 3};
    ExpectWalks({{0, 1, 2, 3}, {4, 5, 6}}, [&](const Delivered& frame, size_t index) {
        EXPECT_EQ(frame.time.recordedTime, TicksFromSystemTime(2024, 3, 14, 9, 30, seconds[index], 0));
        EXPECT_TRUE(frame.data == (index < 4 ? gate.at(index) : yard.at(index - 4)));
    });

    // A last file cut inside a record keeps the frames before the cut; a set without frames and a
    // path of another extension fail. A damaged camera word that aliases camera 0 puts a frame
    // without a key frame among camera 0's: the walk reaches the end, with camera 0's own frames as
    // they were painted.
    const X200File last = WriteTimeSpaceX200(files[1]);
    AddFile("/c/b.xba", CutTo(last.bytes, last.recordStarts[1] + 30));
    ASSERT_TRUE(LoadsFile(X200Guid, "/c/a.xba", WriteTimeSpaceX200(files[0]).bytes));
    EXPECT_TRUE(WasLogged("DecodeTimeSpaceX200 LoadingReadComplete failed with bad result\n"));
    EXPECT_EQ(WalkForward(VideoStreams()[0]).size(), 3u);

    EXPECT_TRUE(FileFailsWith(X200Guid, "/n/a.xba", WriteTimeSpaceX200({X200Record{254}}).bytes,
                              "Failed to find any frames\n"));
    EXPECT_TRUE(FileFailsWith(X200Guid, "/n/a.xbb", WriteTimeSpaceX200(files[0]).bytes,
                              "DecodeTimeSpaceX200::LoadingCore failed with unsupported file extension\n"));

    std::vector<X200Record> records = files[0];
    records[2] = records[3];
    records[2].camera = 0x10000;
    ASSERT_TRUE(LoadsFile(X200Guid, "/d/a.xba", WriteTimeSpaceX200(records).bytes));
    const std::vector<Delivered> walked = WalkForward(VideoStreams()[0]);
    ASSERT_EQ(walked.size(), 3u);
    EXPECT_TRUE(walked[0].data == X200Pictures({records, {}}, 0)[0]);
}

} // namespace
