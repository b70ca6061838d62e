// The AVI base through a multi-file member: AverMedia folders of Xvid files, one a camera and
// time. Frames of every file in time order with their pictures, the walk from a key frame, the
// cache of open files, and the damage a recovered disk brings. Octar and Visimetrics recordings:
// trees of date and hour folders, times from the names or a text stream, camera names from a VISI
// header, two-field frames, JPEG 2000 pictures. The incremental AVI walk over files the writer
// builds, for the header and index quirks the recordings do not reach.
#include "core/time/Ticks.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/avi/AVIParser.h"
#include "formats/avi/AviFixture.h"
#include "formats/riff/RiffHeaders.h"

#include <cstring>

namespace {

using namespace AviTests;
using namespace Vorn::Vorncast::Decoders;

constexpr const char* AVerMediaGuid = "11BB9C9E-0073-4cd3-92FE-57EE56F49387";
constexpr int Width = 96;
constexpr int Height = 64;
constexpr size_t FramesPerFile = 12;
constexpr int64_t FrameTicks = 400000;

std::string FileName(int second, int camera) {
    char name[40];
    std::snprintf(name, sizeof(name), "2021_03_04_05_06_%02d_CH%d.avf", second, camera);
    return name;
}

class AviFileSetTest : public AviRecordingTest {
protected:
    void SetUp() override {
        AviRecordingTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        // Two films, the second mirrored, so that a frame read from the wrong file shows.
        for (const char* mirror : {"", "-vf hflip "}) {
            const std::string name = mirror[0] != 0 ? "mirrored.avi" : "xvid.avi";
            const Bytes file = Record(name, Width, Height, 0.48,
                                      std::string(mirror) + "-c:v mpeg4 -q:v 3 -g 6 -bf 0 -vtag XVID");
            films.push_back({ReadAviStreams(file), Reference(name, Width, Height)});
            ASSERT_EQ(films.back().streams.size(), 1u);
            AviStreamSpec& video = films.back().streams[0];
            ASSERT_EQ(video.chunks.size(), FramesPerFile);
            video.scale = 2; // the rate as a fraction other than over 1
            video.rate = 50;
        }
        streams = films[0].streams;
        layout.riffMagic = FourCCLE("AVF0");
    }
    // Files of odd seconds hold the mirrored film.
    static size_t FilmOf(int second) { return static_cast<size_t>(second % 2); }
    std::string AddRecording(const std::string& folderName, int second, int camera) {
        const std::string path = folderName + "/" + FileName(second, camera);
        AddFile(path, WriteAvi(films[FilmOf(second)].streams, layout).bytes);
        return path;
    }
    static int64_t Start(int second) { return TicksFromSystemTime(2021, 3, 4, 5, 6, second, 0); }
    // Each frame of a file's stretch at its time, with ffmpeg's picture.
    void ExpectFrame(const Delivered& delivered, int second, size_t frame) {
        SCOPED_TRACE(testing::Message() << "second " << second);
        ExpectPicture(delivered, films[FilmOf(second)].reference[frame], frame);
        EXPECT_EQ(delivered.time.recordedTime, Start(second) + static_cast<int64_t>(frame) * FrameTicks)
            << "frame " << frame;
    }

    struct Film {
        std::vector<AviStreamSpec> streams;
        std::vector<Bytes> reference;
    };
    std::vector<Film> films;
    std::vector<AviStreamSpec> streams;
    AviLayout layout;
};

// Seventeen files of camera 1, one more than the cache holds, and one of camera 2: a stream each,
// every frame at the time its file's name starts, with ffmpeg's picture, forward and back; each
// file is reopened as the oldest one gives way, and stepping back decodes from the last key frame.
TEST_F(AviFileSetTest, EachCameraWalksItsFilesBothWaysAtTheTimesOfTheirNames) {
    for (int second = 0; second < 17; ++second) {
        AddRecording("/usb", second, 1);
    }
    const std::string other = AddRecording("/usb", 30, 2);
    ASSERT_EQ(Load(AVerMediaGuid, other), 0) << LastError();
    const std::vector<int> cameras = VideoStreams();
    ASSERT_EQ(cameras.size(), 2u);
    for (size_t camera = 0; camera < 2; ++camera) {
        const int first = camera == 0 ? 0 : 30;
        const int end = camera == 0 ? 17 : 31;
        for (int second = first; second < end; ++second) {
            for (size_t frame = 0; frame < FramesPerFile; ++frame) {
                ExpectFrame(Next(cameras[camera]), second, frame);
            }
        }
        EXPECT_EQ(Next(cameras[camera]).status, VC_EndOfStreamAfterEnd);
        for (int second = end; second-- > first;) {
            for (size_t frame = FramesPerFile; frame-- > 0;) {
                ExpectFrame(Previous(cameras[camera]), second, frame);
            }
        }
    }
}

TEST_F(AviFileSetTest, AJumpReadsFromTheLastKeyFrameAndAStepReadsOneFrame) {
    ASSERT_EQ(Load(AVerMediaGuid, AddRecording("/jump", 7, 1)), 0) << LastError();
    const int stream = VideoStream();
    // The first decode starts at the file's first frame, which holds the stream's header.
    countingFiles.reads = 0;
    ExpectFrame(GoTo(stream, Start(7) + 10 * FrameTicks + FrameTicks / 2), 7, 10);
    EXPECT_EQ(countingFiles.reads, 11);
    countingFiles.reads = 0;
    ExpectFrame(GoTo(stream, Start(7) + 9 * FrameTicks + FrameTicks / 2), 7, 9);
    EXPECT_EQ(countingFiles.reads, 4);
    countingFiles.reads = 0;
    ExpectFrame(Next(stream), 7, 10);
    EXPECT_EQ(countingFiles.reads, 1);
}

int abortCalls = 0;
int AbortAfterManyCalls() {
    return ++abortCalls > 200 ? 1 : 0;
}

// A file without its index, or cut before it, loads only until the host aborts; one that is no
// AVF0 form, a FourCC the member does not take, and names that are not the recorder's.
TEST_F(AviFileSetTest, DamagedSetsFailWithTheirTexts) {
    AviLayout unindexed = layout;
    unindexed.indexFlag = false;
    AviFile cut = WriteAvi(streams, layout);
    cut.bytes.resize(cut.indexPosition);
    for (const std::string folder : {"/a", "/cut"}) {
        AddFile(folder + "/" + FileName(1, 1),
                folder == "/a" ? WriteAvi(streams, unindexed).bytes : cut.bytes);
        abortCalls = 0;
        EXPECT_EQ(Load(AVerMediaGuid, folder + "/" + FileName(1, 1), AbortAfterManyCalls), 1) << folder;
        EXPECT_GT(abortCalls, 200) << folder;
    }

    AddFile("/b/" + FileName(1, 1), WriteAvi(streams).bytes);
    EXPECT_TRUE(LoadFailsWith(AVerMediaGuid, "/b/" + FileName(1, 1),
                              "BaseAVIDecoder: Decode Failure (Error when parsing AVI RIFF header)\n"));

    std::vector<AviStreamSpec> divx = streams;
    divx[0].format = AviVideoFormat(FourCCLE("DIVX"), Width, Height);
    AddFile("/c/" + FileName(1, 1), WriteAvi(divx, layout).bytes);
    EXPECT_TRUE(LoadFailsWith(AVerMediaGuid, "/c/" + FileName(1, 1),
                              "BaseAVIDecoder: Decode Failure (Failed to validate FourCC)\n"));

    AddFile("/d/clip.avf", WriteAvi(streams, layout).bytes);
    AddFile("/d/" + FileName(1, 1), WriteAvi(streams, layout).bytes);
    ASSERT_EQ(Load(AVerMediaGuid, "/d/clip.avf"), 0) << LastError();
    EXPECT_TRUE(WasLogged("Neither camera information nor timestamps could be decoded for this format."));
    EXPECT_EQ(VideoStreams().size(), 1u);
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), FramesPerFile);
    EXPECT_EQ(walked[3].time.recordedTime, 0);
}

TEST_F(AviFileSetTest, AFrameTheIndexPutsPastTheEndIsBlackAtItsTime) {
    AviFile file = WriteAvi(streams, layout);
    const size_t entry = file.indexPosition + 8 + 11 * 16;
    file.bytes[entry + 8 + 3] = 0x7F; // the last frame's offset, far behind the end
    AddFile("/e/" + FileName(4, 1), file.bytes);
    ASSERT_EQ(Load(AVerMediaGuid, "/e/" + FileName(4, 1)), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), FramesPerFile);
    ExpectFrame(walked[10], 4, 10);
    EXPECT_EQ(walked[11].time.recordedTime, Start(4) + 11 * FrameTicks);
    EXPECT_EQ(std::count(walked[11].data.begin(), walked[11].data.end(), 0),
              static_cast<ptrdiff_t>(walked[11].data.size()));
}

constexpr const char* OctarGuid = "59F17923-0F20-4c96-9948-F4ED75F162A1";
constexpr const char* VisimetricsGuid = "D9F40741-DBD1-4d22-A2C5-84BFEF3F68AD";

// Lines `first`, `first` + 2, ... of a picture: one of its fields.
BgrPicture Field(const BgrPicture& picture, int32_t first) {
    BgrPicture field{picture.width, picture.height / 2, {}};
    const size_t line = static_cast<size_t>(picture.width) * 3;
    for (int32_t row = first; row < picture.height; row += 2) {
        field.bgr.insert(field.bgr.end(), picture.bgr.begin() + static_cast<ptrdiff_t>(row * line),
                         picture.bgr.begin() + static_cast<ptrdiff_t>((row + 1) * line));
    }
    return field;
}

class OctarTest : public RecordingTest {
protected:
    // Four MJPEG frames, each one image or two fields; the pictures they show.
    AviStreamSpec Video(bool fields, int32_t turn) {
        AviStreamSpec video;
        video.format = AviVideoFormat(FourCCLE("MJPG"), Width, Height);
        for (int32_t frame = 0; frame < 4; ++frame) {
            pictures.push_back(MakeQuadrantPicture(Width, Height, turn + frame));
            std::vector<uint8_t> chunk = EncodeTestJpeg(fields ? Field(pictures.back(), 0) : pictures.back());
            if (fields) {
                const std::vector<uint8_t> odd = EncodeTestJpeg(Field(pictures.back(), 1));
                chunk.insert(chunk.end(), odd.begin(), odd.end());
            }
            video.chunks.push_back(chunk);
        }
        return video;
    }
    static std::vector<uint8_t> Dates(int32_t second) {
        std::vector<uint8_t> text(16, 0);
        const uint16_t words[8] = {2021, 3, 4, 4, 6, 0, static_cast<uint16_t>(second), 500};
        std::memcpy(text.data(), words, sizeof(words));
        return text;
    }
    std::vector<BgrPicture> pictures;
};

// Two files of camera 3 in one hour's folder, the first with an OpenDML index, the second of
// two-field frames, and a file of camera 4 in the next hour with its text stream and VISI header:
// every frame's time, camera and picture.
TEST_F(OctarTest, TheTreeOfAFolderGivesEachCameraItsFramesAndTimes) {
    AviLayout openDml;
    openDml.index = AviIndex::OpenDml;
    AddFile("/site/2021/03/04/05/18367_C03.avi", WriteAvi({Video(false, 0)}, openDml).bytes);
    AddFile("/site/2021/03/04/05/18400_C03.avi", WriteAvi({Video(true, 4)}).bytes);
    AviStreamSpec texts;
    texts.type = FourCCLE("txts");
    for (int32_t second = 0; second < 4; ++second) {
        texts.chunks.push_back(Dates(second));
    }
    AviLayout visi;
    visi.junk.assign(120, 0);
    std::memcpy(visi.junk.data() + 10, "VISI", 4);
    std::memcpy(visi.junk.data() + 10 + 48, "Back door", 9);
    AddFile("/site/2021/03/04/06/21600_C04.avi", WriteAvi({Video(false, 8), texts}, visi).bytes);
    ASSERT_EQ(Load(OctarGuid, "/site/2021/03/04/05/18367_C03.avi"), 0) << LastError();
    const std::vector<int> streams = VideoStreams();
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(StreamName(streams[1]), "Back door");
    for (size_t camera = 0; camera < 2; ++camera) {
        const std::vector<Delivered> walked = WalkForward(streams[camera]);
        ASSERT_EQ(walked.size(), camera == 0 ? 8u : 4u);
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            const size_t shown = camera * 8 + frame;
            const int64_t expected =
                camera == 1 ? TicksFromSystemTime(2021, 3, 4, 6, 0, static_cast<int32_t>(frame), 500)
                : frame < 4
                    ? TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0) + FrameTicks * static_cast<int64_t>(frame)
                    : TicksFromSystemTime(2021, 3, 4, 5, 6, 40, 0) +
                          FrameTicks * static_cast<int64_t>(frame - 4);
            EXPECT_EQ(walked[frame].time.recordedTime, expected) << camera << " frame " << frame;
            ASSERT_EQ(walked[frame].data.size(), pictures[shown].bgr.size());
            EXPECT_LT(CompareBgr(pictures[shown], walked[frame].data.data(), Width * 3).meanAbsolute, 4.0)
                << camera << " frame " << frame;
        }
    }
}

TEST_F(OctarTest, AFileOutsideTheDateTreeFailsTheLoad) {
    AddFile("/flat/18367_C03.avi", WriteAvi({Video(false, 0)}).bytes);
    EXPECT_NE(Load(OctarGuid, "/flat/18367_C03.avi"), 0);
    EXPECT_TRUE(
        WasLogged("BaseAVIDecoder: Decode Failure (FileListComplete called with filePathError == true)\n"));
}

TEST_F(OctarTest, VisimetricsPicturesAreJpeg2000) {
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    AviStreamSpec video;
    video.format = AviVideoFormat(FourCCLE("MJ2C"), Width, Height);
    for (int32_t frame = 0; frame < 3; ++frame) {
        video.chunks.push_back(
            Jpeg2000Testing::Encode(Jpeg2000Testing::RgbPlanes(rgb, Width, Height), Width, Height, {}));
    }
    AddFile("/visi/2021/03/04/05/18367_C01.avi", WriteAvi({video}).bytes);
    ASSERT_EQ(Load(VisimetricsGuid, "/visi/2021/03/04/05/18367_C01.avi"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 3u);
    EXPECT_EQ(walked[2].time.recordedTime, TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0) + 2 * FrameTicks);
    EXPECT_EQ(walked[2].data, Jpeg2000Testing::ToBgr(rgb));
}

// Runs a parser's walk over `file` the way the decoder does, one read at a time; the last request
// is kept.
struct Walk {
    AVIParser parser;
    AviParseRequest last{};
    bool repeated = false; // the walk asked for the very same read twice running

    explicit Walk(const Bytes& file) {
        ByteView bytes(file.data(), file.size());
        last = parser.Start(bytes.Sub(0, 12));
        for (int32_t steps = 0; last.size >= 0 && steps < 2000; ++steps) {
            ByteView read;
            const AviParseRequest before = last;
            if (!bytes.Sub(static_cast<size_t>(last.offset), static_cast<size_t>(last.size), &read) ||
                read.Size() != static_cast<size_t>(last.size)) {
                last = parser.ReadFailed();
            } else {
                last = parser.Step(read);
            }
            if (last.offset == before.offset && last.size == before.size && last.state == before.state) {
                repeated = true;
                return;
            }
        }
    }
};

AviStreamSpec Stream(uint32_t type, size_t chunks, uint32_t firstSize) {
    AviStreamSpec stream;
    stream.type = type;
    stream.format = AviVideoFormat(FourCCLE("MJPG"), 32, 16);
    for (size_t chunk = 0; chunk < chunks; ++chunk) {
        stream.chunks.emplace_back(firstSize + chunk, static_cast<uint8_t>(chunk));
    }
    return stream;
}

std::vector<AviStreamSpec> VideoAndAudio() {
    return {Stream(FourCCLE("vids"), 7, 100), Stream(FourCCLE("auds"), 5, 33)};
}

// The OpenDML index of the first stream ends the walk: the second stream is never reached. A block
// that is not an index of chunks stops the walk instead.
TEST(AVIParser, OpenDmlIndexEndsTheWalkAndABadBlockStopsIt) {
    AviLayout layout;
    layout.index = AviIndex::OpenDml;
    AviFile file = WriteAvi(VideoAndAudio(), layout);
    Walk walk(file.bytes);
    ASSERT_TRUE(walk.parser.Finished()) << "state " << walk.last.state;
    EXPECT_EQ(walk.parser.GetStream(1)->frames.Count(), 0);

    file.bytes[file.indexPosition + 8 + 3] = 0;
    const Walk bad(file.bytes);
    EXPECT_FALSE(bad.repeated);
    EXPECT_EQ(bad.last.size, AVIParser::Stopped);
}

// A main header that claims more streams than the file has ends at movi with -2; one that claims
// fewer leaves the others' chunks out.
TEST(AVIParser, AStreamCountThatLiesEndsTheWalkEarlyOrLeavesStreamsOut) {
    AviLayout tooMany;
    tooMany.declaredStreams = 3;
    const Walk walk(WriteAvi(VideoAndAudio(), tooMany).bytes);
    EXPECT_EQ(walk.last.size, AVIParser::MoviTooEarly);
    EXPECT_EQ(walk.last.offset, AVIParser::MoviTooEarly);

    AviLayout tooFew;
    tooFew.declaredStreams = 1;
    Walk fewer(WriteAvi(VideoAndAudio(), tooFew).bytes);
    ASSERT_TRUE(fewer.parser.Finished());
    EXPECT_EQ(fewer.parser.StreamCount(), 1);
    EXPECT_EQ(fewer.parser.GetStream(0)->frames.Count(), 7);
}

// A foreign entry ends the legacy index and keeps what came before; "rec " entries are passed over.
TEST(AVIParser, TheLegacyIndexEndsAtAForeignEntry) {
    AviFile file = WriteAvi(VideoAndAudio());
    const size_t entries = file.indexPosition + 8;
    auto entryCode = [&](size_t entry) { return file.bytes.data() + entries + entry * 16; };
    std::copy_n("rec ", 4, entryCode(0));
    std::copy_n("ix00", 4, entryCode(6));
    Walk walk(file.bytes);
    AVIParser& parser = walk.parser;
    ASSERT_TRUE(parser.Finished());
    // Entries in file order: v0 a0 v1 a1 v2 a2 v3 ...; v0 goes, v3 ends the index.
    const StreamInfo* video = parser.GetStream(0);
    ASSERT_EQ(video->frames.Count(), 2);
    EXPECT_EQ(const_cast<StreamInfo*>(video)->frames.GetAt(0).offset, file.chunks[2].offset);
    EXPECT_EQ(parser.GetStream(1)->frames.Count(), 3);
}

TEST(RiffHeadersTest, AShortWaveFormatIsRefused) {
    const uint8_t format[15] = {0x55};
    WaveFormatEx wave;
    EXPECT_FALSE(WaveFormatEx::Read(ByteView(format, sizeof format), &wave));
}

} // namespace
