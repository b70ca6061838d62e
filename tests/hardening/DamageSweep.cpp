#include "hardening/DamageSweep.h"

#include "core/client/DecoderTable.h"
#include "core/client/PlaceholderDecoder.h"
#include "fixtures/ClientPlay.h"
#include "model/decoder/ModelTypes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>

namespace Hardening {

using namespace Vorn::Vorncast::Decoders;
using Vorn::Testing::FileSetFile;

namespace {

constexpr const char* Folder = "/sweep/";
// Frames decoded in each run; the walks through the index visit all of them.
constexpr int32_t MaxFramesDecoded = 64;
// Actions allowed to one client operation: a base and one for every 16 bytes of the file set.
constexpr int64_t ActionBase = 4096;

// At most `limit` of the points, evenly spread, in order and without repeats.
std::vector<uint64_t> Thinned(std::set<uint64_t> points, size_t limit) {
    std::vector<uint64_t> all(points.begin(), points.end());
    if (all.size() <= limit || limit == 0) {
        return all;
    }
    std::vector<uint64_t> kept;
    for (size_t index = 0; index < limit; ++index) {
        kept.push_back(all[index * all.size() / limit]);
    }
    return kept;
}

std::vector<uint64_t> FrameStartsOf(const SweepRecording& recording, size_t file) {
    return file < recording.frameStarts.size() ? recording.frameStarts[file] : std::vector<uint64_t>{};
}

void AddCuts(const SweepRecording& recording, size_t file, const SweepOptions& options,
             std::vector<DamagedCopy>* out) {
    const std::string& bytes = recording.files[file].bytes;
    std::set<uint64_t> points;
    for (uint64_t at = 0; at < bytes.size(); at += options.cutStep) {
        points.insert(at);
    }
    for (uint64_t start : FrameStartsOf(recording, file)) {
        for (uint64_t at : {start, start + 1, start + 4}) {
            if (at < bytes.size()) {
                points.insert(at);
            }
        }
    }
    points.insert(bytes.size() > 0 ? bytes.size() - 1 : 0);
    for (uint64_t cut : Thinned(points, options.maxCutsPerFile)) {
        DamagedCopy damage{recording.files[file].name + " cut at " + std::to_string(cut), recording.files};
        damage.files[file].bytes.resize(cut);
        out->push_back(std::move(damage));
    }
}

// The bytes written over a place: all ones and all zeros break lengths and counts both ways, a
// flipped top bit turns a small length into a large one.
void AddOverwrite(const SweepRecording& recording, size_t file, uint64_t at, int pattern,
                  std::vector<DamagedCopy>* out) {
    constexpr const char* PatternNames[] = {"ones", "zeros", "top bits flipped"};
    DamagedCopy damage{recording.files[file].name + " overwritten at " + std::to_string(at) + " with " +
                           PatternNames[pattern],
                       recording.files};
    std::string& bytes = damage.files[file].bytes;
    for (uint64_t index = at; index < at + 4 && index < bytes.size(); ++index) {
        auto& byte = reinterpret_cast<uint8_t&>(bytes[index]);
        byte = pattern == 0 ? 0xFF : pattern == 1 ? 0x00 : static_cast<uint8_t>(byte ^ 0x80);
    }
    out->push_back(std::move(damage));
}

// The frames' first bytes and places spread over the file, thinned, each with one pattern in turn; the
// places the recording names (counts and lengths) with every pattern.
void AddOverwrites(const SweepRecording& recording, size_t file, const SweepOptions& options,
                   std::vector<DamagedCopy>* out) {
    const std::string& bytes = recording.files[file].bytes;
    if (bytes.empty()) {
        return;
    }
    std::set<uint64_t> places;
    for (uint64_t start : FrameStartsOf(recording, file)) {
        for (uint64_t offset : {0, 2, 4, 8, 12, 16}) {
            places.insert(std::min<uint64_t>(start + offset, bytes.size() - 1));
        }
    }
    for (uint64_t at = 0; at < bytes.size(); at += std::max<uint64_t>(bytes.size() / 16, 1)) {
        places.insert(at);
    }
    const size_t named = out->size();
    for (const auto& [placeFile, offset] : recording.damagePlaces) {
        for (int pattern = 0; placeFile == file && pattern < 3; ++pattern) {
            AddOverwrite(recording, file, std::min<uint64_t>(offset, bytes.size() - 1), pattern, out);
        }
    }
    // The named places take their share of the runs, down to half of them.
    const size_t limit =
        std::max(options.maxDamagePerFile - std::min(out->size() - named, options.maxDamagePerFile),
                 options.maxDamagePerFile / 2);
    const std::vector<uint64_t> kept = Thinned(places, limit);
    for (size_t index = 0; index < kept.size(); ++index) {
        AddOverwrite(recording, file, kept[index], static_cast<int>(index % 3), out);
    }
}

void AddMissingFiles(const SweepRecording& recording, std::vector<DamagedCopy>* out) {
    for (size_t file = 1; file < recording.files.size(); ++file) {
        DamagedCopy damage{recording.files[file].name + " missing", recording.files};
        damage.files.erase(damage.files.begin() + static_cast<long>(file));
        out->push_back(std::move(damage));
    }
}

int64_t ActionLimit(const SweepRecording& recording) {
    int64_t bytes = 0;
    for (const FileSetFile& file : recording.files) {
        bytes += static_cast<int64_t>(file.bytes.size());
    }
    return ActionBase + bytes / 16;
}

} // namespace

std::vector<DamagedCopy> DamagedCopies(const SweepRecording& recording, SweepOptions options) {
    if (recording.maxRunsPerFile > 0) {
        options.maxCutsPerFile = recording.maxRunsPerFile;
        options.maxDamagePerFile = recording.maxRunsPerFile;
    }
    std::vector<DamagedCopy> damaged;
    for (size_t file = 0; file < recording.files.size(); ++file) {
        AddCuts(recording, file, options, &damaged);
        AddOverwrites(recording, file, options, &damaged);
    }
    AddMissingFiles(recording, &damaged);
    return damaged;
}

SweepReport SweepDamage(int32_t row, const SweepRecording& recording, const SweepOptions& options,
                        BaseDecoder* decoder) {
    SweepReport report;
    if (recording.files.empty() || DecoderTable::RowAt(row) == nullptr) {
        report.faults.push_back("no recording or no such row");
        return report;
    }
    BaseDecoder* previous = decoder != nullptr ? DecoderTable::Swap(row, decoder) : nullptr;
    const char* guid = DecoderTable::RowAt(row)->guid;
    if (decoder != nullptr) {
        decoder->GetDecoderGuid(&guid);
    }
    const Vorn::Testing::ClientPlayLimits limits{ActionLimit(recording), MaxFramesDecoded,
                                                 recording.hostAbortsLongLoads};
    auto run = [&](const std::vector<FileSetFile>& files, const std::string& copy) {
        return Vorn::Testing::PlayThroughClient(
            guid, Folder, files, limits,
            [&](const std::string& fault, bool) { report.faults.push_back(copy + ": " + fault); });
    };
    const Vorn::Testing::ClientPlayOutcome intact = run(recording.files, "intact recording");
    if (intact.loaded) {
        report.intactFrames = intact.frames;
        report.intactDecoded = intact.decoded;
    }
    for (const DamagedCopy& damage : DamagedCopies(recording, options)) {
        const Vorn::Testing::ClientPlayOutcome outcome = run(damage.files, damage.description);
        ++report.runs;
        report.loads += outcome.loaded ? 1 : 0;
        report.framesDecoded += outcome.decoded;
    }
    if (decoder != nullptr) {
        DecoderTable::Swap(row, previous);
    }
    return report;
}

int32_t DecoderRowIndex(const char* className) {
    for (int32_t row = 0; row < DecoderTable::Count(); ++row) {
        if (std::strcmp(DecoderTable::RowAt(row)->className, className) == 0) {
            return row;
        }
    }
    return -1;
}

void ExpectDecoderSurvivesDamage(int32_t row, const SweepRecording& recording, BaseDecoder* decoder) {
    ASSERT_NE(DecoderTable::RowAt(row), nullptr) << "row " << row;
    if (decoder == nullptr && DecoderTable::RowAt(row)->create == CreatePlaceholderDecoder) {
        GTEST_SKIP() << DecoderTable::RowAt(row)->className << " has no format decoder yet";
    }
    SweepReport report = SweepDamage(row, recording, {}, decoder);
    EXPECT_GT(report.intactFrames, 0) << "the undamaged recording must load";
    EXPECT_EQ(report.intactDecoded, report.intactFrames)
        << "the undamaged recording must deliver every frame";
    std::ostringstream faults;
    for (size_t index = 0; index < report.faults.size() && index < 20; ++index) {
        faults << "\n  " << report.faults[index];
    }
    EXPECT_TRUE(report.faults.empty()) << report.faults.size() << " faults:" << faults.str();
}

} // namespace Hardening
