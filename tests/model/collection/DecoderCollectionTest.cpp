#include "model/collection/DecoderCollection.h"
#include "interface/LibraryFrame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Vorn::Vorncast;

namespace {

constexpr int BuiltInCount = 75;

Vorn::Guid GuidOf(const char* text) {
    Vorn::Guid guid;
    EXPECT_TRUE(Vorn::ParseGuid(text, &guid)) << text;
    return guid;
}

class DecoderCollectionTest : public ::testing::Test {
protected:
    void SetUp() override {
        VcInitRecord record{};
        InitVorncastDecoders(record);
        ASSERT_EQ(DecoderCollection_Create(nullptr, &handle), 0);
        collection = Vorn::DynamicClass::FromHandle<DecoderCollection>(handle);
        ASSERT_NE(collection, nullptr);
    }
    void TearDown() override { DecoderCollection_Release(handle); }

    int handle = 0;
    DecoderCollection* collection = nullptr;
};

} // namespace

TEST_F(DecoderCollectionTest, LookupsByGuidVariantAndWholeName) {
    Vorn::Guid kodicom = GuidOf("{760D2C01-30F2-40c1-BF16-529CA2FBC5E0}");
    EXPECT_STREQ(collection->FindByGUID(kodicom, 2, 0).name, "Kodicom");
    EXPECT_EQ(collection->FindByGUID(kodicom, 0, 0).name, nullptr);

    Vorn::Guid darlex = GuidOf("{b672c4bd-2e7f-4b58-a943-929eaa3aa28e}");
    EXPECT_EQ(collection->FindByGUID(darlex, -1, -1).kind, 0x80000000u);
    EXPECT_EQ(collection->FindByGUID(darlex, 1, 0).variant, 1);

    DecoderInfo found{};
    EXPECT_TRUE(collection->FindByName("DVD Video", -1, -1, &found));
    EXPECT_EQ(found.kind, 2u);
    EXPECT_FALSE(collection->FindByName("DVD Video ", -1, -1, &found));
    EXPECT_FALSE(collection->FindByName("DVD Video", 1, -1, &found));
}

TEST_F(DecoderCollectionTest, AutodetectOrderPutsFittingSpecificsFirstAndDropsManualOnes) {
    auto check = [&](const char* url, const char* extension) {
        DecoderCollection* ordered = collection->BuildAutodetectCollection(url);
        int group = 1;
        int manual = 0;
        for (int32_t index = 0; index < collection->Count(); ++index) {
            manual += collection->GetInfoByIndex(index).manualOnly;
        }
        EXPECT_EQ(ordered->Count(), collection->Count() - manual) << url;
        for (int32_t index = 0; index < ordered->Count(); ++index) {
            DecoderInfo info = ordered->GetInfoByIndex(index);
            EXPECT_EQ(info.manualOnly, 0);
            bool fits = extension == nullptr ||
                        (info.extensions != nullptr && std::strstr(info.extensions, extension));
            int expected = !fits ? 3 : (info.container ? 2 : 1);
            EXPECT_GE(expected, group) << url << " entry " << info.name << " out of order";
            group = expected;
        }
        delete ordered;
    };
    check("/rec/clip.avi", "avi");
    check("/rec/CLIP.VOB", "vob");
    check("/rec/folder", nullptr);
}

TEST_F(DecoderCollectionTest, ExportedInfoCopiesIntoCallerBuffersAndKeepsPriorityOnFind) {
    int count = 0;
    ASSERT_EQ(DecoderCollection_DecoderCount(handle, &count), 0);
    EXPECT_EQ(count, BuiltInCount);
    EXPECT_EQ(DecoderCollection_DecoderCount(0, &count), InvalidHandle);
    EXPECT_EQ(count, -1);

    char name[8];
    char extensions[64];
    VcPublicDecoderInfo info{};
    info.name = name;
    info.extensions = extensions;
    ASSERT_EQ(DecoderCollection_GetDecoderInfoByIndex(handle, 73, sizeof name, sizeof extensions, 0, &info),
              0);
    EXPECT_EQ(std::memcmp(name, "DVD Vide", 8), 0); // cut to the capacity, without a terminator
    EXPECT_STREQ(extensions, "ifo;vob");

    ASSERT_EQ(DecoderCollection_GetDecoderInfoByIndex(handle, BuiltInCount, sizeof name, 0, 0, &info), 0);
    EXPECT_EQ(info.kind, 0u);
    EXPECT_EQ(name[0], 0);

    info.priority = 55;
    VcGuid generic = GuidOf("{8923E98A-F163-4ae9-815A-FFB2D3FFF934}");
    ASSERT_EQ(DecoderCollection_FindDecoderInfoByGUID(handle, generic, -1, -1, 0, 0, 0, &info), 0);
    EXPECT_EQ(info.manualOnly, 1);
    EXPECT_EQ(info.priority, 55);
    EXPECT_EQ(DecoderCollection_FindDecoderInfoByGUID(handle, VcGuid{}, -1, -1, 0, 0, 0, &info),
              GeneralFailure);
    EXPECT_EQ(info.kind, 0u);
    EXPECT_EQ(DecoderCollection_FindDecoderInfoByName(handle, "Kodicom", 2, -1, 0, 0, 0, &info), 0);
    EXPECT_EQ(DecoderCollection_FindDecoderInfoByName(handle, "Kodi", -1, -1, 0, 0, 0, &info),
              GeneralFailure);
}

TEST_F(DecoderCollectionTest, CreateWithUnknownGuidFindsNoCreator) {
    int decoder = 0;
    EXPECT_EQ(Decoder_Create(handle, VcGuid{1, 2, 3, {4}}, -1, -1, &decoder), GeneralFailure);
    EXPECT_EQ(std::string(LastErrorText()).rfind("DecoderInfo has no creator function. (", 0), 0u)
        << LastErrorText();
    EXPECT_EQ(Decoder_Create(0, VcGuid{}, -1, -1, &decoder), InvalidHandle);
    EXPECT_EQ(std::string(LastErrorText()).rfind("Invalid DecoderCollection handle (", 0), 0u);

    ASSERT_EQ(Decoder_Create(handle, GuidOf("{508C3FE8-0034-4216-8E06-0020B1619331}"), -1, -1, &decoder), 0);
    EXPECT_EQ(Decoder_Release(decoder), 0);
}
