#include "core/decoder/ScriptedDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Vorn::Vorncast::Decoders::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PhaseTest : public ::testing::Test {
protected:
    LogCapture log;
    ScriptedDecoder decoder;
};

// ---- Query ----

TEST_F(PhaseTest, QueryCompletingInItsCoreReturnsToIdleWithItsSettings) {
    decoder.currentFrame = 3;
    decoder.Script("QueryingCore", [this] {
        EXPECT_EQ(decoder.state, DDS_QUERYING);
        decoder.queryConfidence = 80;
        return DDA_COMPLETE;
    });

    EXPECT_EQ(decoder.Query("/rec/a.vid", 0), DDA_COMPLETE);

    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_STREQ(decoder.loadName, "/rec/a.vid");
    EXPECT_EQ(decoder.loadFlags, 0);
    EXPECT_EQ(decoder.currentFrame, -1);
    EXPECT_EQ(decoder.currentAudioFrame, -1);
    EXPECT_EQ(decoder.GetConfidence(), 80);
}

TEST_F(PhaseTest, QueryThroughAFileActionEndsQueriedAndAQueriedDecoderTakesQueryAndLoad) {
    decoder.Script("QueryingCore", DDA_OPEN);
    EXPECT_EQ(decoder.Query("/rec/a.vid", 0), DDA_OPEN);
    EXPECT_EQ(decoder.state, DDS_QUERYING);
    EXPECT_EQ(decoder.OpenComplete(0, 10), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_QUERIED);

    EXPECT_EQ(decoder.Query("/rec/a.vid", 0), DDA_OPEN);
    decoder.OpenComplete(0, 10);
    decoder.Script("LoadingCore", DDA_OPEN);
    EXPECT_EQ(decoder.Load("/rec/a.vid", -1), DDA_OPEN);
    EXPECT_EQ(decoder.state, DDS_LOADING);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(PhaseTest, QueryFailingInItsCoreReturnsToIdle) {
    decoder.Script("QueryingCore", DDA_FAILED);
    EXPECT_EQ(decoder.Query("/rec/a.vid", 0), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
}

TEST_F(PhaseTest, QueryIsRefusedWhenLoadedOrWithoutAPath) {
    LoadThroughOneOpen(decoder);
    decoder.calls.clear();
    EXPECT_EQ(decoder.Query("/rec/a.vid", 0), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_LOADED);

    ScriptedDecoder idle;
    EXPECT_EQ(idle.Query("", 0), DDA_FAILED);
    EXPECT_EQ(idle.Query(nullptr, 0), DDA_FAILED);
    EXPECT_EQ(idle.Load("", -1), DDA_FAILED);

    EXPECT_THAT(log.lines,
                ElementsAre("BaseDecoder::Query BAD STATE 1\n", "BaseDecoder::Query BAD STATE 0\n",
                            "BaseDecoder::Query BAD STATE 0\n", "BaseDecoder::Load BAD STATE 0\n"));
    EXPECT_THAT(decoder.calls, IsEmpty());
    EXPECT_THAT(idle.calls, IsEmpty());
}

TEST_F(PhaseTest, QueryClearsAbortAndScratchWhileLoadKeepsTheScratch) {
    decoder.Abort();
    decoder.queryScratch = 9;
    decoder.Query("/rec/a.vid", 0);
    EXPECT_FALSE(decoder.aborted);
    EXPECT_EQ(decoder.queryScratch, 0);

    decoder.queryScratch = 9;
    decoder.Abort();
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_FALSE(decoder.aborted);
    EXPECT_EQ(decoder.queryScratch, 9);
}

TEST_F(PhaseTest, LoadNameKeepsAtMost260Characters) {
    std::string longPath(400, 'p');
    decoder.Query(longPath.c_str(), 0);
    EXPECT_EQ(std::string(decoder.loadName), longPath.substr(0, 260));
}

TEST_F(PhaseTest, QueryAndLoadClearTheConfidence) {
    decoder.queryConfidence = 70;
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.queryConfidence, 0);
}

// ---- Load ----

TEST_F(PhaseTest, LoadCompletingInItsCoreEndsIdleNotLoaded) {
    decoder.Script("LoadingCore", DDA_COMPLETE);
    EXPECT_EQ(decoder.Load("/rec/a.vid", -1), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_EQ(decoder.loadFlags, -1);
}

TEST_F(PhaseTest, LoadFailingInItsCoreEndsIdle) {
    decoder.Script("LoadingCore", DDA_FAILED);
    EXPECT_EQ(decoder.Load("/rec/a.vid", -1), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
}

TEST_F(PhaseTest, LoadThroughReadsEndsLoadedOnTheCompletingStep) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Script("LoadingOpenComplete", DDA_READ);
    decoder.Script("LoadingReadComplete", DDA_CLOSE);

    EXPECT_EQ(decoder.Load("/rec/a.vid", -1), DDA_OPEN);
    EXPECT_EQ(decoder.OpenComplete(0, 100), DDA_READ);
    EXPECT_EQ(decoder.state, DDS_LOADING);
    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_CLOSE);
    EXPECT_EQ(decoder.state, DDS_LOADING);
    EXPECT_EQ(decoder.CloseComplete(0), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_LOADED);
    EXPECT_THAT(decoder.calls, ElementsAre("LoadingCore", "LoadingOpenComplete", "LoadingReadComplete",
                                           "LoadingCloseComplete"));
}

TEST_F(PhaseTest, LoadStepFailingWithoutDecoderFailureStaysLoading) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Script("LoadingOpenComplete", DDA_FAILED);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.OpenComplete(0, 100), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_LOADING);
}

TEST_F(PhaseTest, LoadStepFailingThroughDecoderFailureEndsIdle) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.ScriptFailure("LoadingOpenComplete");
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.OpenComplete(-1, 0), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_THAT(log.lines, ElementsAre("Scripted DecoderFailure - DDS_LOADING\n"));
}

TEST_F(PhaseTest, AbortDuringALoadStepReplacesItsAnswerWithAFailure) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Script("LoadingOpenComplete", [this] {
        decoder.Abort();
        return DDA_READ;
    });
    decoder.Load("/rec/a.vid", -1);

    EXPECT_EQ(decoder.OpenComplete(0, 100), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_FALSE(decoder.aborted);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::OpenComplete Aborting\n",
                                       "Scripted DecoderFailure - DDS_LOADING\n"));
}

TEST_F(PhaseTest, AbortCallbackStopsALoadAtTheCloseAndEventSteps) {
    static int32_t abortAnswer = 0;
    abortAnswer = 0;
    decoder.SetAbortCallback([] { return abortAnswer; });
    decoder.Script("LoadingCore", DDA_CLOSE);
    decoder.Script("LoadingCloseComplete", DDA_WAIT_EVENT);
    decoder.Script("LoadingEventComplete", DDA_COMPLETE);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.CloseComplete(0), DDA_WAIT_EVENT);

    abortAnswer = 1;
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_THAT(log.lines, ElementsAre("Scripted DecoderFailure - DDS_LOADING\n"));
}

TEST_F(PhaseTest, ReadCompleteChecksTheAbortBeforeTheStep) {
    decoder.Script("LoadingCore", DDA_READ);
    decoder.Load("/rec/a.vid", -1);
    decoder.Abort();
    decoder.calls.clear();

    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_FAILED);
    EXPECT_THAT(decoder.calls, ElementsAre("FailingCore"));
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::OpenComplete Aborting\n",
                                       "Scripted DecoderFailure - DDS_LOADING\n"));
}

// ---- Unload ----

TEST_F(PhaseTest, UnloadWhenIdleCompletesWithoutTheDecoder) {
    EXPECT_EQ(decoder.Unload(), DDA_COMPLETE);
    EXPECT_THAT(decoder.calls, IsEmpty());
}

TEST_F(PhaseTest, UnloadEndingInItsCoreKeepsTheCounters) {
    LoadThroughOneOpen(decoder, 5);
    decoder.queryConfidence = 50;
    decoder.GoToFrame(2);

    EXPECT_EQ(decoder.Unload(), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_EQ(decoder.queryConfidence, 0);
    EXPECT_EQ(decoder.GetTotalFrames(), 5);
    EXPECT_EQ(decoder.currentFrame, 2);
}

TEST_F(PhaseTest, UnloadThroughClosesClearsTheCounters) {
    LoadThroughOneOpen(decoder, 5);
    decoder.totalAudioFrames = 4;
    decoder.totalTracks = 2;
    decoder.currentTrack = 1;
    decoder.queryConfidence = 50;
    decoder.GoToFrame(2);
    decoder.GoToAudioFrame(3);
    decoder.Script("UnloadingCore", DDA_CLOSE);
    decoder.Script("UnloadingCloseComplete", DDA_CLOSE);

    EXPECT_EQ(decoder.Unload(), DDA_CLOSE);
    EXPECT_EQ(decoder.state, DDS_UNLOADING);
    int32_t fileId = 0;
    decoder.GetFileToClose(&fileId);
    EXPECT_EQ(fileId, ScriptedDecoder::CloseId);
    EXPECT_EQ(decoder.CloseComplete(fileId), DDA_CLOSE);
    EXPECT_EQ(decoder.state, DDS_UNLOADING);
    EXPECT_EQ(decoder.GetTotalFrames(), 5);

    decoder.Script("UnloadingCloseComplete", DDA_FAILED);
    EXPECT_EQ(decoder.CloseComplete(fileId), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_EQ(decoder.GetTotalFrames(), 0);
    EXPECT_EQ(decoder.GetTotalAudioFrames(), 0);
    EXPECT_EQ(decoder.GetTotalTracks(), 0);
    EXPECT_EQ(decoder.currentTrack, 0);
    EXPECT_EQ(decoder.currentFrame, -1);
    EXPECT_EQ(decoder.currentAudioFrame, -1);
    EXPECT_EQ(decoder.queryConfidence, 0);
}

TEST_F(PhaseTest, UnloadEventCompletionEndsTheUnload) {
    LoadThroughOneOpen(decoder);
    decoder.Script("UnloadingCore", DDA_WAIT_EVENT);
    decoder.Unload();
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_EQ(decoder.GetTotalFrames(), 0);
}

TEST_F(PhaseTest, UnloadInAnotherStateIsRefused) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.Unload(), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_LOADING);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::Unload BAD STATE 2\n"));
}

// ---- Positioning and decompressing ----

TEST_F(PhaseTest, GoToFrameRunsPositioningOnlyForANewFrame) {
    LoadThroughOneOpen(decoder);
    decoder.calls.clear();

    EXPECT_EQ(decoder.GoToFrame(0), DDA_COMPLETE);
    EXPECT_EQ(decoder.GoToFrame(0), DDA_COMPLETE);
    EXPECT_EQ(decoder.GoToFrame(1), DDA_COMPLETE);
    EXPECT_THAT(decoder.calls, ElementsAre("PositioningCore", "PositioningCore"));
    EXPECT_EQ(decoder.GetCurrentFrame(), 1);
    EXPECT_EQ(decoder.state, DDS_LOADED);
}

TEST_F(PhaseTest, GoToFrameOutsideTheLoadedStateIsRefused) {
    EXPECT_EQ(decoder.GoToFrame(0), DDA_FAILED);
    EXPECT_EQ(decoder.GoToAudioFrame(0), DDA_FAILED);
    EXPECT_EQ(decoder.Decompress(), DDA_FAILED);
    EXPECT_EQ(decoder.DecompressAudio(), DDA_FAILED);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::GoToFrame BAD STATE 0\n",
                                       "BaseDecoder::GoToAudioFrame BAD STATE 0\n",
                                       "BaseDecoder::Decompress BAD STATE 0\n",
                                       "BaseDecoder::DecompressAudio BAD STATE 0\n"));
    EXPECT_THAT(decoder.calls, IsEmpty());
}

TEST_F(PhaseTest, FramePhasesRefuseWhenAborted) {
    LoadThroughOneOpen(decoder);
    decoder.Abort();
    decoder.calls.clear();

    EXPECT_EQ(decoder.GoToFrame(1), DDA_FAILED);
    EXPECT_EQ(decoder.GoToAudioFrame(1), DDA_FAILED);
    EXPECT_EQ(decoder.Decompress(), DDA_FAILED);
    EXPECT_EQ(decoder.DecompressAudio(), DDA_FAILED);
    EXPECT_THAT(log.lines,
                ElementsAre("BaseDecoder::GoToFrame Aborting\n", "BaseDecoder::GoToAudioFrame Aborting\n",
                            "BaseDecoder::Decompress Aborting\n", "BaseDecoder::DecompressAudio Aborting\n"));
    EXPECT_THAT(decoder.calls, IsEmpty());
    EXPECT_EQ(decoder.state, DDS_LOADED);
    EXPECT_EQ(decoder.currentFrame, -1);
}

TEST_F(PhaseTest, AbortCallbackIsPolledByGoToFrame) {
    LoadThroughOneOpen(decoder);
    decoder.SetAbortCallback([] { return int32_t{1}; });
    EXPECT_EQ(decoder.GoToFrame(1), DDA_FAILED);
    EXPECT_TRUE(decoder.aborted);
}

TEST_F(PhaseTest, EachFramePhaseRunsItsCoreInItsState) {
    LoadThroughOneOpen(decoder);
    decoder.calls.clear();
    std::vector<DecoderState> seen;
    for (const char* core :
         {"PositioningCore", "PositioningAudioCore", "DecompressingCore", "DecompressingAudioCore"}) {
        decoder.Script(core, [this, &seen] {
            seen.push_back(decoder.state);
            return DDA_COMPLETE;
        });
    }

    decoder.GoToFrame(3);
    decoder.GoToAudioFrame(4);
    decoder.Decompress();
    decoder.DecompressAudio();

    EXPECT_THAT(seen, ElementsAre(DDS_POSITIONING, DDS_POSITIONING_AUDIO, DDS_DECOMPRESSING,
                                  DDS_DECOMPRESSING_AUDIO));
    EXPECT_EQ(decoder.currentFrame, 3);
    EXPECT_EQ(decoder.currentAudioFrame, 4);
    EXPECT_EQ(decoder.state, DDS_LOADED);
}

TEST_F(PhaseTest, FailedFramePhaseInItsCoreStaysLoaded) {
    LoadThroughOneOpen(decoder);
    decoder.ScriptFailure("DecompressingCore");
    EXPECT_EQ(decoder.Decompress(), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_LOADED);
    EXPECT_EQ(decoder.GetTotalFrames(), 5);
    EXPECT_THAT(log.lines, ElementsAre("Scripted DecoderFailure - DDS_DECOMPRESSING\n"));
}

TEST_F(PhaseTest, ReadCompletionEndsAFramePhaseEitherWay) {
    LoadThroughOneOpen(decoder);
    decoder.Script("DecompressingCore", DDA_READ);
    decoder.Script("DecompressingReadComplete", DDA_FAILED);
    EXPECT_EQ(decoder.Decompress(), DDA_READ);
    EXPECT_EQ(decoder.state, DDS_DECOMPRESSING);
    EXPECT_EQ(decoder.ReadComplete(0, false), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_LOADED);
}

TEST_F(PhaseTest, OpenCompletionFailingAFramePhaseLeavesItStuck) {
    LoadThroughOneOpen(decoder);
    decoder.Script("PositioningCore", DDA_OPEN);
    decoder.Script("PositioningOpenComplete", DDA_FAILED);
    decoder.GoToFrame(1);
    EXPECT_EQ(decoder.OpenComplete(-1, 0), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_POSITIONING);

    EXPECT_EQ(decoder.GoToFrame(2), DDA_FAILED);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::GoToFrame BAD STATE 4\n"));
}

TEST_F(PhaseTest, DefaultAudioPositioningCompletesAndDefaultAudioDecompressingRefuses) {
    MinimalDecoder minimal;
    minimal.state = DDS_LOADED;

    EXPECT_EQ(minimal.GoToAudioFrame(2), DDA_COMPLETE);
    EXPECT_EQ(minimal.currentAudioFrame, 2);
    EXPECT_EQ(minimal.DecompressAudio(), DDA_FAILED);
    EXPECT_EQ(minimal.state, DDS_LOADED);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder DecompressingAudioCore not implemented\n",
                                       "Scripted DecoderFailure - DDS_DECOMPRESSING_AUDIO\n"));
}

} // namespace
} // namespace Vorn::Vorncast::Decoders::Testing
