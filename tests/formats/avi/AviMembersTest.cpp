// Recorders' AVI dialects built on files ffmpeg writes: their text streams and trailers added by
// the writer, every frame's picture compared with ffmpeg's and its time and camera with what the
// dialect says; DV in AVI files and raw, timed by its subcode.
#include "core/time/Ticks.h"
#include "fixtures/formats/TestJpegPictures.h"
#include "formats/avi/AviFixture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <tuple>

namespace {

using namespace AviTests;
using Vorn::Vorncast::Decoders::FourCCLE;
using Vorn::Vorncast::Decoders::TicksFromSystemTime;

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
    static AviStreamSpec TextStream(const std::vector<Bytes>& texts) {
        AviStreamSpec text;
        text.type = FourCCLE("txts");
        text.chunks = texts;
        return text;
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
    std::vector<Bytes> reference;
};

// The trailer names the camera: the file name's digits, 1 and 2, make camera 13; the recorder's
// clock is not given.
TEST_F(AviMembersTest, CieffeFindsItsTrailerBehindTheRiffData) {
    AviLayout layout;
    layout.trailer = Text("header/INSIGNIS and some twenty more bytes");
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
    AddFile("/geo/Lobby.avi", WriteAvi({video, TextStream(texts)}).bytes);
    const std::vector<Delivered> walked = WalkOneCamera(GeoVisionGuid, "/geo/Lobby.avi", "Lobby.avi");
    EXPECT_EQ(DecoderName("DecodeGeoVision"), "GeoVision (GMP4)");
    ExpectRecordedTimes(walked, 12, [](size_t frame) {
        const auto index = static_cast<int32_t>(frame);
        return TicksFromSystemTime(2021, 3, 4 + index / 3, 5, 6, index, index % 3 == 2 ? index : 0);
    });

    // Texts that do not parse, and no text stream, fail the load with their texts.
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
        AddFile(path, WriteAvi({video, TextStream(std::vector<Bytes>(12, Text(text)))}).bytes);
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
    AddFile("/ovr/a.avi", WriteAvi({video, TextStream(texts)}).bytes);
    const std::vector<Delivered> walked = WalkOneCamera(OmniVisionGuid, "/ovr/a.avi", "Gate");
    ExpectRecordedTimes(walked, 12, [](size_t frame) {
        return TicksFromSystemTime(2021, 3, 4, 5, 6, static_cast<int32_t>(frame), 0);
    });
    texts[3][5] = '1'; // month 13
    AddFile("/ovr/b.avi", WriteAvi({video, TextStream(texts)}).bytes);
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
                WriteAvi({TextStream(records), video}).bytes);
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
                    {{WriteAvi({TextStream(bad), video}).bytes,
                      "DecodeBTPDivX: DecoderFailure() called due to out of range metadata\n"},
                     {WriteAvi({video}).bytes,
                      "DecodeBTPDivX: DecoderFailure() called due to no metadata stream being found\n"}});
}

// TJPG pictures through the recorder's own JPEG codec; the camera from the file's name, the times
// from the trailer on the recorder's local clock.
TEST_F(AviMembersTest, LoronixReadsCameraFromTheNameAndTimesFromTheTrailer) {
    AviStreamSpec video;
    video.format = AviVideoFormat(FourCCLE("TJPG"), Width, Height);
    std::vector<BgrPicture> pictures;
    for (int32_t frame = 0; frame < 5; ++frame) {
        pictures.push_back(MakeQuadrantPicture(Width, Height, frame));
        video.chunks.push_back(EncodeTestJpeg(pictures.back()));
    }
    AviLayout layout;
    layout.trailer = LoronixTrailer(148);
    AddFile("/lrx/007-Till 2--export.avi", WriteAvi({video}, layout).bytes);
    ASSERT_EQ(Load(LoronixGuid, "/lrx/007-Till 2--export.avi"), 0) << LastError();
    ASSERT_EQ(StreamName(VideoStream()), "Till 2");
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), pictures.size());
    for (size_t frame = 0; frame < walked.size(); ++frame) {
        EXPECT_EQ(walked[frame].time.recordedTime,
                  TicksFromSystemTime(2021, 3, 4, 6, 6, 7, static_cast<int32_t>(frame) * 40));
        ASSERT_EQ(walked[frame].data.size(), pictures[frame].bgr.size());
        EXPECT_LT(CompareBgr(pictures[frame], walked[frame].data.data(), Width * 3).meanAbsolute, 3.0);
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
    AviFile file = WriteAvi({streams[0], TextStream(std::vector<Bytes>(12, start)), streams[1]});
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

class DV25AVITest : public AviRecordingTest {
protected:
    // A DV stream of ffmpeg's, 30 frames recorded from 2021-03-04 05:06:07: each DIF frame in one
    // AVI chunk.
    AviStreamSpec DvStream() {
        raw = Record("raw.dv", DvWidth, DvHeight, 1.2,
                     "-c:v dvvideo -pix_fmt yuv420p -metadata creation_time=2021-03-04T05:06:07 -f dv");
        AviStreamSpec stream;
        stream.handler = FourCCLE("dvsd");
        stream.format = AviVideoFormat(FourCCLE("dvsd"), DvWidth, DvHeight);
        for (size_t at = 0; at + DvFrameBytes <= raw.size(); at += DvFrameBytes) {
            stream.chunks.emplace_back(raw.begin() + static_cast<ptrdiff_t>(at),
                                       raw.begin() + static_cast<ptrdiff_t>(at + DvFrameBytes));
        }
        return stream;
    }
    Bytes raw;
};

constexpr const char* DvFileGuid = "EA99CA74-6FF5-4f31-A85D-AA10FA7218CC";

// In an AVI, as a video or an interleaved DV stream, and as a raw file, each frame bears the recording time
// of its DIF subcode, whole seconds counted from the start, and ffmpeg's picture. A raw file cut inside a
// frame keeps its whole frames.
TEST_F(DV25AVITest, FramesTakeTheirTimeCodeAndDecodeAsFfmpegDoes) {
    const AviStreamSpec stream = DvStream();
    ASSERT_EQ(stream.chunks.size(), 30u);
    AddFile("/dv/tape.avi", WriteAvi({stream}).bytes);
    AviStreamSpec interleaved = stream; // a DV stream of the first type, named by its handler
    interleaved.type = FourCCLE("iavs");
    AddFile("/dv/iavs.avi", WriteAvi({interleaved}).bytes);
    AddFile("/dv/tape.dv", Bytes(raw.begin(), raw.end() - DvFrameBytes / 2));
    const std::vector<Bytes> reference = Reference("raw.dv", DvWidth, DvHeight);
    for (const auto& [guid, path, count] :
         {std::tuple{DV25Guid, "/dv/tape.avi", size_t{30}}, std::tuple{DV25Guid, "/dv/iavs.avi", size_t{30}},
          std::tuple{DvFileGuid, "/dv/tape.dv", size_t{29}}}) {
        SCOPED_TRACE(path);
        ASSERT_EQ(Load(guid, path), 0) << LastError();
        const std::vector<Delivered> walked = WalkForward(VideoStream());
        ExpectPictures(
            walked, std::vector<Bytes>(reference.begin(), reference.begin() + static_cast<ptrdiff_t>(count)));
        ExpectRecordedTimes(walked, count, [](size_t frame) {
            return TicksFromSystemTime(2021, 3, 4, 5, 6, 7 + static_cast<int32_t>(frame / 25), 0);
        });
    }
}

TEST_F(DV25AVITest, ARawFileWithoutWholeFramesFailsAndABadDateLeavesTheFrameUndated) {
    AddFile("/short/a.dv", Bytes(DvFrameBytes - 1, 0));
    EXPECT_NE(Load(DvFileGuid, "/short/a.dv"), 0);
    EXPECT_TRUE(WasLogged("DecodeDV: Decode Failure (No frames in the frameInfoList!)\n"));
    DvStream();
    Bytes two(raw.begin(), raw.begin() + 2 * DvFrameBytes);
    two[DvFrameBytes + 461] = 0x13; // month 13
    AddFile("/bad/b.dv", two);
    ASSERT_EQ(Load(DvFileGuid, "/bad/b.dv"), 0) << LastError();
    const std::vector<Delivered> walked = WalkForward(VideoStream());
    ASSERT_EQ(walked.size(), 2u);
    EXPECT_EQ(walked[0].time.recordedTime, TicksFromSystemTime(2021, 3, 4, 5, 6, 7, 0));
    EXPECT_EQ(walked[1].time.recordedTime, 0);
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

} // namespace
