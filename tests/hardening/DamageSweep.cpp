#include "hardening/DamageSweep.h"

#include "core/client/DecoderTable.h"
#include "core/client/MasDigitalCAPI.h"
#include "core/client/PlaceholderDecoder.h"
#include "model/decoder/ModelTypes.h"
#include "model/files/FileTestSupport.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>

namespace Hardening {

using namespace Vorn::Vorncast::Decoders;
namespace Client = MasDigitalCAPI;
using Vorn::Testing::FileSetFile;

namespace {

constexpr const char* Folder = "/sweep/";
constexpr int32_t MaxTracksWalked = 8;
constexpr int32_t MaxAudioFrameBytes = 1 << 24;

// ---- files that watch their readers ----

// A file of the memory source that notes every read outside its bytes.
class WatchedFile : public Vorn::SourceFile {
public:
    WatchedFile(std::unique_ptr<Vorn::SourceFile> file, std::string name, std::vector<std::string>* faults)
        : file(std::move(file)), name(std::move(name)), faults(faults) {}

    int64_t Size() const override { return file->Size(); }
    int64_t ReadAt(int64_t offset, void* destination, int64_t count) override {
        if (offset < 0 || count < 0 || offset + count > file->Size()) {
            faults->push_back("read of " + std::to_string(count) + " bytes at " + std::to_string(offset) +
                              " outside " + name + " (" + std::to_string(file->Size()) + " bytes)");
        }
        return file->ReadAt(offset, destination, count);
    }

private:
    std::unique_ptr<Vorn::SourceFile> file;
    std::string name;
    std::vector<std::string>* faults;
};

class WatchedSource : public Vorn::MemoryFileSource {
public:
    explicit WatchedSource(std::vector<std::string>* faults) : faults(faults) {}

    std::unique_ptr<Vorn::SourceFile> Open(std::string_view path) override {
        std::unique_ptr<Vorn::SourceFile> file = MemoryFileSource::Open(path);
        return file == nullptr ? nullptr
                               : std::make_unique<WatchedFile>(std::move(file), std::string(path), faults);
    }

private:
    std::vector<std::string>* faults;
};

// Puts a decoder of the tests' own in a row of the table for the life of a sweep.
class SwappedRow {
public:
    SwappedRow(int32_t row, BaseDecoder* decoder) : row(row), decoder(decoder) {
        if (decoder != nullptr) {
            previous = DecoderTable::Swap(row, decoder);
        }
    }
    ~SwappedRow() {
        if (decoder != nullptr) {
            DecoderTable::Swap(row, previous);
        }
    }
    SwappedRow(const SwappedRow&) = delete;
    SwappedRow& operator=(const SwappedRow&) = delete;

private:
    int32_t row;
    BaseDecoder* decoder;
    BaseDecoder* previous = nullptr;
};

// ---- one run ----

struct RunOutcome {
    bool loaded = false;
    int32_t frames = 0;  // offered for decoding, over all tracks
    int32_t decoded = 0; // of those, delivered with success
};

// The polls a host lets a load run before its abort callback ends it; 0: it never does.
int64_t abortPolls = 0;
int64_t abortPollLimit = 0;

int32_t AbortLongLoad() {
    return abortPollLimit > 0 && ++abortPolls > abortPollLimit ? 1 : 0;
}

// Drives one client over the file set installed as the current source, as a player would.
class SweepRun {
public:
    SweepRun(const uint32_t guid[4], const std::string& path, int64_t actionLimit, int32_t maxFramesDecoded,
             std::vector<std::string>* faults, bool hostAbortsLongLoads)
        : guid(guid), path(path), actionLimit(actionLimit), maxFramesDecoded(maxFramesDecoded),
          faults(faults) {
        Client::CreateClient(&client);
        client->SetActionLimit(actionLimit);
        abortPolls = 0;
        abortPollLimit = hostAbortsLongLoads ? actionLimit / 2 : 0;
    }
    ~SweepRun() {
        Client::Close(client);
        if (client->ActionLimitReached()) {
            Fault("Close did not end within " + std::to_string(actionLimit) + " actions");
        }
        Client::DestroyClient(client);
    }
    SweepRun(const SweepRun&) = delete;
    SweepRun& operator=(const SweepRun&) = delete;

    RunOutcome Run() {
        Query();
        RunOutcome outcome;
        outcome.loaded = Load() == FCR_SUCCESS;
        if (!outcome.loaded) {
            return outcome;
        }
        int32_t tracks = Client::TotalTracks(client);
        for (int32_t track = 0; track < std::max(tracks, 1) && track < MaxTracksWalked; ++track) {
            if (tracks > 0) {
                Client::SelectTrack(client, track);
            }
            WalkTrack(&outcome);
        }
        return outcome;
    }

private:
    void Fault(const std::string& text) { faults->push_back(text); }

    // Every client operation must end with a status of the core and within the action limit.
    FileClientResult Check(const char* operation, FileClientResult result) {
        if (result != FCR_FAILURE && result != FCR_CATASTROPHIC && result != FCR_SUCCESS) {
            Fault(std::string(operation) + " gave status " + std::to_string(result));
        }
        if (client->ActionLimitReached()) {
            Fault(std::string(operation) + " did not end within " + std::to_string(actionLimit) + " actions");
        }
        return result;
    }

    void Query() {
        int32_t reserved = 0, confidence = 0;
        bool hasVideo = false, hasAudio = false;
        Check("Query", Client::OpenWithDecoder(client, guid[0], guid[1], guid[2], guid[3], 0, path.c_str(),
                                               &image, &audio, &span, &totalFrames, &totalAudioFrames,
                                               &duration, &hasVideo, &hasAudio, &reserved, &confidence));
    }

    FileClientResult Load() {
        bool hasAudio = false;
        // The query has made the decoder, which takes the callback.
        if (abortPollLimit > 0) {
            Client::RegisterAbortCallback(client, AbortLongLoad);
        }
        return Check("Load", Client::OpenWithDecoder(client, guid[0], guid[1], guid[2], guid[3], -1,
                                                     path.c_str(), &image, &audio, &span, &totalFrames,
                                                     &totalAudioFrames, &duration, &hasAudio));
    }

    void WalkTrack(RunOutcome* outcome) {
        int32_t frames = client->GetTotalFrames();
        outcome->frames += std::clamp(frames, 0, maxFramesDecoded);
        outcome->decoded += DecodeFrames(frames);
        DecodeAudioFrames();
        WalkIndex(frames);
    }

    // Each frame into a picture of exactly the size the load announced, as the streams allocate it.
    int32_t DecodeFrames(int32_t frames) {
        int64_t pictureBytes = static_cast<int64_t>(image.width) * image.height * image.planes;
        if (pictureBytes <= 0 || pictureBytes > Vorn::Vorncast::MaxPictureBytes) {
            return 0;
        }
        int32_t decoded = 0;
        for (int32_t frame = 0; frame < frames && frame < maxFramesDecoded; ++frame) {
            std::unique_ptr<uint8_t[]> picture(new uint8_t[static_cast<size_t>(pictureBytes)]);
            FrameTimes times{};
            int64_t frameDuration = 0;
            int32_t total = 0, camera = 0;
            uint64_t period = 0;
            char name[CameraNameLength];
            FileClientResult result = Check(
                "GetFrame", Client::GetFrame(client, frame, &times, static_cast<int32_t>(pictureBytes),
                                             picture.get(), &frameDuration, &total, &period, &camera, name));
            decoded += result == FCR_SUCCESS ? 1 : 0;
            Check("GetFrameInfo",
                  Client::GetFrameInfo(client, frame, &times, nullptr, &total, &period, &camera, name));
        }
        return decoded;
    }

    void DecodeAudioFrames() {
        if (totalAudioFrames <= 0 || audio.frameBytes <= 0 || audio.frameBytes > MaxAudioFrameBytes) {
            return;
        }
        for (int32_t frame = 0; frame < totalAudioFrames && frame < maxFramesDecoded; ++frame) {
            std::unique_ptr<uint8_t[]> samples(new uint8_t[static_cast<size_t>(audio.frameBytes)]);
            FrameTimes times{};
            int32_t bytes = 0, total = 0, camera = 0;
            char name[CameraNameLength];
            Check("GetAudioFrame", Client::GetAudioFrame(client, frame, &times, audio.frameBytes,
                                                         samples.get(), &bytes, &total, &camera, name));
        }
    }

    // The steps through the index must move one way and end, and a time must give a frame of the index.
    void WalkIndex(int32_t frames) {
        int32_t steps = 0;
        for (int32_t frame = Client::GetNextFrame(client, -1, -1); frame != -1;) {
            int32_t next = Client::GetNextFrame(client, frame, -1);
            if ((next != -1 && next <= frame) || next >= frames || ++steps > frames) {
                Fault("next-frame walk does not advance from frame " + std::to_string(frame));
                break;
            }
            frame = next;
        }
        steps = 0;
        for (int32_t frame = Client::GetPreviousFrame(client, frames, -1); frame != -1;) {
            int32_t previous = Client::GetPreviousFrame(client, frame, -1);
            if (previous >= frame || previous < -1 || ++steps > frames) {
                Fault("previous-frame walk does not go back from frame " + std::to_string(frame));
                break;
            }
            frame = previous;
        }
        for (int64_t time : {INT64_MIN, int64_t{0}, span.first.streamTime, span.lastStreamTime, INT64_MAX}) {
            int32_t frame = Client::IndexOfFrameAtStreamTime(client, time);
            if (frame < -1 || frame >= std::max(frames, 1)) {
                Fault("time " + std::to_string(time) + " gave frame " + std::to_string(frame));
            }
        }
    }

    const uint32_t* guid;
    const std::string& path;
    int64_t actionLimit;
    int32_t maxFramesDecoded;
    std::vector<std::string>* faults;
    Client::ClientHandle client = nullptr;
    ImageInfo image{};
    AudioInfo audio{};
    TrackTimes span{};
    int32_t totalFrames = 0, totalAudioFrames = 0;
    int64_t duration = 0;
};

// ---- the damage ----

using Damage = DamagedCopy;

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
             std::vector<Damage>* out) {
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
        Damage damage{recording.files[file].name + " cut at " + std::to_string(cut), recording.files};
        damage.files[file].bytes.resize(cut);
        out->push_back(std::move(damage));
    }
}

// The bytes written over a place: all ones and all zeros break lengths and counts both ways, a
// flipped top bit turns a small length into a large one.
void Overwrite(std::string& bytes, uint64_t at, int pattern) {
    for (uint64_t index = at; index < at + 4 && index < bytes.size(); ++index) {
        auto& byte = reinterpret_cast<uint8_t&>(bytes[index]);
        byte = pattern == 0 ? 0xFF : pattern == 1 ? 0x00 : static_cast<uint8_t>(byte ^ 0x80);
    }
}

void AddOverwrites(const SweepRecording& recording, size_t file, const SweepOptions& options,
                   std::vector<Damage>* out) {
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
    for (const auto& [placeFile, offset] : recording.damagePlaces) {
        if (placeFile == file) {
            places.insert(std::min<uint64_t>(offset, bytes.size() - 1));
        }
    }
    for (uint64_t at = 0; at < bytes.size(); at += std::max<uint64_t>(bytes.size() / 16, 1)) {
        places.insert(at);
    }
    std::vector<uint64_t> kept = Thinned(places, options.maxDamagePerFile);
    for (size_t index = 0; index < kept.size(); ++index) {
        int pattern = static_cast<int>(index % 3);
        Damage damage{recording.files[file].name + " overwritten at " + std::to_string(kept[index]) +
                          " with " +
                          (pattern == 0   ? "ones"
                           : pattern == 1 ? "zeros"
                                          : "top bits flipped"),
                      recording.files};
        Overwrite(damage.files[file].bytes, kept[index], pattern);
        out->push_back(std::move(damage));
    }
}

void AddMissingFiles(const SweepRecording& recording, std::vector<Damage>* out) {
    for (size_t file = 1; file < recording.files.size(); ++file) {
        Damage damage{recording.files[file].name + " missing", recording.files};
        damage.files.erase(damage.files.begin() + static_cast<long>(file));
        out->push_back(std::move(damage));
    }
}

int64_t ActionLimit(const SweepRecording& recording, const SweepOptions& options) {
    int64_t bytes = 0;
    for (const FileSetFile& file : recording.files) {
        bytes += static_cast<int64_t>(file.bytes.size());
    }
    return options.actionBase + bytes / std::max<int64_t>(options.bytesPerAction, 1);
}

void RowGuid(int32_t row, BaseDecoder* decoder, uint32_t words[4]) {
    const char* text = nullptr;
    if (decoder != nullptr) {
        decoder->GetDecoderGuid(&text);
    } else {
        text = DecoderTable::RowAt(row)->guid;
    }
    Vorn::Guid guid;
    Vorn::ParseGuid(std::string("{") + text + "}", &guid);
    WordsFromGuid(guid, words);
}

RunOutcome RunOn(const std::vector<FileSetFile>& files, const uint32_t guid[4], int64_t actionLimit,
                 const SweepOptions& options, std::vector<std::string>* faults) {
    WatchedSource source(faults);
    for (const FileSetFile& file : files) {
        source.AddFile(Folder + file.name, file.bytes);
    }
    FileTesting::InstalledSource installed(&source);
    const std::string path = Folder + files.front().name;
    SweepRun run(guid, path, actionLimit, options.maxFramesDecoded, faults, options.hostAbortsLongLoads);
    return run.Run();
}

} // namespace

std::vector<DamagedCopy> DamagedCopies(const SweepRecording& recording, const SweepOptions& options) {
    std::vector<Damage> damaged;
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
    SwappedRow swapped(row, decoder);
    uint32_t guid[4];
    RowGuid(row, decoder, guid);
    const int64_t limit = ActionLimit(recording, options);

    std::vector<std::string> faults;
    RunOutcome intact = RunOn(recording.files, guid, limit, options, &faults);
    for (const std::string& fault : faults) {
        report.faults.push_back("intact recording: " + fault);
    }
    if (intact.loaded) {
        report.intactFrames = intact.frames;
        report.intactDecoded = intact.decoded;
    }
    for (const Damage& damage : DamagedCopies(recording, options)) {
        if (damage.files.empty()) {
            continue;
        }
        faults.clear();
        RunOutcome outcome = RunOn(damage.files, guid, limit, options, &faults);
        ++report.runs;
        report.loads += outcome.loaded ? 1 : 0;
        report.framesDecoded += outcome.decoded;
        for (const std::string& fault : faults) {
            report.faults.push_back(damage.description + ": " + fault);
        }
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

bool RowHasPlaceholder(int32_t row) {
    const DecoderRow* entry = DecoderTable::RowAt(row);
    return entry != nullptr && entry->create == CreatePlaceholderDecoder;
}

void ExpectDecoderSurvivesDamage(int32_t row, const SweepRecording& recording, const SweepOptions& options,
                                 BaseDecoder* decoder) {
    ASSERT_NE(DecoderTable::RowAt(row), nullptr) << "row " << row;
    if (decoder == nullptr && RowHasPlaceholder(row)) {
        GTEST_SKIP() << DecoderTable::RowAt(row)->className << " has no format decoder yet";
    }
    SweepReport report = SweepDamage(row, recording, options, decoder);
    EXPECT_GT(report.intactFrames, 0) << "the undamaged recording must load";
    EXPECT_EQ(report.intactDecoded, report.intactFrames)
        << "the undamaged recording must deliver every frame";
    EXPECT_GT(report.runs, 0);
    std::ostringstream faults;
    for (size_t index = 0; index < report.faults.size() && index < 20; ++index) {
        faults << "\n  " << report.faults[index];
    }
    EXPECT_TRUE(report.faults.empty()) << report.faults.size() << " faults:" << faults.str();
}

} // namespace Hardening
