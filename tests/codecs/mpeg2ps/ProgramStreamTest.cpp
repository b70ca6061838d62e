#include "codecs/mpeg2ps/ProgramStream.h"
#include "codecs/mpeg2ps/IppDecoderMPEG2PS.h"
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

constexpr int32_t Width = 176;
constexpr int32_t Height = 144;
constexpr int32_t PictureBytes = Width * Height * 3;

constexpr int32_t FieldsStart = 9;
const std::string Prefix = "Packet::Decode failing because ";

bool DecodeBytes(const Bytes& bytes, Packet& packet) {
    PacketReader reader(bytes.data(), static_cast<int32_t>(bytes.size()));
    return packet.Decode(reader);
}

Bytes Broken(Bytes bytes, size_t at, uint8_t mask) {
    bytes.at(at) &= mask;
    return bytes;
}

Bytes Cut(Bytes bytes, size_t count) {
    bytes.resize(bytes.size() - count);
    return bytes;
}

const Bytes Payload = {1, 2, 3, 4, 5};

Bytes Build(const PesOptions& options) {
    return PesPacket(0xE0, Payload, options);
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
    return Broken(Build(options), FieldsStart + broken.byte, static_cast<uint8_t>(~(1u << broken.bit)));
}

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
    EXPECT_EQ(Bytes(bytes.begin() + packet.payloadStart, bytes.end()), Payload);
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
    const std::vector<std::pair<Bytes, const char*>> heads = {
        {Bytes{0, 0, 1, 0xE0, 0}, "too few bytes\n"},
        {prefix, "invalid packet start code prefix\n"},
        {streamId, "invalid streamId\n"},
        {Cut(good, 1), "too few remaining bytes\n"},
        {Break({"", {}, 40}), "too few remaining bytes\n"},
    };
    const BrokenField fields[] = {
        {"too few remaining header bytes (pts)\n", {.pts = 1}, 4},
        {"bites & 0xE != 2\n", {.pts = 1}, -1, 0, 5},
        {"bits & 1 != 1 (32..30 of timestamp)\n", {.pts = 1}, -1, 0, 0},
        {"bits & 1 != 1 (29..15 of timestamp)\n", {.pts = 1}, -1, 2, 0},
        {"bits & 1 != 1 (16..14 of timestamp)\n", {.pts = 1}, -1, 4, 0},
        {"too few header bytes remaining (dts)\n", {.pts = 1, .dts = 1}, 9},
        {"bits & 1 != 1 (dts field)\n", {.pts = 1, .dts = 1}, -1, 5, 4},
        {"bits & 1 != 1 (32..30 of time stamp)\n", {.pts = 1, .dts = 1}, -1, 5, 0},
        {"bits & 1 != 1 (29..15 of time stamp)\n", {.pts = 1, .dts = 1}, -1, 7, 0},
        {"bits & 1 != 1 (14..00 of time stamp)\n", {.pts = 1, .dts = 1}, -1, 9, 0},
        {"too few header bytes remaining (escr)\n", {.escrBase = 1}, 5},
        {"(32..30 of ESCR)\n", {.escrBase = 1}, -1, 0, 2},
        {"(29..15 of ESCR)\n", {.escrBase = 1}, -1, 2, 2},
        {"(14..00 of ESCR)\n", {.escrBase = 1}, -1, 4, 2},
        {"(next 10 bits of ESCR)\n", {.escrBase = 1}, -1, 5, 0},
        {"two few bytes remaining (esRate)\n", {.esRate = 5}, 2},
        {"first marker bit must be 1\n", {.esRate = 5}, -1, 0, 7},
        {"next 23 bits are elementry stream state\n", {.esRate = 5}, -1, 2, 0},
        {"two few header bytes remaining (dsmTrick)\n", {.dsmTrickMode = 1}, 0},
        {"two few header bytes remaining (copyright)\n", {.additionalCopyInfo = 1}, 0},
        {"two few header bytes remaining (crc)\n", {.crc = 1}, 1},
        {"two few header bytes remaining (extension)\n", {.extension = true}, 0},
        {"two few header bytes remaining (private)\n",
         {.extension = true, .privateData = std::array<uint8_t, 16>{}},
         16},
        {"two few header bytes remaining (pack header)\n",
         {.extension = true, .packField = PackHeader()},
         10},
        {"two few header bytes remaining (MPEG-1 pack header)\n",
         {.extension = true, .sequenceCounter = 3},
         2},
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
    std::vector<Bytes> broken = {PackHeader(), Broken(PackHeader(), 4, 0xFB), Broken(PackHeader(), 6, 0xFB),
                                 Broken(PackHeader(), 8, 0xFB), Cut(PackHeader(), 1)};
    broken[0][4] = 0x21;
    LogCapture log;
    for (const Bytes& bad : broken) {
        PacketReader badReader(bad.data(), static_cast<int32_t>(bad.size()));
        EXPECT_FALSE(packet.DecodePackHeader(badReader));
    }
    EXPECT_EQ(log.Messages().size(), 5u);
    EXPECT_EQ(log.Messages().back(), Prefix + "too few bytes\n");
}

Bytes Joined(std::initializer_list<Bytes> parts) {
    Bytes bytes;
    for (const Bytes& part : parts) {
        Append(bytes, part);
    }
    return bytes;
}

// The payloads of one stream gathered across packs, system headers, other streams and padding;
// reading ends quietly at a cut tail, junk, an end code or a broken pack or system header, and
// with its reason at a broken packet.
TEST(GetStreamTest, GathersThePayloadsOfOneStreamUpToWhereReadingEnds) {
    const Bytes first = Joined({PackHeader(), PesPacket(0xE0, Bytes(40, 0x11))});
    const Bytes mixed = Joined(
        {PackHeader(0, 25200, 3), SystemHeader(), PesPacket(0xE0, Bytes(40, 0x11), {.pts = 900, .dts = 600}),
         PesPacket(0xC0, Bytes(30, 0x22)), PackHeader(100), PesPacket(0xE0, Bytes(20, 0x33)),
         PesPacket(0xE1, Bytes(10, 0x44)), PaddingPacket(16)});
    const Bytes more = PesPacket(0xE0, Bytes(20, 0x33));
    const struct {
        Bytes bytes;
        uint8_t streamId;
        Bytes expected;
        std::string text;
        size_t stoppedAt;
    } cases[] = {
        {mixed, 0xE0, Joined({Bytes(40, 0x11), Bytes(20, 0x33)}), "", mixed.size()},
        {mixed, 0xC0, Bytes(30, 0x22), "", mixed.size()},
        {mixed, 0xE1, Bytes(10, 0x44), "", mixed.size()},
        {mixed, 0xE2, {}, "", mixed.size()},
        {Joined({first, Cut(more, 5)}), 0xE0, Bytes(40, 0x11), Prefix + "too few remaining bytes\n", 0},
        {Joined({first, Bytes{0x12, 0x34, 0x56, 0x78, 0x9A}, more}), 0xE0, Bytes(40, 0x11), "", first.size()},
        {Joined({first, Bytes{0x00, 0x00, 0x01, 0xB9}, more}), 0xE0, Bytes(40, 0x11), "", first.size()},
        {Joined({first, Bytes{0, 0, 1}, more}), 0xE0, Bytes(40, 0x11), "", first.size()},
        {Joined({first, Broken(PesPacket(0xE0, Bytes(20, 0x33), {.pts = 1234}), 11, 0xFE), more}), 0xE0,
         Bytes(40, 0x11), Prefix + "bits & 1 != 1 (29..15 of timestamp)\n", 0},
        {Joined({first, Broken(PackHeader(), 12, 0xFC), more}), 0xE0, Bytes(40, 0x11),
         "Packet::Decode failing because bits & 3 != 3 (mux rate)\n", 0},
        {Joined({first, PackHeader(), Cut(SystemHeader(), SystemHeader().size() - 10)}), 0xE0,
         Bytes(40, 0x11), "", 0},
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

class Mpeg2PsDecoderTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(EncodeVideo({.encoder = "mpeg2video", .frames = 4}, &video));
        reference = ReferenceDecode(AV_CODEC_ID_MPEG2VIDEO, video, true);
    }

    void SetUp() override { ASSERT_TRUE(adapter.Initialise(Width, Height, 3, false)); }

    bool Decode(const Bytes& frame) {
        return adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes);
    }
    const Bytes& Elementary(size_t index) const { return video.frames.at(index).data; }

    static inline EncodedVideo video;
    static inline std::vector<Picture> reference;
    IppDecoderMPEG2PS adapter;
    Bytes output = Bytes(PictureBytes, 0x5A);
};

TEST_F(Mpeg2PsDecoderTest, FramesInPacksDecodeLikeTheirElementaryStream) {
    for (size_t index = 0; index < video.frames.size(); ++index) {
        Bytes frame = WrapInProgramStream(Elementary(index), IppDecoderMPEG2PS::VideoStreamId, 700);
        Append(frame, PesPacket(IppDecoderMPEG2PS::AudioStreamId, Bytes(50, 0xFF)));
        Append(frame, PaddingPacket(100));
        ASSERT_TRUE(Decode(frame)) << index;
        EXPECT_TRUE(adapter.HasNewPicture());
        EXPECT_EQ(output, reference.at(index).bgr) << index;
        EXPECT_GT(Psnr(video.sources[index], output.data()), 30.0) << index;
    }
    EXPECT_EQ(adapter.GetFrameType(), VideoFrameP);
}

TEST_F(Mpeg2PsDecoderTest, JunkAheadOfTheFirstPackIsSkippedAndItsPictureStartsCounted) {
    Bytes frame = {0x12, 0x00, 0x00, 0x01, 0x00, 0x55, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x00, 0x77};
    Append(frame, WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId));
    LogCapture log;
    ASSERT_TRUE(Decode(frame));
    EXPECT_EQ(output, reference.at(0).bgr);
    EXPECT_EQ(log.Messages(), (std::vector<std::string>{"Found pic header 2\n", "Found pic header 3\n"}));
}

// The same frame in other wrappings: one pack of one packet without padding, a last packet cut
// short behind the picture's packets, and no packs at all.
TEST_F(Mpeg2PsDecoderTest, OtherWrappingsOfAFrameDecodeAlike) {
    Bytes onePacket = PackHeader();
    Append(onePacket, PesPacket(IppDecoderMPEG2PS::VideoStreamId, Elementary(0)));
    Bytes truncated = WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId);
    Append(truncated, PaddingPacket(300));
    truncated.resize(truncated.size() - 200);
    for (const Bytes& frame : {onePacket, truncated, Elementary(0)}) {
        ASSERT_TRUE(Decode(frame)) << frame.size();
        EXPECT_EQ(output, reference.at(0).bgr) << frame.size();
    }
}

TEST_F(Mpeg2PsDecoderTest, ABrokenPesHeaderOrAnOutputBelowThePictureSizeFailsTheFrame) {
    Bytes frame = WrapInProgramStream(Elementary(0), IppDecoderMPEG2PS::VideoStreamId);
    LogCapture log;
    EXPECT_FALSE(
        adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), output.data(), PictureBytes - 1));
    EXPECT_FALSE(adapter.Decode(frame.data(), static_cast<int32_t>(frame.size()), nullptr, PictureBytes));
    EXPECT_EQ(log.Messages(),
              std::vector<std::string>(2, "IppDecoderMPEG2PS::Decode output buffer too small\n"));
    const size_t firstPes = PackHeader(3600, 25200, 2).size() + SystemHeader().size();
    frame[firstPes + 9 + 2] &= 0xFE;
    EXPECT_FALSE(Decode(frame));
    EXPECT_TRUE(log.Contains("Packet::Decode failing because bits & 1 != 1 (29..15 of timestamp)\n",
                             Vorn::Vorncast::LogCore));
    EXPECT_TRUE(log.Contains("MPEG2VideoDecoder::GetFrame failed\n", Vorn::Vorncast::LogCore));
}

TEST_F(Mpeg2PsDecoderTest, AudioFramesDecodeFromTheFirstAudioStream) {
    EncodedAudio stereo;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 2, 3, &stereo));
    const auto expected = ReferenceDecodeAudio(AV_CODEC_ID_MP2, stereo);
    Bytes samples(IppDecoderMPEG2PS::AudioFrameBytes);
    LogCapture log;
    for (size_t index = 0; index < stereo.frames.size(); ++index) {
        Bytes frame = {0xFF, 0xF3, 0x00, 0xFF, 0xFD, 0x01};
        Append(frame, WrapInProgramStream(stereo.frames[index].data, IppDecoderMPEG2PS::AudioStreamId, 200));
        ASSERT_TRUE(adapter.DecodeAudio(frame.data(), static_cast<int32_t>(frame.size()), samples.data(),
                                        static_cast<int32_t>(samples.size())));
        ASSERT_EQ(adapter.GetAudioBytes(), IppDecoderMPEG2PS::AudioFrameBytes);
        EXPECT_EQ(std::memcmp(samples.data(), expected[index].data(), samples.size()), 0) << index;
    }
    EXPECT_EQ(log.Messages(), std::vector<std::string>(stereo.frames.size(), "Found mp3 header 2\n"));

    log.Clear();
    const Bytes wrapped = WrapInProgramStream(stereo.frames[0].data, IppDecoderMPEG2PS::AudioStreamId);
    EXPECT_FALSE(adapter.DecodeAudio(wrapped.data(), static_cast<int32_t>(wrapped.size()), samples.data(),
                                     IppDecoderMPEG2PS::AudioFrameBytes - 1));
    EXPECT_EQ(log.Messages(),
              std::vector<std::string>{"IppDecoderMPEG2PS::Decode audio output buffer too small\n"});

    EncodedAudio mono;
    ASSERT_TRUE(EncodeAudio("mp2", 48000, 1, 1, &mono));
    log.Clear();
    const Bytes monoFrame = WrapInProgramStream(mono.frames[0].data, IppDecoderMPEG2PS::AudioStreamId);
    EXPECT_TRUE(adapter.DecodeAudio(monoFrame.data(), static_cast<int32_t>(monoFrame.size()), samples.data(),
                                    static_cast<int32_t>(samples.size())));
    EXPECT_EQ(log.Messages(), std::vector<std::string>{"Audio frame formed without correct size: 2304\n"});
}

} // namespace
