// The incremental AVI walk driven over files the writer builds, for what the recording walks do not
// reach: header and index quirks, and the files whose walk must not finish.
#include "formats/avi/AVIParser.h"
#include "fixtures/formats/AviWriter.h"

#include <gtest/gtest.h>

namespace {

using namespace Vorn::Vorncast::Decoders;
using namespace Vorn::Vorncast::Decoders::Testing;
using Bytes = std::vector<uint8_t>;

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

} // namespace
