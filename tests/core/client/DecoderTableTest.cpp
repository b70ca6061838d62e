#include "core/client/DecoderTable.h"
#include "core/client/ClientFixture.h"
#include "core/client/MasDigitalCAPI.h"
#include "core/client/PlaceholderDecoder.h"

#include <gtest/gtest.h>

#include <string>

using namespace Vorn::Vorncast::Decoders;
namespace Capi = Vorn::Vorncast::Decoders::MasDigitalCAPI;
using ClientTests::GuidOf;

namespace {

void Words(const char* guidText, uint32_t words[4]) {
    WordsFromGuid(GuidOf(guidText), words);
}

} // namespace

TEST(DecoderTableTest, NameIsCutToTheBuffer) {
    char name[5], extensions[256], guid[Capi::GuidTextSize];
    int32_t length = -1, count = 0, patterns = 0;
    Capi::DecoderDescriptionFlags flags = {};
    ASSERT_TRUE(Capi::GetDecoderDescription(2, name, sizeof(name), &length, extensions, sizeof(extensions),
                                            &count, &patterns, &flags, guid));
    EXPECT_STREQ(name, "Came");
    EXPECT_EQ(length, 4);
}

TEST(DecoderTableTest, GuidLookupsIgnoreCaseAndMissUnknownGuids) {
    uint32_t words[4];
    Words("ce01a3d4-5141-46A6-ab06-6aafa85c60a1", words);
    EXPECT_EQ(Capi::FindDecoder(words[0], words[1], words[2], words[3]), DecoderTable::At(0));
    Words("760D2C01-30F2-40c1-BF16-529CA2FBC5E0", words); // the native Kodicom's, not a digital row
    EXPECT_EQ(Capi::FindDecoder(words[0], words[1], words[2], words[3]), nullptr);
    EXPECT_EQ(Capi::GetPathPattern(words[0], words[1], words[2], words[3], 0), nullptr);
}

TEST(DecoderTableTest, PlaceholderAnswersQueriesByExtensionAndFailsItsLoadWithAReason) {
    Testing::LogCapture log;
    FileClient client;
    client.SetLogCallback(Testing::LogCapture::Callback);
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
        log.Has("DecodeArnel::LoadingCore failed: no decoder for the format \"Arnel\" is built yet\n"));
    EXPECT_TRUE(log.Has("Load failed\n"));
    EXPECT_EQ(client.GetDecoder()->GetState(), DDS_IDLE);
}
