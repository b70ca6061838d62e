// Recorders' AVI dialects written around ffmpeg's pictures or test JPEGs; the AVI parser alone only
// for the header and index quirks no recording reaches.
#include "core/time/Ticks.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "fixtures/jpeg2000/Jpeg2000TestEncoder.h"
#include "formats/avi/AVIParser.h"
#include "formats/avi/AviFixture.h"
#include "formats/riff/RiffHeaders.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <tuple>

namespace {

using namespace AviTests;
using namespace Vorn::Vorncast::Decoders;

constexpr const char* AVerMediaGuid = "11BB9C9E-0073-4cd3-92FE-57EE56F49387";
constexpr const char* CieffeGuid = "5BA4AF6A-0DB2-4f5b-B1E1-46764FD5F95A";
constexpr const char* GeoVisionGuid = "6006C27E-3BBA-4031-B3B8-367F9770C487";
constexpr const char* SoutheasternGuid = "6DD01687-CC23-4808-A838-6D5E6FD5766E";
constexpr const char* LoronixGuid = "52BBF9F5-66D2-45bf-91FF-FFA27033E9F5";
constexpr const char* VisimetricsMpegGuid = "7730FAAE-D085-46cd-88EF-7F2E6FDB2E1E";
constexpr const char* OmniVisionGuid = "CC3CA969-444E-4b0a-BAF2-719ADFFF063C";
constexpr int Width = 96;
constexpr int Height = 64;

Bytes Text(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

class AviMembersTest : public AviRecordingTest {
protected:
    // ffmpeg's file of 12 frames in `codec` under `tag`; its video stream, with its reference pictures.
    // `throughDriver`: the private codecs' driver decodes the tag, with its colour conversion.
    AviStreamSpec Video(const std::string& codec, const char* tag, bool throughDriver = true) {
        const std::string name = std::string(tag) + ".avi";
        const Bytes file = Record(name, Width, Height, 0.48, "-c:v " + codec + " -q:v 3 -g 6 -vtag " + tag);
        reference = Reference(name, Width, Height, throughDriver);
        std::vector<AviStreamSpec> streams = ReadAviStreams(file);
        EXPECT_EQ(streams.size(), 1u);
        return streams.empty() ? AviStreamSpec{} : streams[0];
    }
    // Loads `path` and walks its one camera: pictures as ffmpeg's, the stream named `camera`.
    std::vector<Delivered> WalkOneCamera(const char* guid, const std::string& path,
                                         const std::string& camera) {
        EXPECT_EQ(Load(guid, path), 0) << LastError();
        const std::vector<int> streams = VideoStreams();
        EXPECT_EQ(streams.size(), 1u);
        if (streams.empty()) {
            return {};
        }
        EXPECT_EQ(StreamName(streams[0]), camera);
        std::vector<Delivered> walked = WalkForward(streams[0]);
        ExpectPictures(walked, reference);
        return walked;
    }
};

// The trailer names the camera: the file name's digits, 1 and 2, make camera 13; the recorder's
// clock is not given.
TEST_F(AviMembersTest, CieffeFindsItsTrailerBehindTheRiffData) {
    AviLayout layout{.trailer = Text("header/INSIGNIS and some twenty more bytes")};
    const AviStreamSpec video = Video("msmpeg4", "MP43");
    AddFile("/cieffe/cam12.avi", WriteAvi({video}, layout).bytes);
    const std::vector<Delivered> walked = WalkOneCamera(CieffeGuid, "/cieffe/cam12.avi", "cam12");
    EXPECT_EQ(DecoderName("DecodeCieffeLinearis"), "Cieffe Linearis (MPEG-4)");
    ExpectRecordedTimes(walked, 12, [](size_t) { return 0; });
    AddFile("/cieffe/cam1.avi", WriteAvi({video}).bytes);
    EXPECT_TRUE(LoadFailsWith(CieffeGuid, "/cieffe/cam1.avi",
                              "DecodeCieffeLinearis: Decode Failure (couldn't find)\n"));
    EXPECT_TRUE(WasLogged(
        "BaseAVIDecoder: Decode Failure (Failing Close Complete, final call to DecoderFailure())\n"));
}

// Long forms carry time and date, short forms the time alone on the last date; the file names
// the camera.
TEST_F(AviMembersTest, GeoVisionTakesEachFramesTimeFromItsTextAndFailsOnTextsThatDoNotParse) {
    std::vector<Bytes> texts;
    for (int frame = 0; frame < 12; ++frame) {
        char text[40];
        if (frame % 3 == 2) {
            std::snprintf(text, sizeof(text), "TM 05:06:%02d.%d!", frame, frame);
        } else {
            std::snprintf(text, sizeof(text), "CAM01 05:06:%02d(2021/3/%d) end", frame, 4 + frame / 3);
        }
        texts.push_back(Text(text));
    }
    AviStreamSpec video = Video("mpeg4", "GMP4");
    video.name = "cam"; // a name that needs no pad byte, ahead of the next stream's list
    AddFile("/geo/Lobby.avi", WriteAvi({video, AviTextStream(texts)}).bytes);
    const std::vector<Delivered> walked = WalkOneCamera(GeoVisionGuid, "/geo/Lobby.avi", "Lobby.avi");
    EXPECT_EQ(DecoderName("DecodeGeoVision"), "GeoVision (GMP4)");
    ExpectRecordedTimes(walked, 12, [](size_t frame) {
        const auto index = static_cast<int32_t>(frame);
        return TicksFromSystemTime(2021, 3, 4 + index / 3, 5, 6, index, index % 3 == 2 ? index : 0);
    });

    const std::pair<std::string, std::vector<const char*>> cases[] = {
        {"short", {"DecodeGeoVision: Decode Failure (meta data chunk found is wrong size)\n"}},
        {"CAM01 05 06 07 2021/3/4 end of text",
         {"DecodeGeoVision: Decode Failure (read past end of buffer when processing time string(1))\n"}},
        {"CAM01 05:06:07 2021/3/4 end of text",
         {"DecodeGeoVision: Decode Failure (read past end of buffer when processing time string(2))\n"}},
        {"CAM01 05:06:07(2021/3/4 end of text",
         {"DecodeGeoVision: Decode Failure (read past end of buffer when processing date string(1))\n"}},
        {"CAM01 05:x6:07(2021/3/4) end",
         {"DecodeGeoVision: Decode Failure (error when parsing the minutes in the metadata)\n",
          "DecodeGeoVision: Decode Failure (error parsing time string(1))\n"}},
        {"CAM01 05:06:07(21/3/4) end ...",
         {"DecodeGeoVision: Decode Failure (error when parsing the year in the metadata)\n",
          "DecodeGeoVision: Decode Failure (error parsing date string)\n"}},
    };
    int folder = 0;
    for (const auto& [text, logged] : cases) {
        const std::string path = "/geo" + std::to_string(folder++) + "/cam.avi";
        AddFile(path, WriteAvi({video, AviTextStream(std::vector<Bytes>(12, Text(text)))}).bytes);
        EXPECT_TRUE(LoadFailsWith(GeoVisionGuid, path, logged[0]));
        EXPECT_TRUE(WasLogged(logged.back())) << logged.back();
    }
    AddFile("/geo/none.avi", WriteAvi({video}).bytes);
    EXPECT_TRUE(LoadFailsWith(GeoVisionGuid, "/geo/none.avi",
                              "DecodeGeoVision: Decode Failure (StreamInfo* is null)\n"));
}

TEST_F(AviMembersTest, OmniVisionReadsBothFormsOfItsTexts) {
    std::vector<Bytes> texts;
    for (int frame = 0; frame < 12; ++frame) {
        char text[64];
        if (frame < 6) {
            std::snprintf(text, sizeof(text), "2021-03-04 05:06:%02d", frame);
        } else {
            std::snprintf(text, sizeof(text), "CAMERA=Gate RECORDTYPE=1 TIME=202103040506%02d%-11s", frame,
                          "");
        }
        Bytes chunk = Text(text);
        chunk.push_back(0);
        texts.push_back(chunk);
    }
    ASSERT_EQ(texts[11].size(), 56u) << texts[11].data();
    const AviStreamSpec video = Video("msmpeg4", "MP43");
    AddFile("/ovr/a.avi", WriteAvi({video, AviTextStream(texts)}).bytes);
    const std::vector<Delivered> walked = WalkOneCamera(OmniVisionGuid, "/ovr/a.avi", "Gate");
    ExpectRecordedTimes(walked, 12, [](size_t frame) {
        return TicksFromSystemTime(2021, 3, 4, 5, 6, static_cast<int32_t>(frame), 0);
    });
    texts[3][5] = '1'; // month 13
    AddFile("/ovr/b.avi", WriteAvi({video, AviTextStream(texts)}).bytes);
    EXPECT_TRUE(LoadFailsWith(OmniVisionGuid, "/ovr/b.avi",
                              "DecodeOmniVisionOVR2200: Decode Failure (bad time stamp in text frame 3)\n"));
}

// Two files of one recording, each with a record before every video frame: one camera across both,
// each frame at its record's time; key frames are found in the pictures, the index has none.
TEST_F(AviMembersTest, SoutheasternFilesShareOneCameraTimedByTheirRecords) {
    AviStreamSpec video = Video("mpeg4", "DIVX", false);
    std::fill(video.flags.begin(), video.flags.end(), 0u);
    for (int file = 0; file < 2; ++file) {
        std::vector<Bytes> records;
        for (int frame = 0; frame < 12; ++frame) {
            records.push_back(SoutheasternRecord("Lobby", file * 12 + frame, frame * 40));
        }
        AddFile("/se/SE01_20210304_000" + std::to_string(file) + ".avi",
                WriteAvi({AviTextStream(records), video}).bytes);
    }
    AddFile("/se/SE01_20210305_0000.avi", Bytes(16, 0)); // another recording's file, never listed
    const std::vector<Bytes> oneFile = reference;
    reference.insert(reference.end(), oneFile.begin(), oneFile.end());
    const std::vector<Delivered> walked =
        WalkOneCamera(SoutheasternGuid, "/se/SE01_20210304_0001.avi", "Lobby");
    ExpectRecordedTimes(walked, 24, [](size_t frame) {
        const auto index = static_cast<int32_t>(frame);
        return TicksFromSystemTime(2021, 3, 4, 5, 6, index, index % 12 * 40);
    });
    const int stream = VideoStreams()[0];
    countingFiles.reads = 0;
    const Delivered jumped = GoTo(stream, walked[9].time.streamTime);
    EXPECT_EQ(countingFiles.reads, 4);
    ExpectPicture(jumped, reference[9], 9);

    std::vector<Bytes> bad(12, SoutheasternRecord("Lobby", 1, 0));
    bad[4][22] = 0x13;
    ExpectLoadsFail(SoutheasternGuid, "SE01_20210304_0000.avi",
                    {{WriteAvi({AviTextStream(bad), video}).bytes,
                      "DecodeBTPDivX: DecoderFailure() called due to out of range metadata\n"},
                     {WriteAvi({video}).bytes,
                      "DecodeBTPDivX: DecoderFailure() called due to no metadata stream being found\n"}});
}

// TJPG pictures through the recorder's own JPEG codec; the camera from the file's name, the times
// from the trailer on the recorder's local clock.
TEST_F(AviMembersTest, LoronixReadsCameraFromTheNameAndTimesFromTheTrailer) {
    AviStreamSpec video{.format = AviVideoFormat(FourCCLE("TJPG"), Width, Height)};
    std::vector<BgrPicture> pictures;
    for (int32_t frame = 0; frame < 5; ++frame) {
        pictures.push_back(MakeQuadrantPicture(Width, Height, frame));
        video.chunks.push_back(EncodeTestJpeg(pictures.back()));
    }
    AviLayout layout{.trailer = LoronixTrailer(148)};
    AddFile("/lrx/007-Till 2--export.avi", WriteAvi({video}, layout).bytes);
    ASSERT_EQ(Load(LoronixGuid, "/lrx/007-Till 2--export.avi"), 0) << LastError();
    ASSERT_EQ(StreamName(VideoStream()), "Till 2");
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), pictures.size());
    for (size_t frame = 0; frame < walked.size(); ++frame) {
        EXPECT_EQ(walked[frame].time.recordedTime,
                  TicksFromSystemTime(2021, 3, 4, 6, 6, 7, static_cast<int32_t>(frame) * 40));
        ExpectNear(pictures[frame], walked[frame]);
    }
    layout.trailer = LoronixTrailer(149);
    AddFile("/lrx/008-Door--export.avi", WriteAvi({video}, layout).bytes);
    EXPECT_TRUE(
        LoadFailsWith(LoronixGuid, "/lrx/008-Door--export.avi",
                      "DecodeLoronixCCTVWare: Decode Failure (found LRX2 chunk, but size is incorrect)\n"));
    AddFile("/lrx/clip.avi", WriteAvi({video}).bytes);
    ASSERT_EQ(Load(LoronixGuid, "/lrx/clip.avi"), 0) << LastError();
    EXPECT_TRUE(WasLogged("Neither camera information nor timestamps could be decoded for this format."));
}

// MPEG-2 video with MP3 audio: the text stream's first time starts the recording and the audio,
// 24 ms a frame, is its clock; pictures and sound as ffmpeg decodes them, also where an audio
// chunk cuts a picture in two.
TEST_F(AviMembersTest, VisimetricsMpegTakesItsClockFromTheAudio) {
    const Bytes made =
        Record("m2.avi", Width, Height, 0.48,
               "-f lavfi -i sine=frequency=440:sample_rate=48000:duration=0.48 -c:v mpeg2video "
               "-g 6 -bf 0 -q:v 3 -c:a libmp3lame -ac 1 -b:a 64k");
    reference = Reference("m2.avi", Width, Height);
    std::vector<AviStreamSpec> streams = ReadAviStreams(made);
    ASSERT_EQ(streams.size(), 2u);
    streams[0].format = AviVideoFormat(FourCCLE("MPEG"), Width, Height); // as the recorder labels it
    Bytes start(16, 0);
    const uint16_t words[8] = {2021, 3, 4, 4, 5, 6, 7, 0};
    std::memcpy(start.data(), words, sizeof(words));
    // The recorder writes an audio chunk into the middle of the sixth picture, where the index finds it.
    const Bytes& audio = streams[1].chunks[5];
    Bytes& picture = streams[0].chunks[5];
    const size_t half = picture.size() / 2;
    Bytes inner = Text("01wb");
    inner.insert(inner.end(),
                 {static_cast<uint8_t>(audio.size()), static_cast<uint8_t>(audio.size() >> 8), 0, 0});
    inner.insert(inner.end(), audio.begin(), audio.end());
    picture.insert(picture.begin() + static_cast<ptrdiff_t>(half), inner.begin(), inner.end());
    AviFile file = WriteAvi({streams[0], AviTextStream(std::vector<Bytes>(12, start)), streams[1]});
    const auto placeOf = [&](int32_t stream) {
        return std::find_if(file.chunks.begin(), file.chunks.end(), [&](const AviChunkPlace& place) {
            return place.stream == stream && place.chunk == 5;
        });
    };
    const auto head = static_cast<uint32_t>(placeOf(0)->offset + half);
    const size_t entry = static_cast<size_t>(placeOf(2) - file.chunks.begin());
    std::memcpy(file.bytes.data() + file.indexPosition + 8 + entry * 16 + 8, &head, 4);
    AddFile("/vm/rec.avi", file.bytes);
    const std::vector<Delivered> walked = WalkOneCamera(VisimetricsMpegGuid, "/vm/rec.avi", "");
    const int64_t first = TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0);
    const double duration = static_cast<double>(streams[1].chunks.size()) * 240000;
    ExpectRecordedTimes(walked, reference.size(),
                        [&](size_t frame) { return first + static_cast<int64_t>(frame * duration / 12); });
    const std::vector<Delivered> sound = WalkForward(AudioStream());
    ASSERT_EQ(sound.size(), streams[1].chunks.size());
    EXPECT_EQ(AudioDescription(AudioStream(), sound[0]).sampleRate, 48000);
    EXPECT_EQ(sound[3].time.recordedTime, first + 3 * 240000);
    std::vector<int16_t> samples;
    for (const Delivered& frame : sound) {
        ASSERT_EQ(frame.status, 0);
        const auto* pcm = reinterpret_cast<const int16_t*>(frame.data.data());
        samples.insert(samples.end(), pcm, pcm + frame.data.size() / 2);
    }
    const std::vector<int16_t> expected = IsoTest::FfmpegAudioSamples(folder.Path("m2.avi"));
    ASSERT_EQ(samples.size(), expected.size());
    double difference = 0;
    for (size_t at = 0; at < samples.size(); ++at) {
        difference += std::abs(samples[at] - expected[at]);
    }
    EXPECT_LT(difference / static_cast<double>(samples.size()), 2.0);
}

constexpr const char* DV25Guid = "099A772C-0749-4c16-8230-F98F0F10E5AD";
constexpr int DvWidth = 720;
constexpr int DvHeight = 576;
constexpr uint32_t DvFrameBytes = 144000;

using DV25AVITest = AviRecordingTest;

constexpr const char* DvFileGuid = "EA99CA74-6FF5-4f31-A85D-AA10FA7218CC";

// ffmpeg's DV stream of 30 frames recorded from 2021-03-04 05:06:07, each DIF frame in one AVI chunk,
// in an AVI as a video or an interleaved DV stream, and as a raw file cut inside its last frame: each
// whole frame bears the recording time of its DIF subcode, whole seconds counted from the start, and
// ffmpeg's picture; a frame dated in month 13 is undated.
TEST_F(DV25AVITest, FramesTakeTheirTimeCodeAndDecodeAsFfmpegDoes) {
    const Bytes raw =
        Record("raw.dv", DvWidth, DvHeight, 1.2,
               "-c:v dvvideo -pix_fmt yuv420p -metadata creation_time=2021-03-04T05:06:07 -f dv");
    AviStreamSpec stream{.handler = FourCCLE("dvsd"),
                         .format = AviVideoFormat(FourCCLE("dvsd"), DvWidth, DvHeight)};
    for (size_t at = 0; at + DvFrameBytes <= raw.size(); at += DvFrameBytes) {
        stream.chunks.emplace_back(raw.begin() + static_cast<ptrdiff_t>(at),
                                   raw.begin() + static_cast<ptrdiff_t>(at + DvFrameBytes));
    }
    ASSERT_EQ(stream.chunks.size(), 30u);
    AddFile("/dv/tape.avi", WriteAvi({stream}).bytes);
    AviStreamSpec interleaved = stream; // a DV stream of the first type, named by its handler
    interleaved.type = FourCCLE("iavs");
    AddFile("/dv/iavs.avi", WriteAvi({interleaved}).bytes);
    Bytes cut(raw.begin(), raw.end() - DvFrameBytes / 2);
    cut[28 * DvFrameBytes + 461] = 0x13;
    AddFile("/dv/tape.dv", cut);
    reference = Reference("raw.dv", DvWidth, DvHeight);
    for (const auto& [guid, path, count] :
         {std::tuple{DV25Guid, "/dv/tape.avi", size_t{30}}, std::tuple{DV25Guid, "/dv/iavs.avi", size_t{30}},
          std::tuple{DvFileGuid, "/dv/tape.dv", size_t{29}}}) {
        SCOPED_TRACE(path);
        ASSERT_EQ(Load(guid, path), 0) << LastError();
        const std::vector<Delivered> walked = WalkForward(VideoStream());
        ExpectPictures(
            walked, std::vector<Bytes>(reference.begin(), reference.begin() + static_cast<ptrdiff_t>(count)));
        const bool undatedLast = count == 29;
        ExpectRecordedTimes(walked, count, [&](size_t frame) {
            return undatedLast && frame == 28
                       ? 0
                       : TicksFromSystemTime(2021, 3, 4, 5, 6, 7 + static_cast<int32_t>(frame / 25), 0);
        });
    }
    AddFile("/short/a.dv", Bytes(DvFrameBytes - 1, 0));
    EXPECT_TRUE(LoadFailsWith(DvFileGuid, "/short/a.dv",
                              "DecodeDV: Decode Failure (No frames in the frameInfoList!)\n"));
}

TEST_F(DV25AVITest, AnFfmpegDvAviWithoutTimeCodePlaysByItsRate) {
    AddFile("/dv/plain.avi", Record("plain.avi", DvWidth, DvHeight, 0.4, "-c:v dvvideo -pix_fmt yuv420p"));
    ASSERT_EQ(Load(DV25Guid, "/dv/plain.avi"), 0) << LastError();
    EXPECT_TRUE(WasLogged("Neither camera information nor timestamps could be decoded for this format."));
    EXPECT_EQ(DecoderName("DecodeDV25AVI"), "DV25 AVI (dvsd)");
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ExpectPictures(walked, Reference("plain.avi", DvWidth, DvHeight));
    for (size_t frame = 1; frame < walked.size(); ++frame) {
        EXPECT_EQ(walked[frame].time.recordedTime, 0);
        EXPECT_GT(walked[frame].time.streamTime, walked[frame - 1].time.streamTime) << frame;
    }
}

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

    std::vector<AviStreamSpec> divx = streams;
    divx[0].format = AviVideoFormat(FourCCLE("DIVX"), Width, Height);
    ExpectLoadsFail(
        AVerMediaGuid, FileName(1, 1),
        {{WriteAvi(streams).bytes, "BaseAVIDecoder: Decode Failure (Error when parsing AVI RIFF header)\n"},
         {WriteAvi(divx, layout).bytes, "BaseAVIDecoder: Decode Failure (Failed to validate FourCC)\n"}});

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
    EXPECT_TRUE(IsBlack(walked[11]));
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
        AviStreamSpec video{.format = AviVideoFormat(FourCCLE("MJPG"), Width, Height)};
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
    // Four frames' texts: their times, 06:00:00.500 on, as the words of a SYSTEMTIME.
    static std::vector<Bytes> Dates() {
        std::vector<Bytes> texts(4, Bytes(16));
        for (uint16_t second = 0; second < 4; ++second) {
            const uint16_t words[8] = {2021, 3, 4, 4, 6, 0, second, 500};
            std::memcpy(texts[second].data(), words, sizeof(words));
        }
        return texts;
    }
    std::vector<BgrPicture> pictures;
};

// Two files of camera 3 in one hour's folder, the first with an OpenDML index, the second of
// two-field frames, and a file of camera 4 in the next hour with its text stream and VISI header:
// every frame's time, camera and picture.
TEST_F(OctarTest, TheTreeOfAFolderGivesEachCameraItsFramesAndTimes) {
    AviLayout openDml{.index = AviIndex::OpenDml};
    AddFile("/site/2021/03/04/05/18367_C03.avi", WriteAvi({Video(false, 0)}, openDml).bytes);
    AddFile("/site/2021/03/04/05/18400_C03.avi", WriteAvi({Video(true, 4)}).bytes);
    AviLayout visi;
    visi.junk.assign(120, 0);
    std::memcpy(visi.junk.data() + 10, "VISI", 4);
    std::memcpy(visi.junk.data() + 10 + 48, "Back door", 9);
    AddFile("/site/2021/03/04/06/21600_C04.avi",
            WriteAvi({Video(false, 8), AviTextStream(Dates())}, visi).bytes);
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
            ExpectNear(pictures[shown], walked[frame]);
        }
    }
}

TEST_F(OctarTest, AFileOutsideTheDateTreeFailsTheLoad) {
    AddFile("/flat/18367_C03.avi", WriteAvi({Video(false, 0)}).bytes);
    EXPECT_TRUE(LoadFailsWith(
        OctarGuid, "/flat/18367_C03.avi",
        "BaseAVIDecoder: Decode Failure (FileListComplete called with filePathError == true)\n"));
}

TEST_F(OctarTest, VisimetricsPicturesAreJpeg2000) {
    const std::vector<uint8_t> rgb = Jpeg2000Testing::MakeRgbPicture(Width, Height);
    AviStreamSpec video{.format = AviVideoFormat(FourCCLE("MJ2C"), Width, Height)};
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
    AviStreamSpec stream{.type = type};
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
    AviLayout layout{.index = AviIndex::OpenDml};
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
    AviLayout tooMany{.declaredStreams = 3};
    const Walk walk(WriteAvi(VideoAndAudio(), tooMany).bytes);
    EXPECT_EQ(walk.last.size, AVIParser::MoviTooEarly);
    EXPECT_EQ(walk.last.offset, AVIParser::MoviTooEarly);

    AviLayout tooFew{.declaredStreams = 1};
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
