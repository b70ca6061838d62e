// The damage sweep over a DVD-Video folder of two cells in two VOB files: every damaged copy is
// loaded and played through the exported functions and must end each call with a status of the
// library, within a bounded number of steps; the sanitizers catch the rest.
#include "fixtures/dvd/DvdAuthor.h"
#include "formats/RecordingFixture.h"
#include "hardening/DamageSweep.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

namespace {

using Vorn::Testing::FileSetFile;

constexpr const char* Folder = "/sweep/VIDEO_TS/";
constexpr int MaxSteps = 80;
const std::set<int> LibraryStatuses = {VC_Success, VC_GeneralFailure, VC_EndOfStreamBeforeStart,
                                       VC_EndOfStreamAfterEnd, VC_CatastrophicFailure};

uint32_t BigEndianAt(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t index = at; index < at + 4 && index < bytes.size(); ++index) {
        value = value << 8 | static_cast<uint8_t>(bytes[index]);
    }
    return value;
}

// Plays one copy of the folder as a player would and notes every status that is not the library's.
class CopyPlayer {
public:
    CopyPlayer(int collection, std::vector<std::string>* faults) : collection(collection), faults(faults) {}

    // True when the copy loaded; `samples` counts the samples delivered.
    bool Play(const std::vector<FileSetFile>& files, int* samples) {
        Vorn::MemoryFileSource source;
        for (const FileSetFile& file : files) {
            source.AddFile(Folder + file.name, file.bytes);
        }
        Vorn::FileSource::SetCurrent(&source);
        VcGuid guid{};
        Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020B1619331}", &guid);
        int decoder = 0;
        bool loaded = false;
        if (Check("Decoder_Create", Decoder_Create(collection, guid, -1, -1, &decoder)) == VC_Success) {
            const std::string url = std::string(Folder) + "VIDEO_TS.IFO";
            int resources = 0;
            loaded = Check("Decoder_Load",
                           Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr,
                                        FormatTests::NeverAbort, &resources)) == VC_Success;
            if (loaded) {
                *samples = PlayTracks(decoder);
            }
            Decoder_Close(decoder);
            Decoder_Release(decoder);
        }
        Vorn::FileSource::SetCurrent(nullptr);
        return loaded;
    }

private:
    int Check(const char* call, int status) {
        if (LibraryStatuses.count(status) == 0) {
            faults->push_back(std::string(call) + " gave status " + std::to_string(status));
        }
        return status;
    }

    int Step(int stream, int status, VcSample& sample, const char* call, int64_t* time) {
        if (Check(call, status) == VC_Success) {
            *time = sample.time.streamTime;
            Stream_ReleaseSample(stream, sample);
        }
        return status;
    }

    int PlayStream(int stream) {
        VcSampleRequest request{FormatTests::NeverAbort, {0, 0}, 1, 0};
        int delivered = 0;
        int64_t time = 0;
        for (int step = 0; step < MaxSteps; ++step) {
            VcSample sample{};
            if (Step(stream, Stream_GetNextSample(stream, request, &sample), sample, "GetNextSample",
                     &time) != VC_Success) {
                break;
            }
            ++delivered;
        }
        VcSeekRequest seek{};
        seek.abort = FormatTests::NeverAbort;
        seek.wantData = 1;
        seek.targetTime = time / 2;
        VcSample sample{};
        Step(stream, Stream_GoToTime(stream, seek, &sample), sample, "GoToTime", &time);
        VcSample previous{};
        Step(stream, Stream_GetPreviousSample(stream, request, &previous), previous, "GetPreviousSample",
             &time);
        return delivered;
    }

    int PlayTracks(int decoder) {
        int tracks = 0;
        int samples = 0;
        Decoder_GetTrackCount(decoder, &tracks);
        for (int index = 0; index < tracks; ++index) {
            int track = 0;
            VcTrackInfo info{};
            if (Decoder_GetTrack(decoder, index, &track) != VC_Success ||
                Track_GetInfo(track, &info) != VC_Success) {
                faults->push_back("track " + std::to_string(index) + " of a loaded decoder cannot be read");
                continue;
            }
            for (int number = 0; number < info.streamCount; ++number) {
                int stream = 0;
                if (Track_GetStream(track, number, &stream) == VC_Success) {
                    samples += PlayStream(stream);
                }
            }
        }
        return samples;
    }

    int collection;
    std::vector<std::string>* faults;
};

TEST(DvdDamageSweep, DamagedFoldersEndEveryCallWithAStatus) {
    if (!Vorn::Testing::HaveDvdTools()) {
        GTEST_SKIP() << "ffmpeg or dvdauthor is not installed";
    }
    const Vorn::Testing::DvdFolder& folder = Vorn::Testing::AuthorDvd({false, {{0.5, 0.4}}, 2, false});
    ASSERT_EQ(folder.error, "");
    Hardening::SweepRecording recording;
    for (const FileSetFile& file : folder.files) {
        if (file.name.find(".BUP") == std::string::npos) {
            recording.files.push_back(file);
        }
    }
    // VIDEO_TS.IFO, VTS_01_0.IFO, then the VOBs: the NAV packs the address map names are the frames,
    // the sector pointers of the IFO files the places worth breaking.
    ASSERT_EQ(recording.files.size(), 4u);
    const std::string& ifo = recording.files[1].bytes;
    const size_t map = size_t{BigEndianAt(ifo, 0xE4)} * 2048;
    recording.frameStarts.resize(4);
    for (size_t entry = map + 4; entry + 4 <= map + 4 + BigEndianAt(ifo, map); entry += 4) {
        const uint64_t at = uint64_t{BigEndianAt(ifo, entry)} * 2048;
        const size_t first = recording.files[2].bytes.size();
        recording.frameStarts[at < first ? 2 : 3].push_back(at < first ? at : at - first);
    }
    recording.damagePlaces = {{0, 0xC4}, {1, 0xCC}, {1, 0xE4}, {1, map}, {1, map + 8}};
    Hardening::SweepOptions options;
    options.cutStep = 8192;
    options.maxCutsPerFile = 10;
    options.maxDamagePerFile = 12;

    VcInitRecord record{};
    ASSERT_EQ(InitVorncastDecoders(record), VC_Success);
    int collection = 0;
    ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), VC_Success);
    std::vector<std::string> faults;
    CopyPlayer player(collection, &faults);
    int intactSamples = 0;
    EXPECT_TRUE(player.Play(recording.files, &intactSamples));
    EXPECT_GT(intactSamples, 0);
    int runs = 0;
    for (const Hardening::DamagedCopy& copy : Hardening::DamagedCopies(recording, options)) {
        std::vector<std::string> found;
        CopyPlayer damaged(collection, &found);
        int samples = 0;
        damaged.Play(copy.files, &samples);
        for (const std::string& fault : found) {
            faults.push_back(copy.description + ": " + fault);
        }
        ++runs;
    }
    DecoderCollection_Release(collection);
    EXPECT_GT(runs, 40);
    std::ostringstream shown;
    for (size_t index = 0; index < faults.size() && index < 20; ++index) {
        shown << "\n  " << faults[index];
    }
    EXPECT_TRUE(faults.empty()) << faults.size() << " faults:" << shown.str();
}

} // namespace
