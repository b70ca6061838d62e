#include "codecs/mpeg2ps/Packet.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/mpeg2ps/ProgramStreamWriter.h"

#include "model/files/FileTestSupport.h"

#include <gtest/gtest.h>

#include <string>

using namespace Vorn::Vorncast::Decoders;
using namespace CodecTest;
using FileTesting::LogCapture;

namespace {

constexpr int32_t FieldsStart = 9;
const std::string Prefix = "Packet::Decode failing because ";

bool DecodeBytes(const Bytes& bytes, Packet& packet) {
    PacketReader reader(bytes.data(), static_cast<int32_t>(bytes.size()));
    return packet.Decode(reader);
}

void ClearBit(Bytes& bytes, size_t at, int32_t bit) {
    bytes.at(at) &= static_cast<uint8_t>(~(1u << bit));
}

const PesOptions Pts{.pts = 0x1'2345'6789};
const PesOptions PtsDts{.pts = 0x1'2345'6789, .dts = 0x0'8765'4321};
const PesOptions Escr{.escrBase = 1};
const PesOptions EsRate{.esRate = 5};
const PesOptions Dsm{.dsmTrickMode = 1};
const PesOptions CopyInfo{.additionalCopyInfo = 1};
const PesOptions Crc{.crc = 1};
const PesOptions Extension{.extension = true};
const PesOptions Private{.extension = true, .privateData = std::array<uint8_t, 16>{}};
const PesOptions PackField{.extension = true, .packField = PackHeader()};
const PesOptions Counter{.extension = true, .sequenceCounter = 3};

Bytes Payload() {
    return Bytes{1, 2, 3, 4, 5};
}

Bytes Build(const PesOptions& options) {
    return PesPacket(0xE0, Payload(), options);
}

// A header field that is cut short (the stated header length ends `room` bytes into the fields)
// or a bit of the fields that is cleared.
struct BrokenField {
    const char* reason;
    PesOptions options;
    int32_t room;
    size_t byte = 0;
    int32_t bit = 0;
};

Bytes Break(const BrokenField& broken) {
    PesOptions options = broken.options;
    if (broken.room >= 0) {
        options.headerLength = broken.room;
        return Build(options);
    }
    Bytes bytes = Build(options);
    ClearBit(bytes, FieldsStart + broken.byte, broken.bit);
    return bytes;
}

} // namespace

TEST(PacketTest, EveryOptionalFieldIsPassedOverToThePayload) {
    const Bytes bytes =
        Build({.pts = 0x1'2345'6789,
               .dts = 0x0'8765'4321,
               .escrBase = 0x1'0000'0001,
               .escrExtension = 0x155,
               .esRate = 0x2A5A5A,
               .dsmTrickMode = 0x9C,
               .additionalCopyInfo = 0x55,
               .crc = 0xBEEF,
               .extension = true,
               .privateData = std::array<uint8_t, 16>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
               .packField = PackHeader(),
               .sequenceCounter = 0x5A,
               .pStdBufferSize = 0x1234,
               .stuffing = 3});

    Packet packet;
    PacketReader reader(bytes.data(), static_cast<int32_t>(bytes.size()));
    ASSERT_TRUE(packet.Decode(reader));
    EXPECT_EQ(reader.Position(), static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(packet.streamId, 0xE0);
    EXPECT_EQ(packet.payloadEnd, static_cast<int32_t>(bytes.size()));
    EXPECT_EQ(Bytes(bytes.begin() + packet.payloadStart, bytes.end()), Payload());
}

TEST(PacketTest, PaddingAndPrivateStreamTwoHaveNoHeaderFlags) {
    for (uint8_t streamId : {Packet::PaddingStream, Packet::PrivateStream2, Packet::ProgramStreamMap}) {
        Bytes bytes = {0x00, 0x00, 0x01, streamId, 0x00, 0x04, 0x80, 0x00, 0x00, 0x07};
        Packet packet;
        ASSERT_TRUE(DecodeBytes(bytes, packet)) << int(streamId);
        EXPECT_EQ(packet.payloadStart, 6);
        EXPECT_EQ(packet.payloadEnd, 10);
        EXPECT_FALSE(packet.hasPts);
    }
}

TEST(PacketTest, EachFaultLogsItsReason) {
    const Bytes good = Build({});
    Bytes prefix = good;
    prefix[2] = 2;
    Bytes streamId = good;
    streamId[3] = 0xBB;
    Bytes length = good;
    length.pop_back();
    const std::vector<std::pair<Bytes, const char*>> heads = {
        {Bytes{0, 0, 1, 0xE0, 0}, "too few bytes\n"},
        {prefix, "invalid packet start code prefix\n"},
        {streamId, "invalid streamId\n"},
        {length, "too few remaining bytes\n"},
        {Break({"", {}, 40}), "too few remaining bytes\n"},
    };
    const BrokenField fields[] = {
        {"too few remaining header bytes (pts)\n", Pts, 4},
        {"bites & 0xE != 2\n", Pts, -1, 0, 5},
        {"bits & 1 != 1 (32..30 of timestamp)\n", Pts, -1, 0, 0},
        {"bits & 1 != 1 (29..15 of timestamp)\n", Pts, -1, 2, 0},
        {"bits & 1 != 1 (16..14 of timestamp)\n", Pts, -1, 4, 0},
        {"too few header bytes remaining (dts)\n", PtsDts, 9},
        {"bits & 1 != 1 (dts field)\n", PtsDts, -1, 5, 4},
        {"bits & 1 != 1 (32..30 of time stamp)\n", PtsDts, -1, 5, 0},
        {"bits & 1 != 1 (29..15 of time stamp)\n", PtsDts, -1, 7, 0},
        {"bits & 1 != 1 (14..00 of time stamp)\n", PtsDts, -1, 9, 0},
        {"too few header bytes remaining (escr)\n", Escr, 5},
        {"(32..30 of ESCR)\n", Escr, -1, 0, 2},
        {"(29..15 of ESCR)\n", Escr, -1, 2, 2},
        {"(14..00 of ESCR)\n", Escr, -1, 4, 2},
        {"(next 10 bits of ESCR)\n", Escr, -1, 5, 0},
        {"two few bytes remaining (esRate)\n", EsRate, 2},
        {"first marker bit must be 1\n", EsRate, -1, 0, 7},
        {"next 23 bits are elementry stream state\n", EsRate, -1, 2, 0},
        {"two few header bytes remaining (dsmTrick)\n", Dsm, 0},
        {"two few header bytes remaining (copyright)\n", CopyInfo, 0},
        {"two few header bytes remaining (crc)\n", Crc, 1},
        {"two few header bytes remaining (extension)\n", Extension, 0},
        {"two few header bytes remaining (private)\n", Private, 16},
        {"two few header bytes remaining (pack header)\n", PackField, 10},
        {"two few header bytes remaining (MPEG-1 pack header)\n", Counter, 2},
    };
    std::vector<std::pair<Bytes, const char*>> cases = heads;
    for (const BrokenField& field : fields) {
        cases.emplace_back(Break(field), field.reason);
    }
    for (const auto& [bytes, reason] : cases) {
        LogCapture log;
        Packet packet;
        EXPECT_FALSE(DecodeBytes(bytes, packet)) << reason;
        EXPECT_EQ(log.Messages(), std::vector<std::string>{Prefix + reason});
    }
}

TEST(PacketTest, PackHeaderIsReadWithItsStuffing) {
    Bytes bytes = PackHeader(0x1'2345'6789, 0x2ABCDE, 5);
    bytes.push_back(0x42);
    Packet packet;
    PacketReader reader(bytes.data(), static_cast<int32_t>(bytes.size()));
    ASSERT_TRUE(packet.DecodePackHeader(reader));
    EXPECT_EQ(reader.Position(), Packet::PackHeaderBytes + 5);

    // An MPEG-1 pack, cleared marker bits and a header cut short.
    std::vector<Bytes> broken(5, PackHeader());
    broken[0][4] = 0x21;
    ClearBit(broken[1], 4, 2);
    ClearBit(broken[2], 6, 2);
    ClearBit(broken[3], 8, 2);
    broken[4].pop_back();
    LogCapture log;
    for (const Bytes& bad : broken) {
        PacketReader badReader(bad.data(), static_cast<int32_t>(bad.size()));
        EXPECT_FALSE(packet.DecodePackHeader(badReader));
    }
    EXPECT_EQ(log.Messages().size(), 5u);
    EXPECT_EQ(log.Messages().back(), Prefix + "too few bytes\n");
}
