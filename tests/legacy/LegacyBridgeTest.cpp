// The legacy bridge through the C interface, over a format decoder of the tests' own in one row of
// the decoder table.
#include "core/client/DecoderTable.h"
#include "fixtures/codecs/CodecRecording.h"
#include "formats/RecordingFixture.h"
#include "interface/LibraryFrame.h"
#include "legacy/LegacyDecoderHost.h"
#include "legacy/LegacyDecoderVideoStream.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <vorncast/VorncastDecoders.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace Hardening;
using namespace Vorn::Vorncast;

namespace {

using FormatTests::Delivered;
using FormatTests::GuidOf;
using FormatTests::NeverAbort;
using FormatTests::RecordingTest;

// The message of the last error without its " (file:line)" suffix.
inline std::string LastErrorMessage() {
    std::string text = RecordingTest::LastError();
    return text.substr(0, text.rfind(" ("));
}

// Two cameras, 0 and 2, taking turns except at the end: ten pictures 40 ms apart.
inline CodecRecording TwoCameras() {
    CodecRecording recording;
    const uint16_t cameras[] = {0, 2, 0, 2, 0, 2, 0, 0, 2, 0};
    for (int32_t step = 0; step < 10; ++step) {
        recording.records.push_back({PictureRecord, cameras[step], TimeAt(step)});
    }
    return recording;
}

// Indexes in the file of the records of one camera, or of the sound, in order.
inline std::vector<size_t> RecordsOf(const CodecRecording& recording, int camera,
                                     uint8_t kind = PictureRecord) {
    std::vector<size_t> found;
    for (size_t index = 0; index < recording.records.size(); ++index) {
        const Record& record = recording.records[index];
        if ((record.kind == AudioRecord) == (kind == AudioRecord) && record.camera == camera) {
            found.push_back(index);
        }
    }
    return found;
}

inline VcSampleRequest Request(int32_t wantData = 1, VcAbortOperation abort = NeverAbort) {
    return {.abort = abort, .wantData = wantData};
}

inline VcSeekRequest SeekTo(int64_t time, int32_t wantData = 1, VcAbortOperation abort = NeverAbort) {
    return {.abort = abort, .wantData = wantData, .targetTime = time};
}

// The tests' format decoder in one row of the decoder table, swapped in before the collection is
// made, so that the row's entry describes it.
class LegacyFixture : public RecordingTest {
protected:
    static constexpr int32_t Row = 1;
    static constexpr const char* Url = "rec/clip.vcr";

    void SetUp() override {
        previous = DecoderTable::Swap(Row, &codec);
        RecordingTest::SetUp();
    }

    void TearDown() override {
        RecordingTest::TearDown();
        DecoderTable::Swap(Row, previous);
    }

    int CreateDecoder() {
        return Decoder_Create(collection, GuidOf(CodecRecordingDecoder::Guid), -1, -1, &decoder);
    }

    // Loads `url` with the decoder already created.
    int LoadWith(const char* url = Url, VcAbortOperation abort = NeverAbort,
                 VcProgressCallback progress = nullptr, VcMessageCallback message = nullptr) {
        int resources = 0;
        return Decoder_Load(decoder, static_cast<int>(std::string(url).size()), url, progress, message, abort,
                            &resources);
    }

    int StreamOf(int index) {
        int stream = 0;
        EXPECT_EQ(Track_GetStream(track, index, &stream), 0);
        return stream;
    }

    CodecRecordingDecoder codec;
    BaseDecoder* previous = nullptr;
};

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

class LegacyStreamTest : public LegacyFixture {
protected:
    // Checks a delivered picture against record `index`: its pixels, or black for a damaged record,
    // and its time.
    void ExpectPicture(const Delivered& sample, size_t index) {
        ASSERT_EQ(sample.status, 0) << LastError();
        const Record& written = recording.records[index];
        std::vector<uint8_t> expected = recording.Payload(index);
        if (written.kind == DamagedPicture) {
            std::fill(expected.begin(), expected.end(), 0);
        }
        EXPECT_EQ(sample.data, expected) << "record " << index;
        EXPECT_EQ(sample.time.recordedTime, written.time);
        EXPECT_EQ(sample.time.streamTime, written.time);
    }

    void StepTo(int stream, bool forward, size_t record) {
        const Delivered sample = forward ? Next(stream) : Previous(stream);
        ExpectPicture(sample, record);
        const VcPublicVideoDescription description = VideoDescription(stream, sample);
        EXPECT_EQ(description.width, recording.width);
        EXPECT_EQ(description.height, recording.height);
    }

    // A step off either end fails with its status; a second one answers from the remembered end
    // at once, before the abort callback is asked.
    void ExpectEnd(int stream, bool forward) {
        for (VcAbortOperation abort : {NeverAbort, AlwaysAbort}) {
            VcSample sample{};
            EXPECT_EQ(forward ? Stream_GetNextSample(stream, Request(1, abort), &sample)
                              : Stream_GetPreviousSample(stream, Request(1, abort), &sample),
                      forward ? EndOfStreamAfterEnd : EndOfStreamBeforeStart);
            EXPECT_EQ(sample.uncompressedData, nullptr);
            if (forward && abort == NeverAbort) {
                EXPECT_EQ(LastErrorMessage(), "Legacy decoder reported nextFrame = -1");
            }
        }
    }

    // Seeks without data to every step time from behind the end to before the start: each gives
    // the time of the channel's own record at or before the target, and no picture (sound blocks
    // come whatever the request).
    void ExpectSeeksFindTheChannelsRecord(int stream, const std::vector<size_t>& own, bool video) {
        for (int32_t step = 40; step >= -1; --step) {
            auto at = std::find_if(own.rbegin(), own.rend(), [&](size_t record) {
                return recording.records[record].time <= TimeAt(step);
            });
            const Delivered sample = GoTo(stream, TimeAt(step), false);
            if (at == own.rend()) {
                EXPECT_EQ(sample.status, EndOfStreamBeforeStart) << step;
                EXPECT_EQ(LastErrorMessage(), "GoToTime before start of stream");
            } else {
                ASSERT_EQ(sample.status, 0) << step << LastError();
                EXPECT_EQ(sample.time.recordedTime, recording.records[*at].time) << step;
                EXPECT_EQ(sample.data.empty(), video) << step;
            }
        }
    }

    CodecRecording recording = TwoCameras();
};

int polls = 0;
int abortAtPoll = 0;
int AbortOnPoll() {
    return ++polls == abortAtPoll ? 1 : 0;
}

} // namespace

// The quick level accepts any address.
TEST_F(LegacyHostTest, QueryLevels) {
    ASSERT_EQ(CreateDecoder(), 0);
    for (const char* url : {"", "nowhere/nothing.xyz"}) {
        VcQueryResult result;
        std::memset(&result, 0x5A, sizeof result);
        ASSERT_EQ(Query(decoder, url, 0, &result), 0);
        EXPECT_EQ(result.canLoad, 1);
        EXPECT_EQ(result.hasTimes, 0);
        EXPECT_EQ(result.hasFrameCount, 0);
        EXPECT_EQ(result.reserved, 0);
    }

    // The detailed level reports what the format's query found.
    files.AddFile(Url, TwoCameras().Bytes());
    files.AddFile("rec/other.vcr", std::string(40, 'x'));
    VcQueryResult result{};
    ASSERT_EQ(Query(decoder, Url, 1, &result), 0);
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

    ASSERT_EQ(Query(decoder, "rec/other.vcr", 1, &result), 0);
    EXPECT_EQ(result.canLoad, 0);

    // A failed open reports its counts as -1; the audio count is nonzero and so counts as given.
    result = VcQueryResult{};
    ASSERT_EQ(Query(decoder, "rec/missing.vcr", 1, &result), 0);
    EXPECT_EQ(result.canLoad, 0);
    EXPECT_EQ(result.hasFrameCount, 1);
    EXPECT_EQ(result.frameCountLow, 0xFFFFFFFFu);
    EXPECT_EQ(result.frameCountHigh, 0xFFFFFFFFu);
    EXPECT_EQ(result.hasTimes, 0);
}

TEST_F(LegacyHostTest, TwoDarlexDisplayNamesLoadWhateverTheCoreSays) {
    for (const char* name : {"Tecton Darlex (Tracked frames only)", "Tecton Darlex (All frames)",
                             "__LEGACY__ Tecton Darlex (All frames)"}) {
        codec.displayName = name;
        int named = 0;
        ASSERT_EQ(DecoderCollection_Create(nullptr, &named), 0);
        int host = 0;
        ASSERT_EQ(Decoder_Create(named, GuidOf(CodecRecordingDecoder::Guid), -1, -1, &host), 0);
        VcQueryResult result{};
        ASSERT_EQ(Query(host, Url, 1, &result), 0); // there is no file: the core says no
        EXPECT_EQ(result.canLoad, name[0] == 'T' ? 1 : 0) << name;
        Decoder_Release(host);
        DecoderCollection_Release(named);
    }
}

TEST_F(LegacyHostTest, DetailedQueryAndLoadNeedTheEntryInTheirCollection) {
    int early = 0;
    ASSERT_EQ(DecoderCollection_Create(nullptr, &early), 0);
    int host = 0;
    ASSERT_EQ(Decoder_Create(early, GuidOf(CodecRecordingDecoder::Guid), -1, -1, &host), 0);
    ASSERT_EQ(DecoderCollection_Release(early), 0);
    VcQueryResult result{};
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
    EXPECT_EQ(LoadWith("rec/missing.vcr"), CatastrophicFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 1");
    EXPECT_EQ(LoadWith("rec/bad.vcr"), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 0");
    int count = -1;
    EXPECT_EQ(Decoder_GetTrackCount(decoder, &count), 0);
    EXPECT_EQ(count, 0);

    // The core reports a user abort as a normal failure, so the load never sees an abort result.
    VcQueryResult result{};
    ASSERT_EQ(Query(decoder, Url, 1, &result), 0); // leaves the abort hook in the format decoder
    EXPECT_EQ(LoadWith(Url, AlwaysAbort), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClientResult 0");
    EXPECT_EQ(codec.GetState(), DDS_IDLE);
}

TEST_F(LegacyHostTest, CoreProgressAndTextsReachTheNewestHostsCallbacks) {
    files.AddFile(Url, TwoCameras().Bytes());
    progressSeen.clear();
    messagesSeen.clear();
    ASSERT_EQ(CreateDecoder(), 0);
    FileTesting::LogCapture log;
    ASSERT_EQ(LoadWith(Url, NeverAbort, SeeProgress, SeeMessage), 0);
    ASSERT_EQ(progressSeen.size(), 10u);
    for (size_t index = 0; index < progressSeen.size(); ++index) {
        EXPECT_DOUBLE_EQ(progressSeen[index], (index + 1) / 10.0);
    }
    // The texts go to the library log; the message callback hears the level of each.
    EXPECT_TRUE(log.Contains("width = 4    height = 3    planes = 3     frames = 10\n", LogEvent));
    EXPECT_TRUE(log.Contains(Url, LogEvent));
    EXPECT_GE(std::count(messagesSeen.begin(), messagesSeen.end(), LogEvent), 2);

    // Only the newest host hears the core.
    ASSERT_EQ(Decoder_Close(decoder), 0);
    progressSeen.clear();
    messagesSeen.clear();
    int newer = 0;
    VcGuid other;
    ASSERT_TRUE(Vorn::ParseGuid("{CE01A3D4-5141-46a6-AB06-6AAFA85C60A1}", &other));
    ASSERT_EQ(Decoder_Create(collection, other, -1, -1, &newer), 0);
    ASSERT_EQ(LoadWith(Url, NeverAbort, SeeProgress, SeeMessage), 0);
    EXPECT_TRUE(progressSeen.empty());
    EXPECT_TRUE(messagesSeen.empty());
    EXPECT_EQ(Decoder_Release(newer), 0);
    EXPECT_EQ(LegacyDecoderHost::CurrentHost(), nullptr);
}

TEST_F(LegacyHostTest, CloseOrReleaseHandsTheSharedFormatDecoderBackIdle) {
    files.AddFile(Url, TwoCameras().Bytes());
    for (bool close : {true, false}) {
        ASSERT_EQ(CreateDecoder(), 0);
        ASSERT_EQ(LoadWith(), 0);
        if (close) {
            EXPECT_EQ(Decoder_Close(decoder), 0);
        }
        ASSERT_EQ(Decoder_Release(decoder), 0);
        decoder = 0;
    }
    ASSERT_EQ(CreateDecoder(), 0);
    EXPECT_EQ(LoadWith(), 0);
}

// Three cameras at an uneven pace, one damaged picture, which arrives black at its time, and three
// blocks of sound between the pictures.
TEST_F(LegacyStreamTest, AutodetectedRecordingGivesBackEveryRecordOfEveryChannel) {
    recording = CodecRecording{};
    recording.width = 8;
    recording.height = 6;
    recording.audioBytes = 6;
    const uint16_t cameras[] = {1, 5, 1, 7, 7, 1, 5, 1, 7, 1, 1, 5};
    for (int32_t step = 0; step < 12; ++step) {
        recording.records.push_back(
            {step == 6 ? DamagedPicture : PictureRecord, cameras[step], TimeAt(step * 3)});
    }
    for (int32_t step : {4, 13, 22}) {
        recording.records.push_back({AudioRecord, 0, TimeAt(step) + 1});
    }
    const char* url = "Export/Day1/clip.vcr";
    files.AddFile(url, recording.Bytes());
    ASSERT_EQ(Autodetected(url, true), "Codec Recording");

    int count = 0;
    ASSERT_EQ(Decoder_GetTrackCount(decoder, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Decoder_GetTrack(decoder, 1, &track), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "Failed to retrieve track\n");
    ASSERT_EQ(Decoder_GetTrack(decoder, 0, &track), 0);
    VcTrackInfo trackInfo{};
    ASSERT_EQ(Track_GetInfo(track, &trackInfo), 0);
    ASSERT_EQ(trackInfo.streamCount, 4);
    EXPECT_EQ(trackInfo.startTime.recordedTime, TimeAt(0));
    EXPECT_EQ(trackInfo.endTime.recordedTime, TimeAt(33));
    const struct {
        int32_t number, type;
        const char* name;
        std::vector<size_t> own;
    } channels[] = {{1, StreamVideo, "Camera 1", RecordsOf(recording, 1)},
                    {5, StreamVideo, "Camera 5", RecordsOf(recording, 5)},
                    {7, StreamVideo, "Camera 7", RecordsOf(recording, 7)},
                    {0, StreamAudio, "Microphone", RecordsOf(recording, 0, AudioRecord)}};
    for (int index = 0; index < 4; ++index) {
        const auto& channel = channels[index];
        const int stream = StreamOf(index);
        VcStreamInfo info{};
        ASSERT_EQ(Stream_GetInfo(stream, &info), 0);
        ASSERT_EQ(info.streamNumber, channel.number);
        EXPECT_EQ(info.type, channel.type);
        EXPECT_EQ(StreamName(stream), channel.name);
        ExpectSeeksFindTheChannelsRecord(stream, channel.own, channel.type == StreamVideo);
        if (channel.type == StreamAudio) {
            continue;
        }
        for (size_t next = 0; next < channel.own.size(); ++next) {
            StepTo(stream, true, channel.own[next]);
        }
        ExpectEnd(stream, true);
        for (size_t back = channel.own.size(); back-- > 0;) {
            StepTo(stream, false, channel.own[back]);
        }
        ExpectEnd(stream, false);
        StepTo(stream, true, channel.own.front());
    }
    const int five = StreamOf(1);
    ExpectPicture(GoTo(five, TimeAt(18)), 6);
    StepTo(five, false, 1);
    VcSample sample{};
    ASSERT_EQ(Stream_GetNextSample(five, Request(0), &sample), 0);
    EXPECT_EQ(sample.uncompressedData, nullptr);
    EXPECT_EQ(sample.uncompressedSize, 8u * 6 * 3);

    // Sound arrives block by block with plain time flags.
    const int sound = StreamOf(3);
    for (size_t record : channels[3].own) {
        const Delivered block = Next(sound, false);
        ASSERT_EQ(block.status, 0) << LastError();
        EXPECT_EQ(block.data, recording.Payload(record));
        EXPECT_EQ(block.time.recordedTime, recording.records[record].time);
        EXPECT_EQ(block.time.zoneKnown, 1);
        const VcPublicAudioDescription description = AudioDescription(sound, block);
        EXPECT_EQ(description.sampleRate, 8000);
        EXPECT_EQ(description.maxSampleBytes, 6);
        VcPublicVideoDescription wrong{};
        EXPECT_EQ(Stream_GetVideoSampleDescription(sound, block.descriptionHandle, &wrong), InvalidHandle);
    }
    EXPECT_EQ(Stream_GetNextSample(sound, Request(), &sample), EndOfStreamAfterEnd);
}

TEST_F(LegacyStreamTest, RefusedAndAbortedCallsLeaveTheStreamWhereItStood) {
    files.AddFile(Url, recording.Bytes());
    ASSERT_EQ(Load(CodecRecordingDecoder::Guid, Url), 0) << LastError();
    int zero = StreamOf(0);
    StepTo(zero, true, 0);
    VcSample sample{};
    EXPECT_EQ(Stream_GetNextSample(zero, Request(1, nullptr), &sample), InvalidArgument);
    EXPECT_EQ(LastErrorMessage(), "GetNextSample > AbortOperation is NULL. Not allowed\n");
    EXPECT_EQ(Stream_GetPreviousSample(zero, Request(1, nullptr), &sample), InvalidArgument);
    EXPECT_EQ(LastErrorMessage(), "GetNextSample > AbortOperation is NULL. Not allowed\n");
    EXPECT_EQ(Stream_GoToTime(zero, SeekTo(TimeAt(2), 1, nullptr), &sample), InvalidArgument);
    EXPECT_EQ(LastErrorMessage(), "GoToTime > AbortOperation is NULL. Not allowed\n");
    // The checks before and after the walk to the next frame.
    for (int poll : {1, 2}) {
        polls = 0;
        abortAtPoll = poll;
        EXPECT_EQ(Stream_GetNextSample(zero, Request(1, AbortOnPoll), &sample), UserAborted);
        EXPECT_EQ(LastErrorMessage(), "Operation was aborted by user");
        EXPECT_EQ(sample.uncompressedData, nullptr);
    }
    polls = 0;
    abortAtPoll = 1;
    EXPECT_EQ(Stream_GoToTime(zero, SeekTo(TimeAt(6), 1, AbortOnPoll), &sample), UserAborted);
    EXPECT_EQ(LastErrorMessage(), "Operation aborted by user");
    StepTo(zero, true, 2);
}

TEST_F(LegacyStreamTest, CatastrophicFailureOfTheCoreEndsTheStep) {
    files.AddFile(Url, recording.Bytes());
    ASSERT_EQ(Load(CodecRecordingDecoder::Guid, Url), 0) << LastError();
    int zero = StreamOf(0);
    StepTo(zero, true, 0);
    codec.brokenFrame = 1; // the second frame of the index, the first of camera 2
    StepTo(zero, true, 2);
    VcSample sample{};
    EXPECT_EQ(Stream_GetNextSample(StreamOf(1), Request(), &sample), CatastrophicFailure);
    EXPECT_EQ(LastErrorMessage(), "FileClient failed catastrophically");
    EXPECT_EQ(sample.uncompressedData, nullptr);
}

TEST_F(LegacyStreamTest, PicturesAboveTheSizeLimitAreRefusedBeforeAnyAllocation) {
    LegacyStreamSetup setup{nullptr, false, 0, 0, 1, {}, {}, Vorn::Buffer("big")};
    LegacyDecoderVideoStream tooLarge(setup, Decoders::ImageInfo{65535, 769, 3, 1, 1});
    VcSample sample{};
    EXPECT_EQ(tooLarge.DecompressSample(0, Request(), &sample), GeneralFailure);
    EXPECT_EQ(LastErrorMessage(), "Uncompressed image size was out of sensible range 151189245");
    // At the limit the picture passes the test and goes to the core, here a client that is missing.
    LegacyDecoderVideoStream atLimit(setup, Decoders::ImageInfo{65535, 768, 3, 1, 1});
    EXPECT_EQ(atLimit.DecompressSample(0, Request(0), &sample), CatastrophicFailure);
}
