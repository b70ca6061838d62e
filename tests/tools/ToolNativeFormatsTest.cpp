#include "fixtures/adv601/Adv601TestEncoder.h"
#include "fixtures/adv601/Adv601TestPictures.h"
#include "fixtures/formats/DarlexWriter.h"
#include "fixtures/formats/KodicomWriter.h"
#include "tools/ToolTestSupport.h"

#include <fstream>

namespace ToolTests {
namespace {

using json = nlohmann::json;
using namespace Vorn::Vorncast::Decoders::Testing;

void Save(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
}

// A Kodicom span is found by autodetection and a Darlex image read by the native decoder chosen by
// its index; probe shows each camera with its frames.
TEST_F(ToolTest, NativeKodicomAndDarlexRecordingsAreProbed) {
    std::filesystem::create_directories(Work("kodicom"));
    const KodicomSpan span = WriteKodicomSpan(KodicomFrames(2, 5, 638000000000000000, 5, 2, 32, 24));
    Save(Work("kodicom/KD0.bix"), span.bix);
    Save(Work("kodicom/KD0.box"), span.box);
    const ToolRun kodicom = RunTool({"probe", Work("kodicom/KD0.bix").string(), "--json"});
    ASSERT_EQ(kodicom.exitCode, 0) << kodicom.err;
    const json kodicomReport = json::parse(kodicom.out);
    EXPECT_EQ(kodicomReport["decoder"]["name"], "Kodicom");
    ASSERT_EQ(kodicomReport["tracks"][0]["streams"].size(), 2u);
    EXPECT_EQ(kodicomReport["tracks"][0]["streams"][1]["frames"], 5);

    DarlexImage image;
    image.tracks.resize(1);
    const std::vector<uint8_t> field = EncodeAdv601(Adv601Gradient(true).bgr.data());
    for (int32_t second : {1, 1, 2}) {
        image.tracks[0].frames.push_back({{2021, 11, 25, 5, 0, second}, 4, field});
    }
    std::filesystem::create_directories(Work("darlex"));
    ASSERT_TRUE(WriteDarlexFiles(WriteDarlex(image, "REC"), Work("darlex").string()));
    const ToolRun darlex = RunTool({"probe", Work("darlex/REC.VID").string(), "--decoder", "72", "--json"});
    ASSERT_EQ(darlex.exitCode, 0) << darlex.err;
    const json darlexReport = json::parse(darlex.out);
    EXPECT_EQ(darlexReport["decoder"]["name"], "Tecton Darlex (Tracked Frames Only)");
    EXPECT_EQ(darlexReport["tracks"][0]["streams"][0]["frames"], 3);
}

} // namespace
} // namespace ToolTests
