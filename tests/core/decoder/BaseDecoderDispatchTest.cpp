#include "core/decoder/ScriptedDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace Vorn::Vorncast::Decoders::Testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool AllZero(const char* buffer, int32_t size) {
    for (int32_t index = 0; index < size; ++index) {
        if (buffer[index] != 0) {
            return false;
        }
    }
    return true;
}

struct PhaseCase {
    DecoderState state;
    const char* phase;
    bool listsFiles;
    bool readsFiles;
};

// Every state in which a decoder works through file actions, with the prefix of its operations.
const std::vector<PhaseCase> FilePhases = {
    {DDS_QUERYING, "Querying", true, true},
    {DDS_LOADING, "Loading", true, true},
    {DDS_POSITIONING, "Positioning", false, true},
    {DDS_POSITIONING_AUDIO, "PositioningAudio", false, true},
    {DDS_DECOMPRESSING, "Decompressing", false, true},
    {DDS_DECOMPRESSING_AUDIO, "DecompressingAudio", false, true},
    {DDS_UNLOADING, "Unloading", false, false},
    {DDS_FAILING, "Failing", false, false},
};

const std::vector<DecoderState> AllStates = {DDS_IDLE,          DDS_LOADED,
                                             DDS_LOADING,       DDS_UNLOADING,
                                             DDS_POSITIONING,   DDS_POSITIONING_AUDIO,
                                             DDS_DECOMPRESSING, DDS_DECOMPRESSING_AUDIO,
                                             DDS_FAILING,       DDS_QUERYING,
                                             DDS_QUERIED};

const char* PhaseOf(DecoderState state) {
    for (const PhaseCase& phase : FilePhases) {
        if (phase.state == state) {
            return phase.phase;
        }
    }
    return nullptr;
}

class DispatchTest : public ::testing::Test {
protected:
    LogCapture log;
};

// ---- Parameters of the pending action ----

TEST_F(DispatchTest, OpenNameAndReadParametersComeFromThePhaseThatReadsFiles) {
    for (DecoderState state : AllStates) {
        SCOPED_TRACE(DecoderStateName(state));
        ScriptedDecoder decoder;
        decoder.state = state;
        const char* phase = PhaseOf(state);
        bool reads = phase != nullptr && state != DDS_UNLOADING && state != DDS_FAILING;

        char name[MaxPathLength];
        std::memset(name, 'x', sizeof name);
        decoder.GetOpenName(name);
        int32_t fileId = 1;
        uint64_t offset = 1;
        uint32_t size = 1;
        uint8_t* buffer = reinterpret_cast<uint8_t*>(name);
        decoder.GetReadParameters(&fileId, &offset, &size, &buffer);

        if (reads) {
            EXPECT_EQ(std::string(name), std::string(phase) + ".vid");
            EXPECT_EQ(fileId, ScriptedDecoder::CloseId);
            EXPECT_EQ(offset, std::strlen(phase));
            EXPECT_EQ(size, ScriptedDecoder::ReadSize);
            EXPECT_EQ(buffer, decoder.readBuffer);
            EXPECT_THAT(log.Take(), IsEmpty());
        } else {
            EXPECT_TRUE(AllZero(name, MaxPathLength));
            EXPECT_EQ(fileId, 0);
            EXPECT_EQ(offset, 0u);
            EXPECT_EQ(size, 0u);
            EXPECT_EQ(buffer, nullptr);
            EXPECT_THAT(
                log.Take(),
                ElementsAre("Scripted GetReadParameters while not loading, positioning, or decompressing\n"));
        }
    }
}

TEST_F(DispatchTest, FileToCloseAlsoComesFromUnloadingAndFailing) {
    for (DecoderState state : AllStates) {
        SCOPED_TRACE(DecoderStateName(state));
        ScriptedDecoder decoder;
        decoder.state = state;
        int32_t fileId = 0;
        decoder.GetFileToClose(&fileId);
        if (PhaseOf(state) != nullptr) {
            EXPECT_EQ(fileId, ScriptedDecoder::CloseId);
            EXPECT_THAT(decoder.calls, ElementsAre(std::string(PhaseOf(state)) + "GetFileToClose"));
            EXPECT_THAT(log.Take(), IsEmpty());
        } else {
            EXPECT_EQ(fileId, -1);
            EXPECT_THAT(log.Take(), ElementsAre("Scripted GetFileToClose while in wrong state\n"));
        }
    }
}

TEST_F(DispatchTest, ListPathComesOnlyFromLoadingAndQuerying) {
    for (DecoderState state : AllStates) {
        SCOPED_TRACE(DecoderStateName(state));
        ScriptedDecoder decoder;
        decoder.state = state;
        char directory[MaxPathLength];
        char pattern[MaxPathLength];
        std::memset(directory, 'x', sizeof directory);
        std::memset(pattern, 'x', sizeof pattern);
        int32_t depth = -5;
        decoder.GetListPath(directory, pattern, &depth);
        if (state == DDS_LOADING || state == DDS_QUERYING) {
            EXPECT_EQ(std::string(directory), "/" + std::string(PhaseOf(state)) + "/");
            EXPECT_STREQ(pattern, "*.vid");
            EXPECT_EQ(depth, 2);
        } else {
            EXPECT_TRUE(AllZero(directory, MaxPathLength));
            EXPECT_TRUE(AllZero(pattern, MaxPathLength));
            EXPECT_EQ(depth, 0);
            EXPECT_THAT(log.Take(), ElementsAre("Scripted GetListPath while in wrong state\n"));
        }
    }
}

// ---- Completions outside a file phase ----

TEST_F(DispatchTest, CompletionsWhenIdleAreIgnoredWithAnAction) {
    ScriptedDecoder decoder;
    EXPECT_EQ(decoder.OpenComplete(0, 1), DDA_NO_ACTION);
    EXPECT_EQ(decoder.CloseComplete(0), DDA_NO_ACTION);
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_NO_ACTION);
    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_NO_ACTION);
    EXPECT_THAT(log.lines, ElementsAre("Scripted OpenComplete with state DDS_IDLE\n",
                                       "Scripted CloseComplete with state DDS_IDLE\n",
                                       "Scripted EventComplete with state DDS_IDLE\n",
                                       "Scripted ReadComplete with state DDS_IDLE\n"));
    EXPECT_THAT(decoder.calls, IsEmpty());
}

TEST_F(DispatchTest, CompletionsWhenLoadedFailTheDecoder) {
    const std::vector<std::pair<std::string, std::function<DecoderAction(ScriptedDecoder&)>>> completions = {
        {"OpenComplete", [](ScriptedDecoder& d) { return d.OpenComplete(0, 1); }},
        {"CloseComplete", [](ScriptedDecoder& d) { return d.CloseComplete(0); }},
        {"EventComplete", [](ScriptedDecoder& d) { return d.EventComplete(nullptr); }},
        {"ReadComplete", [](ScriptedDecoder& d) { return d.ReadComplete(0, true); }},
    };
    for (const auto& [operation, complete] : completions) {
        SCOPED_TRACE(operation);
        ScriptedDecoder decoder;
        decoder.state = DDS_LOADED;
        decoder.totalFrames = 3;
        EXPECT_EQ(complete(decoder), DDA_NO_ACTION);
        EXPECT_EQ(decoder.state, DDS_IDLE);
        EXPECT_EQ(decoder.GetTotalFrames(), 0);
        EXPECT_THAT(log.Take(), ElementsAre("Scripted " + operation + " with state DSS_LOADED\n",
                                            "Scripted DecoderFailure with state DDS_LOADED\n"));
    }
}

TEST_F(DispatchTest, CompletionsWhenQueriedReportABadState) {
    ScriptedDecoder decoder;
    decoder.state = DDS_QUERIED;
    EXPECT_EQ(decoder.CloseComplete(0), DDA_NO_ACTION);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_THAT(log.lines, ElementsAre("Scripted CloseComplete with bad state\n",
                                       "Scripted DecoderFailure with bad state\n"));
}

TEST_F(DispatchTest, OpenAndReadCompletionsAreErrorsWhileUnloading) {
    ScriptedDecoder decoder;
    decoder.state = DDS_UNLOADING;
    EXPECT_EQ(decoder.OpenComplete(0, 1), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);

    decoder.state = DDS_UNLOADING;
    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_FAILED);
    EXPECT_THAT(log.lines, ElementsAre("Scripted OpenComplete with state DDS_UNLOADING\n",
                                       "Scripted DecoderFailure - DDS_UNLOADING\n",
                                       "Scripted ReadComplete with state DDS_UNLOADING\n",
                                       "Scripted DecoderFailure - DDS_UNLOADING\n"));
    EXPECT_FALSE(decoder.WasCalled("UnloadingCloseComplete"));
}

TEST_F(DispatchTest, WhileFailingCloseAndEventGoToTheFailingStepsUnchanged) {
    ScriptedDecoder decoder;
    decoder.state = DDS_FAILING;
    decoder.stateBeforeFailure = DDS_LOADING;
    decoder.Script("FailingCloseComplete", DDA_CLOSE);
    decoder.Script("FailingEventComplete", DDA_COMPLETE);

    EXPECT_EQ(decoder.CloseComplete(1), DDA_CLOSE);
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_COMPLETE);
    EXPECT_EQ(decoder.state, DDS_FAILING);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(DispatchTest, WhileFailingOpenReadAndListCompletionsFailAgain) {
    const std::vector<std::pair<std::string, std::function<DecoderAction(ScriptedDecoder&)>>> completions = {
        {"Scripted OpenComplete while failing\n", [](ScriptedDecoder& d) { return d.OpenComplete(0, 1); }},
        {"Scripted ReadComplete with state DDS_FAILING\n",
         [](ScriptedDecoder& d) { return d.ReadComplete(0, true); }},
        {"Scripted FileListComplete while failing\n",
         [](ScriptedDecoder& d) { return d.FileListComplete(true, 0, ""); }},
    };
    for (const auto& [text, complete] : completions) {
        SCOPED_TRACE(text);
        ScriptedDecoder decoder;
        decoder.state = DDS_FAILING;
        decoder.stateBeforeFailure = DDS_QUERYING;
        EXPECT_EQ(complete(decoder), DDA_FAILED);
        EXPECT_EQ(decoder.state, DDS_IDLE);
        EXPECT_THAT(log.Take(), ElementsAre(text, "Scripted DecoderFailure - DDS_QUERYING\n"));
    }
}

// ---- Completions inside the file phases ----

TEST_F(DispatchTest, EachCompletionReachesTheStepOfTheCurrentPhase) {
    for (const PhaseCase& phase : FilePhases) {
        SCOPED_TRACE(phase.phase);
        std::string prefix = phase.phase;
        ScriptedDecoder decoder;
        for (const char* step : {"OpenComplete", "CloseComplete", "ReadComplete", "EventComplete"}) {
            decoder.Script(prefix + step, DDA_READ);
        }
        decoder.state = phase.state;
        std::vector<std::string> expected;
        if (phase.readsFiles) {
            EXPECT_EQ(decoder.OpenComplete(0, 1), DDA_READ);
            EXPECT_EQ(decoder.ReadComplete(0, true), DDA_READ);
            expected = {prefix + "OpenComplete", prefix + "ReadComplete"};
        }
        EXPECT_EQ(decoder.CloseComplete(0), DDA_READ);
        EXPECT_EQ(decoder.EventComplete(nullptr), DDA_READ);
        expected.push_back(prefix + "CloseComplete");
        expected.push_back(prefix + "EventComplete");
        EXPECT_EQ(decoder.calls, expected);
        EXPECT_EQ(decoder.state, phase.state);
    }
}

TEST_F(DispatchTest, CompletingStepOfAQueryEndsQueried) {
    for (int step = 0; step < 4; ++step) {
        SCOPED_TRACE(step);
        ScriptedDecoder decoder;
        decoder.state = DDS_QUERYING;
        DecoderAction result = step == 0   ? decoder.OpenComplete(0, 1)
                               : step == 1 ? decoder.CloseComplete(0)
                               : step == 2 ? decoder.ReadComplete(0, true)
                                           : decoder.EventComplete(nullptr);
        EXPECT_EQ(result, DDA_COMPLETE);
        EXPECT_EQ(decoder.state, DDS_QUERIED);
    }
}

TEST_F(DispatchTest, FailedStepOfAQueryWithoutDecoderFailureStaysQuerying) {
    ScriptedDecoder decoder;
    decoder.state = DDS_QUERYING;
    decoder.Script("QueryingReadComplete", DDA_FAILED);
    EXPECT_EQ(decoder.ReadComplete(0, false), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_QUERYING);
}

TEST_F(DispatchTest, FramePhasesEndOnCompletionAndOnlyAReadEndsThemOnFailure) {
    for (DecoderState state :
         {DDS_POSITIONING, DDS_POSITIONING_AUDIO, DDS_DECOMPRESSING, DDS_DECOMPRESSING_AUDIO}) {
        SCOPED_TRACE(DecoderStateName(state));
        std::string prefix = PhaseOf(state);
        ScriptedDecoder decoder;
        for (const char* step : {"OpenComplete", "CloseComplete", "EventComplete", "ReadComplete"}) {
            decoder.Script(prefix + step, DDA_FAILED);
        }
        decoder.state = state;
        decoder.OpenComplete(0, 1);
        decoder.CloseComplete(0);
        decoder.EventComplete(nullptr);
        EXPECT_EQ(decoder.state, state);
        decoder.ReadComplete(0, false);
        EXPECT_EQ(decoder.state, DDS_LOADED);

        decoder.state = state;
        decoder.Script(prefix + "EventComplete", DDA_COMPLETE);
        EXPECT_EQ(decoder.EventComplete(nullptr), DDA_COMPLETE);
        EXPECT_EQ(decoder.state, DDS_LOADED);
    }
}

TEST_F(DispatchTest, AbortedReadInAFramePhaseFailsTheFrameAndKeepsTheState) {
    ScriptedDecoder decoder;
    decoder.state = DDS_POSITIONING;
    decoder.Abort();
    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_POSITIONING);
    EXPECT_THAT(decoder.calls, IsEmpty());
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::OpenComplete Aborting\n",
                                       "Scripted DecoderFailure - DDS_POSITIONING\n"));
}

// ---- File lists ----

TEST_F(DispatchTest, FileListTextArrivesAsAListOfItsPaths) {
    ScriptedDecoder decoder;
    decoder.state = DDS_LOADING;
    std::string longItem(300, 'n');
    std::string text = "a.vid;sub/B.VID;;" + longItem + ";tail.vid";

    EXPECT_EQ(decoder.FileListComplete(true, static_cast<int32_t>(text.size()), text.c_str()), DDA_COMPLETE);

    EXPECT_TRUE(decoder.receivedListOk);
    EXPECT_THAT(decoder.receivedList, ElementsAre("a.vid", "sub/B.VID", longItem.substr(0, 260), "tail.vid"));
    EXPECT_EQ(decoder.state, DDS_LOADED);
}

TEST_F(DispatchTest, FileListTextIsReadOnlyUpToItsLength) {
    ScriptedDecoder decoder;
    decoder.state = DDS_QUERYING;
    const char* text = "one.vid;two.vid;";
    decoder.Script("QueryingFileListComplete", DDA_OPEN);

    EXPECT_EQ(decoder.FileListComplete(false, 8, text), DDA_OPEN);

    EXPECT_FALSE(decoder.receivedListOk);
    EXPECT_THAT(decoder.receivedList, ElementsAre("one.vid"));
    EXPECT_EQ(decoder.state, DDS_QUERYING);
}

TEST_F(DispatchTest, EmptyOrMissingFileListTextGivesAnEmptyList) {
    ScriptedDecoder decoder;
    decoder.state = DDS_QUERYING;
    EXPECT_EQ(decoder.FileListComplete(true, 0, nullptr), DDA_COMPLETE);
    EXPECT_THAT(decoder.receivedList, IsEmpty());
    EXPECT_EQ(decoder.state, DDS_QUERIED);
}

TEST_F(DispatchTest, FileListOutsideLoadingAndQueryingFailsTheDecoder) {
    for (DecoderState state : {DDS_IDLE, DDS_LOADED, DDS_POSITIONING, DDS_UNLOADING, DDS_QUERIED}) {
        SCOPED_TRACE(DecoderStateName(state));
        ScriptedDecoder decoder;
        decoder.state = state;
        decoder.FileListComplete(true, 0, "");
        std::vector<std::string> lines = log.Take();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines[0],
                  "Scripted FileListComplete with state " + std::string(DecoderStateName(state)) + "\n");
        EXPECT_TRUE(decoder.receivedList.empty());
    }
}

// ---- DecoderFailure ----

TEST_F(DispatchTest, DecoderFailureInAFramePhaseOnlyFailsTheFrame) {
    for (DecoderState state :
         {DDS_POSITIONING, DDS_POSITIONING_AUDIO, DDS_DECOMPRESSING, DDS_DECOMPRESSING_AUDIO}) {
        SCOPED_TRACE(DecoderStateName(state));
        ScriptedDecoder decoder;
        decoder.state = state;
        decoder.totalFrames = 4;
        decoder.currentFrame = 2;
        decoder.Abort();
        EXPECT_EQ(decoder.DecoderFailure(), DDA_FAILED);
        EXPECT_EQ(decoder.state, state);
        EXPECT_EQ(decoder.totalFrames, 4);
        EXPECT_EQ(decoder.currentFrame, 2);
        EXPECT_TRUE(decoder.aborted);
        EXPECT_FALSE(decoder.WasCalled("FailingCore"));
        EXPECT_THAT(log.Take(),
                    ElementsAre("Scripted DecoderFailure - " + std::string(DecoderStateName(state)) + "\n"));
    }
}

TEST_F(DispatchTest, DecoderFailureElsewhereEndsIdleWithAnswerByTheFormerState) {
    struct Expectation {
        DecoderState state;
        DecoderAction result;
        const char* text;
    };
    const std::vector<Expectation> expectations = {
        {DDS_IDLE, DDA_NO_ACTION, "Scripted DecoderFailure with state DDS_IDLE\n"},
        {DDS_LOADED, DDA_NO_ACTION, "Scripted DecoderFailure with state DDS_LOADED\n"},
        {DDS_LOADING, DDA_FAILED, "Scripted DecoderFailure - DDS_LOADING\n"},
        {DDS_UNLOADING, DDA_FAILED, "Scripted DecoderFailure - DDS_UNLOADING\n"},
        {DDS_QUERYING, DDA_FAILED, "Scripted DecoderFailure - DDS_QUERYING\n"},
        {DDS_QUERIED, DDA_NO_ACTION, "Scripted DecoderFailure with bad state\n"},
    };
    for (const Expectation& expectation : expectations) {
        SCOPED_TRACE(DecoderStateName(expectation.state));
        ScriptedDecoder decoder;
        decoder.state = expectation.state;
        decoder.totalFrames = 4;
        decoder.totalAudioFrames = 3;
        decoder.totalTracks = 2;
        decoder.currentTrack = 1;
        decoder.currentFrame = 2;
        decoder.currentAudioFrame = 1;
        decoder.queryConfidence = 50;
        decoder.Abort();

        EXPECT_EQ(decoder.DecoderFailure(), expectation.result);

        EXPECT_EQ(decoder.state, DDS_IDLE);
        EXPECT_EQ(decoder.stateBeforeFailure, expectation.state);
        EXPECT_EQ(decoder.totalFrames, 0);
        EXPECT_EQ(decoder.totalAudioFrames, 0);
        EXPECT_EQ(decoder.totalTracks, 0);
        EXPECT_EQ(decoder.currentTrack, 0);
        EXPECT_EQ(decoder.currentFrame, -1);
        EXPECT_EQ(decoder.currentAudioFrame, -1);
        EXPECT_EQ(decoder.queryConfidence, 50);
        EXPECT_FALSE(decoder.aborted);
        EXPECT_THAT(decoder.calls, ElementsAre("FailingCore"));
        EXPECT_THAT(log.Take(), ElementsAre(expectation.text));
    }
}

TEST_F(DispatchTest, FailingPhaseClosesFilesOneByOneBeforeEndingIdle) {
    ScriptedDecoder decoder;
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.ScriptFailure("LoadingReadComplete");
    decoder.Script("LoadingOpenComplete", DDA_READ);
    decoder.Script("FailingCloseComplete", [&decoder] { return decoder.DecoderFailure(); });
    decoder.failingReplies = {DDA_CLOSE, DDA_WAIT_EVENT};
    decoder.Script("FailingEventComplete", [&decoder] { return decoder.DecoderFailure(); });
    decoder.Load("/rec/a.vid", -1);
    decoder.OpenComplete(0, 10);

    EXPECT_EQ(decoder.ReadComplete(0, false), DDA_CLOSE);
    EXPECT_EQ(decoder.state, DDS_FAILING);
    int32_t fileId = 0;
    decoder.GetFileToClose(&fileId);
    EXPECT_EQ(fileId, ScriptedDecoder::CloseId);
    EXPECT_EQ(decoder.CloseComplete(fileId), DDA_WAIT_EVENT);
    EXPECT_EQ(decoder.state, DDS_FAILING);
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_FAILED);

    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_EQ(decoder.stateBeforeFailure, DDS_LOADING);
    EXPECT_THAT(log.lines, ElementsAre("Scripted DecoderFailure - DDS_LOADING\n"));
}

// ---- Refusing defaults ----

struct RefusalCase {
    DecoderState state;
    const char* phase;
    DecoderAction failureResult;
    const char* failureText;
};

const std::vector<RefusalCase> RefusalCases = {
    {DDS_QUERYING, "Querying", DDA_FAILED, "Scripted DecoderFailure - DDS_QUERYING\n"},
    {DDS_LOADING, "Loading", DDA_FAILED, "Scripted DecoderFailure - DDS_LOADING\n"},
    {DDS_POSITIONING, "Positioning", DDA_FAILED, "Scripted DecoderFailure - DDS_POSITIONING\n"},
    {DDS_POSITIONING_AUDIO, "PositioningAudio", DDA_FAILED,
     "Scripted DecoderFailure - DDS_POSITIONING_AUDIO\n"},
    {DDS_DECOMPRESSING, "Decompressing", DDA_FAILED, "Scripted DecoderFailure - DDS_DECOMPRESSING\n"},
    {DDS_DECOMPRESSING_AUDIO, "DecompressingAudio", DDA_FAILED,
     "Scripted DecoderFailure - DDS_DECOMPRESSING_AUDIO\n"},
};

std::string Refusal(const std::string& operation) {
    return "BaseDecoder " + operation + " not implemented\n";
}

TEST_F(DispatchTest, UnwrittenParameterStepsRefuseAndZeroTheirOutputs) {
    for (const RefusalCase& refusal : RefusalCases) {
        SCOPED_TRACE(refusal.phase);
        std::string prefix = refusal.phase;
        MinimalDecoder decoder;
        decoder.state = refusal.state;

        char name[MaxPathLength];
        std::memset(name, 'x', sizeof name);
        decoder.GetOpenName(name);
        EXPECT_TRUE(AllZero(name, MaxPathLength));

        int32_t fileId = 5;
        decoder.GetFileToClose(&fileId);
        EXPECT_EQ(fileId, -1);

        uint64_t offset = 5;
        uint32_t size = 5;
        uint8_t* buffer = reinterpret_cast<uint8_t*>(name);
        decoder.GetReadParameters(&fileId, &offset, &size, &buffer);
        EXPECT_EQ(fileId, 0);
        EXPECT_EQ(offset, 0u);
        EXPECT_EQ(size, 0u);
        EXPECT_EQ(buffer, nullptr);

        EXPECT_THAT(log.Take(),
                    ElementsAre(Refusal(prefix + "GetOpenName"), Refusal(prefix + "GetFileToClose"),
                                Refusal(prefix + "GetReadParameters")));
        EXPECT_EQ(decoder.state, refusal.state);
    }
}

TEST_F(DispatchTest, UnwrittenCompletionStepsRefuseThroughDecoderFailure) {
    const std::vector<std::pair<std::string, std::function<DecoderAction(MinimalDecoder&)>>> completions = {
        {"OpenComplete", [](MinimalDecoder& d) { return d.OpenComplete(0, 1); }},
        {"CloseComplete", [](MinimalDecoder& d) { return d.CloseComplete(0); }},
        {"ReadComplete", [](MinimalDecoder& d) { return d.ReadComplete(0, true); }},
    };
    for (const RefusalCase& refusal : RefusalCases) {
        for (const auto& [operation, complete] : completions) {
            SCOPED_TRACE(std::string(refusal.phase) + operation);
            MinimalDecoder decoder;
            decoder.state = refusal.state;
            EXPECT_EQ(complete(decoder), refusal.failureResult);
            EXPECT_THAT(log.Take(), ElementsAre(Refusal(refusal.phase + operation), refusal.failureText));
        }
    }
}

TEST_F(DispatchTest, UnwrittenListStepsRefuseInLoadingAndQuerying) {
    for (const RefusalCase& refusal : {RefusalCases[0], RefusalCases[1]}) {
        SCOPED_TRACE(refusal.phase);
        std::string prefix = refusal.phase;
        MinimalDecoder decoder;
        decoder.state = refusal.state;
        char directory[MaxPathLength];
        char pattern[MaxPathLength];
        std::memset(directory, 'x', sizeof directory);
        std::memset(pattern, 'x', sizeof pattern);
        int32_t depth = 3;
        decoder.GetListPath(directory, pattern, &depth);
        EXPECT_TRUE(AllZero(directory, MaxPathLength));
        EXPECT_TRUE(AllZero(pattern, MaxPathLength));
        EXPECT_EQ(depth, 0);

        EXPECT_EQ(decoder.FileListComplete(true, 6, "a.vid;"), DDA_FAILED);
        EXPECT_THAT(log.Take(), ElementsAre(Refusal(prefix + "GetListPath"),
                                            Refusal(prefix + "FileListComplete"), refusal.failureText));
    }
}

TEST_F(DispatchTest, UnwrittenEventStepsAnswerNoActionSilently) {
    for (DecoderState state : {DDS_QUERYING, DDS_LOADING, DDS_POSITIONING, DDS_POSITIONING_AUDIO,
                               DDS_DECOMPRESSING, DDS_DECOMPRESSING_AUDIO, DDS_UNLOADING, DDS_FAILING}) {
        SCOPED_TRACE(DecoderStateName(state));
        MinimalDecoder decoder;
        decoder.state = state;
        EXPECT_EQ(decoder.EventComplete(nullptr), DDA_NO_ACTION);
        EXPECT_EQ(decoder.state, state);
    }
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(DispatchTest, UnwrittenUnloadingAndFailingStepsRefuse) {
    MinimalDecoder unloading;
    unloading.state = DDS_UNLOADING;
    int32_t fileId = 0;
    unloading.GetFileToClose(&fileId);
    EXPECT_EQ(fileId, -1);
    EXPECT_EQ(unloading.CloseComplete(0), DDA_FAILED);
    EXPECT_EQ(unloading.state, DDS_IDLE);
    EXPECT_THAT(log.Take(), ElementsAre(Refusal("UnloadingGetFileToClose"), Refusal("UnloadingCloseComplete"),
                                        "Scripted DecoderFailure - DDS_UNLOADING\n"));

    MinimalDecoder failing;
    failing.state = DDS_FAILING;
    failing.stateBeforeFailure = DDS_LOADED;
    failing.GetFileToClose(&fileId);
    EXPECT_EQ(fileId, -1);
    EXPECT_EQ(failing.CloseComplete(0), DDA_NO_ACTION);
    EXPECT_EQ(failing.state, DDS_IDLE);
    EXPECT_THAT(log.Take(), ElementsAre(Refusal("FailingGetFileToClose"), Refusal("FailingCloseComplete"),
                                        "Scripted DecoderFailure with state DDS_LOADED\n"));
}

} // namespace
} // namespace Vorn::Vorncast::Decoders::Testing
