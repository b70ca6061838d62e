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

// An operation of the phase machine under the name its log lines give it.
struct Operation {
    const char* name;
    DecoderAction (*perform)(ScriptedDecoder&);
};

// clang-format off
const Operation Query{"Query", [](ScriptedDecoder& d) { return d.Query("/rec/a.vid", 0); }};
const Operation Load{"Load", [](ScriptedDecoder& d) { return d.Load("/rec/a.vid", -1); }};
const Operation Unload{"Unload", [](ScriptedDecoder& d) { return d.Unload(); }};
const Operation GoTo{"GoToFrame", [](ScriptedDecoder& d) { return d.GoToFrame(1); }};
const Operation GoToAudio{"GoToAudioFrame", [](ScriptedDecoder& d) { return d.GoToAudioFrame(1); }};
const Operation Decompress{"Decompress", [](ScriptedDecoder& d) { return d.Decompress(); }};
const Operation DecompressAudio{"DecompressAudio", [](ScriptedDecoder& d) { return d.DecompressAudio(); }};
const Operation Open{"Open", [](ScriptedDecoder& d) { return d.OpenComplete(0, 1); }};
const Operation Close{"Close", [](ScriptedDecoder& d) { return d.CloseComplete(0); }};
const Operation Read{"Read", [](ScriptedDecoder& d) { return d.ReadComplete(0, true); }};
const Operation Event{"Event", [](ScriptedDecoder& d) { return d.EventComplete(nullptr); }};
const Operation List{"FileList", [](ScriptedDecoder& d) { return d.FileListComplete(true, 0, ""); }};
const Operation Failure{"DecoderFailure", [](ScriptedDecoder& d) { return d.DecoderFailure(); }};
// clang-format on

// One step of the phase machine: in `state` (a failing one failed while querying), `operation` runs;
// the decoder's own core or step, if reached, answers `reply`. The operation returns `result`, leaves
// the decoder in `next`, calls the decoder's `step` (or none) and logs `log`.
struct Transition {
    DecoderState state;
    Operation operation;
    DecoderAction reply;
    DecoderAction result;
    DecoderState next;
    std::string step;
    std::vector<std::string> log = {};
};

// clang-format off
std::vector<Transition> Transitions() {
    std::vector<Transition> rows = {
        // Query and load start from idle or queried; a core that ends at once leaves the decoder idle.
        {DDS_IDLE, Query, DDA_COMPLETE, DDA_COMPLETE, DDS_IDLE, "QueryingCore"},
        {DDS_IDLE, Query, DDA_FAILED, DDA_FAILED, DDS_IDLE, "QueryingCore"},
        {DDS_IDLE, Query, DDA_OPEN, DDA_OPEN, DDS_QUERYING, "QueryingCore"},
        {DDS_QUERIED, Query, DDA_OPEN, DDA_OPEN, DDS_QUERYING, "QueryingCore"},
        {DDS_LOADED, Query, DDA_OPEN, DDA_FAILED, DDS_LOADED, "", {"BaseDecoder::Query BAD STATE 1\n"}},
        {DDS_IDLE, Load, DDA_COMPLETE, DDA_COMPLETE, DDS_IDLE, "LoadingCore"},
        {DDS_IDLE, Load, DDA_FAILED, DDA_FAILED, DDS_IDLE, "LoadingCore"},
        {DDS_QUERIED, Load, DDA_OPEN, DDA_OPEN, DDS_LOADING, "LoadingCore"},
        {DDS_IDLE, Unload, DDA_CLOSE, DDA_COMPLETE, DDS_IDLE, ""},
        {DDS_LOADED, Unload, DDA_COMPLETE, DDA_COMPLETE, DDS_IDLE, "UnloadingCore"},
        {DDS_LOADED, Unload, DDA_CLOSE, DDA_CLOSE, DDS_UNLOADING, "UnloadingCore"},
        {DDS_LOADING, Unload, DDA_CLOSE, DDA_FAILED, DDS_LOADING, "", {"BaseDecoder::Unload BAD STATE 2\n"}},
        {DDS_UNLOADING, Close, DDA_CLOSE, DDA_CLOSE, DDS_UNLOADING, "UnloadingCloseComplete"},
        {DDS_UNLOADING, Close, DDA_FAILED, DDA_FAILED, DDS_IDLE, "UnloadingCloseComplete"},
        {DDS_UNLOADING, Event, DDA_COMPLETE, DDA_COMPLETE, DDS_IDLE, "UnloadingEventComplete"},
        // Frame phases run from the loaded state only; one that waits on a file stays in its state.
        {DDS_LOADED, GoTo, DDA_READ, DDA_READ, DDS_POSITIONING, "PositioningCore"},
        {DDS_LOADED, Decompress, DDA_FAILED, DDA_FAILED, DDS_LOADED, "DecompressingCore"},
        {DDS_POSITIONING, GoTo, DDA_COMPLETE, DDA_FAILED, DDS_POSITIONING, "",
            {"BaseDecoder::GoToFrame BAD STATE 4\n"}},
        {DDS_FAILING, Close, DDA_CLOSE, DDA_CLOSE, DDS_FAILING, "FailingCloseComplete"},
        {DDS_FAILING, Event, DDA_COMPLETE, DDA_COMPLETE, DDS_FAILING, "FailingEventComplete"},
        // A completing step ends a query queried and a load loaded; a failed one without a decoder
        // failure leaves the phase running.
        {DDS_QUERYING, Read, DDA_FAILED, DDA_FAILED, DDS_QUERYING, "QueryingReadComplete"},
        {DDS_LOADING, Close, DDA_COMPLETE, DDA_COMPLETE, DDS_LOADED, "LoadingCloseComplete"},
        {DDS_LOADING, Open, DDA_FAILED, DDA_FAILED, DDS_LOADING, "LoadingOpenComplete"},
        {DDS_LOADING, List, DDA_COMPLETE, DDA_COMPLETE, DDS_LOADED, "LoadingFileListComplete"},
        // A decoder failure outside the frame phases ends idle, answered by the former state.
        {DDS_IDLE, Failure, DDA_NO_ACTION, DDA_NO_ACTION, DDS_IDLE, "FailingCore",
            {"Scripted DecoderFailure with state DDS_IDLE\n"}},
        {DDS_LOADED, Failure, DDA_NO_ACTION, DDA_NO_ACTION, DDS_IDLE, "FailingCore",
            {"Scripted DecoderFailure with state DDS_LOADED\n"}},
        {DDS_LOADING, Failure, DDA_NO_ACTION, DDA_FAILED, DDS_IDLE, "FailingCore",
            {"Scripted DecoderFailure - DDS_LOADING\n"}},
    };
    for (const Operation& operation : {Open, Close, Event, Read}) {
        std::string name = std::string(operation.name) + "Complete";
        rows.push_back({DDS_IDLE, operation, DDA_COMPLETE, DDA_NO_ACTION, DDS_IDLE, "",
            {"Scripted " + name + " with state DDS_IDLE\n"}});
        rows.push_back({DDS_LOADED, operation, DDA_COMPLETE, DDA_NO_ACTION, DDS_IDLE, "FailingCore",
            {"Scripted " + name + " with state DSS_LOADED\n", "Scripted DecoderFailure with state DDS_LOADED\n"}});
        rows.push_back({DDS_QUERYING, operation, DDA_COMPLETE, DDA_COMPLETE, DDS_QUERIED, "Querying" + name});
        rows.push_back({DDS_LOADING, operation, DDA_READ, DDA_READ, DDS_LOADING, "Loading" + name});
    }
    for (const Operation& operation : {GoTo, GoToAudio, Decompress, DecompressAudio}) {
        rows.push_back({DDS_IDLE, operation, DDA_COMPLETE, DDA_FAILED, DDS_IDLE, "",
            {"BaseDecoder::" + std::string(operation.name) + " BAD STATE 0\n"}});
    }
    // In a frame phase each completion reaches that phase's step; a failed read ends the phase, other
    // failed steps leave it waiting, and a decoder failure fails the frame alone.
    const std::pair<DecoderState, const char*> framePhases[] = {
        {DDS_POSITIONING, "Positioning"},
        {DDS_POSITIONING_AUDIO, "PositioningAudio"},
        {DDS_DECOMPRESSING, "Decompressing"},
        {DDS_DECOMPRESSING_AUDIO, "DecompressingAudio"}};
    for (const auto& [state, phase] : framePhases) {
        for (const Operation& operation : {Open, Close, Event}) {
            std::string step = phase + std::string(operation.name) + "Complete";
            rows.push_back({state, operation, DDA_FAILED, DDA_FAILED, state, step});
            rows.push_back({state, operation, DDA_READ, DDA_READ, state, step});
        }
        rows.push_back(
            {state, Read, DDA_FAILED, DDA_FAILED, DDS_LOADED, phase + std::string("ReadComplete")});
        rows.push_back(
            {state, Event, DDA_COMPLETE, DDA_COMPLETE, DDS_LOADED, phase + std::string("EventComplete")});
        rows.push_back({state, Failure, DDA_NO_ACTION, DDA_FAILED, state, "",
            {"Scripted DecoderFailure - " + std::string(DecoderStateName(state)) + "\n"}});
    }
    return rows;
}
// clang-format on

TEST(BaseDecoderTest, EveryTransitionOfThePhaseMachine) {
    for (const Transition& row : Transitions()) {
        SCOPED_TRACE(std::string(DecoderStateName(row.state)) + " " + row.operation.name + " -> " +
                     DecoderStateName(row.next));
        LogCapture log;
        ScriptedDecoder decoder;
        decoder.state = row.state;
        decoder.stateBeforeFailure = DDS_QUERYING;
        decoder.totalFrames = 5;
        decoder.defaultReply = row.reply;
        decoder.Script("QueryingCore", row.reply);
        DecoderAction result = row.operation.perform(decoder);
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(decoder.state, row.next);
        if (row.step.empty()) {
            EXPECT_THAT(decoder.calls, IsEmpty());
        } else {
            EXPECT_THAT(decoder.calls, ::testing::Contains(row.step));
        }
        EXPECT_EQ(log.lines, row.log);
    }
}

class BaseDecoderScenario : public ::testing::Test {
protected:
    LogCapture log;
    ScriptedDecoder decoder;
};

TEST_F(BaseDecoderScenario, QueryKeepsItsPathAndConfidenceAndClearsWhatTheLastRunLeft) {
    decoder.currentFrame = 3;
    decoder.Abort();
    decoder.Script("QueryingCore", [this] {
        decoder.queryConfidence = 80;
        return DDA_COMPLETE;
    });
    std::string longPath = "/rec/" + std::string(400, 'p');
    EXPECT_EQ(decoder.Query(longPath.c_str(), 0), DDA_COMPLETE);
    EXPECT_EQ(std::string(decoder.loadName), longPath.substr(0, 260));
    EXPECT_EQ(decoder.currentFrame, -1);
    EXPECT_EQ(decoder.GetConfidence(), 80);
    EXPECT_FALSE(decoder.aborted);

    ScriptedDecoder idle;
    EXPECT_EQ(idle.Query("", 0), DDA_FAILED);
    EXPECT_EQ(idle.Query(nullptr, 0), DDA_FAILED);
    EXPECT_EQ(idle.Load("", -1), DDA_FAILED);
    EXPECT_THAT(log.lines, ElementsAre("BaseDecoder::Query BAD STATE 0\n", "BaseDecoder::Query BAD STATE 0\n",
                                       "BaseDecoder::Load BAD STATE 0\n"));

    decoder.Abort();
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_FALSE(decoder.aborted);
}

TEST_F(BaseDecoderScenario, AbortDuringALoadFailsItAtTheNextStep) {
    decoder.Script("LoadingCore", DDA_OPEN);
    decoder.Script("LoadingOpenComplete", [this] {
        decoder.Abort();
        return DDA_READ;
    });
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.OpenComplete(0, 100), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    EXPECT_FALSE(decoder.aborted);
    EXPECT_THAT(log.Take(), ElementsAre("BaseDecoder::OpenComplete Aborting\n",
                                        "Scripted DecoderFailure - DDS_LOADING\n"));
    // An abort before a read completes fails the load with the same text.
    decoder.Script("LoadingCore", DDA_READ);
    decoder.Load("/rec/a.vid", -1);
    decoder.Abort();
    EXPECT_EQ(decoder.ReadComplete(0, true), DDA_FAILED);
    EXPECT_THAT(log.Take(), ElementsAre("BaseDecoder::OpenComplete Aborting\n",
                                        "Scripted DecoderFailure - DDS_LOADING\n"));

    // The host's abort callback is polled at the close and event steps and its answer latched.
    static int32_t abortAnswer = 0;
    abortAnswer = 0;
    decoder.SetAbortCallback([] { return abortAnswer; });
    decoder.Script("LoadingCore", DDA_CLOSE);
    decoder.Script("LoadingCloseComplete", DDA_WAIT_EVENT);
    decoder.Load("/rec/a.vid", -1);
    EXPECT_EQ(decoder.CloseComplete(0), DDA_WAIT_EVENT);
    abortAnswer = 1;
    EXPECT_EQ(decoder.EventComplete(nullptr), DDA_FAILED);
    EXPECT_EQ(decoder.state, DDS_IDLE);
    abortAnswer = 1;
    EXPECT_TRUE(decoder.IsAborted());
    abortAnswer = 0;
    EXPECT_TRUE(decoder.IsAborted()) << "latched";
    decoder.Query("/rec/a.vid", 0);
    EXPECT_FALSE(decoder.IsAborted());
}

TEST_F(BaseDecoderScenario, UnloadClearsTheCountersOnlyWhenItEndsAfterFileActions) {
    LoadThroughOneOpen(decoder, 5);
    decoder.GoToFrame(2);
    EXPECT_EQ(decoder.Unload(), DDA_COMPLETE);
    EXPECT_EQ(decoder.GetTotalFrames(), 5);
    EXPECT_EQ(decoder.currentFrame, 2);

    LoadThroughOneOpen(decoder, 5);
    decoder.totalTracks = 2;
    decoder.GoToFrame(2);
    decoder.GoToAudioFrame(3);
    decoder.Script("UnloadingCore", DDA_CLOSE);
    decoder.Script("UnloadingCloseComplete", DDA_COMPLETE);
    EXPECT_EQ(decoder.Unload(), DDA_CLOSE);
    EXPECT_EQ(decoder.GetTotalFrames(), 5);
    EXPECT_EQ(decoder.CloseComplete(ScriptedDecoder::CloseId), DDA_COMPLETE);
    EXPECT_EQ(decoder.totalFrames, 0);
    EXPECT_EQ(decoder.totalTracks, 0);
    EXPECT_EQ(decoder.currentFrame, -1);
    EXPECT_EQ(decoder.currentAudioFrame, -1);
}

TEST_F(BaseDecoderScenario, FramePhasesDoNotRunWhenAborted) {
    LoadThroughOneOpen(decoder);
    decoder.GoToFrame(3);
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
}

class TrackedDecoder : public ScriptedDecoder {
public:
    bool GetTrackInfo(int32_t track, char*, FrameTimes*, FrameTimes*, int32_t* frames, bool*) override {
        lastTrackAsked = track;
        *frames = 10 * (track + 1);
        return true;
    }
    int32_t lastTrackAsked = -1;
};

TEST_F(BaseDecoderScenario, SelectTrackCountsTheFramesOfAnExistingTrackOnly) {
    TrackedDecoder decoder;
    decoder.totalTracks = 3;
    decoder.currentFrame = 2;
    decoder.SelectTrack(-1);
    decoder.SelectTrack(3);
    EXPECT_EQ(decoder.lastTrackAsked, -1);
    EXPECT_EQ(decoder.currentFrame, 2);
    decoder.SelectTrack(2);
    EXPECT_EQ(decoder.GetTotalFrames(), 30);
    EXPECT_EQ(decoder.currentFrame, -1);
}

TEST_F(BaseDecoderScenario, TimeSpanFillsMissingStreamTimesAndTicksClearTheZone) {
    FrameTimes first{}, last{}, got{};
    first.recordedTime = 1000;
    first.zoneBias = 7;
    last.recordedTime = 5000;
    last.streamTime = 40;
    decoder.SetTimeSpan(first, last);
    decoder.GetFirstFrameTimes(&got);
    EXPECT_EQ(got.streamTime, 1000);
    EXPECT_EQ(got.zoneBias, 7);
    decoder.GetLastFrameTimes(&got);
    EXPECT_EQ(got.streamTime, 40);

    decoder.SetTimeSpan(int64_t{630000000000000000}, int64_t{630000000100000000});
    decoder.GetFirstFrameTimes(&got);
    EXPECT_EQ(got.zoneBias, 0);
    decoder.GetLastFrameTimes(&got);
    EXPECT_EQ(got.streamTime, 630000000100000000);
}

} // namespace
} // namespace Vorn::Vorncast::Decoders::Testing
