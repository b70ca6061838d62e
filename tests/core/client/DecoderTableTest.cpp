#include "core/client/DecoderTable.h"
#include "core/client/ClientFixture.h"
#include "core/client/MasDigitalCAPI.h"
#include "core/client/PlaceholderDecoder.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace Vorn::Vorncast::Decoders;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;
using ClientTests::CollectLog;
using ClientTests::GuidOf;
using ClientTests::LoggedLines;
using ClientTests::WasLogged;

namespace {

struct Description {
    bool found = false;
    std::string name;
    int32_t nameLength = -1;
    std::string extensions;
    int32_t extensionCount = -1;
    int32_t patternCount = -2;
    Capi::DecoderDescriptionFlags flags = {};
    std::string guid;
};

Description Describe(int32_t index, int32_t nameSize = 256) {
    Description d;
    char name[256], extensions[256], guid[Capi::GuidTextSize];
    std::memset(name, 'x', sizeof(name));
    std::memset(extensions, 'x', sizeof(extensions));
    std::memset(guid, 'x', sizeof(guid));
    d.found =
        Capi::GetDecoderDescription(index, name, nameSize, &d.nameLength, extensions, sizeof(extensions),
                                    &d.extensionCount, &d.patternCount, &d.flags, guid);
    d.name = name;
    d.extensions = extensions;
    d.guid = guid;
    return d;
}

void Words(const char* guidText, uint32_t words[4]) {
    WordsFromGuid(GuidOf(guidText), words);
}

} // namespace

TEST(DecoderTableTest, HoldsSeventyTwoRowsWithDistinctGuidsEachFoundAtItsOwnIndex) {
    ASSERT_EQ(Capi::GetDecoderCount(), 72);
    std::set<std::string> guids;
    for (int32_t index = 0; index < DecoderTable::Count(); ++index) {
        BaseDecoder* decoder = DecoderTable::At(index);
        ASSERT_NE(decoder, nullptr) << index;
        const char* text = nullptr;
        decoder->GetDecoderGuid(&text);
        ASSERT_NE(text, nullptr);
        EXPECT_TRUE(guids.insert(text).second) << "GUID used twice: " << text;
        EXPECT_EQ(DecoderTable::IndexOf(GuidOf(text)), index) << text;
        EXPECT_EQ(DecoderTable::Find(GuidOf(text)), decoder);
    }
    EXPECT_EQ(DecoderTable::At(72), nullptr);
    EXPECT_EQ(DecoderTable::At(-1), nullptr);
}

TEST(DecoderTableTest, RowsCarryTheirIdentityFieldByField) {
    Description adata = Describe(0);
    EXPECT_TRUE(adata.found);
    EXPECT_EQ(adata.name, "AData");
    EXPECT_EQ(adata.nameLength, 5);
    EXPECT_EQ(adata.extensions, "aj?");
    EXPECT_EQ(adata.extensionCount, 1);
    EXPECT_EQ(adata.patternCount, 1) << "counted from the extensions when first asked";
    EXPECT_EQ(adata.guid, "CE01A3D4-5141-46a6-AB06-6AAFA85C60A1");
    EXPECT_TRUE(adata.flags.infoFlagB);
    EXPECT_FALSE(adata.flags.infoFlagC);
    EXPECT_FALSE(adata.flags.multiFile);
    EXPECT_TRUE(adata.flags.infoFlagE);
    EXPECT_FALSE(adata.flags.infoFlagD);

    Description allFrames = Describe(16);
    EXPECT_EQ(allFrames.name, "__LEGACY__ Tecton Darlex (All frames)");
    EXPECT_EQ(allFrames.guid, "CFE30F46-4CC4-485a-A7B0-75681248B567");
    EXPECT_EQ(allFrames.extensions, "vid");
    EXPECT_EQ(allFrames.patternCount, 2);
    EXPECT_TRUE(allFrames.flags.infoFlagD) << "chosen by hand only";
    EXPECT_EQ(DecoderTable::RowAt(15)->className, std::string("DecodeDarlex"));
    EXPECT_EQ(DecoderTable::RowAt(15)->variant, 0);
    EXPECT_EQ(DecoderTable::RowAt(16)->variant, 1);

    Description loronix = Describe(24);
    EXPECT_EQ(loronix.name, "Loronix CCTVWare");
    EXPECT_EQ(loronix.extensions, "avi");
    EXPECT_TRUE(loronix.flags.infoFlagC) << "a general container";
    EXPECT_TRUE(loronix.flags.multiFile);
    EXPECT_EQ(loronix.patternCount, 0) << "containers offer no patterns";

    Description kodicom = Describe(48);
    EXPECT_EQ(kodicom.name, "Kodicom Diginet Center");
    EXPECT_EQ(kodicom.guid, "760D2C01-30F2-40c1-BF16-529CA2FBC5EC");
    EXPECT_EQ(kodicom.extensions, "kif;bix;box");
    EXPECT_EQ(kodicom.extensionCount, 3);

    Description vicon = Describe(65);
    EXPECT_EQ(vicon.name, "ViconNet");
    EXPECT_EQ(vicon.extensionCount, 4);
    EXPECT_EQ(vicon.patternCount, 4);

    Description folder = Describe(71);
    EXPECT_EQ(folder.name, "Generic Folder of Jpegs");
    EXPECT_TRUE(folder.flags.infoFlagC);
    EXPECT_TRUE(folder.flags.infoFlagD);
    EXPECT_EQ(folder.patternCount, 1);

    Description jpeg = Describe(70);
    EXPECT_EQ(jpeg.name, "Generic JPEG");
    EXPECT_EQ(jpeg.extensions, "");
    EXPECT_EQ(jpeg.extensionCount, 0);
    EXPECT_EQ(jpeg.patternCount, 0);
    EXPECT_TRUE(jpeg.flags.infoFlagD);
    EXPECT_EQ(std::string(DecoderTable::RowAt(3)->extensions), "") << "Dallmeier has no extension list";
}

TEST(DecoderTableTest, DescriptionOutsideTheTableIsEmptyButForTheFourthFlag) {
    for (int32_t index : {72, -1}) {
        Description none = Describe(index);
        EXPECT_FALSE(none.found);
        EXPECT_EQ(none.name, "");
        EXPECT_EQ(none.nameLength, 0);
        EXPECT_EQ(none.extensions, "");
        EXPECT_EQ(none.extensionCount, 0);
        EXPECT_EQ(none.patternCount, 0);
        EXPECT_EQ(none.guid, "");
        EXPECT_FALSE(none.flags.infoFlagB);
        EXPECT_FALSE(none.flags.infoFlagC);
        EXPECT_FALSE(none.flags.multiFile);
        EXPECT_TRUE(none.flags.infoFlagE);
        EXPECT_FALSE(none.flags.infoFlagD);
    }
}

TEST(DecoderTableTest, NameIsCutToTheBuffer) {
    Description cut = Describe(2, 5);
    EXPECT_EQ(cut.name, "Came");
    EXPECT_EQ(cut.nameLength, 4);
}

TEST(DecoderTableTest, GuidLookupsIgnoreCaseAndMissUnknownGuids) {
    uint32_t words[4];
    Words("ce01a3d4-5141-46A6-ab06-6aafa85c60a1", words);
    EXPECT_EQ(Capi::FindDecoder(words[0], words[1], words[2], words[3]), DecoderTable::At(0));
    Words("760D2C01-30F2-40c1-BF16-529CA2FBC5E0", words); // the native Kodicom's, not a digital row
    EXPECT_EQ(Capi::FindDecoder(words[0], words[1], words[2], words[3]), nullptr);
    EXPECT_EQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 0), nullptr);
}

TEST(DecoderTableTest, PathPatternsAreLiteralOrBuiltFromExtensions) {
    uint32_t words[4];
    Words("0CA09FC6-4112-4318-9DEE-46BC96B37612", words);
    EXPECT_STREQ(
        Capi::GetPathPattern(words[0], words[1], words[2], words[3], 1),
        R"(archive<f:c0,0>\video<b:+d1,2>\<a:+c0,0>.0|archive<f>\video<b>\<a>.1|archive<f>\video<b>\<a>.2)");
    EXPECT_STREQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 2), "");

    Words("ACEA0A02-8FE5-4770-BBBD-6D6745371F80", words);
    EXPECT_STREQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 0), "<n:c0>.mp4");

    Words("728D7516-A735-47a8-854E-E22A84DDF8D1", words);
    EXPECT_STREQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 0), "<a:+c1,0>.vdf");
}

TEST(DecoderTableTest, PlaceholderAnswersQueriesByExtensionAndFailsItsLoadWithAReason) {
    LoggedLines().clear();
    FileClient client;
    client.SetLogCallback(CollectLog);
    uint32_t words[4];
    Words("FE291B23-826D-47c3-AE3D-80F743AF1173", words);
    Vorn::Guid arnel = GuidFromWords(words[0], words[1], words[2], words[3]);

    int32_t confidence = -1;
    EXPECT_EQ(client.OpenForQuery(arnel, 0, "/x/rec.CAPS", nullptr, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr, nullptr, &confidence),
              FCR_SUCCESS);
    EXPECT_EQ(confidence, 50);

    EXPECT_EQ(client.OpenForLoad(arnel, -1, "/x/rec.caps", nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr),
              FCR_FAILURE);
    EXPECT_TRUE(
        WasLogged("DecodeArnel::LoadingCore failed: no decoder for the format \"Arnel\" is built yet\n"));
    EXPECT_TRUE(WasLogged("Load failed\n"));
    EXPECT_EQ(client.GetDecoder()->GetState(), DDS_IDLE);
}

TEST(DecoderTableTest, ExtensionListsMatchWholeItemsIgnoringCase) {
    EXPECT_EQ(CountExtensions("vsb;0;1;2"), 4);
    EXPECT_EQ(CountExtensions(""), 0);
    EXPECT_EQ(CountExtensions(nullptr), 0);
    EXPECT_TRUE(ExtensionListHas("vmf;mp4;ivi", "MP4"));
    EXPECT_TRUE(ExtensionListHas("vmf;mp4;ivi", "ivi"));
    EXPECT_FALSE(ExtensionListHas("vmf;mp4;ivi", "mp"));
    EXPECT_FALSE(ExtensionListHas("vmf;mp4;ivi", ""));
    EXPECT_FALSE(ExtensionListHas("", "avi"));
}
