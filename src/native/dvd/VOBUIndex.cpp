#include "native/dvd/VOBUIndex.h"

#include "core/binary/ByteView.h"
#include "interface/LibraryFrame.h"
#include "native/dvd/DvdFiles.h"
#include "native/dvd/IFOFile.h"

#include <algorithm>

namespace Vorn::Vorncast {
namespace {

using Decoders::ByteView;
using namespace std::string_view_literals;

constexpr const char* SourceFile = "Decoders\\DVD\\VOBUIndex";

// A NAV pack: the pack header and system header, then the PCI packet (a private stream 2 PES of
// 980 bytes) and the DSI packet. Offsets are from the start of the sector.
constexpr size_t PciStartCode = 38;
constexpr size_t PciLength = 42;
constexpr uint16_t PciPacketBytes = 980;
constexpr size_t VobuStartPtm = 57;
constexpr size_t VobuEndPtm = 61;
constexpr size_t CellElapsedFrames = 72; // frame byte of the elapsed time, frame rate in its top bits
constexpr size_t DsiPackScr = 1031;
constexpr size_t DsiStartPtm = 1075;
constexpr size_t DsiEndPtm = 1079;
constexpr size_t DsiNextVobu = 1265;

constexpr uint8_t FrameRate25 = 1;
constexpr uint8_t FrameRate30 = 3;

double Seconds(uint32_t ptm) {
    return ptm / 90000.0;
}

} // namespace

int64_t VOBUIndex::PtmToTicks(uint64_t ptm) {
    return static_cast<int64_t>(static_cast<double>(ptm) / 90000.0 * 10000000.0);
}

int VOBUIndex::Load(const char* url, CompositeFile* fileSet, IndexProgress loadProgress,
                    AbortOperation abortOperation) {
    progress = loadProgress;
    abort = abortOperation;
    composite = fileSet;
    std::string ifoPath;
    if (!IfoPathOf(url, &ifoPath)) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure,
                       "VOBUIndex::Load > Filename failed sanity check %s", url != nullptr ? url : "");
    }
    Log(SourceFile, __LINE__, LogTrace, "VOBUIndex::Load > Try file %s\n", url);
    int status = LoadAddresses(url);
    if (status != Success) {
        return status;
    }
    status = LoadNAVPacks();
    if (status != Success) {
        return status;
    }
    MakeClockContinuous();
    return Success;
}

int VOBUIndex::LoadAddresses(const char* url) {
    IFOFile ifo;
    int status = ifo.Load(url);
    if (status != Success) {
        return status;
    }
    filesOffset = composite->GetCurrentFileStartOffset();
    entries.assign(static_cast<size_t>(ifo.VobuCount()), VOBUEntry{});
    for (int32_t index = 0; index < ifo.VobuCount(); ++index) {
        VOBUEntry& entry = entries[static_cast<size_t>(index)];
        entry.byteOffset = (int64_t{ifo.VobuSector(index)} << DvdSectorShift) - filesOffset;
        entry.previousIndex = index - 1;
    }
    return Success;
}

// One bad NAV pack does not fail the load: its VOBU stays without times.
int VOBUIndex::LoadNAVPacks() {
    int32_t failures = 0;
    for (int32_t index = 0; index < Count(); ++index) {
        failures += LoadNAVPack(index) != Success ? 1 : 0;
        ReportProgress(index);
        if (abort != nullptr && abort() != 0) {
            Log(SourceFile, __LINE__, LogEvent, "VOBUIndex::Load > User abort during load\n");
            return SetLastError(UserAborted, SourceFile, __LINE__,
                                "VOBUIndex::Load > User abort during load");
        }
    }
    Log(SourceFile, __LINE__, LogEvent, "VOBUIndex > Load had %d NAV pack failures\n", failures);
    return Success;
}

void VOBUIndex::ReportProgress(int32_t index) const {
    if (progress.callback == nullptr) {
        return;
    }
    double fraction = static_cast<double>(index + 1) / Count();
    if (progress.trackCount > 0) {
        fraction = (progress.trackIndex + fraction) / progress.trackCount;
    }
    progress.callback(fraction);
}

int VOBUIndex::LoadNAVPack(int32_t index) {
    VOBUEntry& entry = entries[static_cast<size_t>(index)];
    if (entry.byteOffset < 0 || entry.byteOffset + DvdSectorBytes > composite->TotalSize()) {
        return GeneralFailure;
    }
    uint8_t sector[DvdSectorBytes];
    uint32_t delivered = 0;
    if (composite->Seek(entry.byteOffset, nullptr) != Success ||
        composite->Read(DvdSectorBytes, sector, sizeof sector, &delivered) != Success ||
        delivered != sizeof sector) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex::Load > Read getting buffer");
    }
    ByteView pack(sector, sizeof sector);
    if (!pack.Matches(PciStartCode, "\x00\x00\x01\xBF"sv)) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex > Failed to find start code");
    }
    if (pack.U16BE(PciLength) != PciPacketBytes) {
        return GeneralFailure;
    }
    entry.rawStart = PtmToTicks(pack.U32BE(VobuStartPtm));
    entry.rawEnd = PtmToTicks(pack.U32BE(VobuEndPtm));
    entry.navLoaded = 1;
    const uint8_t frameRate = pack.U8(CellElapsedFrames) >> 6;
    framesPerSecond = frameRate == FrameRate30 ? 30 : frameRate == FrameRate25 ? 25 : framesPerSecond;
    const uint32_t next = pack.U32BE(DsiNextVobu);
    Log(SourceFile, __LINE__, LogTraceDetail,
        "SCR: %08d\tStartPTM: %08d (%05.2f)\tEndPTM: %08d (%05.2f)\tNextVOBU: 0x%08x\tNextVOBU(Raw):0x%08x\n",
        static_cast<int32_t>(pack.U32BE(DsiPackScr)), static_cast<int32_t>(pack.U32BE(DsiStartPtm)),
        Seconds(pack.U32BE(DsiStartPtm)), static_cast<int32_t>(pack.U32BE(DsiEndPtm)),
        Seconds(pack.U32BE(DsiEndPtm)), next & 0x00FFFFFF, next);
    return Success;
}

int VOBUIndex::Ensure(int32_t index) {
    if (index < 0 || index >= Count()) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex > LoadNAVPacks failed on index %d",
                       index);
    }
    if (entries[static_cast<size_t>(index)].navLoaded != 0) {
        return Success;
    }
    if (LoadNAVPack(index) != Success) {
        return DvdFail(SourceFile, __LINE__, GeneralFailure, "VOBUIndex > LoadNAVPacks failed on index %d",
                       index);
    }
    MakeClockContinuous();
    return Success;
}

// Presentation times start again at every cell of a title. A VOBU that starts before the one ahead
// of it ended begins a cell, and the cell's clock takes up where that VOBU's ended, so that time
// keeps rising; start and end move by the same amount, so that a span stays the span of its
// pictures. A VOBU whose NAV pack could not be read keeps its raw times (0) and is passed over.
void VOBUIndex::MakeClockContinuous() {
    int64_t offset = 0;
    const VOBUEntry* previous = nullptr;
    for (VOBUEntry& entry : entries) {
        if (entry.navLoaded == 0) {
            entry.cumulativeStart = entry.rawStart;
            entry.cumulativeEnd = entry.rawEnd;
            continue;
        }
        if (previous != nullptr && entry.rawStart < previous->rawEnd) {
            offset = previous->cumulativeEnd - entry.rawStart;
        }
        entry.cumulativeStart = entry.rawStart + offset;
        entry.cumulativeEnd = entry.rawEnd + offset;
        previous = &entry;
    }
}

int32_t VOBUIndex::FirstLoaded() const {
    for (int32_t index = 0; index < Count(); ++index) {
        if (entries[static_cast<size_t>(index)].navLoaded != 0) {
            return index;
        }
    }
    return -1;
}

int32_t VOBUIndex::LastLoaded() const {
    for (int32_t index = Count() - 1; index >= 0; --index) {
        if (entries[static_cast<size_t>(index)].navLoaded != 0) {
            return index;
        }
    }
    return -1;
}

int32_t VOBUIndex::IndexOfTime(int64_t time) const {
    int32_t before = 0;
    for (int32_t index = 0; index < Count(); ++index) {
        const VOBUEntry& entry = entries[static_cast<size_t>(index)];
        if (entry.navLoaded == 0) {
            continue;
        }
        if (time >= entry.cumulativeStart && time < entry.cumulativeEnd) {
            return index;
        }
        if (entry.cumulativeStart <= time) {
            before = index;
        }
    }
    return before;
}

int32_t VOBUIndex::IndexOfByte(int64_t position) const {
    auto after =
        std::upper_bound(entries.begin(), entries.end(), position,
                         [](int64_t value, const VOBUEntry& entry) { return value < entry.byteOffset; });
    return after == entries.begin() ? 0 : static_cast<int32_t>(after - entries.begin()) - 1;
}

int64_t VOBUIndex::ClockOffset(int32_t index) const {
    for (int32_t at = std::min(index, Count() - 1); at >= 0; --at) {
        const VOBUEntry& entry = entries[static_cast<size_t>(at)];
        if (entry.navLoaded != 0) {
            return entry.cumulativeStart - entry.rawStart;
        }
    }
    return 0;
}

} // namespace Vorn::Vorncast
