// Inputs that the fuzzers found to break a format decoder, rebuilt here with the tests' own
// writers, and loaded and stepped through the client functions as the fuzz targets drive them.
#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "fixtures/iso/IsoRecordings.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Vorn::Vorncast::Decoders;
using namespace IsoTest;
namespace Client = MasDigitalCAPI;

namespace {

constexpr const char* VigilantGuid = "ACEA0A02-8FE5-4770-BBBD-6D6745371F80";
constexpr const char* FilePath = "/regression/export.mp4";
// 2020-07-01 12:00 as a Windows file time.
constexpr uint64_t FileTime = 132380784000000000;

// What a player learns from a load and from the first frame.
struct FirstFrame {
    FileClientResult loaded = FCR_FAILURE;
    int32_t frames = 0;
    int64_t duration = 0;
    FileClientResult decoded = FCR_FAILURE;
    uint64_t period = 0;
    std::vector<uint8_t> picture;
};

FirstFrame LoadVigilantAndTakeFirstFrame(const Bytes& file) {
    Vorn::MemoryFileSource files;
    files.AddFile(FilePath, file.data(), file.size());
    FileTesting::InstalledSource installed(&files);
    Vorn::Guid guid;
    Vorn::ParseGuid(std::string("{") + VigilantGuid + "}", &guid);
    uint32_t words[4];
    WordsFromGuid(guid, words);

    Client::ClientHandle client = nullptr;
    Client::CreateClient(&client);
    FirstFrame first;
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t audioFrames = 0;
    bool hasAudio = false;
    first.loaded =
        Client::OpenWithDecoder(client, words[0], words[1], words[2], words[3], -1, FilePath, &image, &audio,
                                &span, &first.frames, &audioFrames, &first.duration, &hasAudio);
    if (first.loaded == FCR_SUCCESS) {
        first.picture.resize(static_cast<size_t>(image.width) * image.height * image.planes);
        FrameTimes times{};
        int64_t duration = 0;
        int32_t total = 0, camera = 0;
        char name[64];
        first.decoded =
            Client::GetFrame(client, 0, &times, static_cast<int32_t>(first.picture.size()),
                             first.picture.data(), &duration, &total, &first.period, &camera, name);
    }
    Client::Close(client);
    Client::DestroyClient(client);
    return first;
}

} // namespace

TEST(IsoDecoderRegression, MovieDurationBeyondAnyTickCountGivesTheDefaultFramePeriod) {
    VideoClip clip;
    ASSERT_TRUE(MakeMpeg4Clip(SmallClipSettings(), &clip));
    Bytes file = WriteMovieFile(VigilantMovie(clip, FileTime, {}));
    const FirstFrame intact = LoadVigilantAndTakeFirstFrame(file);
    ASSERT_EQ(intact.loaded, FCR_SUCCESS);
    ASSERT_EQ(intact.frames, 6);
    // 40 and 41 ms in turn, as the clip's deltas are.
    EXPECT_EQ(intact.period, 405000u);

    // The movie header turned into its wide form, with a timescale of 1 and the largest duration:
    // some 10^26 ticks, which the frame period was converted from as though an integer held them.
    const size_t header = FindBox(file, "mvhd") + 8;
    file[header] = 1;
    WriteU32At(file, header + 20, 1);
    WriteU32At(file, header + 24, 0xFFFFFFFF);
    WriteU32At(file, header + 28, 0xFFFFFFFF);
    const FirstFrame damaged = LoadVigilantAndTakeFirstFrame(file);
    ASSERT_EQ(damaged.loaded, FCR_SUCCESS);
    EXPECT_EQ(damaged.decoded, FCR_SUCCESS);
    EXPECT_EQ(damaged.period, 200000u);
    EXPECT_EQ(damaged.duration, 6 * 200000);
    EXPECT_EQ(damaged.picture, intact.picture);
}
