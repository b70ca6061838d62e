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

Bytes Joined(std::initializer_list<Bytes> parts) {
    Bytes bytes;
    for (const Bytes& part : parts) {
        Append(bytes, part);
    }
    return bytes;
}

Bytes Broken(Bytes bytes, size_t at, uint8_t mask) {
    bytes[at] &= mask;
    return bytes;
}

Bytes Cut(Bytes bytes, size_t count) {
    bytes.resize(bytes.size() - count);
    return bytes;
}

PesOptions Timed(uint64_t pts, std::optional<uint64_t> dts = std::nullopt) {
    PesOptions timed;
    timed.pts = pts;
    timed.dts = dts;
    return timed;
}

} // namespace

// The payloads of one stream gathered across packs, system headers, other streams and padding;
// reading ends quietly at a cut tail, junk, an end code or a broken pack or system header, and
// with its reason at a broken packet.
TEST(GetStreamTest, GathersThePayloadsOfOneStreamUpToWhereReadingEnds) {
    const Bytes first = Joined({PackHeader(), PesPacket(0xE0, Filled(0x11, 40))});
    const Bytes mixed =
        Joined({PackHeader(0, 25200, 3), SystemHeader(), PesPacket(0xE0, Filled(0x11, 40), Timed(900, 600)),
                PesPacket(0xC0, Filled(0x22, 30)), PackHeader(100), PesPacket(0xE0, Filled(0x33, 20)),
                PesPacket(0xE1, Filled(0x44, 10)), PaddingPacket(16)});
    const Bytes more = PesPacket(0xE0, Filled(0x33, 20));
    const std::string cutText = "Packet::Decode failing because too few remaining bytes\n";
    const std::string brokenText = "Packet::Decode failing because bits & 1 != 1 (29..15 of timestamp)\n";
    const struct {
        Bytes bytes;
        uint8_t streamId;
        Bytes expected;
        std::string text;
        size_t stoppedAt;
    } cases[] = {
        {mixed, 0xE0, Joined({Filled(0x11, 40), Filled(0x33, 20)}), "", mixed.size()},
        {mixed, 0xC0, Filled(0x22, 30), "", mixed.size()},
        {mixed, 0xE1, Filled(0x44, 10), "", mixed.size()},
        {mixed, 0xE2, {}, "", mixed.size()},
        {Joined({first, Cut(more, 5)}), 0xE0, Filled(0x11, 40), cutText, 0},
        {Joined({first, Bytes{0x12, 0x34, 0x56, 0x78, 0x9A}, more}), 0xE0, Filled(0x11, 40), "",
         first.size()},
        {Joined({first, Bytes{0x00, 0x00, 0x01, 0xB9}, more}), 0xE0, Filled(0x11, 40), "", first.size()},
        {Joined({first, Bytes{0, 0, 1}, more}), 0xE0, Filled(0x11, 40), "", first.size()},
        {Joined({first, Broken(PesPacket(0xE0, Filled(0x33, 20), Timed(1234)), 11, 0xFE), more}), 0xE0,
         Filled(0x11, 40), brokenText, 0},
        {Joined({first, Broken(PackHeader(), 12, 0xFC), more}), 0xE0, Filled(0x11, 40),
         "Packet::Decode failing because bits & 3 != 3 (mux rate)\n", 0},
        {Joined({first, PackHeader(), Cut(SystemHeader(), SystemHeader().size() - 10)}), 0xE0,
         Filled(0x11, 40), "", 0},
    };
    for (size_t index = 0; index < std::size(cases); ++index) {
        const auto& c = cases[index];
        LogCapture log;
        Bytes stream(1 << 16);
        int32_t written = -1;
        PacketReader reader;
        EXPECT_TRUE(GetStream(c.bytes.data(), c.streamId, static_cast<int32_t>(c.bytes.size()), stream.data(),
                              static_cast<int32_t>(stream.size()), &written, &reader))
            << index;
        stream.resize(static_cast<size_t>(std::max(written, 0)));
        EXPECT_EQ(stream, c.expected) << index;
        EXPECT_EQ(log.Messages(),
                  c.text.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.text})
            << index;
        if (c.stoppedAt != 0) {
            EXPECT_EQ(reader.Position(), static_cast<int32_t>(c.stoppedAt)) << index;
        }
    }

    // The output may be the input itself, and must hold all of the stream.
    Bytes bytes = mixed;
    Bytes small(59);
    int32_t written = 0;
    EXPECT_FALSE(GetStream(mixed.data(), 0xE0, static_cast<int32_t>(mixed.size()), small.data(), 59, &written,
                           nullptr));
    ASSERT_TRUE(GetStream(bytes.data(), 0xE0, static_cast<int32_t>(bytes.size()), bytes.data(),
                          static_cast<int32_t>(bytes.size()), &written, nullptr));
    ASSERT_EQ(written, 60);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + written), cases[0].expected);
}
