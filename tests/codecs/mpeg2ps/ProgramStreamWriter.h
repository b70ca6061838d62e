#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace CodecTest {

using Bytes = std::vector<uint8_t>;

// Appends bit fields, most significant bit first.
class BitWriter {
public:
    void Put(uint64_t value, int32_t bits);
    void PutMarker() { Put(1, 1); }
    // A 33-bit time stamp in three parts, each followed by a marker bit.
    void PutTimeStamp(uint64_t stamp);
    void PutBytes(const Bytes& bytes);
    const Bytes& Data() const { return bytes; }

private:
    Bytes bytes;
    int32_t used = 8;
};

// The optional fields of a PES header; each that is set is written with its flag.
struct PesOptions {
    std::optional<uint64_t> pts;
    std::optional<uint64_t> dts;
    std::optional<uint64_t> escrBase;
    uint16_t escrExtension = 0;
    std::optional<uint32_t> esRate;
    std::optional<uint8_t> dsmTrickMode;
    std::optional<uint8_t> additionalCopyInfo;
    std::optional<uint16_t> crc;
    bool extension = false;
    std::optional<std::array<uint8_t, 16>> privateData;
    std::optional<Bytes> packField;
    std::optional<uint8_t> sequenceCounter;
    std::optional<uint16_t> pStdBufferSize;
    int32_t stuffing = 0;
    // A header length to state instead of the true one.
    std::optional<int32_t> headerLength;
};

Bytes PackHeader(uint64_t scr = 0, uint32_t muxRate = 25200, int32_t stuffing = 0);
Bytes SystemHeader();
Bytes PesPacket(uint8_t streamId, const Bytes& payload, const PesOptions& options = {});
Bytes PaddingPacket(int32_t payloadBytes);

// A frame as a recorder stores it: a pack header (with a system header), then the elementary
// stream in PES packets of at most `packetPayload` bytes, each with a time stamp.
Bytes WrapInProgramStream(const Bytes& elementary, uint8_t streamId, size_t packetPayload = 1000);

inline void Append(Bytes& out, const Bytes& more) {
    out.insert(out.end(), more.begin(), more.end());
}

} // namespace CodecTest
