#pragma once

// A damage sweep for format decoders of the digital core: a recording (a file set of names and
// bytes) is cut short at many points and has bytes overwritten at chosen places, and each damaged
// copy is queried, loaded and walked frame by frame through the client functions, as a player
// would. Every run must end with a status of the core and finish
// within a bounded number of actions; the sanitizers of the test build catch the rest.
#include "fixtures/SmallRecordings.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Vorn::Vorncast::Decoders {
class BaseDecoder;
}

namespace Hardening {

// The file set, the offsets where frames begin by file (the sweep cuts there and overwrites the first
// bytes of each), further places worth damaging and the recording's own limits.
using SweepRecording = Vorn::Vorncast::Decoders::Testing::SmallRecording;

struct SweepOptions {
    // Cuts every `cutStep` bytes of each file, besides the frame starts.
    uint64_t cutStep = 512;
    // At most this many cut runs and this many overwrite runs for each file; more candidate
    // points are thinned out evenly.
    size_t maxCutsPerFile = 48;
    size_t maxDamagePerFile = 48;
    // Frames decoded in each run; the walks through the index visit all of them.
    int32_t maxFramesDecoded = 64;
    // Actions allowed to one client operation: a base and one for every this many bytes of the
    // file set.
    int64_t actionBase = 4096;
    int64_t bytesPerAction = 16;
};

// What the sweep saw. A fault is one line naming the damage and what went wrong.
struct SweepReport {
    int32_t runs = 0;
    int32_t loads = 0;         // damaged runs whose load succeeded
    int32_t framesDecoded = 0; // pictures delivered with success, over all runs
    // Frames of the undamaged recording offered for decoding (over all tracks, at most
    // maxFramesDecoded of each); -1 when it did not load.
    int32_t intactFrames = -1;
    int32_t intactDecoded = 0; // of those, delivered with success
    std::vector<std::string> faults;
};

// One damaged copy of a recording and what was done to it.
struct DamagedCopy {
    std::string description;
    std::vector<Vorn::Testing::FileSetFile> files;
};

// The copies a sweep runs on: each file cut short and overwritten at many places, and each file
// but the first missing. Decoders outside the digital core run them with a player of their own.
std::vector<DamagedCopy> DamagedCopies(const SweepRecording& recording, SweepOptions options);

// Sweeps the decoder of `row` of the decoder table. With `decoder` given, that object stands in
// the row for the sweep (a decoder of the tests' own) and is found by its own GUID.
SweepReport SweepDamage(int32_t row, const SweepRecording& recording, const SweepOptions& options = {},
                        Vorn::Vorncast::Decoders::BaseDecoder* decoder = nullptr);

// The row of the decoder table whose class is `className`, or -1.
int32_t DecoderRowIndex(const char* className);

// The test form: skips while the row has no format decoder yet, requires the undamaged recording
// to load and deliver every frame, and fails with the faults found.
void ExpectDecoderSurvivesDamage(int32_t row, const SweepRecording& recording,
                                 const SweepOptions& options = {},
                                 Vorn::Vorncast::Decoders::BaseDecoder* decoder = nullptr);

} // namespace Hardening
