#include "core/client/ClientFixture.h"
#include "core/client/MasDigitalCAPI.h"

#include <cstring>
#include <functional>

using namespace ClientTests;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;

namespace {

// Routes the library-wide log to the test's collector for the life of the object.
struct LibraryLogToCollector {
    LibraryLogToCollector() {
        LoggedLines().clear();
        Capi::SetLogCallback(CollectLog);
    }
    ~LibraryLogToCollector() { Capi::SetLogCallback(Capi::LibraryLogForwarder); }
};

struct NullCase {
    const char* text;
    std::function<int64_t()> call;
    int64_t expected;
};

class ClientInterfaceTest : public ClientFixture {
protected:
    uint32_t words[4] = {};
    void SetUp() override {
        ClientFixture::SetUp();
        WordsFromGuid(GuidOf(ScriptedDecoder::DefaultGuid), words);
    }
};

int32_t abortAnswer = 0;
int32_t AskToAbort() {
    return abortAnswer;
}

} // namespace

TEST(ClientInterfaceNullTest, EveryClientFunctionLogsItsTextForANullHandle) {
    LibraryLogToCollector logToTest;
    Capi::ClientHandle none = nullptr;
    FrameTimes times = {};
    uint8_t mask[CameraMaskBytes] = {};
    const NullCase cases[] = {
        {"DestroyClient", [&] { return int64_t{Capi::DestroyClient(none)}; }, 1},
        {"OpenWithDecoder",
         [&] {
             return int64_t{Capi::OpenWithDecoder(none, 1, 2, 3, 4, 0, "x", nullptr, nullptr, nullptr,
                                                  nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                  nullptr)};
         },
         1},
        {"OpenWithDecoder",
         [&] {
             return int64_t{Capi::OpenWithDecoder(none, 1, 2, 3, 4, -1, "x", nullptr, nullptr, nullptr,
                                                  nullptr, nullptr, nullptr, nullptr)};
         },
         1},
        {"GetFrame",
         [&] {
             return int64_t{
                 Capi::GetFrame(none, 0, &times, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr)};
         },
         1},
        {"GetFrameInfo",
         [&] {
             return int64_t{Capi::GetFrameInfo(none, 0, &times, nullptr, nullptr, nullptr, nullptr, nullptr)};
         },
         1},
        {"GetAudioFrame",
         [&] {
             return int64_t{
                 Capi::GetAudioFrame(none, 0, &times, 0, nullptr, nullptr, nullptr, nullptr, nullptr)};
         },
         1},
        {"GetAudioFrameInfo",
         [&] {
             return int64_t{Capi::GetAudioFrameInfo(none, 0, &times, nullptr, nullptr, nullptr, nullptr)};
         },
         1},
        {"TotalTracks", [&] { return int64_t{Capi::TotalTracks(none)}; }, 0},
        {"GetTrackInfo",
         [&] { return int64_t{Capi::GetTrackInfo(none, 0, nullptr, nullptr, nullptr, nullptr)}; }, 0},
        {"SelectTrack", [&] { return int64_t{Capi::SelectTrack(none, 0)}; }, 0},
        {"IndexOfFrameAtStreamTime", [&] { return int64_t{Capi::IndexOfFrameAtStreamTime(none, 5)}; }, 0},
        {"IndexOfAudioFrameAtStreamTime",
         [&] { return int64_t{Capi::IndexOfAudioFrameAtStreamTime(none, 5)}; }, 0},
        {"GetPreviousFrame", [&] { return int64_t{Capi::GetPreviousFrame(none, 3, 0)}; }, -1},
        {"GetNextFrame", [&] { return int64_t{Capi::GetNextFrame(none, 3, 0)}; }, -1},
        {"GetPreviousAudioFrame", [&] { return int64_t{Capi::GetPreviousAudioFrame(none, 3, 0)}; }, -1},
        {"GetNextAudioFrame", [&] { return int64_t{Capi::GetNextAudioFrame(none, 3, 0)}; }, -1},
        {"Close", [&] { return int64_t{Capi::Close(none)}; }, 0},
        {"Abort", [&] { return int64_t{Capi::Abort(none)}; }, 0},
        {"RegisterAbortCallback",
         [&] {
             Capi::RegisterAbortCallback(none, AskToAbort);
             return int64_t{0};
         },
         0},
        {"GetCameras",
         [&] {
             Capi::GetCameras(none, mask);
             return int64_t{0};
         },
         0},
    };
    for (const NullCase& row : cases) {
        LoggedLines().clear();
        EXPECT_EQ(row.call(), row.expected) << row.text;
        ASSERT_EQ(LoggedLines().size(), 1u) << row.text;
        EXPECT_EQ(LoggedLines()[0], std::string(row.text) + " called with null handle\n");
    }
}

TEST(ClientInterfaceSetterTest, ClientsTakeTheLibraryWideCallbacksAtCreation) {
    LibraryLogToCollector logToTest;
    static std::string status;
    EXPECT_EQ(Capi::SetStatusCallback([](const char* text) { status = text; }), 1);
    EXPECT_EQ(Capi::SetProgressCallback(nullptr), 1);
    EXPECT_EQ(Capi::SetListCallback(nullptr), 1);

    Capi::ClientHandle client = nullptr;
    EXPECT_EQ(Capi::CreateClient(&client), 1);
    ASSERT_NE(client, nullptr);
    Capi::SetStatusCallback(nullptr);
    Capi::SetListCallback(Capi::LibraryListForwarder);

    EXPECT_EQ(Capi::OpenWithDecoder(client, 1, 2, 3, 4, -1, "/a/b.xyz", nullptr, nullptr, nullptr, nullptr,
                                    nullptr, nullptr, nullptr),
              FCR_FAILURE);
    EXPECT_EQ(status, "/a/b.xyz");
    EXPECT_TRUE(WasLogged("Load failed\n")) << "the client logs through the callback it was given";
    EXPECT_FALSE(Capi::Close(client));
    EXPECT_EQ(Capi::DestroyClient(client), 1);
}

TEST_F(ClientInterfaceTest, OpenFormsAndFrameFunctionsReachTheDecoder) {
    files.AddPatterned("frames.bin", 4 * 8);
    ScriptFrames("frames.bin", 4, 8);
    decoder.cameras = {0, 2, 0, 2};

    int32_t confidence = -1, reserved = -1;
    bool hasVideo = false;
    ASSERT_EQ(Capi::OpenWithDecoder(client.get(), words[0], words[1], words[2], words[3], 0, "clip.tst",
                                    &image, &audio, &span, &totalFrames, &totalAudioFrames, &duration,
                                    &hasVideo, &hasAudio, &reserved, &confidence),
              FCR_SUCCESS);
    EXPECT_EQ(confidence, 50);
    ASSERT_EQ(Capi::OpenWithDecoder(client.get(), words[0], words[1], words[2], words[3], -1, "clip.tst",
                                    &image, &audio, &span, &totalFrames, &totalAudioFrames, &duration,
                                    &hasAudio),
              FCR_SUCCESS);
    EXPECT_EQ(totalFrames, 4);
    Capi::RegisterAbortCallback(client.get(), AskToAbort);

    EXPECT_EQ(Capi::GetNextFrame(client.get(), -1, 2), 1);
    EXPECT_EQ(Capi::GetNextFrame(client.get(), 1, 2), 3);
    EXPECT_EQ(Capi::GetPreviousFrame(client.get(), 4, 0), 2);
    EXPECT_EQ(Capi::GetPreviousFrame(client.get(), 0, 0), -1);
    EXPECT_EQ(Capi::GetNextAudioFrame(client.get(), -1, 0), -1);

    uint8_t picture[8] = {};
    int32_t camera = -1;
    ASSERT_EQ(Capi::GetFrame(client.get(), 3, nullptr, sizeof(picture), picture, nullptr, nullptr, nullptr,
                             &camera, nullptr),
              FCR_SUCCESS);
    EXPECT_EQ(camera, 2);
    EXPECT_EQ(picture[0], ScriptedFiles::Pattern(24));

    EXPECT_EQ(Capi::TotalTracks(client.get()), 0);
    char trackName[TrackNameLength] = {};
    TrackTimes trackSpan = {};
    EXPECT_TRUE(Capi::GetTrackInfo(client.get(), 0, trackName, &trackSpan, nullptr, nullptr));
    EXPECT_STREQ(trackName, "No track information available");
    EXPECT_TRUE(Capi::SelectTrack(client.get(), 0));

    uint8_t mask[CameraMaskBytes];
    std::memset(mask, 0xEE, sizeof(mask));
    Capi::GetCameras(client.get(), mask);
    EXPECT_EQ(mask[0], 1);
    for (int i = 1; i < CameraMaskBytes; ++i) {
        EXPECT_EQ(mask[i], 0) << i;
    }

    abortAnswer = 1;
    EXPECT_EQ(Capi::GetFrameInfo(client.get(), 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_FAILURE)
        << "the abort callback stored in the decoder stops the next positioning";
    abortAnswer = 0;
    EXPECT_TRUE(Capi::Close(client.get()));
}

TEST_F(ClientInterfaceTest, AbortStopsTheNextFrameOfTheClient) {
    files.AddPatterned("frames.bin", 4 * 8);
    ScriptFrames("frames.bin", 4, 8);
    ASSERT_EQ(Load(), FCR_SUCCESS);
    EXPECT_TRUE(Capi::Abort(client.get()));
    EXPECT_EQ(Capi::GetFrameInfo(client.get(), 2, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_FAILURE);
    EXPECT_EQ(decoder.positioningCalls, 0);
}

TEST_F(ClientInterfaceTest, NominalPeriodIsTheDefaultWhateverTheDecodersOwn) {
    files.AddPatterned("frames.bin", 8);
    ScriptFrames("frames.bin", 1, 8);
    ASSERT_EQ(Load(), FCR_SUCCESS);
    EXPECT_EQ(client->GetFramePeriod(), 400000u);
    EXPECT_EQ(client->GetNominalFramePeriod(), 200000u);
}
