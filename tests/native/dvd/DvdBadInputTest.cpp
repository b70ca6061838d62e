// Damaged and incomplete DVD-Video folders: each ends with the status and the texts a host sees,
// and a folder whose damage leaves something readable still plays.
#include "native/dvd/DvdFixture.h"

#include <algorithm>
#include <cstdint>

using namespace DvdTests;
using FormatTests::Delivered;
using Vorn::Testing::DvdShape;

namespace {

const DvdShape OneSet = {false, {{1.2}}, 1};
const DvdShape TwoSets = {false, {{0.5}, {0.5}}, 1};

uint32_t BigEndianAt(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t index = at; index < at + 4 && index < bytes.size(); ++index) {
        value = value << 8 | static_cast<uint8_t>(bytes[index]);
    }
    return value;
}

void WriteBigEndian(std::string& bytes, size_t at, uint32_t value) {
    for (size_t index = 0; index < 4 && at + index < bytes.size(); ++index) {
        bytes[at + index] = static_cast<char>(value >> (24 - 8 * index));
    }
}

enum class Change {
    Drop,            // the file goes
    CutTo,           // the file keeps its first `at` bytes
    CopyOf,          // the file becomes a copy of the file `text` names
    MapEntry,        // entry `at` of the VOBU address map (-1: its end address) becomes `value`
    InSecondNavPack, // `value` written at `at` of the NAV pack of the second VOBU
    CutInSecondVobu, // the file ends `at` bytes into the second VOBU
};

struct BadCase {
    const char* name;
    const DvdShape* shape;
    const char* file;
    Change change;
    int64_t at;
    uint32_t value;
    const char* text;
    const char* url;
    int status;            // of the load
    const char* lastError; // how the load's last-error text begins ("" after a success)
    const char* logged;    // a line the log must hold
};

const BadCase BadCases[] = {
    {"ManagerMissing", &OneSet, "VIDEO_TS.IFO", Change::Drop, 0, 0, "", "VTS_01_0.IFO", VC_GeneralFailure,
     "DVDDecoder::Load > videoTS failed to load url /disc/VIDEO_TS/VIDEO_TS.IFO",
     "VideoTS > File not found\n"},
    {"ManagerIsNoIfo", &OneSet, "VIDEO_TS.IFO", Change::CopyOf, 0, 0, "VTS_01_1.VOB", "VIDEO_TS.IFO",
     VC_GeneralFailure, "DVDDecoder::Load > videoTS failed to load url",
     "VOBUIndex::Load > This is not an IFO file!\n"},
    {"ManagerCutShort", &OneSet, "VIDEO_TS.IFO", Change::CutTo, 300, 0, "", "VIDEO_TS.IFO", VC_GeneralFailure,
     "DVDDecoder::Load > videoTS failed to load url", "VOBUIndex::Load > Read getting vmgm_mat\n"},
    {"TitleSetIfoIsAManager", &OneSet, "VTS_01_0.IFO", Change::CopyOf, 0, 0, "VIDEO_TS.IFO", "VIDEO_TS.IFO",
     VC_GeneralFailure, "DVDDecoder::Load > Track failed to load",
     "VOBUIndex::Load > This is a VIDEO_TS file - skipping\n"},
    {"TitleSetIfoMissing", &OneSet, "VTS_01_0.IFO", Change::Drop, 0, 0, "", "VIDEO_TS.IFO", VC_GeneralFailure,
     "DVDDecoder::Load > Track failed to load", "IFOFile::Load > Failed to open IFO file\n"},
    {"AddressMapLongerThanItsFile", &OneSet, "VTS_01_0.IFO", Change::MapEntry, -1, 0x7FFFFFF0, "",
     "VIDEO_TS.IFO", VC_GeneralFailure, "DVDDecoder::Load > Track failed to load",
     "VOBUIndex::Load > Read getting vobu_sector_start\n"},
    {"VobAsUrl", &OneSet, "VIDEO_TS.IFO", Change::CutTo, 1 << 20, 0, "", "VTS_01_1.VOB", VC_GeneralFailure,
     "DVDDecoder > File doesn't have IFO extension", ""},
    {"NoTitleVobs", &OneSet, "VTS_01_1.VOB", Change::Drop, 0, 0, "", "VIDEO_TS.IFO", VC_GeneralFailure,
     "DVDDecoder::Load > File set yielded no tracks", ""},
    {"TitleSetWithoutVobs", &TwoSets, "VTS_02_1.VOB", Change::Drop, 0, 0, "", "VIDEO_TS.IFO",
     VC_GeneralFailure, "DVDDecoder::Load > File set and VIDEO_TS had mismatched track count", ""},
    // Damage that leaves the title playable.
    {"NavPackWithWrongStartCode", &OneSet, "VTS_01_1.VOB", Change::InSecondNavPack, 38, 0x000001BE, "",
     "VIDEO_TS.IFO", VC_Success, "", "VOBUIndex > Failed to find start code\n"},
    {"AddressMapEntryPastTheFiles", &OneSet, "VTS_01_0.IFO", Change::MapEntry, 1, 0x00FFFFFF, "",
     "VIDEO_TS.IFO", VC_Success, "", "VOBUIndex > Load had 1 NAV pack failures\n"},
    {"VobCutShort", &OneSet, "VTS_01_1.VOB", Change::CutInSecondVobu, 1000, 0, "", "VIDEO_TS.IFO", VC_Success,
     "", "VOBUIndex > Load had 1 NAV pack failures\n"},
};

class DvdBadInputTest : public DvdTest, public ::testing::WithParamInterface<BadCase> {
protected:
    size_t SecondVobuOffset() const {
        const std::string ifo = Bytes("VTS_01_0.IFO");
        return size_t{BigEndianAt(ifo, BigEndianAt(ifo, 0xE4) * 2048 + 8)} * 2048;
    }

    void Apply(const BadCase& damage) {
        std::string bytes = Bytes(damage.file);
        switch (damage.change) {
        case Change::Drop:
            Drop(damage.file);
            return;
        case Change::CutTo:
            bytes.resize(std::min<size_t>(bytes.size(), static_cast<size_t>(damage.at)));
            break;
        case Change::CopyOf:
            bytes = Bytes(damage.text);
            break;
        case Change::MapEntry:
            WriteBigEndian(bytes, BigEndianAt(bytes, 0xE4) * 2048 + 4 + damage.at * 4, damage.value);
            break;
        case Change::InSecondNavPack:
            WriteBigEndian(bytes, SecondVobuOffset() + damage.at, damage.value);
            break;
        case Change::CutInSecondVobu:
            bytes.resize(SecondVobuOffset() + damage.at);
            break;
        }
        Put(damage.file, bytes);
    }
};

TEST_P(DvdBadInputTest, LoadEndsWithItsStatusAndTexts) {
    const BadCase& damage = GetParam();
    ASSERT_TRUE(Serve(*damage.shape));
    Apply(damage);
    const int status = LoadDisc(damage.url);
    ASSERT_EQ(status, damage.status) << LastError();
    if (status != VC_Success) {
        EXPECT_EQ(LastError().rfind(damage.lastError, 0), 0u) << LastError();
        int tracks = -1;
        EXPECT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
        EXPECT_EQ(tracks, 0) << "a failed load keeps no track";
    }
    if (*damage.logged != '\0') {
        EXPECT_TRUE(WasLogged(damage.logged)) << damage.logged;
    }
    if (status == VC_Success) {
        // What is left plays from start to end and seeks to its end without a fault.
        const int stream = VideoStream();
        const std::vector<Delivered> walked = WalkForward(stream);
        ASSERT_FALSE(walked.empty());
        EXPECT_EQ(GoTo(stream, walked.back().time.streamTime).time.streamTime, walked.back().time.streamTime);
    }
}

INSTANTIATE_TEST_SUITE_P(Dvd, DvdBadInputTest, ::testing::ValuesIn(BadCases),
                         [](const ::testing::TestParamInfo<BadCase>& info) { return info.param.name; });

class DvdQueryTest : public DvdTest {};

// The query takes IFO and VOB files beside a VIDEO_TS.IFO; the load takes only IFO files.
TEST_F(DvdQueryTest, QueryLooksForTheManagerBesideTheFile) {
    ASSERT_TRUE(Serve(OneSet));
    VcGuid guid{};
    ASSERT_TRUE(Vorn::ParseGuid(std::string("{") + DvdGuid + "}", &guid));
    ASSERT_EQ(Decoder_Create(collection, guid, -1, -1, &decoder), 0);
    const struct {
        std::string url;
        int canLoad;
    } queries[] = {{Folder() + "VTS_01_1.VOB", 1},
                   {Folder() + "vts_01_0.ifo", 1},
                   {Folder() + "VTS_01_1.TXT", 0},
                   {"/elsewhere/VTS_01_1.VOB", 0}};
    for (const auto& query : queries) {
        VcQueryResult result{};
        result.hasTimes = 7;
        ASSERT_EQ(Decoder_Query(decoder, static_cast<int>(query.url.size()), query.url.c_str(), 0, &result),
                  0);
        EXPECT_EQ(result.canLoad, query.canLoad) << query.url;
        EXPECT_EQ(result.hasTimes, 0);
    }
    int resources = 0;
    const std::string url = Folder() + "vts_01_0.ifo";
    ASSERT_EQ(Decoder_Load(decoder, static_cast<int>(url.size()), url.c_str(), nullptr, nullptr, nullptr,
                           &resources),
              0);
    EXPECT_EQ(resources, 1);
    int trackHandle = 0;
    EXPECT_EQ(Decoder_GetTrack(decoder, 1, &trackHandle), VC_InvalidArgument);
}

std::vector<double>& Reported() {
    static std::vector<double> fractions;
    return fractions;
}

void Report(double fraction) {
    Reported().push_back(fraction);
}

int AbortAtOnce() {
    return 1;
}

// A load reports its progress over both title sets, rising to the whole; an abort ends it.
TEST_F(DvdQueryTest, LoadReportsProgressAndEndsOnAbort) {
    ASSERT_TRUE(Serve(TwoSets));
    VcGuid guid{};
    ASSERT_TRUE(Vorn::ParseGuid(std::string("{") + DvdGuid + "}", &guid));
    const std::string url = Folder() + "VIDEO_TS.IFO";
    for (VcAbortOperation abort : {FormatTests::NeverAbort, AbortAtOnce}) {
        int loading = 0;
        int resources = 0;
        Reported().clear();
        ASSERT_EQ(Decoder_Create(collection, guid, -1, -1, &loading), 0);
        const int status = Decoder_Load(loading, static_cast<int>(url.size()), url.c_str(), Report, nullptr,
                                        abort, &resources);
        Decoder_Release(loading);
        if (abort == AbortAtOnce) {
            EXPECT_EQ(status, VC_UserAborted);
            EXPECT_TRUE(WasLogged("VOBUIndex::Load > User abort during load\n"));
            continue;
        }
        ASSERT_EQ(status, 0);
        ASSERT_FALSE(Reported().empty());
        EXPECT_TRUE(std::is_sorted(Reported().begin(), Reported().end()));
        // The first title set's share ends half way.
        EXPECT_NE(std::find(Reported().begin(), Reported().end(), 0.5), Reported().end());
        EXPECT_DOUBLE_EQ(Reported().back(), 1.0);
    }
}

} // namespace
