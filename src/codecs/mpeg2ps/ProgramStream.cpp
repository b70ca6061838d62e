#include "codecs/mpeg2ps/ProgramStream.h"

#include <cstring>

namespace Vorn::Vorncast::Decoders {

namespace {

constexpr int32_t StartCodeBytes = 4;
constexpr int32_t SystemHeaderHeadBytes = 6;

// Passes a system header by its length; false when it does not fit.
bool SkipSystemHeader(PacketReader& reader) {
    uint16_t length = 0;
    if (reader.Remaining() < SystemHeaderHeadBytes ||
        !reader.View().U16BE(static_cast<size_t>(reader.Position() + StartCodeBytes), &length) ||
        reader.Remaining() < SystemHeaderHeadBytes + length) {
        return false;
    }
    reader.Skip(SystemHeaderHeadBytes + length);
    return true;
}

// True when the next bytes are a start code prefix and a stream id that a PES packet may have.
bool PacketStartsHere(const PacketReader& reader) {
    constexpr uint8_t LowestStreamId = 0xBC;
    uint32_t code = 0;
    return reader.Remaining() >= StartCodeBytes &&
           reader.View().U32BE(static_cast<size_t>(reader.Position()), &code) && (code >> 8) == 1 &&
           (code & 0xFF) >= LowestStreamId;
}

} // namespace

bool ReadNextPacket(PacketReader& reader, Packet& packet) {
    if (reader.Remaining() >= StartCodeBytes && reader.NextIs(Packet::PackStartCode)) {
        if (!packet.DecodePackHeader(reader)) {
            return false;
        }
        if (reader.NextIs(Packet::SystemHeaderStartCode) && !SkipSystemHeader(reader)) {
            return false;
        }
    }
    return PacketStartsHere(reader) && packet.Decode(reader);
}

bool GetStream(const uint8_t* bytes, int32_t streamId, int32_t size, uint8_t* output, int32_t outputSize,
               int32_t* written, PacketReader* reader) {
    PacketReader ownReader;
    PacketReader& packets = reader != nullptr ? *reader : ownReader;
    packets = PacketReader(bytes, size);
    *written = 0;
    Packet packet;
    while (ReadNextPacket(packets, packet)) {
        if (packet.streamId != streamId) {
            continue;
        }
        const int32_t length = packet.payloadEnd - packet.payloadStart;
        if (length > outputSize - *written) {
            return false;
        }
        std::memmove(output + *written, bytes + packet.payloadStart, static_cast<size_t>(length));
        *written += length;
    }
    return true;
}

} // namespace Vorn::Vorncast::Decoders
