// Damaged and incomplete DVD-Video folders: each ends with the status and the texts a host sees,
// and a folder whose damage leaves something readable still plays.
#include "core/binary/ByteOrder.h"
#include "native/dvd/DvdFixture.h"

#include <algorithm>
#include <cstdint>

using namespace DvdTests;
using FormatTests::Delivered;

namespace {

using Vorn::Vorncast::Decoders::ByteOrder;

uint32_t BigEndianAt(const std::string& bytes, size_t at) {
    return Vorn::Vorncast::Decoders::Load<uint32_t, ByteOrder::Big>(
        reinterpret_cast<const uint8_t*>(&bytes[at]));
}

void WriteBigEndian(std::string& bytes, size_t at, uint32_t value) {
    Vorn::Vorncast::Decoders::Store<uint32_t, ByteOrder::Big>(reinterpret_cast<uint8_t*>(&bytes[at]), value);
}

enum class Change {
    Drop,            // the file goes
    DropVobs,        // every title VOB goes
    CutTo,           // the file keeps its first `at` bytes
    CopyOfManager,   // the file becomes a copy of VIDEO_TS.IFO
    CopyOfVob,       // the file becomes a copy of VTS_01_1.VOB
    MapEntry,        // entry `at` of the VOBU address map (-1: its end address) becomes `value`
    InSecondNavPack, // `value` written at `at` of the NAV pack of the second VOBU
    CutInSecondVobu, // the file ends `at` bytes into the second VOBU
};

struct BadCase {
    const char* name;
    const char* file;
    Change change;
    int64_t at;
    uint32_t value;
    int status;            // of the load through VIDEO_TS.IFO
    const char* lastError; // how the load's last-error text begins ("" after a success)
    const char* logged;    // a line the log must hold
};

const BadCase BadCases[] = {
    {"ManagerMissing", "VIDEO_TS.IFO", Change::Drop, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > videoTS failed to load url /disc/VIDEO_TS/VIDEO_TS.IFO",
     "VideoTS > File not found\n"},
    {"ManagerIsNoIfo", "VIDEO_TS.IFO", Change::CopyOfVob, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > videoTS failed to load url", "VOBUIndex::Load > This is not an IFO file!\n"},
    {"ManagerCutShort", "VIDEO_TS.IFO", Change::CutTo, 300, 0, VC_GeneralFailure,
     "DVDDecoder::Load > videoTS failed to load url", "VOBUIndex::Load > Read getting vmgm_mat\n"},
    {"TitleSetIfoIsAManager", "VTS_01_0.IFO", Change::CopyOfManager, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > Track failed to load", "VOBUIndex::Load > This is a VIDEO_TS file - skipping\n"},
    {"TitleSetIfoMissing", "VTS_01_0.IFO", Change::Drop, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > Track failed to load", "IFOFile::Load > Failed to open IFO file\n"},
    {"AddressMapLongerThanItsFile", "VTS_01_0.IFO", Change::MapEntry, -1, 0x7FFFFFF0, VC_GeneralFailure,
     "DVDDecoder::Load > Track failed to load", "VOBUIndex::Load > Read getting vobu_sector_start\n"},
    {"NoTitleVobs", "VTS_01_1.VOB", Change::DropVobs, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > File set yielded no tracks", ""},
    {"TitleSetWithoutVobs", "VTS_02_1.VOB", Change::Drop, 0, 0, VC_GeneralFailure,
     "DVDDecoder::Load > File set and VIDEO_TS had mismatched track count", ""},
    // Damage that leaves the title playable.
    {"NavPackWithWrongStartCode", "VTS_01_1.VOB", Change::InSecondNavPack, 38, 0x000001BE, VC_Success, "",
     "VOBUIndex > Failed to find start code\n"},
    {"AddressMapEntryPastTheFiles", "VTS_01_0.IFO", Change::MapEntry, 1, 0x00FFFFFF, VC_Success, "",
     "VOBUIndex > Load had 1 NAV pack failures\n"},
    {"VobCutShort", "VTS_01_1.VOB", Change::CutInSecondVobu, 1000, 0, VC_Success, "",
     "VOBUIndex > Load had 1 NAV pack failures\n"},
};

class DvdBadInputTest : public DvdTest, public ::testing::WithParamInterface<BadCase> {
protected:
    size_t SecondVobuOffset() const {
        const std::string ifo = Bytes("VTS_01_0.IFO");
        return size_t{BigEndianAt(ifo, BigEndianAt(ifo, 0xE4) * 2048 + 8)} * 2048;
    }

    void Apply(const BadCase& damage) {
        std::string bytes = Bytes(damage.file);
        const size_t map = BigEndianAt(bytes, 0xE4) * size_t{2048};
        switch (damage.change) {
        case Change::DropVobs:
            Drop("VTS_02_1.VOB");
            [[fallthrough]];
        case Change::Drop:
            return Drop(damage.file);
        case Change::CutTo:
            bytes.resize(std::min<size_t>(bytes.size(), static_cast<size_t>(damage.at)));
            break;
        case Change::CopyOfManager:
        case Change::CopyOfVob:
            bytes = Bytes(damage.change == Change::CopyOfVob ? "VTS_01_1.VOB" : "VIDEO_TS.IFO");
            break;
        case Change::MapEntry:
            WriteBigEndian(bytes, map + 4 + static_cast<size_t>(damage.at * 4), damage.value);
            break;
        case Change::InSecondNavPack:
            WriteBigEndian(bytes, SecondVobuOffset() + static_cast<size_t>(damage.at), damage.value);
            break;
        case Change::CutInSecondVobu:
            bytes.resize(SecondVobuOffset() + static_cast<size_t>(damage.at));
            break;
        }
        Put(damage.file, bytes);
    }
};

TEST_P(DvdBadInputTest, LoadEndsWithItsStatusAndTexts) {
    const BadCase& damage = GetParam();
    // Two title sets of two VOBUs each, the first of two cells.
    ASSERT_TRUE(Serve({false, {{0.6, 0.6}, {0.6}}, 1}));
    Apply(damage);
    const int status = LoadDisc();
    ASSERT_EQ(status, damage.status) << LastError();
    EXPECT_EQ(LastError().rfind(damage.lastError, 0), 0u) << LastError();
    if (*damage.logged != '\0') {
        EXPECT_TRUE(WasLogged(damage.logged)) << damage.logged;
    }
    int tracks = -1;
    EXPECT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
    if (status != VC_Success) {
        EXPECT_EQ(tracks, 0) << "a failed load keeps no track";
        return;
    }
    // What is left plays and seeks; times around a VOBU without its NAV pack are not known.
    const int stream = VideoStream();
    const std::vector<Delivered> walked = WalkForward(stream);
    ASSERT_GT(walked.size(), 10u);
    EXPECT_EQ(GoTo(stream, walked.back().time.streamTime).status, VC_Success);
}

INSTANTIATE_TEST_SUITE_P(Dvd, DvdBadInputTest, ::testing::ValuesIn(BadCases),
                         [](const ::testing::TestParamInfo<BadCase>& info) { return info.param.name; });

std::vector<double> reported;

void Report(double fraction) {
    reported.push_back(fraction);
}

int AbortAtOnce() {
    return 1;
}

// The query takes IFO and VOB files beside a VIDEO_TS.IFO, whatever their case; the load takes only
// IFO files, reports its progress over both title sets and ends on an abort.
TEST_F(DvdTest, QueryAndLoadOfTheFilesOfAFolder) {
    ASSERT_TRUE(Serve({false, {{0.5}, {0.5}}, 1}));
    EXPECT_EQ(LoadDisc("VTS_01_1.VOB"), VC_GeneralFailure);
    EXPECT_EQ(LastError().rfind("DVDDecoder > File doesn't have IFO extension", 0), 0u) << LastError();
    const std::pair<std::string, int> queries[] = {
        {Folder() + "VTS_01_1.VOB", 1}, {Folder() + "vts_01_0.ifo", 1}, {Folder() + "VTS_01_1.TXT", 0}};
    for (const auto& [url, canLoad] : queries) {
        VcQueryResult result{};
        result.hasTimes = 7;
        ASSERT_EQ(Decoder_Query(decoder, static_cast<int>(url.size()), url.c_str(), 0, &result), 0);
        EXPECT_EQ(result.canLoad, canLoad) << url;
        EXPECT_EQ(result.hasTimes, 0);
    }
    const std::string url = Folder() + "vts_01_0.ifo";
    for (VcAbortOperation abort : {AbortAtOnce, FormatTests::NeverAbort}) {
        int resources = 0;
        const int status = Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), Report, nullptr,
                                        abort, &resources);
        EXPECT_EQ(status, abort == AbortAtOnce ? VC_UserAborted : VC_Success);
        EXPECT_EQ(resources, abort == AbortAtOnce ? 0 : 2);
    }
    EXPECT_TRUE(WasLogged("VOBUIndex::Load > User abort during load\n"));
    // After the aborted load's one report, the first title set's share ends half way, the second's at 1.
    EXPECT_EQ(reported, (std::vector<double>{0.5, 0.5, 1.0}));
    int handle = 0;
    EXPECT_EQ(Decoder_GetTrack(decoder, 2, &handle), VC_InvalidArgument);
}

} // namespace
