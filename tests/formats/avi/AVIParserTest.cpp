// The incremental AVI walk driven over files the writer builds, for what the recording walks do not
// reach: the OpenDML index, the header quirks recorders produce, and the files whose walk must not
// finish.
#include "formats/avi/AVIParser.h"
#include "fixtures/formats/AviWriter.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using Bytes = std::vector<uint8_t>;

// Runs a parser's walk over `file` the way the decoder does, one read at a time, after `setup`;
// the last request is kept.
struct Walk {
    AVIParser parser;
    AviParseRequest last{};
    int32_t steps = 0;
    bool repeated = false; // the walk asked for the very same read twice running

    explicit Walk(const Bytes& file, const std::function<void(AVIParser&)>& setup = {}) {
        if (setup) {
            setup(parser);
        }
        Run(file);
    }

    void Run(const Bytes& file, int32_t maxSteps = 2000) {
        ByteView bytes(file.data(), file.size());
        last = parser.Start(bytes.Sub(0, 12));
        while (last.size >= 0 && ++steps < maxSteps) {
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
        stream.flags.push_back(chunk % 3 == 0 ? 0x10u : 0u);
    }
    return stream;
}

std::vector<AviStreamSpec> VideoAndAudio() {
    return {Stream(FourCCLE("vids"), 7, 100), Stream(FourCCLE("auds"), 5, 33)};
}

// Every chunk of `stream` found where the writer put it, with its index flags.
void ExpectChunks(AVIParser& parser, const AviFile& file, int32_t stream, bool withFlags) {
    StreamInfo* info = parser.GetStream(stream);
    ASSERT_NE(info, nullptr);
    int32_t frame = 0;
    for (const AviChunkPlace& place : file.chunks) {
        if (place.stream != stream) {
            continue;
        }
        ASSERT_LT(frame, info->frames.Count());
        const AVIMultiFileFrameInfo record = info->frames.GetAt(frame);
        EXPECT_EQ(record.offset, place.offset) << "frame " << frame;
        EXPECT_EQ(record.size, place.size) << "frame " << frame;
        EXPECT_EQ(record.frameInFile, frame);
        if (withFlags) {
            EXPECT_EQ(record.indexFlags, frame % 3 == 0 ? 0x10u : 0u) << "frame " << frame;
        }
        ++frame;
    }
    EXPECT_EQ(info->frames.Count(), frame);
    EXPECT_EQ(info->frameCount, frame);
}

// The OpenDML index finds every chunk of the first stream, whose index ends the walk: the second
// stream is never reached. A block that is not an index of chunks stops the walk instead.
TEST(AVIParser, OpenDmlIndexFindsTheFirstStreamsChunksAndABadBlockStopsTheWalk) {
    AviLayout layout;
    layout.index = AviIndex::OpenDml;
    AviFile file = WriteAvi(VideoAndAudio(), layout);
    Walk walk(file.bytes);
    AVIParser& parser = walk.parser;
    ASSERT_TRUE(parser.Finished()) << "state " << walk.last.state;
    ASSERT_EQ(parser.StreamCount(), 2);
    ExpectChunks(parser, file, 0, false);
    EXPECT_EQ(parser.GetStream(1)->type, 0u);
    EXPECT_EQ(parser.GetStream(1)->frames.Count(), 0);

    file.bytes[file.indexPosition + 8 + 3] = 0;
    const Walk bad(file.bytes);
    EXPECT_FALSE(bad.repeated);
    EXPECT_EQ(bad.last.size, AVIParser::Stopped);
}

// Names of odd length with and without their pad byte, and of even length: the walk goes on at the
// chunk behind the name each time.
TEST(AVIParser, StreamNamesOfEveryLengthAndPaddingLeadToTheNextChunk) {
    for (const char* name : {"cam1", "camera", "Camera 12", "x"}) {
        for (bool unpadded : {false, true}) {
            std::vector<AviStreamSpec> streams = VideoAndAudio();
            streams[0].name = name;
            streams[0].unpaddedName = unpadded;
            streams[1].name = name;
            streams[1].unpaddedName = unpadded;
            const AviFile file = WriteAvi(streams);
            Walk walk(file.bytes);
            AVIParser& parser = walk.parser;
            ASSERT_TRUE(parser.Finished()) << name << (unpadded ? " unpadded" : " padded");
            ExpectChunks(parser, file, 0, true);
            ExpectChunks(parser, file, 1, true);
        }
    }
}

// A main header that claims more streams than the file has ends at movi with -2 unless the count
// is forced; one that claims fewer leaves the others' chunks out.
TEST(AVIParser, AStreamCountThatLiesIsOvercomeByForcingIt) {
    AviLayout tooMany;
    tooMany.declaredStreams = 3;
    const AviFile file = WriteAvi(VideoAndAudio(), tooMany);
    const Walk walk(file.bytes);
    EXPECT_EQ(walk.last.size, AVIParser::MoviTooEarly);
    EXPECT_EQ(walk.last.offset, AVIParser::MoviTooEarly);

    Walk forced(file.bytes, [](AVIParser& parser) { parser.SetStreamCount(2); });
    ASSERT_TRUE(forced.parser.Finished());
    ExpectChunks(forced.parser, file, 1, true);

    AviLayout tooFew;
    tooFew.declaredStreams = 1;
    const AviFile fewer = WriteAvi(VideoAndAudio(), tooFew);
    Walk third(fewer.bytes);
    AVIParser& one = third.parser;
    ASSERT_TRUE(one.Finished());
    EXPECT_EQ(one.StreamCount(), 1);
    ExpectChunks(one, fewer, 0, true);
}

TEST(AVIParser, AFileOfAnotherMagicReadsOnlyWhenThatMagicIsSet) {
    AviLayout layout;
    layout.riffMagic = FourCCLE("AVF0");
    const AviFile file = WriteAvi(VideoAndAudio(), layout);
    const Walk walk(file.bytes);
    EXPECT_FALSE(walk.parser.Finished());
    EXPECT_EQ(walk.last.size, AVIParser::Stopped);
    EXPECT_EQ(walk.steps, 0);

    Walk magic(file.bytes, [](AVIParser& parser) { parser.SetRiffMagic(FourCCLE("AVF0")); });
    ASSERT_TRUE(magic.parser.Finished());
    ExpectChunks(magic.parser, file, 0, true);
    // Starting again on a plain file keeps the magic: the walk stops at once.
    magic.Run(WriteAvi(VideoAndAudio()).bytes);
    EXPECT_EQ(magic.last.size, AVIParser::Stopped);
}

// Without the index flag, and cut before its idx1, a file's walk asks for one read over and over.
TEST(AVIParser, AMoviWithoutUsableIndexRepeatsOneReadForever) {
    AviLayout unflagged;
    unflagged.indexFlag = false;
    AviFile cut = WriteAvi(VideoAndAudio());
    cut.bytes.resize(cut.indexPosition);
    for (const Bytes& file : {WriteAvi(VideoAndAudio(), unflagged).bytes, cut.bytes}) {
        const Walk walk(file);
        EXPECT_TRUE(walk.repeated);
        EXPECT_EQ(walk.last.state, AVIParser::NoIndexState);
        EXPECT_FALSE(walk.parser.Finished());
    }
}

// A foreign entry ends the legacy index and keeps what came before; "rec " entries are passed
// over; an entry of length 0 is no frame.
TEST(AVIParser, TheLegacyIndexEndsAtAForeignEntry) {
    AviFile file = WriteAvi(VideoAndAudio());
    const size_t entries = file.indexPosition + 8;
    auto entryCode = [&](size_t entry) { return file.bytes.data() + entries + entry * 16; };
    std::copy_n("rec ", 4, entryCode(0));
    std::fill_n(entryCode(2) + 12, 4, 0);
    std::copy_n("ix00", 4, entryCode(6));
    Walk walk(file.bytes);
    AVIParser& parser = walk.parser;
    ASSERT_TRUE(parser.Finished());
    // Entries in file order: v0 a0 v1 a1 v2 a2 v3 ...; v0 and v1 go, v3 ends the index.
    const StreamInfo* video = parser.GetStream(0);
    ASSERT_EQ(video->frames.Count(), 1);
    EXPECT_EQ(const_cast<StreamInfo*>(video)->frames.GetAt(0).offset, file.chunks[4].offset);
    EXPECT_EQ(parser.GetStream(1)->frames.Count(), 3);
}

// The duration of a frame comes from the video stream's length, rate and chunk count.
TEST(AVIParser, FrameDurationFollowsTheVideoStreamsRate) {
    const struct {
        uint32_t scale, rate;
        double duration;
    } rates[] = {{1, 25, 400000.0}, {1001, 30000, 333666.6666666}, {1, 10, 1000000.0}};
    for (const auto& rate : rates) {
        std::vector<AviStreamSpec> streams = VideoAndAudio();
        streams[0].scale = rate.scale;
        streams[0].rate = rate.rate;
        Walk walk(WriteAvi(streams).bytes);
        AVIParser& parser = walk.parser;
        ASSERT_TRUE(parser.Finished());
        EXPECT_NEAR(parser.FrameDuration(), rate.duration, 0.001);
    }
    Walk walk(WriteAvi({Stream(FourCCLE("auds"), 4, 10)}).bytes);
    AVIParser& audioOnly = walk.parser;
    ASSERT_TRUE(audioOnly.Finished());
    EXPECT_EQ(audioOnly.FrameDuration(), AVIParser::DefaultFrameDuration);
}

} // namespace
