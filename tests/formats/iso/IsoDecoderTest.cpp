// The phone and Vigilant decoders on files built from the box layout around MPEG-4 pictures encoded
// at test time; the box parser alone only for what no such file reaches.
#include "core/time/TimeZoneInformation.h"
#include "fixtures/iso/IsoBoxWriter.h"
#include "fixtures/iso/IsoRecordings.h"
#include "formats/RecorderChecks.h"
#include "formats/iso/ISOMediaFile.h"
#include "formats/iso/IsoBoxTypes.h"

#include <cstring>
#include <set>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/allocator_interface.h>
#define VORNCAST_HEAP_STATISTICS 1
#endif
#endif

using namespace FormatTests;
using namespace IsoTest;
using namespace Vorn::Vorncast::Decoders;

namespace {

constexpr const char* PhoneMp4Guid = "4A53EA3D-0A11-4dec-B9BD-E0EAF808EB31";
constexpr const char* Phone3gpGuid = "CEABCACD-5446-41f9-94A2-3391B2C9F578";
constexpr const char* VigilantGuid = "ACEA0A02-8FE5-4770-BBBD-6D6745371F80";

// Recordings of one MPEG-4 clip encoded at test time, with the codec's own decoding of each frame.
class IsoClipTest : public RecorderTest {
protected:
    void MakeClip(const ClipSettings& settings) {
        ASSERT_TRUE(MakeMpeg4Clip(settings, &clip));
        reference = CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, clip.video, false);
        ASSERT_EQ(reference.size(), clip.video.frames.size());
    }

    // Ticks from the first sample to sample `frame`: the deltas before it.
    int64_t SampleTicks(size_t frame) const {
        uint64_t units = 0;
        for (size_t before = 0; before < frame; ++before) {
            units += clip.track.deltas[before];
        }
        return static_cast<int64_t>(units * 10000000 / clip.track.timescale);
    }

    static void ExpectPicture(const Delivered& delivered, const CodecTest::Picture& expected, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame << ": " << LastError();
        ASSERT_EQ(delivered.data.size(), expected.Bytes());
        EXPECT_GE(CodecTest::Psnr(expected, delivered.data.data()), 40.0) << "frame " << frame;
    }

    // The size and aspect of the frame's description.
    void ExpectShape(int stream, const Delivered& frame, int width, int height, int aspectX, int aspectY) {
        const VcPublicVideoDescription description = VideoDescription(stream, frame);
        EXPECT_EQ(description.width, width);
        EXPECT_EQ(description.height, height);
        EXPECT_EQ(description.aspectNumerator, aspectX);
        EXPECT_EQ(description.aspectDenominator, aspectY);
    }

    static bool IsBlack(const Bytes& picture) {
        return !picture.empty() &&
               std::all_of(picture.begin(), picture.end(), [](uint8_t byte) { return byte == 0; });
    }

    VideoClip clip;
    std::vector<CodecTest::Picture> reference;
};

constexpr int64_t Created = 1600000000; // 2020-09-13 12:26:40 UTC

bool AnyLogContains(const std::string& part) {
    return std::ranges::any_of(LoggedTexts(),
                               [&](const std::string& text) { return text.find(part) != std::string::npos; });
}

TrackLayout AmrTrack(const char* format, uint8_t framesPerSample) {
    const Bytes children = std::string(format) == "samr" ? AmrSpecificBox(framesPerSample) : Bytes();
    TrackLayout sound{
        .kind = TrackLayout::Sound, .entries = {AudioEntry(format, 1, 8000, children)}, .timescale = 8000};
    for (int frame = 0; frame < 5; ++frame) {
        sound.samples.push_back(Bytes(32, static_cast<uint8_t>(frame)));
        sound.deltas.push_back(160u * framesPerSample);
    }
    return sound;
}

class IsoDecoderTest : public IsoClipTest {
protected:
    void SetUp() override {
        IsoClipTest::SetUp();
        MakeClip(ClipSettings());
    }

    // The time of frame `frame` as the file gives it: creation plus the deltas before it.
    int64_t FrameTime(size_t frame) const { return TicksFromUnix(Created) + SampleTicks(frame); }

    void ExpectFrame(const Delivered& delivered, size_t frame) {
        ExpectPicture(delivered, reference[frame], frame);
        EXPECT_EQ(delivered.time.recordedTime, FrameTime(frame)) << "frame " << frame;
        EXPECT_EQ(delivered.time.streamTime, FrameTime(frame)) << "frame " << frame;
    }

    Bytes PhoneFile() const { return WriteMovieFile(PhoneMovie(clip, Created)); }
};

// The movie box, last in the file, says it runs to the end of the file (size 0).
TEST_F(IsoDecoderTest, EveryFrameForwardAndBackIsTheReferencePictureAtItsOwnTime) {
    Bytes file = PhoneFile();
    WriteU32At(file, FindBox(file, "moov"), 0);
    AddFile("clip.mp4", file);
    ASSERT_EQ(Load(PhoneMp4Guid, "clip.mp4"), 0) << LastError();
    EXPECT_TRUE(WasLogged("DecodeISOMediaMp4::SetCodec Video codec mp4v\n"));
    const int stream = VideoStream();
    ASSERT_NE(stream, 0);
    EXPECT_EQ(AudioStream(), 0);
    const std::vector<Delivered> walked = StepThrough(
        stream, reference.size(), [&](const Delivered& frame, size_t index) { ExpectFrame(frame, index); });
    ASSERT_FALSE(walked.empty());
    ExpectShape(stream, walked[0], 96, 64, 96, 64);
    EXPECT_EQ(GoTo(stream, FrameTime(0) - 1).status, VC_EndOfStreamBeforeStart);
    ExpectFrame(GoTo(stream, FrameTime(7) + 5), 7);
    ExpectFrame(GoTo(stream, FrameTime(reference.size()) + 100000000), reference.size() - 1);
}

TEST_F(IsoDecoderTest, DecoderKeptWarmReadsOneSampleAFrameAndJumpsWalkFromTheKeyFrame) {
    ASSERT_EQ(clip.track.syncSamples, (std::vector<uint32_t>{0, 5, 10}));
    AddFile("clip.3gp", PhoneFile());
    ASSERT_EQ(Load(Phone3gpGuid, "clip.3gp"), 0) << LastError();
    const int stream = VideoStream();
    const auto readsFor = [&](auto step) {
        countingFiles.reads = 0;
        step();
        return countingFiles.reads;
    };
    for (size_t frame = 0; frame < 4; ++frame) {
        EXPECT_EQ(readsFor([&] { ExpectFrame(Next(stream), frame); }), 1) << "frame " << frame;
    }
    // From frame 3 to frame 8 the walk starts at the key frame 5.
    EXPECT_EQ(readsFor([&] { ExpectFrame(GoTo(stream, FrameTime(8)), 8); }), 4);
    EXPECT_EQ(readsFor([&] { ExpectFrame(GoTo(stream, FrameTime(8)), 8); }), 0);
    // Behind the last decoded frame the walk starts again at the key frame.
    EXPECT_EQ(readsFor([&] { ExpectFrame(GoTo(stream, FrameTime(6)), 6); }), 2);
    EXPECT_EQ(readsFor([&] { ExpectFrame(Next(stream), 7); }), 1);
    EXPECT_EQ(readsFor([&] { ExpectFrame(Next(stream), 8); }), 1);
    EXPECT_EQ(readsFor([&] { ExpectFrame(Previous(stream), 7); }), 3);
}

// A frame whose sample lies outside the file, and one the codec refuses, come black at their own
// times; the walk goes on from the next key frame.
TEST_F(IsoDecoderTest, LostAndRefusedFramesAreBlackAtTheirTimes) {
    MovieLayout movie = PhoneMovie(clip, Created);
    std::fill(movie.tracks[0].samples[7].begin(), movie.tracks[0].samples[7].end(), 0);
    Bytes file = WriteMovieFile(movie);
    // The first chunk offset (three samples a chunk) moved past the end of the file.
    WriteU32At(file, FindBox(file, "stco") + 16, static_cast<uint32_t>(file.size()) + 10);
    AddFile("damaged.mp4", file);
    ASSERT_EQ(Load(PhoneMp4Guid, "damaged.mp4"), 0) << LastError();
    const int stream = VideoStream();
    const auto expectBlack = [&](const Delivered& delivered, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame;
        EXPECT_TRUE(IsBlack(delivered.data)) << "frame " << frame;
        EXPECT_EQ(delivered.time.recordedTime, FrameTime(frame));
    };
    expectBlack(Next(stream), 0);
    EXPECT_TRUE(WasLogged("DecodeISOMedia::DecompressingReadComplete failed while positioning\n"));
    ExpectFrame(GoTo(stream, FrameTime(5)), 5);
    ExpectFrame(Next(stream), 6);
    expectBlack(Next(stream), 7);
    ExpectFrame(GoTo(stream, FrameTime(10)), 10);
}

TEST_F(IsoDecoderTest, ForeignFilesAreRefusedWithoutAText) {
    Bytes hikvision = PhoneFile();
    std::memcpy(hikvision.data(), "4HKH", 4);
    Bytes other = PhoneFile();
    ASSERT_EQ(std::string(other.begin() + 16, other.begin() + 20), "isom");
    std::memcpy(other.data() + 16, "VSES", 4);
    for (const Bytes& file : {hikvision, other}) {
        LoggedTexts().clear();
        AddFile("foreign.mp4", file);
        EXPECT_EQ(Load(PhoneMp4Guid, "foreign.mp4"), VC_GeneralFailure);
        EXPECT_FALSE(AnyLogContains("DecodeISOMedia")) << LoggedTexts().front();
    }
}

TEST_F(IsoDecoderTest, DamagedFilesFailWithTheirText) {
    Bytes cut = PhoneFile();
    cut.resize(cut.size() - 20);
    Bytes large = LargeBox("wide", Bytes(40, 0));
    large[15] = 200; // the 64-bit size runs past the file
    Bytes samples;
    for (const Bytes& sample : clip.track.samples) {
        Append(samples, sample);
    }
    Bytes badMovie = PhoneFile();
    WriteU32At(badMovie, FindBox(badMovie, "mvhd"), ReadU32At(badMovie, FindBox(badMovie, "moov")));
    // A box of size zero in front of the movie hides it: the box runs to the end of the file.
    MovieLayout hidden = PhoneMovie(clip, Created);
    Bytes skipToEnd;
    PutU32(skipToEnd, 0);
    PutCode(skipToEnd, "skip");
    hidden.leadingBoxes = {skipToEnd};
    // A box of size zero inside the movie runs past its parent.
    Bytes zeroTable = PhoneFile();
    WriteU32At(zeroTable, FindBox(zeroTable, "stts"), 0);
    Bytes zeroHeader = PhoneFile();
    WriteU32At(zeroHeader, FindBox(zeroHeader, "mvhd"), 0);
    MovieLayout empty = PhoneMovie(clip, Created);
    empty.tracks[0].samples.clear();
    empty.tracks[0].deltas.clear();
    empty.tracks[0].syncSamples.clear();
    ExpectLoadsFail(
        PhoneMp4Guid, "damaged.mp4",
        {{Bytes(7, 0), "DecodeISOMedia File too small for even one box\n"},
         {Box("free", {}), "DecodeISOMedia No track present\n"},
         {WriteMovieFile(hidden), "DecodeISOMedia No track present\n"},
         {cut, "DecodeISOMedia Box ends after file 1\n"},
         {Join({Box("ftyp", Bytes(8, 'a')), large}), "DecodeISOMedia Box ends after file 2\n"},
         // The movie box in the 64-bit size form is read from its 32-bit size word.
         {Join({Box("mdat", samples), LargeBox("moov", MoviePayload(PhoneMovie(clip, Created), 8))}),
          "DecodeISOMedia Bad movie box\n"},
         {badMovie, "DecodeISOMedia Bad movie box\n"},
         {zeroTable, "DecodeISOMedia Bad movie box\n"},
         {zeroHeader, "DecodeISOMedia Bad movie box\n"},
         {Join({Box("ftyp", {'i', 's', 'o', 'm'}), PhoneFile()}), "DecodeISOMedia bad file type box\n"},
         {WriteMovieFile(empty), "DecodeISOMedia No images int file\n"}});
    // A box shorter than its own header cannot end anywhere sensible.
    Bytes tiny = PhoneFile();
    WriteU32At(tiny, FindBox(tiny, "mdat"), 4);
    AddFile("tiny.mp4", tiny);
    EXPECT_EQ(Load(PhoneMp4Guid, "tiny.mp4"), VC_GeneralFailure);
    EXPECT_TRUE(LoadFailsWith(PhoneMp4Guid, "missing.mp4", "DecodeISOMedia File open failed\n",
                              VC_CatastrophicFailure));
}

TEST_F(IsoDecoderTest, AmrAudioFrameBytesComeFromTheFramesPerSampleAndOtherAudioDoesNotLoad) {
    MovieLayout movie = PhoneMovie(clip, Created);
    movie.tracks.push_back(AmrTrack("samr", 2));
    movie.tracks.back().creationSeconds = movie.creationSeconds;
    AddFile("amr.3gp", WriteMovieFile(movie));
    ASSERT_EQ(Load(PhoneMp4Guid, "amr.3gp"), 0) << LastError();
    EXPECT_TRUE(WasLogged("DecodeISOMediaMp4::SetCodec Audio codec samr\n"));
    const int audio = AudioStream();
    ASSERT_NE(audio, 0);
    const Delivered first = Next(audio);
    ASSERT_EQ(first.status, 0) << LastError();
    EXPECT_EQ(first.data.size(), 640u);
    EXPECT_EQ(AudioDescription(audio, first).maxSampleBytes, 640);
    EXPECT_EQ(first.time.recordedTime, TicksFromUnix(Created));
    const Delivered second = Next(audio);
    ASSERT_EQ(second.status, 0);
    EXPECT_EQ(second.time.recordedTime, TicksFromUnix(Created) + 400000);

    movie.tracks.back() = AmrTrack("mp4a", 1);
    AddFile("aac.mp4", WriteMovieFile(movie));
    LoggedTexts().clear();
    for (const char* guid : {PhoneMp4Guid, Phone3gpGuid}) {
        EXPECT_EQ(Load(guid, "aac.mp4"), VC_GeneralFailure) << guid;
    }
    EXPECT_FALSE(AnyLogContains("SetCodec"));
}

// The last video track is the one shown, behind another and a hint track; its description
// changing midway sets the codec again. That track has the wide headers, and its second
// description finds its configuration behind a descriptor of another tag and the optional fields.
TEST_F(IsoDecoderTest, LastVideoTrackIsTheOneShownAndADescriptionChangeRestartsTheCodec) {
    VideoClip other;
    ASSERT_TRUE(MakeMpeg4Clip({.width = 48, .height = 32, .frames = 4}, &other));
    MovieLayout movie = PhoneMovie(other, Created);
    TrackLayout hint = clip.track;
    hint.kind = TrackLayout::Hint;
    movie.tracks.push_back(hint);
    movie.tracks.push_back(PhoneMovie(clip, Created).tracks[0]);
    TrackLayout& track = movie.tracks.back();
    track.wideHeaders = true;
    const Bytes esds =
        Join({Bytes(4, 0), Bytes{0x09, 0x02, 0xAA, 0xBB}, EsDescriptors(clip.video.extradata, 0xA0)});
    track.entries.push_back(VisualEntry("mp4v", track.width, track.height, Box("esds", esds)));
    track.descriptions.assign(track.samples.size(), 1);
    std::fill(track.descriptions.begin() + 5, track.descriptions.end(), 2);
    AddFile("two.mp4", WriteMovieFile(movie));
    ASSERT_EQ(Load(PhoneMp4Guid, "two.mp4"), 0) << LastError();
    const int stream = VideoStream();
    LoggedTexts().clear();
    for (size_t frame = 0; frame < reference.size(); ++frame) {
        ExpectFrame(Next(stream), frame);
    }
    EXPECT_EQ(Next(stream).status, VC_EndOfStreamAfterEnd);
    EXPECT_EQ(std::count(LoggedTexts().begin(), LoggedTexts().end(),
                         "DecodeISOMediaMp4::SetCodec Video codec mp4v\n"),
              1);
}

// Every point where a box of the file's top level or of its movie begins, and a byte either side,
// with points every `step` bytes between.
std::set<size_t> CutPoints(const Bytes& file, size_t step) {
    std::set<size_t> points;
    for (size_t at = 1; at < file.size(); at += step) {
        points.insert(at);
    }
    for (const char* type : {"ftyp", "mdat", "moov", "mvhd", "trak", "tkhd", "mdia", "minf", "stbl", "stsd",
                             "stts", "stsc", "stsz", "stco", "stss"}) {
        const size_t at = FindBox(file, type);
        for (size_t point : {at - 1, at, at + 1, at + 8}) {
            if (point > 0 && point < file.size()) {
                points.insert(point);
            }
        }
    }
    return points;
}

class IsoDamagedFilesTest : public IsoClipTest {
protected:
    void SetUp() override {
        IsoClipTest::SetUp();
        MakeClip({.frames = 8, .gop = 4});
    }

    // The same movie with "moov" in front of "mdat", as a streaming writer puts it; with
    // `openEnded` the "mdat" says it runs to the end of the file (size 0).
    Bytes MovieFirst(bool openEnded = false) const {
        const MovieLayout movie = PhoneMovie(clip, Created);
        const Bytes type = Box("ftyp", {'i', 's', 'o', 'm', 0, 0, 0, 0});
        const size_t movieBox = Box("moov", MoviePayload(movie, 0)).size();
        Bytes samples;
        for (const Bytes& sample : clip.track.samples) {
            Append(samples, sample);
        }
        Bytes file =
            Join({type, Box("moov", MoviePayload(movie, type.size() + movieBox + 8)), Box("mdat", samples)});
        if (openEnded) {
            WriteU32At(file, type.size() + movieBox, 0);
        }
        return file;
    }
};

TEST_F(IsoDamagedFilesTest, SamplesRunningToTheEndGiveTheFramesThatTheCutFileStillHolds) {
    const Bytes file = MovieFirst(true);
    const size_t samplesStart = FindBox(file, "mdat") + 8;
    for (size_t cut : CutPoints(file, 53)) {
        AddFile("cut.mp4", Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(cut)));
        const int status = Load(PhoneMp4Guid, "cut.mp4");
        if (cut < FindBox(file, "mdat")) {
            EXPECT_EQ(status, VC_GeneralFailure) << "cut at " << cut;
            continue;
        }
        ASSERT_EQ(status, 0) << "cut at " << cut << ": " << LastError();
        const std::vector<Delivered> frames = WalkForward(VideoStream());
        ASSERT_EQ(frames.size(), clip.track.samples.size()) << "cut at " << cut;
        size_t sampleEnd = samplesStart;
        for (size_t frame = 0; frame < frames.size(); ++frame) {
            sampleEnd += clip.track.samples[frame].size();
            if (sampleEnd <= cut) {
                EXPECT_GE(CodecTest::Psnr(reference[frame], frames[frame].data.data()), 40.0)
                    << "cut at " << cut << ", frame " << frame;
            } else {
                EXPECT_TRUE(IsBlack(frames[frame].data)) << "cut at " << cut << ", frame " << frame;
            }
        }
    }
}

TEST_F(IsoDamagedFilesTest, SampleTablesThatPromiseMoreThanTheFileHolds) {
    // A size table whose count passes its payload stays empty: the track has no samples.
    Bytes sizes = MovieFirst();
    WriteU32At(sizes, FindBox(sizes, "stsz") + 16, 0x7FFFFFF0);
    AddFile("sizes.mp4", sizes);
    EXPECT_EQ(Load(PhoneMp4Guid, "sizes.mp4"), VC_GeneralFailure);
    EXPECT_TRUE(WasLogged("DecodeISOMedia No images int file\n"));

    // A time table that does so stays empty too: every frame is at the creation time.
    Bytes times = MovieFirst();
    WriteU32At(times, FindBox(times, "stts") + 12, 0x10000000);
    AddFile("times.mp4", times);
    ASSERT_EQ(Load(PhoneMp4Guid, "times.mp4"), 0) << LastError();
    ExpectRecordedTimes(WalkForward(VideoStream()), clip.track.samples.size(),
                        [](size_t) { return TicksFromUnix(Created); });
    EXPECT_EQ(Next(VideoStream()).status, VC_EndOfStreamAfterEnd);

    // One fixed size for far more samples than the file has: frames past the end come black.
    Bytes fixed = MovieFirst();
    const size_t table = FindBox(fixed, "stsz");
    WriteU32At(fixed, table + 12, 64);
    WriteU32At(fixed, table + 16, 100000);
    AddFile("fixed.mp4", fixed);
    ASSERT_EQ(Load(PhoneMp4Guid, "fixed.mp4"), 0) << LastError();
    const int stream = VideoStream();
    const Delivered late = GoTo(stream, TicksFromUnix(Created) + 50000000);
    ASSERT_EQ(late.status, 0);
    EXPECT_TRUE(IsBlack(late.data));
}

TEST_F(IsoDamagedFilesTest, WalkToAFrameFarFromItsSyncSampleEndsOnceItHasReadTheFileOver) {
    // One fixed size for a million samples, and the first sample the only sync sample: a frame far
    // into the track lies a long walk from it, every sample past the chunk table read at offset 0.
    Bytes file = MovieFirst();
    const size_t sizes = FindBox(file, "stsz");
    constexpr uint32_t SampleBytes = 64;
    WriteU32At(file, sizes + 12, SampleBytes);
    WriteU32At(file, sizes + 16, 1000000);
    const size_t sync = FindBox(file, "stss");
    ASSERT_EQ(ReadU32At(file, sync + 12), 2u);
    WriteU32At(file, sync + 20, 1);
    AddFile("walk.mp4", file);
    ASSERT_EQ(Load(PhoneMp4Guid, "walk.mp4"), 0) << LastError();
    const int stream = VideoStream();

    // Sample 20000, 40 ms a sample: the walk gives up before it has read more than the file holds.
    countingFiles.reads = 0;
    const Delivered late = GoTo(stream, TicksFromUnix(Created) + 800 * 10000000LL);
    EXPECT_LE(countingFiles.reads, static_cast<int>(file.size() / SampleBytes) + 2);
    EXPECT_TRUE(WasLogged("DecodeISOMedia::DecompressingReadComplete failed while positioning\n"));
    ASSERT_EQ(late.status, 0);
    EXPECT_TRUE(IsBlack(late.data));
}

// The video codec's engine, reference pictures and converter go with the recording: after
// Decoder_Close the heap holds what it held before the load.
TEST_F(IsoDecoderTest, CloseReleasesTheVideoCodec) {
#ifdef VORNCAST_HEAP_STATISTICS
    const ClipSettings large{.width = 352, .height = 288, .frames = 3};
    VideoClip big;
    ASSERT_TRUE(MakeMpeg4Clip(large, &big));
    AddFile("large.mp4", WriteMovieFile(PhoneMovie(big, Created)));
    const size_t before = __sanitizer_get_current_allocated_bytes();
    ASSERT_EQ(Load(PhoneMp4Guid, "large.mp4"), 0) << LastError();
    const int stream = VideoStream();
    for (int frame = 0; frame < large.frames; ++frame) {
        ASSERT_EQ(Next(stream).status, 0);
    }
    EXPECT_EQ(Decoder_Close(decoder), 0);
    Decoder_Release(decoder);
    decoder = 0;
    const size_t after = __sanitizer_get_current_allocated_bytes();
    EXPECT_LT(after, before + 16 * 1024) << "bytes left behind: " << after - before;
#else
    GTEST_SKIP() << "needs the heap statistics of the sanitizer build";
#endif
}

// 2020-07-01 12:00:00 UTC, in summer time in CentralEurope().
constexpr int64_t SummerUnixSeconds = 1593604800;
constexpr uint64_t SummerFileTime = (SummerUnixSeconds + 11644473600ull) * 10000000ull;
constexpr int64_t TicksPerMinute = 600000000;

class VigilantMp4Test : public IsoClipTest {
protected:
    void SetUp() override {
        IsoClipTest::SetUp();
        MakeClip({.frames = 6, .gop = 3});
    }
};

// The camera texts and time zone come from a "free" box of either of the recorder's sizes; boxes the
// recorder did not write this way give no camera name, or no zone and UTC times.
TEST_F(VigilantMp4Test, CameraTextsAndTimeZoneComeFromEitherSizeOfFreeBox) {
    const TimeZoneInformation zone = CentralEurope();
    Bytes odd = VigilantFreePayload(819, "Front door", "Site 7", &zone);
    odd.push_back(0);
    odd[0] = 0x34; // 820, the payload's own size, but not one of the recorder's
    odd[1] = 0x03;
    Bytes shortened = VigilantFreePayload(819, "Front door", "Site 7", nullptr);
    shortened.pop_back(); // the size word disagrees with the payload
    TimeZoneInformation unnegatable = zone;
    unnegatable.StandardBias = INT32_MIN;
    const struct {
        Bytes payload;
        const char* name;
        int32_t bias; // minutes east of UTC in July; -1: no zone
    } cases[] = {
        {VigilantFreePayload(819, "Front door", "Site 7", &zone), "Front door - Site 7", 60},
        {VigilantFreePayload(1741, "Front door", "Site 7", &zone), "Front door - Site 7", 60},
        {odd, "", -1},
        {shortened, "", -1},
        {VigilantFreePayload(1741, "Front door", "Site 7", &unnegatable), "Front door - Site 7", -1},
    };
    for (const auto& [payload, cameraName, bias] : cases) {
        SCOPED_TRACE(payload.size());
        AddFile("free.mp4", WriteMovieFile(VigilantMovie(clip, SummerFileTime, {payload})));
        ASSERT_EQ(Load(VigilantGuid, "free.mp4"), 0) << LastError();
        const int stream = VideoStream();
        ASSERT_NE(stream, 0);
        EXPECT_EQ(StreamName(stream), cameraName);
        const int64_t local = TicksFromUnix(SummerUnixSeconds) + std::max(bias, 0) * TicksPerMinute;
        for (size_t frame = 0; frame < reference.size(); ++frame) {
            const Delivered delivered = Next(stream);
            ExpectPicture(delivered, reference[frame], frame);
            if (frame == 0) {
                // Sizes other than the field exports keep their own header and the fixed aspect.
                ExpectShape(stream, delivered, 96, 64, 352, 288);
            }
            EXPECT_EQ(delivered.time.recordedTime, local + SampleTicks(frame)) << "frame " << frame;
            EXPECT_EQ(delivered.time.streamTime, delivered.time.recordedTime);
            EXPECT_EQ(delivered.time.zoneBias, std::max(bias, 0)) << "daylight saving in July";
            EXPECT_EQ(delivered.time.zoneKnown, bias >= 0 ? 1 : 0);
        }
        // A seek by stream time goes through the zone's offset too.
        ExpectPicture(GoTo(stream, local + SampleTicks(4)), reference[4], 4);
        ExpectPicture(GoTo(stream, local + SampleTicks(2)), reference[2], 2);
        EXPECT_EQ(GoTo(stream, local - 1).status, VC_EndOfStreamBeforeStart);
    }
}

// A file type box marks a file of another recorder; the load texts name the Vigilant decoder.
TEST_F(VigilantMp4Test, DamagedOrForeignFilesFailWithTheirText) {
    MovieLayout typed = VigilantMovie(clip, SummerFileTime, {});
    typed.fileType = true;
    const Bytes plain = WriteMovieFile(VigilantMovie(clip, SummerFileTime, {}));
    ExpectLoadsFail(VigilantGuid, "damaged.mp4",
                    {{WriteMovieFile(typed), "DecodeVigilantMp4 File type box should not be present 1\n"},
                     {Join({LargeBox("ftyp", Bytes(8, 'a')), plain}),
                      "DecodeVigilantMp4 File type box should not be present 2\n"},
                     {Bytes(plain.begin(), plain.end() - 1), "DecodeVigilantMp4 Box ends after file 1\n"}});
}

// PAL and NTSC field exports: 704 x 576 and 704 x 480 shown as their fields of 704 x 288 and 704 x 240.
TEST_F(VigilantMp4Test, FieldExportsAreShownAtHalfHeightBehindTheRecordersHeader) {
    for (int32_t frameHeight : {576, 480}) {
        SCOPED_TRACE(frameHeight);
        LoggedTexts().clear();
        // The recorder stores fields coded as its own header has them (MPEG quantisation, a time
        // resolution of 9000), behind an "esds" header that claims full frames.
        const ClipSettings fields{.width = 704,
                                  .height = frameHeight / 2,
                                  .frames = 4,
                                  .gop = 4,
                                  .options = {{"mpeg_quant", "1"}},
                                  .timeResolution = 9000};
        VideoClip fieldClip;
        ASSERT_TRUE(MakeMpeg4Clip(fields, &fieldClip));
        ClipSettings frames = fields;
        frames.height = frameHeight;
        frames.frames = 1;
        VideoClip frameClip;
        ASSERT_TRUE(MakeMpeg4Clip(frames, &frameClip));
        VideoClip stored = fieldClip;
        stored.track.height = static_cast<uint16_t>(frameHeight);
        stored.track.entries = frameClip.track.entries;
        const std::vector<CodecTest::Picture> expected =
            CodecTest::ReferenceDecode(AV_CODEC_ID_MPEG4, fieldClip.video, false);
        ASSERT_EQ(expected.size(), 4u);

        const std::string name = "field" + std::to_string(frameHeight) + ".mp4";
        AddFile(name, WriteMovieFile(VigilantMovie(stored, SummerFileTime, {})));
        ASSERT_EQ(Load(VigilantGuid, name), 0) << LastError();
        EXPECT_TRUE(WasLogged("DecodeVigilantMp4::SetAspectRatio\n"));
        const int stream = VideoStream();
        for (size_t frame = 0; frame < expected.size(); ++frame) {
            const Delivered delivered = Next(stream);
            ExpectPicture(delivered, expected[frame], frame);
            if (frame == 0) {
                ExpectShape(stream, delivered, 704, frameHeight / 2, 352, 288);
            }
        }
    }
}

// Big-endian 32-bit words one after the other.
Bytes Words(std::initializer_list<uint32_t> words) {
    Bytes bytes;
    for (uint32_t word : words) {
        PutU32(bytes, word);
    }
    return bytes;
}

bool Parse(ISOMediaFile& movie, const Bytes& payload) {
    return movie.ParseMovieBox(payload.data(), payload.size());
}

TEST(IsoMovieParse, HeadersOfBothVersionsGiveTimescaleAndDuration) {
    for (uint8_t version : {0, 1}) {
        ISOMediaFile movie;
        ASSERT_TRUE(Parse(movie, Box("mvhd", MovieHeader(version, 1, 0, 90000, 180000))));
        EXPECT_EQ(movie.GetTimescale(), 90000u) << int(version);
        EXPECT_EQ(movie.GetDuration(), 180000u);
    }
    ISOMediaFile truncated;
    Bytes header = MovieHeader(1, 1, 1, 1, 1);
    header.resize(31);
    EXPECT_FALSE(Parse(truncated, Box("mvhd", header)));
}

TEST(IsoTrackParse, HeadersCutShortFail) {
    for (uint8_t version : {0, 1}) {
        ISOMediaTrack track;
        const Bytes header = TrackHeader(version, 0, 7, 1234, 0, 0);
        EXPECT_FALSE(track.ParseTrackHeader(header.data(), header.size() - 1)) << int(version);
    }
    ISOMediaTrack media;
    EXPECT_FALSE(media.ParseMediaHeader(MediaHeader(0, 0, 8000, 16000).data(), 23));
}

TEST(IsoSampleLookup, FixedSampleSizeServesEverySampleAndIsTheLargest) {
    ISOMediaTrack track;
    const Bytes sizes = Words({0, 160, 1000});
    ASSERT_TRUE(track.ParseSampleSizes(sizes.data(), sizes.size()));
    const Bytes chunks = Words({0, 1, 1, 4, 1});
    ASSERT_TRUE(track.ParseSampleToChunk(chunks.data(), chunks.size()));
    Bytes offsets = Words({0, 2});
    PutU64(offsets, 0x100000000);
    PutU64(offsets, 0x100001000);
    ASSERT_TRUE(track.ParseChunkOffsets64(offsets.data(), offsets.size()));
    EXPECT_EQ(track.GetSampleCount(), 1000u);
    EXPECT_EQ(track.GetLargestSampleSize(), 160u);
    EXPECT_EQ(track.GetSampleInfo(999).size, 160u);
    EXPECT_EQ(track.GetSampleInfo(3).offset, 0x100000000u + 3 * 160);
    EXPECT_EQ(track.GetSampleInfo(6).offset, 0x100001000u + 2 * 160);
    // Without "stss" every sample is its own sync sample.
    EXPECT_EQ(track.GetSampleInfo(11).syncSample, 11);
}

// Compact sizes of 4, 8 and 16 bits; a field of another width, or a table cut short, leaves the
// track without samples.
TEST(IsoSampleLookup, CompactSizesOfFourEightAndSixteenBits) {
    const struct {
        uint32_t fieldBits;
        uint32_t count;
        Bytes fields;
        std::vector<uint32_t> sizes;
    } cases[] = {
        {4, 5, {0x12, 0x34, 0x5F}, {1, 2, 3, 4, 5}},
        {4, 5, {0x12, 0x34}, {}}, // the fifth nibble is missing
        {8, 2, {200, 7}, {200, 7}},
        {16, 2, {0x9C, 0x40, 0, 3}, {40000, 3}},
        {12, 1, {0, 1}, {}},
    };
    for (const auto& [fieldBits, count, fields, sizes] : cases) {
        ISOMediaTrack track;
        const Bytes table = Join({Words({0, fieldBits, count}), fields});
        EXPECT_EQ(track.ParseCompactSampleSizes(table.data(), table.size()), !sizes.empty()) << fieldBits;
        ASSERT_EQ(track.GetSampleCount(), sizes.size()) << fieldBits;
        for (size_t sample = 0; sample < sizes.size(); ++sample) {
            EXPECT_EQ(track.GetSampleInfo(static_cast<int32_t>(sample)).size, sizes[sample]) << fieldBits;
        }
        if (!sizes.empty()) {
            EXPECT_EQ(track.GetLargestSampleSize(), *std::max_element(sizes.begin(), sizes.end()));
        }
    }
}

TEST(IsoSampleEntries, DecoderConfigurationsOfEveryKindOfEntry) {
    const Bytes vol = {0x00, 0x00, 0x01, 0x20, 0x08, 0xC8, 0x0D};
    const Bytes esds = Box("esds", Join({Bytes{0, 0, 0, 0}, EsDescriptors(vol, 0x80 | 0x20)}));
    Bytes d263;
    PutCode(d263, "FFMP");
    d263.insert(d263.end(), {0, 45, 3});
    MovieLayout layout;
    layout.tracks.resize(1);
    TrackLayout& track = layout.tracks[0];
    track.samples = {Bytes(10, 0)};
    track.deltas = {24};
    track.entries = {VisualEntry("mp4v", 176, 144, esds),
                     VisualEntry("xmp4", 1, 2, esds),
                     VisualEntry("s263", 176, 144, Box("d263", d263)),
                     VisualEntry("avc1", 320, 240, Box("avcC", {1, 2})),
                     VisualEntry("avc1", 320, 240, esds),
                     VisualEntry("jpeg", 8, 8, {}),
                     VisualEntry("abcd", 8, 8, {})};
    ISOMediaFile movie;
    ASSERT_TRUE(Parse(movie, MoviePayload(layout, 0)));
    const ISOMediaTrack& parsed = *movie.GetTrack(0);
    const uint32_t formats[] = {
        IsoBox::Mp4v, IsoBox::Mp4v, IsoBox::H263, IsoBox::Avc1, IsoBox::Avc1, IsoBox::Jpeg, 0};
    const size_t configSizes[] = {vol.size(), vol.size(), 0, 0, vol.size(), 0, 0};
    for (uint32_t index = 1; index <= 7; ++index) {
        EXPECT_EQ(parsed.GetSampleFormat(index), formats[index - 1]) << "entry " << index;
        const uint8_t* config = nullptr;
        int32_t length = -1;
        EXPECT_TRUE(parsed.GetDecoderConfig(index, &config, &length));
        ASSERT_EQ(static_cast<size_t>(length), configSizes[index - 1]) << "entry " << index;
        if (length > 0) {
            EXPECT_TRUE(std::equal(vol.begin(), vol.end(), config));
        }
    }
    EXPECT_EQ(parsed.GetVisualWidth(2), 176);
    EXPECT_EQ(parsed.GetVisualHeight(3), 240);
    EXPECT_EQ(parsed.GetVisualWidth(7), 0);
}

TEST(IsoEsDescriptors, AConfigurationRunningPastTheDataIsNone) {
    Bytes cut = EsDescriptors({9, 8, 7, 6, 5});
    cut.resize(cut.size() - 12);
    EXPECT_TRUE(ParseEsDescriptors(Vorn::Vorncast::Decoders::ByteView(cut.data(), cut.size())).Empty());
}

} // namespace
