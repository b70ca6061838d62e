#include "native/dvd/IFOFile.h"

#include "core/binary/ByteView.h"
#include "interface/LibraryFrame.h"
#include "native/dvd/DvdFiles.h"

namespace Vorn::Vorncast {
namespace {

using Decoders::ByteReader;
using Decoders::ByteView;

constexpr const char* SourceFile = "Decoders\\DVD\\IFOFile";

// vtsi_mat, the title set's header: big-endian sector pointers at fixed places.
constexpr int32_t HeaderBytes = 1024;
constexpr size_t ProgramChainTablePointer = 0xCC; // VTS_PGCIT
constexpr size_t AddressMapPointer = 0xE4;        // VTS_VOBU_ADMAP

// VTS_PGCIT: an 8-byte header, then 8 bytes a program chain.
constexpr int32_t ChainTableHeadBytes = 16; // the header and the first chain's entry
// A program chain as far as its table offsets.
constexpr int32_t ChainHeadBytes = 0xEC;
constexpr int32_t CellPlaybackBytes = 24;

ByteView ViewOf(const std::vector<uint8_t>& bytes) {
    return ByteView(bytes.data(), bytes.size());
}

int64_t SectorOffset(uint32_t sector) {
    return int64_t{sector} << DvdSectorShift;
}

int Fail(int line, const char* text) {
    return DvdFail(SourceFile, line, GeneralFailure, "%s", text);
}

// The offset of the first program chain inside the chain table, from the table's first entry.
uint32_t FirstChainOffset(ByteView table) {
    ByteReader r(table);
    uint16_t chains = r.U16BE();
    r.Skip(2); // reserved
    r.Skip(4); // end address of the table
    r.Skip(4); // category of the first chain
    uint32_t offset = r.U32BE();
    return r.Ok() && chains > 0 ? offset : 0;
}

} // namespace

int IFOFile::Load(const char* url) {
    skipped = false;
    cellCount = 0;
    vobuSectors.clear();
    std::string path;
    if (!IfoPathOf(url, &path)) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "IFOFile::Load > Filename failed sanity check %s", url != nullptr ? url : "");
    }
    File file;
    if (file.Open(nullptr, path.c_str()) != Success) {
        return Fail(__LINE__, "IFOFile::Load > Failed to open IFO file");
    }
    std::vector<uint8_t> header;
    if (!ReadExactly(file, 0, HeaderBytes, &header)) {
        return Fail(__LINE__, "VOBUIndex::Load > Read getting vtsi_mat");
    }
    if (ViewOf(header).Matches(0, "DVDVIDEO-VMG")) {
        Log(SourceFile, __LINE__, LogEvent, "VOBUIndex::Load > This is a VIDEO_TS file - skipping\n");
        skipped = true;
        return Success;
    }
    if (!ViewOf(header).Matches(0, "DVDVIDEO-VTS")) {
        return Fail(__LINE__, "VOBUIndex::Load > This is not an IFO file!");
    }
    int status = ReadProgramChain(file, header);
    return status == Success ? ReadAddressMap(file, header) : status;
}

// The first program chain and its cell playback table. Only their presence is required: the
// address map alone places the VOBUs.
int IFOFile::ReadProgramChain(File& file, const std::vector<uint8_t>& header) {
    const int64_t table = SectorOffset(ViewOf(header).U32BE(ProgramChainTablePointer));
    std::vector<uint8_t> bytes;
    if (!ReadExactly(file, table, ChainTableHeadBytes, &bytes)) {
        return Fail(__LINE__, "VOBUIndex::Load > Read getting vts_pgci");
    }
    const uint32_t chainOffset = FirstChainOffset(ViewOf(bytes));
    const int64_t chain = table + chainOffset;
    if (chainOffset == 0 || !ReadExactly(file, chain, ChainHeadBytes, &bytes)) {
        return Fail(__LINE__, "VOBUIndex::Load > Read getting vts_pgc");
    }
    ByteView head = ViewOf(bytes);
    cellCount = head.U8(3);
    const int64_t cells = chain + head.U16BE(0xE8);
    for (int32_t cell = 0; cell < cellCount; ++cell) {
        if (!ReadExactly(file, cells + int64_t{cell} * CellPlaybackBytes, CellPlaybackBytes, &bytes)) {
            return Fail(__LINE__, "VOBUIndex::Load > Read getting (playbackTable[c])");
        }
    }
    return Success;
}

int IFOFile::ReadAddressMap(File& file, const std::vector<uint8_t>& header) {
    const int64_t map = SectorOffset(ViewOf(header).U32BE(AddressMapPointer));
    std::vector<uint8_t> bytes;
    if (!ReadExactly(file, map, 4, &bytes)) {
        return Fail(__LINE__, "VOBUIndex::Load > Read getting endByteOfAdmap");
    }
    const int64_t endByte = ViewOf(bytes).U32BE(0);
    const int64_t count = endByte >= 3 ? (endByte + 1 - 4) / 4 : 0;
    Log(SourceFile, __LINE__, LogEvent, "VOBUIndex::Load > %d VOBUs reported in VTS_VOBU_ADMAP\n",
        static_cast<int32_t>(count));
    if (count == 0) {
        return Success;
    }
    // A count that the file cannot hold is refused before anything is allocated for it.
    if (map + 4 + count * 4 > file.PhysicalSize() || count > INT32_MAX / 4 ||
        !ReadExactly(file, map + 4, static_cast<int32_t>(count * 4), &bytes)) {
        return Fail(__LINE__, "VOBUIndex::Load > Read getting vobu_sector_start");
    }
    ByteReader r(ViewOf(bytes));
    vobuSectors.resize(static_cast<size_t>(count));
    for (uint32_t& sector : vobuSectors) {
        sector = r.U32BE();
    }
    return Success;
}

} // namespace Vorn::Vorncast
