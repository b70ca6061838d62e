#pragma once

#include "model/decoder/ModelTypes.h"
#include "model/files/CompositeFile.h"

#include <cstdint>
#include <vector>

namespace Vorn::Vorncast {

// One VOBU of a title set: where its NAV pack lies and the span of presentation it covers, both as
// its NAV pack gives it and on the clock that runs on across the cells of the title.
struct VOBUEntry {
    uint8_t navLoaded;       // nonzero once the NAV pack has been read
    int64_t byteOffset;      // in the chain of the set's title VOBs
    int64_t cumulativeStart; // ticks, continuous clock
    int64_t rawStart;        // ticks, vobu_s_ptm
    int64_t cumulativeEnd;
    int64_t rawEnd; // ticks, vobu_e_ptm
    int32_t previousIndex;
};

// Where the load of one track reports its progress: its share of the decoder's whole load.
struct IndexProgress {
    ProgressCallback callback = nullptr;
    int32_t trackIndex = 0;
    int32_t trackCount = 0;
};

// The VOBU table of one title set, built from its address map and the NAV packs of its VOBs. It is
// the time index of a format that has no frame index: a time is found in a VOBU's span, and the
// decoding starts at that VOBU's NAV pack.
class VOBUIndex {
public:
    // `url` names a VOB of the set; `fileSet` is the open chain of its title VOBs, which the index
    // reads from and which must outlive it.
    int Load(const char* url, CompositeFile* fileSet, IndexProgress progress, AbortOperation abort);

    int32_t Count() const { return static_cast<int32_t>(entries.size()); }
    const VOBUEntry& Entry(int32_t index) const { return entries[static_cast<size_t>(index)]; }
    // Reads the NAV pack of an entry whose pack has not been read yet.
    int Ensure(int32_t index);
    // The first and the last VOBU whose NAV pack was read, -1 when there is none: their spans give
    // the first and the last time of the set.
    int32_t FirstLoaded() const;
    int32_t LastLoaded() const;
    // The VOBU whose span holds `time`; else the last one that starts before it; else 0.
    int32_t IndexOfTime(int64_t time) const;
    // The VOBU that holds a byte of the VOB chain.
    int32_t IndexOfByte(int64_t position) const;
    // What turns a presentation time inside the VOBU into a time on the continuous clock.
    int64_t ClockOffset(int32_t index) const;
    int32_t FramesPerSecond() const { return framesPerSecond; }

    // 90 kHz presentation time to ticks, truncated.
    static int64_t PtmToTicks(uint64_t ptm);

private:
    int LoadAddresses(const char* url);
    int LoadNAVPacks();
    int LoadNAVPack(int32_t index);
    void ReportProgress(int32_t index) const;
    void MakeClockContinuous();

    std::vector<VOBUEntry> entries;
    IndexProgress progress;
    AbortOperation abort = nullptr;
    CompositeFile* composite = nullptr;
    int64_t filesOffset = 0;
    int32_t framesPerSecond = 25;
};

} // namespace Vorn::Vorncast
