#include "codecs/mpeg2ps/Packet.h"

#include "interface/LibraryFrame.h"

#include <cstdio>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr uint32_t StartCodePrefix = 0x000001;
constexpr uint8_t LowestStreamId = 0xBC;
constexpr int32_t PacketHeadBytes = 6;
constexpr int32_t HeaderFlagsBytes = 3;
constexpr uint32_t HeaderFlagsMarker = 2; // '10'
constexpr uint32_t PackHeaderMarker = 1;  // '01'

// Header flags, in the order of the byte after the first flag byte.
constexpr uint32_t EscrFlag = 0x20;
constexpr uint32_t EsRateFlag = 0x10;
constexpr uint32_t DsmTrickModeFlag = 0x08;
constexpr uint32_t AdditionalCopyInfoFlag = 0x04;
constexpr uint32_t CrcFlag = 0x02;
constexpr uint32_t ExtensionFlag = 0x01;

bool HeaderRoom(const PacketReader& reader, int32_t headerEnd, int32_t bytes) {
    return headerEnd - reader.Position() >= bytes;
}

// Reads the three parts of a 33-bit time stamp, each followed by a marker bit; `texts` name the
// marker that fails.
bool ReadTimeStamp(PacketReader& reader, uint64_t* value, const char* const texts[3],
                   bool (*fail)(const char*)) {
    constexpr int32_t PartBits[3] = {3, 15, 15};
    uint64_t stamp = 0;
    for (int32_t part = 0; part < 3; ++part) {
        stamp = (stamp << PartBits[part]) | reader.Bits(PartBits[part]);
        if (reader.Bits(1) != 1) {
            return fail(texts[part]);
        }
    }
    *value = stamp;
    return true;
}

} // namespace

bool Packet::Fail(const char* reason) {
    constexpr size_t TextCapacity = 1024;
    char text[TextCapacity];
    std::snprintf(text, sizeof text, "Packet::Decode failing because %s", reason);
    Log(__FILE__, __LINE__, LogCore, "%s", text);
    return false;
}

bool Packet::HasNoHeaderFlags(uint8_t streamId) {
    switch (streamId) {
    case ProgramStreamMap:
    case PaddingStream:
    case PrivateStream2:
    case 0xF0: // ECM
    case 0xF1: // EMM
    case 0xF2: // DSM-CC
    case 0xF8: // ITU-T H.222.1 type E
    case 0xFF: // program stream directory
        return true;
    default:
        return false;
    }
}

void Packet::Clear() {
    *this = Packet();
}

bool Packet::Decode(PacketReader& reader) {
    Clear();
    if (reader.Remaining() < PacketHeadBytes) {
        return Fail("too few bytes\n");
    }
    if (reader.Bits(24) != StartCodePrefix) {
        return Fail("invalid packet start code prefix\n");
    }
    streamId = static_cast<uint8_t>(reader.Bits(8));
    if (streamId < LowestStreamId) {
        return Fail("invalid streamId\n");
    }
    packetLength = static_cast<int32_t>(reader.Bits(16));
    if (reader.Remaining() < packetLength) {
        return Fail("too few remaining bytes\n");
    }
    const int32_t packetEnd = reader.Position() + packetLength;
    if (HasNoHeaderFlags(streamId)) {
        payloadStart = reader.Position();
    } else if (!DecodeHeaderFlags(reader, packetEnd)) {
        return false;
    }
    payloadEnd = packetEnd;
    reader.Seek(packetEnd);
    return true;
}

bool Packet::DecodeHeaderFlags(PacketReader& reader, int32_t packetEnd) {
    if (packetEnd - reader.Position() < HeaderFlagsBytes) {
        return Fail("too few remaining bytes\n");
    }
    if (reader.Bits(2) != HeaderFlagsMarker) {
        return Fail("bits & 0xC0 != 0x80 (header flags)\n");
    }
    scramblingControl = static_cast<uint8_t>(reader.Bits(2));
    priority = reader.Bits(1) != 0;
    dataAlignment = reader.Bits(1) != 0;
    copyright = reader.Bits(1) != 0;
    original = reader.Bits(1) != 0;
    const uint32_t ptsDtsFlags = reader.Bits(2);
    const uint32_t flags = reader.Bits(6);
    headerDataLength = static_cast<int32_t>(reader.Bits(8));
    const int32_t headerEnd = reader.Position() + headerDataLength;
    if (headerEnd > packetEnd) {
        return Fail("too few remaining bytes\n");
    }
    if (!DecodeTimeStamps(reader, headerEnd, ptsDtsFlags) ||
        ((flags & EscrFlag) != 0 && !DecodeEscr(reader, headerEnd)) ||
        ((flags & EsRateFlag) != 0 && !DecodeEsRate(reader, headerEnd)) ||
        !DecodeSmallFields(reader, headerEnd, flags) ||
        ((flags & ExtensionFlag) != 0 && !DecodeExtension(reader, headerEnd))) {
        return false;
    }
    // Stuffing bytes may fill the header up to its stated length.
    payloadStart = headerEnd;
    return true;
}

bool Packet::DecodeTimeStamps(PacketReader& reader, int32_t headerEnd, uint32_t ptsDtsFlags) {
    constexpr uint32_t PtsOnly = 2;
    constexpr uint32_t PtsAndDts = 3;
    constexpr int32_t StampBytes = 5;
    if (ptsDtsFlags != PtsOnly && ptsDtsFlags != PtsAndDts) {
        return true;
    }
    if (!HeaderRoom(reader, headerEnd, StampBytes)) {
        return Fail("too few remaining header bytes (pts)\n");
    }
    if ((reader.Bits(4) & 0xE) != 2) {
        return Fail("bites & 0xE != 2\n");
    }
    static const char* const PtsTexts[3] = {"bits & 1 != 1 (32..30 of timestamp)\n",
                                            "bits & 1 != 1 (29..15 of timestamp)\n",
                                            "bits & 1 != 1 (16..14 of timestamp)\n"};
    if (!ReadTimeStamp(reader, &pts, PtsTexts, Fail)) {
        return false;
    }
    hasPts = true;
    if (ptsDtsFlags != PtsAndDts) {
        return true;
    }
    if (!HeaderRoom(reader, headerEnd, StampBytes)) {
        return Fail("too few header bytes remaining (dts)\n");
    }
    if ((reader.Bits(4) & 1) != 1) {
        return Fail("bits & 1 != 1 (dts field)\n");
    }
    static const char* const DtsTexts[3] = {"bits & 1 != 1 (32..30 of time stamp)\n",
                                            "bits & 1 != 1 (29..15 of time stamp)\n",
                                            "bits & 1 != 1 (14..00 of time stamp)\n"};
    if (!ReadTimeStamp(reader, &dts, DtsTexts, Fail)) {
        return false;
    }
    hasDts = true;
    return true;
}

bool Packet::DecodeEscr(PacketReader& reader, int32_t headerEnd) {
    constexpr int32_t EscrBytes = 6;
    if (!HeaderRoom(reader, headerEnd, EscrBytes)) {
        return Fail("too few header bytes remaining (escr)\n");
    }
    reader.Bits(2);
    static const char* const EscrTexts[3] = {"(32..30 of ESCR)\n", "(29..15 of ESCR)\n",
                                             "(14..00 of ESCR)\n"};
    if (!ReadTimeStamp(reader, &escrBase, EscrTexts, Fail)) {
        return false;
    }
    escrExtension = reader.Bits(9);
    if (reader.Bits(1) != 1) {
        return Fail("(next 10 bits of ESCR)\n");
    }
    hasEscr = true;
    return true;
}

bool Packet::DecodeEsRate(PacketReader& reader, int32_t headerEnd) {
    constexpr int32_t EsRateBytes = 3;
    if (!HeaderRoom(reader, headerEnd, EsRateBytes)) {
        return Fail("two few bytes remaining (esRate)\n");
    }
    if (reader.Bits(1) != 1) {
        return Fail("first marker bit must be 1\n");
    }
    esRate = reader.Bits(22);
    if (reader.Bits(1) != 1) {
        return Fail("next 23 bits are elementry stream state\n");
    }
    hasEsRate = true;
    return true;
}

bool Packet::DecodeSmallFields(PacketReader& reader, int32_t headerEnd, uint32_t flags) {
    if ((flags & DsmTrickModeFlag) != 0) {
        if (!HeaderRoom(reader, headerEnd, 1)) {
            return Fail("two few header bytes remaining (dsmTrick)\n");
        }
        dsmTrickMode = static_cast<uint8_t>(reader.Bits(8));
        hasDsmTrickMode = true;
    }
    if ((flags & AdditionalCopyInfoFlag) != 0) {
        if (!HeaderRoom(reader, headerEnd, 1)) {
            return Fail("two few header bytes remaining (copyright)\n");
        }
        reader.Bits(1);
        additionalCopyInfo = static_cast<uint8_t>(reader.Bits(7));
        hasAdditionalCopyInfo = true;
    }
    if ((flags & CrcFlag) != 0) {
        if (!HeaderRoom(reader, headerEnd, 2)) {
            return Fail("two few header bytes remaining (crc)\n");
        }
        previousPacketCrc = static_cast<uint16_t>(reader.Bits(16));
        hasCrc = true;
    }
    return true;
}

bool Packet::DecodeExtension(PacketReader& reader, int32_t headerEnd) {
    if (!HeaderRoom(reader, headerEnd, 1)) {
        return Fail("two few header bytes remaining (extension)\n");
    }
    hasExtension = true;
    hasPrivateData = reader.Bits(1) != 0;
    hasPackHeaderField = reader.Bits(1) != 0;
    hasSequenceCounter = reader.Bits(1) != 0;
    hasPStdBuffer = reader.Bits(1) != 0;
    reader.Bits(3);
    hasExtension2 = reader.Bits(1) != 0;
    if (hasPrivateData) {
        if (!HeaderRoom(reader, headerEnd, sizeof privateData)) {
            return Fail("two few header bytes remaining (private)\n");
        }
        for (uint8_t& byte : privateData) {
            byte = static_cast<uint8_t>(reader.Bits(8));
        }
    }
    if (hasPackHeaderField) {
        if (!HeaderRoom(reader, headerEnd, 1)) {
            return Fail("two few header bytes remaining (pack header)\n");
        }
        packFieldLength = static_cast<int32_t>(reader.Bits(8));
        if (!HeaderRoom(reader, headerEnd, packFieldLength)) {
            return Fail("two few header bytes remaining (pack header)\n");
        }
        reader.Skip(packFieldLength);
    }
    if (hasSequenceCounter) {
        if (!HeaderRoom(reader, headerEnd, 2)) {
            return Fail("two few header bytes remaining (MPEG-1 pack header)\n");
        }
        reader.Bits(1);
        sequenceCounter = static_cast<uint8_t>(reader.Bits(7));
        reader.Bits(1);
        mpeg1Identifier = reader.Bits(1) != 0;
        originalStuffLength = static_cast<uint8_t>(reader.Bits(6));
    }
    // The P-STD buffer and the second extension are read where they fit; the packet's payload
    // is found by the header length either way.
    if (hasPStdBuffer && HeaderRoom(reader, headerEnd, 2)) {
        reader.Bits(2);
        pStdBufferScale = reader.Bits(1) != 0;
        pStdBufferSize = static_cast<uint16_t>(reader.Bits(13));
    }
    return true;
}

bool Packet::DecodePackHeader(PacketReader& reader) {
    Clear();
    if (reader.Remaining() < PackHeaderBytes) {
        return Fail("too few bytes\n");
    }
    reader.Bits(32);
    if (reader.Bits(2) != PackHeaderMarker) {
        return Fail("bits & 0xC0 != 0x40 (pack header)\n");
    }
    static const char* const ScrTexts[3] = {"bits & 1 != 1 (32..30 of SCR)\n",
                                            "bits & 1 != 1 (29..15 of SCR)\n",
                                            "bits & 1 != 1 (14..00 of SCR)\n"};
    if (!ReadTimeStamp(reader, &scrBase, ScrTexts, Fail)) {
        return false;
    }
    scrExtension = reader.Bits(9);
    if (reader.Bits(1) != 1) {
        return Fail("bits & 1 != 1 (SCR extension)\n");
    }
    muxRate = reader.Bits(22);
    if (reader.Bits(2) != 3) {
        return Fail("bits & 3 != 3 (mux rate)\n");
    }
    reader.Bits(5);
    const int32_t stuffingLength = static_cast<int32_t>(reader.Bits(3));
    if (reader.Remaining() < stuffingLength) {
        return Fail("too few bytes\n");
    }
    reader.Skip(stuffingLength);
    return true;
}

} // namespace Vorn::Vorncast::Decoders
