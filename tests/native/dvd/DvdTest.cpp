// DVD-Video folders authored by ffmpeg and dvdauthor, served from memory and compared with ffmpeg's
// own decoding of the same VOBs.
#include "MissingTool.h"
#include "core/binary/ByteOrder.h"
#include "fixtures/ByteWriter.h"
#include "fixtures/codecs/CodecTestSupport.h"
#include "fixtures/dvd/DvdAuthor.h"
#include "fixtures/iso/FfmpegTool.h"
#include "formats/RecordingFixture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

using FormatTests::Delivered;
using Vorn::Testing::DvdShape;
using Vorn::Vorncast::Decoders::ByteOrder;
using Vorn::Vorncast::Decoders::Testing::PutAt;

constexpr const char* DvdGuid = "508C3FE8-0034-4216-8E06-0020B1619331";

class DvdTest : public FormatTests::RecordingTest {
protected:
    void SetUp() override {
        RecordingTest::SetUp();
        if (!Vorn::Testing::HaveDvdTools()) {
            SKIP_OR_FAIL_FOR_MISSING("ffmpeg or dvdauthor");
        }
    }

    bool Serve(const Vorn::Testing::DvdShape& shape, bool lowerCase = false) {
        folder = &Vorn::Testing::AuthorDvd(shape);
        EXPECT_EQ(folder->error, "");
        for (const auto& file : folder->files) {
            std::string path = Folder() + file.name;
            if (lowerCase) {
                std::transform(path.begin(), path.end(), path.begin(),
                               [](unsigned char c) { return std::tolower(c); });
            }
            files.AddFile(path, file.bytes);
        }
        return folder->error.empty();
    }
    std::string Bytes(const std::string& name) const {
        const auto found = std::find_if(folder->files.begin(), folder->files.end(),
                                        [&](const auto& file) { return file.name == name; });
        return found != folder->files.end() ? found->bytes : std::string();
    }
    int LoadDisc(const std::string& name = "VIDEO_TS.IFO") { return Load(DvdGuid, Folder() + name); }
    std::string Folder() const { return "/disc/VIDEO_TS/"; }
    int StreamOfTrack(int index, int type) {
        return Decoder_GetTrack(decoder, index, &track) == 0 ? StreamOfType(type) : 0;
    }

    const Vorn::Testing::DvdFolder* folder = nullptr;
};

struct ShapeCase {
    const char* name;
    DvdShape shape;
    bool lowerCaseNames;
};

const ShapeCase Shapes[] = {
    {"TwoTitleSets", {false, {{0.6}, {0.5, 0.5}}, 1}, false},
    {"SeveralCellsAndVobFiles", {false, {{0.6, 0.7, 0.6}}, 3}, false},
    {"NtscLowerCaseNames", {true, {{0.6, 0.6}}, 2}, true},
};

class DvdRecordingTest : public DvdTest, public ::testing::WithParamInterface<ShapeCase> {
protected:
    void SetUp() override {
        DvdTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_TRUE(Serve(GetParam().shape, GetParam().lowerCaseNames));
            ASSERT_EQ(LoadDisc(), 0) << LastError();
        }
    }

    static void ExpectPicture(const Delivered& delivered, const IsoTest::Bytes& reference, size_t frame) {
        ASSERT_EQ(delivered.status, 0) << "frame " << frame;
        ASSERT_EQ(delivered.data.size(), reference.size()) << "frame " << frame;
        EXPECT_GE(CodecTest::Psnr(reference.data(), delivered.data.data(), reference.size()), 40.0)
            << "frame " << frame;
    }

    // A seek to the time of any frame gives that frame, the steps from there its neighbours; a time
    // between two frames gives the earlier one, times outside the title the ends.
    void ExpectSeeks(int stream, const std::vector<Delivered>& walked,
                     const std::vector<IsoTest::Bytes>& reference) {
        for (size_t frame = walked.size(); frame-- > 0;) {
            const Delivered found = GoTo(stream, walked[frame].time.streamTime);
            ExpectPicture(found, reference[frame], frame);
            ASSERT_EQ(found.time.streamTime, walked[frame].time.streamTime) << "frame " << frame;
            if (frame % 5 != 0) {
                continue;
            }
            const Delivered before = Previous(stream);
            if (frame == 0) {
                EXPECT_EQ(before.status, VC_EndOfStreamBeforeStart);
                continue;
            }
            ExpectPicture(before, reference[frame - 1], frame - 1);
            EXPECT_EQ(before.time.streamTime, walked[frame - 1].time.streamTime);
            EXPECT_EQ(Next(stream).time.streamTime, walked[frame].time.streamTime) << "frame " << frame;
        }
        EXPECT_EQ(GoTo(stream, walked[2].time.streamTime + 1).time.streamTime, walked[2].time.streamTime);
        EXPECT_EQ(GoTo(stream, walked.front().time.streamTime - 5000000).status, VC_EndOfStreamBeforeStart);
        EXPECT_EQ(LastError().rfind("DVDStream > GoToTime before start of stream", 0), 0u) << LastError();
        EXPECT_EQ(Next(stream).time.streamTime, walked.front().time.streamTime);
        EXPECT_EQ(GoTo(stream, walked.back().time.streamTime + 50000000).status, VC_EndOfStreamAfterEnd);
        EXPECT_EQ(Next(stream).status, VC_EndOfStreamAfterEnd);
        EXPECT_EQ(Previous(stream).time.streamTime, walked.back().time.streamTime);
    }
};

// Times run on across the cells (whose own times start again) within the track's span.
TEST_P(DvdRecordingTest, EveryPictureOfEveryTitleSetMatchesFfmpegAndIsSought) {
    int tracks = 0;
    ASSERT_EQ(Decoder_GetTrackCount(decoder, &tracks), 0);
    ASSERT_EQ(static_cast<size_t>(tracks), GetParam().shape.titleSets.size());
    for (int index = 0; index < tracks; ++index) {
        const int stream = StreamOfTrack(index, VC_StreamVideo);
        ASSERT_NE(stream, 0);
        const std::vector<Delivered> walked = WalkForward(stream);
        const std::vector<IsoTest::Bytes> reference = IsoTest::FfmpegVideoFrames(
            JoinedTitle(*folder, static_cast<size_t>(index)), folder->width, folder->height);
        ASSERT_EQ(walked.size(), reference.size()) << "title set " << index;
        const VcPublicVideoDescription description = VideoDescription(stream, walked.front());
        EXPECT_EQ(description.width, folder->width);
        EXPECT_EQ(description.height, folder->height);
        for (size_t frame = 0; frame < walked.size(); ++frame) {
            ExpectPicture(walked[frame], reference[frame], frame);
            if (frame > 0) {
                EXPECT_GT(walked[frame].time.streamTime, walked[frame - 1].time.streamTime) << frame;
            }
        }
        VcTrackInfo info{};
        ASSERT_EQ(Track_GetInfo(track, &info), 0);
        EXPECT_LE(info.startTime.streamTime, walked.front().time.streamTime);
        EXPECT_GE(info.endTime.streamTime, walked.back().time.streamTime);
        if (index == tracks - 1) {
            ExpectSeeks(stream, walked, reference);
        }
    }
}

// The audio is the PCM ffmpeg decodes. Sound that begins before the first picture lies before the
// title's start and cannot be sought; a seek gives the sample whose span holds the time, decoded as
// a walk decodes it, but at the end of a cell, where the decoder carries the sound of one cell into
// the next.
TEST_P(DvdRecordingTest, AudioIsThePcmFfmpegDecodesAndIsSought) {
    const int stream = StreamOfTrack(0, VC_StreamAudio);
    ASSERT_NE(stream, 0);
    const std::vector<Delivered> walked = WalkForward(stream);
    ASSERT_FALSE(walked.empty());
    const VcPublicAudioDescription description = AudioDescription(stream, walked.front());
    EXPECT_EQ(description.sampleRate, 48000);
    ASSERT_EQ(description.bitsPerSample, 32); // AC-3 decodes to floats
    std::vector<float> ours;
    for (const Delivered& sample : walked) {
        const size_t count = sample.data.size() / sizeof(float);
        ours.resize(ours.size() + count);
        std::memcpy(ours.data() + ours.size() - count, sample.data.data(), count * sizeof(float));
    }
    const std::vector<int16_t> reference = IsoTest::FfmpegAudioSamples(JoinedTitle(*folder, 0));
    ASSERT_EQ(ours.size(), reference.size());
    size_t mismatches = 0;
    for (size_t index = 0; index < ours.size(); ++index) {
        const double scaled = std::clamp(std::lrint(ours[index] * 32768.0), -32768L, 32767L);
        mismatches += std::abs(scaled - reference[index]) > 1 ? 1 : 0;
    }
    EXPECT_EQ(mismatches, 0u);

    VcTrackInfo info{};
    ASSERT_EQ(Track_GetInfo(track, &info), 0);
    ASSERT_LT(walked.front().time.streamTime, info.startTime.streamTime);
    EXPECT_EQ(GoTo(stream, walked.front().time.streamTime).status, VC_EndOfStreamBeforeStart);
    const int64_t length = 320000; // 1536 samples at 48 kHz
    size_t differing = 0;
    for (size_t index = 1; index < walked.size(); ++index) {
        const int64_t target = walked[index].time.streamTime;
        if (target < info.startTime.streamTime) {
            continue;
        }
        const Delivered found = GoTo(stream, target);
        ASSERT_EQ(found.status, 0) << "sample " << index;
        EXPECT_LE(found.time.streamTime, target) << "sample " << index;
        EXPECT_LT(target, found.time.streamTime + length) << "sample " << index;
        differing += found.time.streamTime == target && found.data != walked[index].data ? 1 : 0;
    }
    EXPECT_LE(differing, GetParam().shape.titleSets[0].size());
}

INSTANTIATE_TEST_SUITE_P(Dvd, DvdRecordingTest, ::testing::ValuesIn(Shapes),
                         [](const ::testing::TestParamInfo<ShapeCase>& info) { return info.param.name; });

uint32_t BigEndianAt(const std::string& bytes, size_t at) {
    return Vorn::Vorncast::Decoders::Load<uint32_t, ByteOrder::Big>(
        reinterpret_cast<const uint8_t*>(&bytes[at]));
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
            files.Remove(Folder() + "VTS_02_1.VOB");
            [[fallthrough]];
        case Change::Drop:
            files.Remove(Folder() + damage.file);
            return;
        case Change::CutTo:
            bytes.resize(std::min<size_t>(bytes.size(), static_cast<size_t>(damage.at)));
            break;
        case Change::CopyOfManager:
        case Change::CopyOfVob:
            bytes = Bytes(damage.change == Change::CopyOfVob ? "VTS_01_1.VOB" : "VIDEO_TS.IFO");
            break;
        case Change::MapEntry:
            PutAt<uint32_t, ByteOrder::Big>(bytes, map + 4 + static_cast<size_t>(damage.at * 4),
                                            damage.value);
            break;
        case Change::InSecondNavPack:
            PutAt<uint32_t, ByteOrder::Big>(bytes, SecondVobuOffset() + static_cast<size_t>(damage.at),
                                            damage.value);
            break;
        case Change::CutInSecondVobu:
            bytes.resize(SecondVobuOffset() + static_cast<size_t>(damage.at));
            break;
        }
        files.AddFile(Folder() + damage.file, bytes);
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
    for (const bool aborting : {true, false}) {
        int resources = 0;
        const int status = Decoder_Load(
            decoder, static_cast<int>(url.size()), url.c_str(), [](double done) { reported.push_back(done); },
            nullptr, aborting ? +[] { return 1; } : FormatTests::NeverAbort, &resources);
        EXPECT_EQ(status, aborting ? VC_UserAborted : VC_Success);
        EXPECT_EQ(resources, aborting ? 0 : 2);
    }
    EXPECT_TRUE(WasLogged("VOBUIndex::Load > User abort during load\n"));
    // After the aborted load's one report, the first title set's share ends half way, the second's at 1.
    EXPECT_EQ(reported, (std::vector<double>{0.5, 0.5, 1.0}));
    int handle = 0;
    EXPECT_EQ(Decoder_GetTrack(decoder, 2, &handle), VC_InvalidArgument);
}

} // namespace
