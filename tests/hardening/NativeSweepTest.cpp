// The damage sweep over the native Kodicom and Darlex decoders: every damaged copy of a recording
// is loaded and played through the exported functions and must end each call with a status of the
// library, within a bounded number of steps; the sanitizers catch the rest.
#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "formats/RecordingFixture.h"
#include "hardening/DamageSweep.h"
#include "model/files/MemoryFileSource.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Testing::FileSetFile;

constexpr int MaxSteps = 40;
const std::set<int> LibraryStatuses = {VC_Success, VC_GeneralFailure, VC_EndOfStreamBeforeStart,
                                       VC_EndOfStreamAfterEnd, VC_InvalidArgument};

struct NativeCase {
    const char* guid;
    int variant;
    const char* url;
};

// Plays one copy as a player would: every stream stepped forward, sought to its middle and stepped
// back. Returns the calls that ended with a status that is not the library's.
std::vector<std::string> PlayCopy(int collection, const NativeCase& native,
                                  const std::vector<FileSetFile>& files) {
    std::vector<std::string> faults;
    auto check = [&](const char* call, int status) {
        if (LibraryStatuses.count(status) == 0) {
            faults.push_back(std::string(call) + " gave status " + std::to_string(status));
        }
        return status;
    };
    Vorn::MemoryFileSource source;
    for (const FileSetFile& file : files) {
        source.AddFile("/sweep/" + file.name, file.bytes);
    }
    Vorn::FileSource::SetCurrent(&source);
    VcGuid guid{};
    Vorn::ParseGuid(native.guid, &guid);
    int decoder = 0, resources = 0, track = 0;
    VcTrackInfo info{};
    const std::string url = native.url;
    if (check("Decoder_Create", Decoder_Create(collection, guid, native.variant, -1, &decoder)) ==
            VC_Success &&
        check("Decoder_Load", Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr,
                                           nullptr, FormatTests::NeverAbort, &resources)) == VC_Success &&
        Decoder_GetTrack(decoder, 0, &track) == VC_Success) {
        check("Track_GetInfo", Track_GetInfo(track, &info));
    }
    // Pictures are decoded by the first step, the seek and the step back: a sanitizer build decodes an
    // ADV601 field slowly.
    const VcSampleRequest request{FormatTests::NeverAbort, {0, 0}, 1, 0};
    const VcSampleRequest timesOnly{FormatTests::NeverAbort, {0, 0}, 0, 0};
    int stream = 0;
    for (int number = 0; track != 0 && Track_GetStream(track, number, &stream) == VC_Success; ++number) {
        VcSample sample{};
        for (int step = 0; step < MaxSteps; ++step) {
            const int status = check("GetNextSample",
                                     Stream_GetNextSample(stream, step == 0 ? request : timesOnly, &sample));
            if (status == VC_Success && sample.uncompressedData != nullptr) {
                Stream_ReleaseSample(stream, sample);
            } else if (status != VC_GeneralFailure) {
                break;
            }
        }
        const VcSeekRequest seek{FormatTests::NeverAbort,
                                 {0, 0},
                                 1,
                                 0,
                                 0,
                                 (info.startTime.streamTime + info.endTime.streamTime) / 2};
        if (check("GoToTime", Stream_GoToTime(stream, seek, &sample)) == VC_Success) {
            Stream_ReleaseSample(stream, sample);
        }
        if (check("GetPreviousSample", Stream_GetPreviousSample(stream, request, &sample)) == VC_Success) {
            Stream_ReleaseSample(stream, sample);
        }
    }
    Decoder_Close(decoder);
    Decoder_Release(decoder);
    Vorn::FileSource::SetCurrent(nullptr);
    return faults;
}

std::vector<std::string> Sweep(const NativeCase& native, const Hardening::SweepRecording& recording,
                               const Hardening::SweepOptions& options, size_t* copies) {
    EXPECT_EQ(InitVorncastDecoders(VcInitRecord{}), VC_Success);
    int collection = 0;
    EXPECT_EQ(DecoderCollection_Create(nullptr, &collection), VC_Success);
    std::vector<std::string> faults = PlayCopy(collection, native, recording.files);
    const std::vector<Hardening::DamagedCopy> damaged = Hardening::DamagedCopies(recording, options);
    for (const Hardening::DamagedCopy& copy : damaged) {
        for (const std::string& fault : PlayCopy(collection, native, copy.files)) {
            faults.push_back(copy.description + ": " + fault);
        }
    }
    DecoderCollection_Release(collection);
    *copies = damaged.size();
    return faults;
}

// Two spans of two cameras; the records the index names stand for the frames.
TEST(NativeDamageSweep, KodicomSpansEndEveryCallWithAStatus) {
    Hardening::SweepRecording recording;
    recording.frameStarts.resize(4);
    for (int32_t span = 0; span < 2; ++span) {
        const std::vector<KodicomFrame> frames =
            KodicomFrames(2, 4, 638000000000000000 + span * 600000000LL, 5, 3, 32, 24);
        const KodicomSpan written = WriteKodicomSpan(frames);
        const std::string name = "KD" + std::to_string(span);
        recording.files.push_back({name + ".bix", written.bix});
        recording.files.push_back({name + ".box", written.box});
        for (size_t entry = 0; entry < frames.size(); ++entry) {
            const size_t at = 1116 + entry * 60;
            recording.frameStarts[static_cast<size_t>(span) * 2].push_back(at);
            recording.frameStarts[static_cast<size_t>(span) * 2 + 1].push_back(
                static_cast<uint8_t>(written.bix[at + 40]) | static_cast<uint8_t>(written.bix[at + 41]) << 8);
        }
    }
    recording.damagePlaces = {{0, 0}, {0, 28}, {0, 1116 + 40}, {0, 1116 + 44}, {2, 1116 + 4}};
    Hardening::SweepOptions options;
    options.cutStep = 700;
    options.maxCutsPerFile = 12;
    options.maxDamagePerFile = 16;
    size_t copies = 0;
    const std::vector<std::string> faults =
        Sweep({"{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}", 2, "/sweep/KD0.bix"}, recording, options, &copies);
    EXPECT_GT(copies, 40u);
    EXPECT_TRUE(faults.empty()) << faults.size() << " faults, the first: " << faults.front();
}

// An image in two files; the frame headers the writer placed stand for the frames.
TEST(NativeDamageSweep, DarlexImagesEndEveryCallWithAStatus) {
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    DarlexImage image;
    image.tracks.resize(1);
    for (int32_t second : {1, 1, 2}) {
        image.tracks[0].frames.push_back({{2021, 11, 25, 5, 0, second}, 1, field});
    }
    image.fileSizes = {WriteDarlex(image, "REC").streamSize / 2 / 4096 * 4096};
    const DarlexWritten written = WriteDarlex(image, "REC");
    Hardening::SweepRecording recording;
    recording.frameStarts.resize(written.files.size());
    for (const DarlexFileImage& file : written.files) {
        const std::vector<uint8_t> bytes = DarlexFileBytes(file);
        recording.files.push_back({file.name, std::string(bytes.begin(), bytes.end())});
    }
    for (const DarlexFramePlace& place : written.places[0]) {
        recording.frameStarts[static_cast<size_t>(place.file)].push_back(place.fileOffset);
        recording.frameStarts[static_cast<size_t>(place.file)].push_back(place.fileOffset + 22);
    }
    Hardening::SweepOptions options;
    options.cutStep = 4096;
    options.maxCutsPerFile = 6;
    options.maxDamagePerFile = 8;
    size_t copies = 0;
    const std::vector<std::string> faults =
        Sweep({"{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}", 1, "/sweep/REC.VID"}, recording, options, &copies);
    EXPECT_GT(copies, 20u);
    EXPECT_TRUE(faults.empty()) << faults.size() << " faults, the first: " << faults.front();
}

} // namespace
