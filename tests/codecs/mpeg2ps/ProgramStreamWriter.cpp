#include "codecs/mpeg2ps/ProgramStreamWriter.h"

#include <algorithm>

namespace CodecTest {

void BitWriter::Put(uint64_t value, int32_t bits) {
    for (int32_t bit = bits - 1; bit >= 0; --bit) {
        if (used == 8) {
            bytes.push_back(0);
            used = 0;
        }
        bytes.back() |= static_cast<uint8_t>(((value >> bit) & 1) << (7 - used));
        ++used;
    }
}

void BitWriter::PutTimeStamp(uint64_t stamp) {
    Put(stamp >> 30, 3);
    PutMarker();
    Put(stamp >> 15, 15);
    PutMarker();
    Put(stamp, 15);
    PutMarker();
}

void BitWriter::PutBytes(const Bytes& more) {
    for (uint8_t byte : more) {
        Put(byte, 8);
    }
}

Bytes PackHeader(uint64_t scr, uint32_t muxRate, int32_t stuffing) {
    BitWriter out;
    out.Put(0x000001BA, 32);
    out.Put(1, 2);
    out.PutTimeStamp(scr);
    out.Put(0, 9);
    out.PutMarker();
    out.Put(muxRate, 22);
    out.Put(3, 2);
    out.Put(0x1F, 5);
    out.Put(static_cast<uint64_t>(stuffing), 3);
    for (int32_t index = 0; index < stuffing; ++index) {
        out.Put(0xFF, 8);
    }
    return out.Data();
}

Bytes SystemHeader() {
    return {0x00, 0x00, 0x01, 0xBB, 0x00, 0x0C, 0x80, 0x3E, 0xC1,
            0x04, 0xE1, 0xFF, 0xE0, 0xE0, 0xE8, 0xC0, 0xC0, 0x20};
}

namespace {

Bytes HeaderFields(const PesOptions& options) {
    BitWriter fields;
    if (options.pts) {
        fields.Put(options.dts ? 3 : 2, 4);
        fields.PutTimeStamp(*options.pts);
    }
    if (options.pts && options.dts) {
        fields.Put(1, 4);
        fields.PutTimeStamp(*options.dts);
    }
    if (options.escrBase) {
        fields.Put(3, 2);
        fields.PutTimeStamp(*options.escrBase);
        fields.Put(options.escrExtension, 9);
        fields.PutMarker();
    }
    if (options.esRate) {
        fields.PutMarker();
        fields.Put(*options.esRate, 22);
        fields.PutMarker();
    }
    if (options.dsmTrickMode) {
        fields.Put(*options.dsmTrickMode, 8);
    }
    if (options.additionalCopyInfo) {
        fields.PutMarker();
        fields.Put(*options.additionalCopyInfo, 7);
    }
    if (options.crc) {
        fields.Put(*options.crc, 16);
    }
    if (options.extension) {
        fields.Put(options.privateData.has_value(), 1);
        fields.Put(options.packField.has_value(), 1);
        fields.Put(options.sequenceCounter.has_value(), 1);
        fields.Put(options.pStdBufferSize.has_value(), 1);
        fields.Put(7, 3);
        fields.Put(0, 1);
        if (options.privateData) {
            fields.PutBytes(Bytes(options.privateData->begin(), options.privateData->end()));
        }
        if (options.packField) {
            fields.Put(options.packField->size(), 8);
            fields.PutBytes(*options.packField);
        }
        if (options.sequenceCounter) {
            fields.PutMarker();
            fields.Put(*options.sequenceCounter, 7);
            fields.PutMarker();
            fields.Put(1, 1);
            fields.Put(5, 6);
        }
        if (options.pStdBufferSize) {
            fields.Put(1, 2);
            fields.Put(1, 1);
            fields.Put(*options.pStdBufferSize, 13);
        }
    }
    for (int32_t index = 0; index < options.stuffing; ++index) {
        fields.Put(0xFF, 8);
    }
    return fields.Data();
}

} // namespace

Bytes PesPacket(uint8_t streamId, const Bytes& payload, const PesOptions& options) {
    const Bytes fields = HeaderFields(options);
    BitWriter out;
    out.Put(0x000001, 24);
    out.Put(streamId, 8);
    out.Put(3 + fields.size() + payload.size(), 16);
    out.Put(2, 2);
    out.Put(0, 2);
    out.Put(0, 1);
    out.Put(1, 1);
    out.Put(0, 1);
    out.Put(1, 1);
    out.Put(options.pts ? (options.dts ? 3 : 2) : 0, 2);
    out.Put(options.escrBase.has_value(), 1);
    out.Put(options.esRate.has_value(), 1);
    out.Put(options.dsmTrickMode.has_value(), 1);
    out.Put(options.additionalCopyInfo.has_value(), 1);
    out.Put(options.crc.has_value(), 1);
    out.Put(options.extension, 1);
    out.Put(static_cast<uint64_t>(options.headerLength.value_or(static_cast<int32_t>(fields.size()))), 8);
    Bytes packet = out.Data();
    Append(packet, fields);
    Append(packet, payload);
    return packet;
}

Bytes PaddingPacket(int32_t payloadBytes) {
    Bytes packet = {
        0x00, 0x00, 0x01, 0xBE, static_cast<uint8_t>(payloadBytes >> 8), static_cast<uint8_t>(payloadBytes)};
    packet.resize(packet.size() + static_cast<size_t>(payloadBytes), 0xFF);
    return packet;
}

Bytes WrapInProgramStream(const Bytes& elementary, uint8_t streamId, size_t packetPayload) {
    Bytes out = PackHeader(3600, 25200, 2);
    Append(out, SystemHeader());
    for (size_t at = 0; at < elementary.size(); at += packetPayload) {
        const size_t length = std::min(packetPayload, elementary.size() - at);
        PesOptions options;
        if (at == 0) {
            options.pts = 7200;
        }
        Append(out, PesPacket(streamId,
                              Bytes(elementary.begin() + static_cast<long>(at),
                                    elementary.begin() + static_cast<long>(at + length)),
                              options));
    }
    return out;
}

} // namespace CodecTest
