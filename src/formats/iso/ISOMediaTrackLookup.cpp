#include "formats/iso/ISOMediaTrack.h"
#include "formats/iso/IsoTimes.h"

#include <algorithm>

namespace Vorn::Vorncast::Decoders {

namespace {

int64_t SaturatingMultiply(int64_t a, int64_t b) {
    int64_t product = 0;
    if (__builtin_mul_overflow(a, b, &product)) {
        return (a < 0) != (b < 0) ? INT64_MIN : INT64_MAX;
    }
    return product;
}

} // namespace

SampleInfo ISOMediaTrack::GetSampleInfo(int32_t sample) const {
    SampleInfo info{};
    info.size = SampleSize(sample);
    int64_t units = 0;
    uint32_t delta = 0;
    TimeOfSample(sample, &units, &delta);
    info.time = TicksFromMediaUnits(units, mediaTimescale);
    info.duration = static_cast<uint32_t>(TicksFromMediaUnits(delta, mediaTimescale));
    int64_t chunk = 0;
    int64_t firstOfChunk = 0;
    ChunkOfSample(sample, &chunk, &firstOfChunk, &info.descriptionIndex);
    info.offset = ChunkOffset(chunk) + SizesBetween(firstOfChunk, sample);
    info.syncSample = SyncSampleOf(sample);
    return info;
}

uint32_t ISOMediaTrack::SampleSize(int64_t sample) const {
    if (fixedSampleSize != 0) {
        return fixedSampleSize;
    }
    const uint32_t* row = sampleSizes.At(sample);
    return row != nullptr ? *row : 0;
}

uint64_t ISOMediaTrack::SizesBetween(int64_t first, int64_t last) const {
    if (last <= first) {
        return 0;
    }
    if (fixedSampleSize != 0) {
        return static_cast<uint64_t>(last - first) * fixedSampleSize;
    }
    if (sizesBefore.Empty()) {
        return 0;
    }
    // Rows outside the table count as empty samples.
    const int64_t rows = static_cast<int64_t>(sampleSizes.Count());
    const size_t from = static_cast<size_t>(std::clamp<int64_t>(first, 0, rows));
    const size_t to = static_cast<size_t>(std::clamp<int64_t>(last, 0, rows));
    return sizesBefore[to] - sizesBefore[from];
}

// The time of a sample in media units, counted through the "stts" rows, and the delta of its row.
// A sample behind the last row goes on with the last row's delta.
void ISOMediaTrack::TimeOfSample(int64_t sample, int64_t* units, uint32_t* delta) const {
    int64_t passed = 0;
    uint64_t sum = 0;
    for (size_t index = 0; index < timeToSample.Count(); ++index) {
        const TimeToSampleRow& row = timeToSample[index];
        const int64_t end = SaturatingAdd(passed, row.count);
        if (end <= sample) {
            sum += uint64_t{row.count} * row.delta;
            passed = end;
            continue;
        }
        *delta = row.delta;
        *units = static_cast<int64_t>(sum + static_cast<uint64_t>(sample - passed) * row.delta);
        return;
    }
    *delta = timeToSample.Empty() ? 0 : timeToSample.Last().delta;
    *units = static_cast<int64_t>(sum + static_cast<uint64_t>(sample - passed) * *delta);
}

// The 0-based chunk of a sample, the first sample of that chunk and its description, from the
// "stsc" rows: every row but the last covers the chunks up to the next row's first chunk, and the
// last row covers the rest.
void ISOMediaTrack::ChunkOfSample(int64_t sample, int64_t* chunk, int64_t* firstOfChunk,
                                  uint32_t* description) const {
    *chunk = 0;
    *firstOfChunk = sample;
    *description = 0;
    if (sampleToChunk.Empty()) {
        return;
    }
    int64_t samplesPassed = 0;
    int64_t chunksPassed = 0;
    size_t found = sampleToChunk.Count() - 1;
    for (size_t index = 0; index + 1 < sampleToChunk.Count(); ++index) {
        const SampleToChunkRow& row = sampleToChunk[index];
        const int64_t chunks = int64_t{sampleToChunk[index + 1].firstChunk} - row.firstChunk;
        const int64_t samples = SaturatingMultiply(chunks, row.samplesPerChunk);
        if (sample < SaturatingAdd(samplesPassed, samples)) {
            found = index;
            break;
        }
        samplesPassed = SaturatingAdd(samplesPassed, samples);
        chunksPassed += chunks;
    }
    const SampleToChunkRow& row = sampleToChunk[found];
    const int64_t perChunk = row.samplesPerChunk;
    *chunk =
        perChunk != 0 ? SaturatingSubtract(sample, samplesPassed) / perChunk + chunksPassed : chunksPassed;
    const int64_t chunkInRow = SaturatingAdd(SaturatingSubtract(*chunk, row.firstChunk), 1);
    *firstOfChunk = SaturatingAdd(SaturatingMultiply(chunkInRow, perChunk), samplesPassed);
    *description = row.descriptionIndex;
}

uint64_t ISOMediaTrack::ChunkOffset(int64_t chunk) const {
    const uint64_t* offset = chunkOffsets.At(chunk);
    return offset != nullptr ? *offset : 0;
}

// With no "stss" every sample is a sync sample. Otherwise the last row (1-based numbers) that does
// not pass the sample, and the first row when none is that early.
int32_t ISOMediaTrack::SyncSampleOf(int64_t sample) const {
    if (syncSamples.Empty()) {
        return static_cast<int32_t>(sample);
    }
    int64_t sync = int64_t{syncSamples[0]} - 1;
    if (syncSamplesAscending) {
        size_t low = 1;
        size_t high = syncSamples.Count();
        while (low < high) {
            const size_t middle = low + (high - low) / 2;
            if (int64_t{syncSamples[middle]} - 1 <= sample) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        if (low > 1) {
            sync = int64_t{syncSamples[low - 1]} - 1;
        }
        return static_cast<int32_t>(sync);
    }
    for (size_t index = 1; index < syncSamples.Count(); ++index) {
        if (int64_t{syncSamples[index]} - 1 <= sample) {
            sync = int64_t{syncSamples[index]} - 1;
        }
    }
    return static_cast<int32_t>(sync);
}

} // namespace Vorn::Vorncast::Decoders
