#pragma once

#include "codecs/mpeg2ps/PacketReader.h"

#include <cstdint>

namespace Vorn::Vorncast::Decoders {

// One PES packet or pack header of an MPEG-2 program stream (ISO/IEC 13818-1), parsed with
// every fixed field and marker bit checked. A parse that fails logs its reason, behind
// "Packet::Decode failing because ", and leaves the reader where the fault was found.
class Packet {
public:
    static constexpr uint32_t PackStartCode = 0x000001BA;
    static constexpr uint32_t SystemHeaderStartCode = 0x000001BB;
    static constexpr uint8_t ProgramStreamMap = 0xBC;
    static constexpr uint8_t PaddingStream = 0xBE;
    static constexpr uint8_t PrivateStream2 = 0xBF;
    static constexpr int32_t PackHeaderBytes = 14;

    // Parses a PES packet from the reader's position. On success the reader stands behind the
    // packet and the payload lies between `payloadStart` and `payloadEnd` (offsets from the
    // reader's start).
    bool Decode(PacketReader& reader);
    // Parses a pack header (MPEG-2 form) with its stuffing.
    bool DecodePackHeader(PacketReader& reader);

    // Stream ids whose packets carry no header flags: their payload is the whole packet.
    static bool HasNoHeaderFlags(uint8_t streamId);

    int32_t payloadStart = 0;
    int32_t payloadEnd = 0;
    uint8_t streamId = 0;
    int32_t packetLength = 0;

    uint8_t scramblingControl = 0;
    bool priority = false;
    bool dataAlignment = false;
    bool copyright = false;
    bool original = false;
    int32_t headerDataLength = 0;

    bool hasPts = false;
    uint64_t pts = 0;
    bool hasDts = false;
    uint64_t dts = 0;
    bool hasEscr = false;
    uint64_t escrBase = 0;
    uint32_t escrExtension = 0;
    bool hasEsRate = false;
    uint32_t esRate = 0;
    bool hasDsmTrickMode = false;
    uint8_t dsmTrickMode = 0;
    bool hasAdditionalCopyInfo = false;
    uint8_t additionalCopyInfo = 0;
    bool hasCrc = false;
    uint16_t previousPacketCrc = 0;

    bool hasExtension = false;
    bool hasPrivateData = false;
    uint8_t privateData[16] = {};
    bool hasPackHeaderField = false;
    int32_t packFieldLength = 0;
    bool hasSequenceCounter = false;
    uint8_t sequenceCounter = 0;
    bool mpeg1Identifier = false;
    uint8_t originalStuffLength = 0;
    bool hasPStdBuffer = false;
    bool pStdBufferScale = false;
    uint16_t pStdBufferSize = 0;
    bool hasExtension2 = false;

    // The pack header's fields, from DecodePackHeader.
    uint64_t scrBase = 0;
    uint32_t scrExtension = 0;
    uint32_t muxRate = 0;

private:
    bool DecodeHeaderFlags(PacketReader& reader, int32_t packetEnd);
    bool DecodeTimeStamps(PacketReader& reader, int32_t headerEnd, uint32_t ptsDtsFlags);
    bool DecodeEscr(PacketReader& reader, int32_t headerEnd);
    bool DecodeEsRate(PacketReader& reader, int32_t headerEnd);
    bool DecodeSmallFields(PacketReader& reader, int32_t headerEnd, uint32_t flags);
    bool DecodeExtension(PacketReader& reader, int32_t headerEnd);
    void Clear();
    static bool Fail(const char* reason);
};

} // namespace Vorn::Vorncast::Decoders
