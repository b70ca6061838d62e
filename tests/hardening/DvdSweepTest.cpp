// The damage sweep over a DVD-Video folder of two cells in two VOB files: every damaged copy is
// loaded and played through the exported functions and must end each call with a status of the
// library, within a bounded number of steps; the sanitizers catch the rest.
#include "fixtures/dvd/DvdAuthor.h"
#include "formats/RecordingFixture.h"
#include "hardening/DamageSweep.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Vorn::Testing::FileSetFile;

constexpr const char* Folder = "/sweep/VIDEO_TS/";
constexpr int MaxSteps = 80;
const std::set<int> LibraryStatuses = {VC_Success, VC_GeneralFailure, VC_EndOfStreamBeforeStart,
                                       VC_EndOfStreamAfterEnd, VC_CatastrophicFailure};

uint32_t BigEndianAt(const std::string& bytes, size_t at) {
    return static_cast<uint32_t>(
        static_cast<uint8_t>(bytes[at]) << 24 | static_cast<uint8_t>(bytes[at + 1]) << 16 |
        static_cast<uint8_t>(bytes[at + 2]) << 8 | static_cast<uint8_t>(bytes[at + 3]));
}

// Plays one copy of the folder as a player would: every stream stepped forward, sought to its
// middle and stepped back. Returns the calls that ended with a status that is not the library's.
std::vector<std::string> PlayCopy(int collection, const std::vector<FileSetFile>& files) {
    std::vector<std::string> faults;
    auto check = [&](const char* call, int status) {
        if (LibraryStatuses.count(status) == 0) {
            faults.push_back(std::string(call) + " gave status " + std::to_string(status));
        }
        return status;
    };
    Vorn::MemoryFileSource source;
    for (const FileSetFile& file : files) {
        source.AddFile(Folder + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&source);
    VcGuid guid{};
    Vorn::ParseGuid("{508C3FE8-0034-4216-8E06-0020B1619331}", &guid);
    int decoder = 0, resources = 0, tracks = 0;
    const std::string url = std::string(Folder) + "VIDEO_TS.IFO";
    if (check("Decoder_Create", Decoder_Create(collection, guid, -1, -1, &decoder)) == VC_Success &&
        check("Decoder_Load", Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr,
                                           nullptr, FormatTests::NeverAbort, &resources)) == VC_Success) {
        Decoder_GetTrackCount(decoder, &tracks);
    }
    const VcSampleRequest request{FormatTests::NeverAbort, {0, 0}, 1, 0};
    for (int index = 0; index < tracks; ++index) {
        int track = 0, stream = 0;
        VcTrackInfo info{};
        check("Decoder_GetTrack", Decoder_GetTrack(decoder, index, &track));
        check("Track_GetInfo", Track_GetInfo(track, &info));
        for (int number = 0; Track_GetStream(track, number, &stream) == VC_Success; ++number) {
            VcSample sample{};
            for (int step = 0;
                 step < MaxSteps &&
                 check("GetNextSample", Stream_GetNextSample(stream, request, &sample)) == VC_Success;
                 ++step) {
                Stream_ReleaseSample(stream, sample);
            }
            VcSeekRequest seek{FormatTests::NeverAbort,
                               {0, 0},
                               1,
                               0,
                               0,
                               (info.startTime.streamTime + info.endTime.streamTime) / 2};
            if (check("GoToTime", Stream_GoToTime(stream, seek, &sample)) == VC_Success) {
                Stream_ReleaseSample(stream, sample);
            }
            if (check("GetPreviousSample", Stream_GetPreviousSample(stream, request, &sample)) ==
                VC_Success) {
                Stream_ReleaseSample(stream, sample);
            }
        }
    }
    Decoder_Close(decoder);
    Decoder_Release(decoder);
    Vorn::FileSource::SetCurrent(nullptr);
    return faults;
}

TEST(DvdDamageSweep, DamagedFoldersEndEveryCallWithAStatus) {
    if (!Vorn::Testing::HaveDvdTools()) {
        GTEST_SKIP() << "ffmpeg or dvdauthor is not installed";
    }
    const Vorn::Testing::DvdFolder& folder = Vorn::Testing::AuthorDvd({false, {{0.5, 0.4}}, 2});
    ASSERT_EQ(folder.error, "");
    // VIDEO_TS.IFO, VTS_01_0.IFO, then the VOBs: the NAV packs the address map names stand for the
    // frames, the sector pointers of the IFO files for the places worth breaking.
    Hardening::SweepRecording recording;
    for (const FileSetFile& file : folder.files) {
        if (file.name.find(".BUP") == std::string::npos) {
            recording.files.push_back(file);
        }
    }
    ASSERT_EQ(recording.files.size(), 4u);
    const std::string& ifo = recording.files[1].bytes;
    const size_t map = size_t{BigEndianAt(ifo, 0xE4)} * 2048;
    const size_t firstVob = recording.files[2].bytes.size();
    recording.frameStarts.resize(4);
    for (size_t entry = map + 4; entry + 4 <= map + 4 + BigEndianAt(ifo, map); entry += 4) {
        const uint64_t at = uint64_t{BigEndianAt(ifo, entry)} * 2048;
        recording.frameStarts[at < firstVob ? 2 : 3].push_back(at < firstVob ? at : at - firstVob);
    }
    recording.damagePlaces = {{0, 0xC4}, {1, 0xCC}, {1, 0xE4}, {1, map}, {1, map + 8}};
    Hardening::SweepOptions options;
    options.cutStep = 8192;
    options.maxCutsPerFile = 10;
    options.maxDamagePerFile = 12;

    ASSERT_EQ(InitVorncastDecoders(VcInitRecord{}), VC_Success);
    int collection = 0;
    ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), VC_Success);
    std::vector<std::string> faults = PlayCopy(collection, recording.files);
    const std::vector<Hardening::DamagedCopy> copies = Hardening::DamagedCopies(recording, options);
    for (const Hardening::DamagedCopy& copy : copies) {
        for (const std::string& fault : PlayCopy(collection, copy.files)) {
            faults.push_back(copy.description + ": " + fault);
        }
    }
    DecoderCollection_Release(collection);
    EXPECT_GT(copies.size(), 40u);
    EXPECT_TRUE(faults.empty()) << faults.size() << " faults, the first: " << faults.front();
}

} // namespace
