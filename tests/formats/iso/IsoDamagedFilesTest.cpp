// Damaged files: cut at every box boundary and at many points between, with bytes changed at
// random, and with sample tables that promise more than the file holds. Each fails
// cleanly or gives what it still holds; none crashes or hangs.
#include "formats/iso/IsoFormatFixture.h"

#include <random>
#include <set>

using namespace IsoTests;
using namespace IsoTest;
using Vorn::Vorncast::Decoders::FixedTimeZoneInformation;
using Vorn::Vorncast::Decoders::TimeZoneInformation;

namespace {

constexpr int64_t Created = 1500000000;

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
        ClipSettings settings;
        settings.frames = 8;
        settings.gop = 4;
        MakeClip(settings);
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

    // Steps through every frame of the loaded file: each one is delivered, none more.
    std::vector<Delivered> EveryFrame() {
        std::vector<Delivered> frames;
        const int stream = VideoStream();
        for (size_t step = 0; step <= clip.track.samples.size(); ++step) {
            Delivered delivered = Next(stream);
            if (delivered.status != 0) {
                EXPECT_EQ(delivered.status, VC_EndOfStreamAfterEnd);
                break;
            }
            frames.push_back(std::move(delivered));
        }
        return frames;
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
        const std::vector<Delivered> frames = EveryFrame();
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
    for (const Delivered& frame : EveryFrame()) {
        EXPECT_EQ(frame.time.recordedTime, TicksFromUnix(Created));
    }

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

} // namespace
