#include "core/time/Ticks.h"
#include "fixtures/formats/BaxallVividWriter.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/RecordingFixture.h"

namespace {

using namespace FormatTests;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;
using Vorn::Vorncast::Decoders::Testing::BaxallFrame;
using Vorn::Vorncast::Decoders::Testing::WriteBaxallVivid;

constexpr const char* BaxallGuid = "728D7516-A735-47a8-854E-E22A84DDF8D1";
constexpr int Width = 32;
constexpr int Height = 24;

// A picture of its own for each frame, so that a frame delivered in another's place shows.
std::vector<uint8_t> FramePicture(int index) {
    std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    for (size_t at = 0; at < rgb.size(); at += 3) {
        rgb[at] = static_cast<uint8_t>(rgb[at] + index * 37);
    }
    return rgb;
}

BaxallFrame Frame(int index, uint8_t camera, uint8_t second, uint8_t hundredths) {
    BaxallFrame frame;
    frame.camera = camera;
    frame.year = 2025;
    frame.month = 3;
    frame.day = 14;
    frame.hour = 9;
    frame.minute = 26;
    frame.second = second;
    frame.hundredths = hundredths;
    frame.codestream = Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(FramePicture(index), Width, Height),
                                               Width, Height, Jpeg2000Testing::EncodeOptions{});
    return frame;
}

int64_t TimeOf(const BaxallFrame& frame) {
    return TicksFromSystemTime(frame.year, frame.month, frame.day, frame.hour, frame.minute, frame.second,
                               frame.hundredths * 10);
}

class BaxallVividTest : public RecordingTest {};

// Two files whose chains interleave in time and two cameras: each camera's stream gets its own
// frames in time order across the files, with the recorder's time to the hundredth and the
// picture that was encoded.
TEST_F(BaxallVividTest, FramesOfAllFilesMergeByTimeIntoOneStreamPerCamera) {
    std::vector<BaxallFrame> first, second;
    std::vector<std::pair<int, BaxallFrame>> expected[2];
    for (int index = 0; index < 8; ++index) {
        BaxallFrame frame = Frame(index, index % 2 == 0 ? 1 : 5, static_cast<uint8_t>(index), 99 - index);
        expected[index % 2].emplace_back(index, frame);
        (index < 3 || index == 6 ? first : second).push_back(frame);
    }
    AddFile("/rec/CH_A.vdf", WriteBaxallVivid(first, Width, Height).bytes);
    AddFile("/rec/ch_b.VDF", WriteBaxallVivid(second, Width, Height, 40).bytes);
    ASSERT_EQ(Load(BaxallGuid, "/rec/CH_A.vdf"), 0) << LastError();

    std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    for (size_t camera = 0; camera < 2; ++camera) {
        std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), expected[camera].size()) << "camera " << camera;
        for (size_t at = 0; at < walked.size(); ++at) {
            const auto& [index, frame] = expected[camera][at];
            EXPECT_EQ(walked[at].time.recordedTime, TimeOf(frame)) << "frame " << index;
            EXPECT_EQ(walked[at].data, Jpeg2000Testing::ToBgr(FramePicture(index))) << "frame " << index;
        }
    }
}

TEST_F(BaxallVividTest, DamagedChainsEndTheLoadWithTheirText) {
    struct Case {
        const char* name;
        std::vector<uint8_t> bytes;
        const char* text;
    };
    std::vector<BaxallFrame> frames = {Frame(0, 2, 0, 0), Frame(1, 2, 1, 0)};
    std::vector<uint8_t> badCamera = WriteBaxallVivid(frames, Width, Height).bytes;
    badCamera[16 + 56] = 128;
    std::vector<uint8_t> firstBlockBeyondRead = WriteBaxallVivid(frames, Width, Height, 600).bytes;
    std::vector<uint8_t> tiny = {16, 0, 0, 0, 1, 2, 3};
    const Case cases[] = {
        {"bad camera", badCamera, "DecodeBaxallVivid::LoadingReadComplete failed with bad camera number\n"},
        {"first block past the first read", firstBlockBeyondRead,
         "DecodeBaxallVivid::LoadingReadComplete failed with file too short\n"},
        {"too short", tiny, "DecodeBaxallVivid::LoadingReadComplete failed with file too short\n"},
    };
    for (const Case& damaged : cases) {
        LoggedTexts().clear();
        const std::string path = std::string("/") + damaged.name + "/a.vdf";
        AddFile(path, damaged.bytes);
        EXPECT_NE(Load(BaxallGuid, path), 0) << damaged.name;
        EXPECT_TRUE(WasLogged(damaged.text)) << damaged.name;
    }
}

} // namespace
