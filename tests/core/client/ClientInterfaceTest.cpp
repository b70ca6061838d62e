#include "core/client/ClientFixture.h"
#include "core/client/MasDigitalCAPI.h"

#include <functional>

using namespace ClientTests;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;

namespace {

struct LibraryLogToCollector : LogCapture {
    LibraryLogToCollector() { Capi::SetLogCallback(LogCapture::Callback); }
    ~LibraryLogToCollector() { Capi::SetLogCallback(Capi::LibraryLogForwarder); }
};

struct NullCase {
    const char* text;
    std::function<int64_t()> call;
    int64_t expected;
};

using ClientInterfaceTest = ClientFixture;

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
    const auto n = nullptr;
    const NullCase cases[] = {
        {"DestroyClient", [&] { return Capi::DestroyClient(none); }, 1},
        {"OpenWithDecoder",
         [&] { return Capi::OpenWithDecoder(none, 1, 2, 3, 4, 0, "x", n, n, n, n, n, n, n, n, n, n); }, 1},
        {"OpenWithDecoder",
         [&] { return Capi::OpenWithDecoder(none, 1, 2, 3, 4, -1, "x", n, n, n, n, n, n, n); }, 1},
        {"GetFrame", [&] { return Capi::GetFrame(none, 0, &times, 0, n, n, n, n, n, n); }, 1},
        {"GetFrameInfo", [&] { return Capi::GetFrameInfo(none, 0, &times, n, n, n, n, n); }, 1},
        {"GetAudioFrame", [&] { return Capi::GetAudioFrame(none, 0, &times, 0, n, n, n, n, n); }, 1},
        {"GetAudioFrameInfo", [&] { return Capi::GetAudioFrameInfo(none, 0, &times, n, n, n, n); }, 1},
        {"TotalTracks", [&] { return Capi::TotalTracks(none); }, 0},
        {"GetTrackInfo", [&] { return Capi::GetTrackInfo(none, 0, n, n, n, n); }, 0},
        {"SelectTrack", [&] { return Capi::SelectTrack(none, 0); }, 0},
        {"IndexOfFrameAtStreamTime", [&] { return Capi::IndexOfFrameAtStreamTime(none, 5); }, 0},
        {"IndexOfAudioFrameAtStreamTime", [&] { return Capi::IndexOfAudioFrameAtStreamTime(none, 5); }, 0},
        {"GetPreviousFrame", [&] { return Capi::GetPreviousFrame(none, 3, 0); }, -1},
        {"GetNextFrame", [&] { return Capi::GetNextFrame(none, 3, 0); }, -1},
        {"GetPreviousAudioFrame", [&] { return Capi::GetPreviousAudioFrame(none, 3, 0); }, -1},
        {"GetNextAudioFrame", [&] { return Capi::GetNextAudioFrame(none, 3, 0); }, -1},
        {"Close", [&] { return Capi::Close(none); }, 0},
        {"Abort", [&] { return Capi::Abort(none); }, 0},
        {"RegisterAbortCallback", [&] { return Capi::RegisterAbortCallback(none, AskToAbort), 0; }, 0},
        {"GetCameras", [&] { return Capi::GetCameras(none, mask), 0; }, 0},
    };
    for (const NullCase& row : cases) {
        logToTest.lines.clear();
        EXPECT_EQ(row.call(), row.expected) << row.text;
        ASSERT_EQ(logToTest.lines.size(), 1u) << row.text;
        EXPECT_EQ(logToTest.lines[0], std::string(row.text) + " called with null handle\n");
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
    EXPECT_TRUE(logToTest.Has("Load failed\n")) << "the client logs through the callback it was given";
    EXPECT_FALSE(Capi::Close(client));
    EXPECT_EQ(Capi::DestroyClient(client), 1);
}

TEST_F(ClientInterfaceTest, TracklessDecoderAbortAndAbortCallbackStoredInTheDecoder) {
    files.AddPatterned("frames.bin", 4 * 8);
    ScriptFrames("frames.bin", 4, 8);
    ASSERT_EQ(Load(), FCR_SUCCESS);
    EXPECT_TRUE(Capi::Abort(client.get()));
    EXPECT_EQ(Capi::GetFrameInfo(client.get(), 2, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_FAILURE);
    EXPECT_EQ(decoder.positioningCalls, 0);
    ASSERT_TRUE(Capi::Close(client.get()));

    ASSERT_EQ(Load(), FCR_SUCCESS) << "a new load clears the abort";
    Capi::RegisterAbortCallback(client.get(), AskToAbort);
    EXPECT_EQ(Capi::TotalTracks(client.get()), 0);
    char trackName[TrackNameLength] = {};
    TrackTimes trackSpan = {};
    EXPECT_TRUE(Capi::GetTrackInfo(client.get(), 0, trackName, &trackSpan, nullptr, nullptr));
    EXPECT_STREQ(trackName, "No track information available");
    EXPECT_TRUE(Capi::SelectTrack(client.get(), 0));

    abortAnswer = 1;
    EXPECT_EQ(Capi::GetFrameInfo(client.get(), 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              FCR_FAILURE)
        << "the abort callback stored in the decoder stops the next positioning";
    abortAnswer = 0;
    EXPECT_TRUE(Capi::Close(client.get()));
}
