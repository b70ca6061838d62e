#include "codecs/mpeg2ps/ProgramStream.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/mpeg2ps/ProgramStreamWriter.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

Bytes Filled(uint8_t value, size_t count) {
    return Bytes(count, value);
}

struct Gathered {
    bool ok = false;
    Bytes stream;
    int32_t stoppedAt = 0;
};

Gathered Gather(const Bytes& bytes, uint8_t streamId, int32_t outputSize = 1 << 16) {
    Gathered result;
    result.stream.resize(static_cast<size_t>(outputSize));
    int32_t written = -1;
    PacketReader reader;
    result.ok = GetStream(bytes.data(), streamId, static_cast<int32_t>(bytes.size()), result.stream.data(),
                          outputSize, &written, &reader);
    result.stream.resize(static_cast<size_t>(std::max(written, 0)));
    result.stoppedAt = reader.Position();
    return result;
}

// A pack with a system header, two video packets, an audio packet between them and padding.
Bytes MixedPack() {
    PesOptions timed;
    timed.pts = 900;
    timed.dts = 600;
    Bytes bytes = PackHeader(0, 25200, 3);
    Append(bytes, SystemHeader());
    Append(bytes, PesPacket(0xE0, Filled(0x11, 40), timed));
    Append(bytes, PesPacket(0xC0, Filled(0x22, 30)));
    Append(bytes, PackHeader(100));
    Append(bytes, PesPacket(0xE0, Filled(0x33, 20)));
    Append(bytes, PesPacket(0xE1, Filled(0x44, 10)));
    Append(bytes, PaddingPacket(16));
    return bytes;
}

} // namespace

TEST(GetStreamTest, GathersThePayloadsOfOneStream) {
    const Bytes bytes = MixedPack();
    Gathered video = Gather(bytes, 0xE0);
    EXPECT_TRUE(video.ok);
    Bytes expected = Filled(0x11, 40);
    Append(expected, Filled(0x33, 20));
    EXPECT_EQ(video.stream, expected);
    EXPECT_EQ(video.stoppedAt, static_cast<int32_t>(bytes.size()));

    EXPECT_EQ(Gather(bytes, 0xC0).stream, Filled(0x22, 30));
    EXPECT_EQ(Gather(bytes, 0xE1).stream, Filled(0x44, 10));
    EXPECT_TRUE(Gather(bytes, 0xE2).stream.empty());
}

TEST(GetStreamTest, GathersInPlace) {
    Bytes bytes = MixedPack();
    int32_t written = 0;
    ASSERT_TRUE(GetStream(bytes.data(), 0xE0, static_cast<int32_t>(bytes.size()), bytes.data(),
                          static_cast<int32_t>(bytes.size()), &written, nullptr));
    ASSERT_EQ(written, 60);
    Bytes expected = Filled(0x11, 40);
    Append(expected, Filled(0x33, 20));
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + written), expected);
}

TEST(GetStreamTest, OverflowFailsTheCall) {
    const Bytes bytes = MixedPack();
    EXPECT_FALSE(Gather(bytes, 0xE0, 59).ok);
    EXPECT_TRUE(Gather(bytes, 0xE0, 60).ok);
}

TEST(GetStreamTest, ReadingEndsQuietlyAtACutTailJunkOrAnEndCode) {
    Bytes bytes = PackHeader();
    Append(bytes, PesPacket(0xE0, Filled(0x11, 40)));
    const auto firstPacketEnd = static_cast<int32_t>(bytes.size());

    LogCapture log;
    Bytes cut = bytes;
    Append(cut, PesPacket(0xE0, Filled(0x33, 20)));
    cut.resize(cut.size() - 5);
    Gathered fromCut = Gather(cut, 0xE0);
    EXPECT_TRUE(fromCut.ok);
    EXPECT_EQ(fromCut.stream, Filled(0x11, 40));
    EXPECT_EQ(log.Messages(),
              std::vector<std::string>{"Packet::Decode failing because too few remaining bytes\n"});

    log.Clear();
    for (const Bytes& tail :
         {Bytes{0x12, 0x34, 0x56, 0x78, 0x9A}, Bytes{0x00, 0x00, 0x01, 0xB9}, Bytes{0, 0, 1}}) {
        Bytes junk = bytes;
        Append(junk, tail);
        Append(junk, PesPacket(0xE0, Filled(0x33, 20)));
        Gathered fromJunk = Gather(junk, 0xE0);
        EXPECT_TRUE(fromJunk.ok);
        EXPECT_EQ(fromJunk.stream, Filled(0x11, 40));
        EXPECT_EQ(fromJunk.stoppedAt, firstPacketEnd);
    }
    EXPECT_TRUE(log.Messages().empty());
}

TEST(GetStreamTest, ABrokenPacketEndsTheStreamWithItsReason) {
    Bytes bytes = PackHeader();
    Append(bytes, PesPacket(0xE0, Filled(0x11, 40)));
    PesOptions timed;
    timed.pts = 1234;
    Bytes broken = PesPacket(0xE0, Filled(0x33, 20), timed);
    broken[11] &= 0xFE;
    Append(bytes, broken);
    Append(bytes, PesPacket(0xE0, Filled(0x55, 20)));
    LogCapture log;
    Gathered video = Gather(bytes, 0xE0);
    EXPECT_TRUE(video.ok);
    EXPECT_EQ(video.stream, Filled(0x11, 40));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{
                                  "Packet::Decode failing because bits & 1 != 1 (29..15 of timestamp)\n"});
}

TEST(GetStreamTest, ABrokenPackHeaderOrSystemHeaderEndsTheStream) {
    Bytes bytes = PesPacket(0xE0, Filled(0x11, 40));
    Bytes brokenPack = PackHeader();
    brokenPack[12] &= 0xFC;
    Bytes withBrokenPack = bytes;
    Append(withBrokenPack, brokenPack);
    Append(withBrokenPack, PesPacket(0xE0, Filled(0x33, 20)));
    EXPECT_EQ(Gather(withBrokenPack, 0xE0).stream, Filled(0x11, 40));

    Bytes withShortSystemHeader = bytes;
    Append(withShortSystemHeader, PackHeader());
    Bytes system = SystemHeader();
    system.resize(10);
    Append(withShortSystemHeader, system);
    EXPECT_EQ(Gather(withShortSystemHeader, 0xE0).stream, Filled(0x11, 40));
}
