// The bridge's decoder: its two query levels, the load and what it builds, the result of the core's
// open, and the hooks through which the core reaches the newest host.
#include "interface/LibraryFrame.h"
#include "legacy/LegacyDecoderHost.h"
#include "legacy/LegacyFixture.h"
#include "model/files/FileTestSupport.h"

#include <cstring>

using namespace LegacyTests;
using namespace Vorn::Vorncast;
using Vorn::Buffer;
using Vorn::DynamicClass;

namespace {

class LegacyHostTest : public LegacyFixture {};

std::vector<double> progressSeen;
std::vector<int32_t> messagesSeen;
void SeeProgress(double fraction) {
    progressSeen.push_back(fraction);
}
void SeeMessage(int32_t word) {
    messagesSeen.push_back(word);
}
int AlwaysAbort() {
    return 1;
}

int Query(int decoder, const char* url, int detail, VcQueryResult* result) {
    return Decoder_Query(decoder, static_cast<int>(std::strlen(url)), url, detail, result);
}

} // namespace

TEST_F(LegacyHostTest, QuickQueryAcceptsAnyUrlAndReadsNothing) {
    ASSERT_EQ(CreateDecoder(), 0);
    for (const char* url : {"", "nowhere/nothing.xyz"}) {
        VcQueryResult result;
        std::memset(&result, 0x5A, sizeof result);
        ASSERT_EQ(Query(decoderHandle, url, 0, &result), 0);
        EXPECT_EQ(result.canLoad, 1);
        EXPECT_EQ(result.hasTimes, 0);
        EXPECT_EQ(result.hasFrameCount, 0);
        EXPECT_EQ(result.reserved, 0);
    }
    EXPECT_EQ(decoder.GetState(), DDS_IDLE);
    EXPECT_STREQ(decoder.GetLoadName(), "");
}

TEST_F(LegacyHostTest, DetailedQueryReportsWhatTheFormatQueryFound) {
    files.AddFile(Url, TwoCameras().Bytes());
    files.AddFile("rec/other.vcr", std::string(40, 'x'));
    ASSERT_EQ(CreateDecoder(), 0);
    VcQueryResult result{};
    ASSERT_EQ(Query(decoderHandle, Url, 1, &result), 0);
    EXPECT_EQ(result.canLoad, 1);
    EXPECT_EQ(result.hasFrameCount, 1);
    EXPECT_EQ(result.pictureCount, -1);
    EXPECT_EQ(result.frameCountLow, 10u);
    EXPECT_EQ(result.frameCountHigh, 0u);
    const uint32_t description[10] = {4, 3, 3, 4, 3, 8000, 16, 1, 0, 100};
    EXPECT_EQ(std::memcmp(result.description, description, sizeof description), 0);
    EXPECT_EQ(result.hasTimes, 1);
    EXPECT_EQ(result.startTime.recordedTime, TimeAt(0));
    EXPECT_EQ(result.endTime.streamTime, TimeAt(0));

    ASSERT_EQ(Query(decoderHandle, "rec/other.vcr", 1, &result), 0);
    EXPECT_EQ(result.canLoad, 0);

    // A failed open reports its counts as -1; the audio count is nonzero and so counts as given.
    result = VcQueryResult{};
    ASSERT_EQ(Query(decoderHandle, "rec/missing.vcr", 1, &result), 0);
    EXPECT_EQ(result.canLoad, 0);
    EXPECT_EQ(result.hasFrameCount, 1);
    EXPECT_EQ(result.frameCountLow, 0xFFFFFFFFu);
    EXPECT_EQ(result.frameCountHigh, 0xFFFFFFFFu);
    EXPECT_EQ(result.hasTimes, 0);
}

TEST_F(LegacyHostTest, TwoDarlexDisplayNamesLoadWhateverTheCoreSays) {
    for (const char* name : {"Tecton Darlex (Tracked frames only)", "Tecton Darlex (All frames)",
                             "__LEGACY__ Tecton Darlex (All frames)"}) {
        decoder.displayName = name;
        int named = 0;
        ASSERT_EQ(DecoderCollection_Create(nullptr, &named), 0);
        int host = 0;
        ASSERT_EQ(Decoder_Create(named, RecordingGuid(), -1, -1, &host), 0);
        VcQueryResult result{};
        ASSERT_EQ(Query(host, Url, 1, &result), 0); // there is no file: the core says no
        EXPECT_EQ(result.canLoad, name[0] == 'T' ? 1 : 0) << name;
        Decoder_Release(host);
        DecoderCollection_Release(named);
    }
}

TEST_F(LegacyHostTest, DetailedQueryAndLoadNeedTheEntryInTheirCollection) {
    LegacyDecoderHost stray;
    DecoderInfo unknown{};
    Vorn::ParseGuid("{0BADF00D-0000-4000-8000-0000000000AB}", &unknown.guid);
    ASSERT_EQ(stray.SetDecoderInfo(unknown), 0);
    QueryResult result{};
    EXPECT_EQ(stray.Query(Buffer(Url), 0, &result), 0);
    EXPECT_EQ(stray.Query(Buffer(Url), 1, &result), InvalidArgument);
    EXPECT_EQ(LastErrorMessage(),
              "LegacyDecoderHost > Could not retrieve previously specified decoder info\n");

    int early = 0;
    ASSERT_EQ(DecoderCollection_Create(nullptr, &early), 0);
    int host = 0;
    ASSERT_EQ(Decoder_Create(early, RecordingGuid(), -1, -1, &host), 0);
    ASSERT_EQ(DecoderCollection_Release(early), 0);
    EXPECT_EQ(Query(host, Url, 1, &result), InvalidHandle);
    EXPECT_EQ(LastErrorMessage(), "Decoder collection handle is invalid");
    int resources = 0;
    EXPECT_EQ(Decoder_Load(host, 12, Url, nullptr, nullptr, NeverAbort, &resources), InvalidHandle);
    EXPECT_EQ(LastErrorMessage(), "Decoder collection handle is invalid");
    Decoder_Release(host);
}

TEST_F(LegacyHostTest, LoadMapsTheResultOfTheCoresOpen) {
    files.AddFile("rec/bad.vcr", std::string(64, 'x'));
    files.AddFile(Url, TwoCameras().Bytes());
    ASSERT_EQ(CreateDecoder(), 0);
    EXPECT_EQ(Load("rec/missing.vcr"), CatastrophicFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 1");
    EXPECT_EQ(Load("rec/bad.vcr"), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 0");
    int count = -1;
    EXPECT_EQ(Decoder_GetTrackCount(decoderHandle, &count), 0);
    EXPECT_EQ(count, 0);

    // The core reports a user abort as a normal failure, so the load never sees an abort result.
    VcQueryResult result{};
    ASSERT_EQ(Query(decoderHandle, Url, 1, &result), 0); // leaves the abort hook in the format decoder
    EXPECT_EQ(Load(Url, AlwaysAbort), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 0");
    EXPECT_EQ(decoder.GetState(), DDS_IDLE);
}

TEST_F(LegacyHostTest, CoreProgressAndTextsReachTheNewestHostsCallbacks) {
    files.AddFile(Url, TwoCameras().Bytes());
    progressSeen.clear();
    messagesSeen.clear();
    ASSERT_EQ(CreateDecoder(), 0);
    FileTesting::LogCapture log;
    ASSERT_EQ(Load(Url, NeverAbort, SeeProgress, SeeMessage), 0);
    ASSERT_EQ(progressSeen.size(), 10u);
    for (size_t index = 0; index < progressSeen.size(); ++index) {
        EXPECT_DOUBLE_EQ(progressSeen[index], (index + 1) / 10.0);
    }
    // The texts go to the library log; the message callback hears the level of each.
    EXPECT_TRUE(log.Contains("width = 4    height = 3    planes = 3     frames = 10\n", LogEvent));
    EXPECT_TRUE(log.Contains(Url, LogEvent));
    EXPECT_GE(std::count(messagesSeen.begin(), messagesSeen.end(), LogEvent), 2);

    // Only the newest host hears the core.
    ASSERT_EQ(Decoder_Close(decoderHandle), 0);
    progressSeen.clear();
    messagesSeen.clear();
    int newer = 0;
    VcGuid other;
    ASSERT_TRUE(Vorn::ParseGuid("{CE01A3D4-5141-46a6-AB06-6AAFA85C60A1}", &other));
    ASSERT_EQ(Decoder_Create(collection, other, -1, -1, &newer), 0);
    ASSERT_EQ(Load(Url, NeverAbort, SeeProgress, SeeMessage), 0);
    EXPECT_TRUE(progressSeen.empty());
    EXPECT_TRUE(messagesSeen.empty());
    EXPECT_EQ(Decoder_Release(newer), 0);
    EXPECT_EQ(LegacyDecoderHost::CurrentHost(), nullptr);
}

TEST_F(LegacyHostTest, CloseOrReleaseHandsTheSharedFormatDecoderBackIdle) {
    files.AddFile(Url, TwoCameras().Bytes());
    for (bool close : {true, false}) {
        ASSERT_EQ(CreateDecoder(), 0);
        ASSERT_EQ(Load(), 0);
        EXPECT_EQ(decoder.GetState(), DDS_LOADED);
        if (close) {
            EXPECT_EQ(Decoder_Close(decoderHandle), 0);
            EXPECT_EQ(decoder.GetState(), DDS_IDLE);
        }
        ASSERT_EQ(Decoder_Release(decoderHandle), 0);
        decoderHandle = 0;
        EXPECT_EQ(decoder.GetState(), DDS_IDLE);
    }
    ASSERT_EQ(CreateDecoder(), 0);
    EXPECT_EQ(Load(), 0);
}

TEST_F(LegacyHostTest, MissingTrackIsAGeneralFailure) {
    LoadRecording(TwoCameras());
    int other = 0;
    EXPECT_EQ(Decoder_GetTrack(decoderHandle, 1, &other), GeneralFailure);
    Track* missing = nullptr;
    auto* host = DynamicClass::FromHandle<LegacyDecoderHost>(decoderHandle);
    EXPECT_EQ(host->GetTrack(-1, &missing), GeneralFailure);
    EXPECT_EQ(std::string(LastErrorText()).rfind("Could not get track pointer for track number -1 (", 0), 0u);
    EXPECT_EQ(missing, nullptr);
}
