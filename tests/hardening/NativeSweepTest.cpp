// The damage sweep over the native decoders (Kodicom, Darlex, DVD-Video): every damaged copy of a
// recording is loaded and played through the exported functions and must end each call with a status
// of the library, within a bounded number of steps; the sanitizers catch the rest.
#include "MissingTool.h"
#include "core/binary/ByteView.h"
#include "fixtures/NativePlay.h"
#include "fixtures/SmallRecordings.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "hardening/DamageSweep.h"

#include <vorncast/VorncastDecoders.h>

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace Vorn::Vorncast::Decoders::Testing;
using Vorn::Testing::FileSetFile;

struct NativeCase {
    const Vorn::Testing::NativeDecoder& decoder;
    // The status besides success, failure and the stream's ends that a call may give.
    int otherStatus = VC_InvalidArgument;
    Vorn::Testing::NativePlayOptions::Pictures pictures = Vorn::Testing::NativePlayOptions::FirstSeekAndBack;
};

// Plays the intact recording and every damaged copy as a player would; a call that ends with a status
// that is not the library's is a fault.
void ExpectNativeSurvivesDamage(const NativeCase& native, const Hardening::SweepRecording& recording,
                                const Hardening::SweepOptions& options, size_t minimumCopies) {
    ASSERT_EQ(InitVorncastDecoders(VcInitRecord{}), VC_Success);
    int collection = 0;
    ASSERT_EQ(DecoderCollection_Create(nullptr, &collection), VC_Success);
    const std::set<int> statuses = {VC_Success, VC_GeneralFailure, VC_EndOfStreamBeforeStart,
                                    VC_EndOfStreamAfterEnd, native.otherStatus};
    std::vector<Hardening::DamagedCopy> copies = Hardening::DamagedCopies(recording, options);
    EXPECT_GT(copies.size(), minimumCopies);
    copies.insert(copies.begin(), {"intact recording", recording.files});
    std::vector<std::string> faults;
    for (const Hardening::DamagedCopy& copy : copies) {
        Vorn::Testing::PlayNative(collection, native.decoder, copy.files, {native.pictures, 60},
                                  [&](const char* call, int status) {
                                      if (statuses.count(status) == 0) {
                                          faults.push_back(copy.description + ": " + call + " gave status " +
                                                           std::to_string(status));
                                      }
                                      return status;
                                  });
    }
    DecoderCollection_Release(collection);
    EXPECT_TRUE(faults.empty()) << faults.size() << " faults, the first: " << faults.front();
}

} // namespace

TEST(NativeDamageSweep, KodicomSpansEndEveryCallWithAStatus) {
    ExpectNativeSurvivesDamage({Vorn::Testing::NativeKodicom}, SmallKodicom(2),
                               {.cutStep = 700, .maxCutsPerFile = 12, .maxDamagePerFile = 16}, 40);
}

TEST(NativeDamageSweep, DarlexImagesEndEveryCallWithAStatus) {
    ExpectNativeSurvivesDamage({Vorn::Testing::NativeDarlex}, SmallDarlexImage(2),
                               {.cutStep = 4096, .maxCutsPerFile = 6, .maxDamagePerFile = 8}, 20);
}

// A folder of two cells in two VOB files: the NAV packs the address map names stand for the frames,
// the sector pointers of the IFO files for the places worth breaking.
TEST(NativeDamageSweep, DvdFoldersEndEveryCallWithAStatus) {
    if (!Vorn::Testing::HaveDvdTools()) {
        SKIP_OR_FAIL_FOR_MISSING("ffmpeg or dvdauthor");
    }
    const Vorn::Testing::DvdFolder& folder = Vorn::Testing::AuthorDvd({false, {{0.5, 0.4}}, 2});
    ASSERT_EQ(folder.error, "");
    // VIDEO_TS.IFO, VTS_01_0.IFO, then the VOBs.
    Hardening::SweepRecording recording;
    for (const FileSetFile& file : folder.files) {
        if (file.name.find(".BUP") == std::string::npos) {
            recording.files.push_back(file);
        }
    }
    ASSERT_EQ(recording.files.size(), 4u);
    const Vorn::Vorncast::Decoders::ByteView ifo(recording.files[1].bytes.data(),
                                                 recording.files[1].bytes.size());
    const size_t map = size_t{ifo.U32BE(0xE4)} * 2048;
    const size_t firstVob = recording.files[2].bytes.size();
    recording.frameStarts.resize(4);
    for (size_t entry = map + 4; entry + 4 <= map + 4 + ifo.U32BE(map); entry += 4) {
        const uint64_t at = uint64_t{ifo.U32BE(entry)} * 2048;
        recording.frameStarts[at < firstVob ? 2 : 3].push_back(at < firstVob ? at : at - firstVob);
    }
    recording.damagePlaces = {{0, 0xC4}, {1, 0xCC}, {1, 0xE4}, {1, map}, {1, map + 8}};
    ExpectNativeSurvivesDamage(
        {Vorn::Testing::NativeDvd, VC_CatastrophicFailure, Vorn::Testing::NativePlayOptions::Every},
        recording, {.cutStep = 8192, .maxCutsPerFile = 10, .maxDamagePerFile = 12}, 40);
}
