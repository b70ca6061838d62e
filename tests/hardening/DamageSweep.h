#pragma once

// A damage sweep for format decoders of the digital core: a recording (a file set of names and
// bytes) is cut short at many points and has bytes overwritten at chosen places, and each damaged
// copy is queried, loaded and walked frame by frame through the client functions, as a player
// would. Every run must end with a status of the core and finish within a bounded number of
// actions; the sanitizers of the test build catch the rest.
#include "fixtures/SmallRecordings.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Vorn::Vorncast::Decoders {
class BaseDecoder;
}

namespace Hardening {

// The sweep cuts at the frame starts and overwrites the first bytes of each frame.
using SweepRecording = Vorn::Vorncast::Decoders::Testing::SmallRecording;

struct SweepOptions {
    uint64_t cutStep = 512; // besides the frame starts
    // More candidate points than these are thinned out evenly.
    size_t maxCutsPerFile = 48;
    size_t maxDamagePerFile = 48;
};

// A fault is one line naming the damage and what went wrong.
struct SweepReport {
    int32_t runs = 0;
    int32_t loads = 0;         // damaged runs whose load succeeded
    int32_t framesDecoded = 0; // pictures delivered with success, over all runs
    // Frames of the undamaged recording offered for decoding (over all tracks, at most
    // MaxFramesDecoded of each); -1 when it did not load.
    int32_t intactFrames = -1;
    int32_t intactDecoded = 0; // of those, delivered with success
    std::vector<std::string> faults;
};

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

int32_t DecoderRowIndex(const char* className);

// The test form: skips while the row has no format decoder yet, requires the undamaged recording
// to load and deliver every frame, and fails with the faults found.
void ExpectDecoderSurvivesDamage(int32_t row, const SweepRecording& recording,
                                 Vorn::Vorncast::Decoders::BaseDecoder* decoder = nullptr);

} // namespace Hardening
